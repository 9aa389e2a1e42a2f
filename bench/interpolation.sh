#!/usr/bin/env bash
# interpolation.sh CLIP ...: makes every second frame of each clip's first 61 again and prints luma PSNR, SSIM and
# milliseconds of ours, then the PSNR of motion-compensated minterpolate. Its figures are kept in $TMPDIR.
# Needs ffmpeg and build/release/bin/interpolation_quality. The clips of docs/slow-motion.md lie in Debian packages:
# apt-get download PACKAGE, dpkg -x.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
keep=${TMPDIR:-/tmp}/kiv-interpolation; mkdir -p "$keep"
for clip in "$@"; do
  name=$(basename "${clip%.*}"); all=$keep/$name.y4m
  ffmpeg -v error -y -i "$clip" -frames:v 61 -vf "crop=trunc(iw/2)*2:trunc(ih/2)*2,format=yuv420p,setpts=N/(30*TB)" -r 30 "$all"
  "$root/build/release/bin/interpolation_quality" "$all"
  if [ ! -s "$keep/$name.psnr" ]; then
    ffmpeg -v error -y -i "$all" -vf "select='not(mod(n,2))',setpts=N/(15*TB)" -r 15 "$keep/half.y4m"
    ffmpeg -v error -y -i "$keep/half.y4m" -vf "minterpolate=fps=30:mi_mode=mci:mc_mode=aobmc:me_mode=bidir:vsbmc=1" "$keep/mci.y4m"
    odd="select='mod(n,2)',setpts=N/(15*TB)"
    ffmpeg -v info -i "$keep/mci.y4m" -i "$all" -lavfi "[0:v]$odd[a];[1:v]$odd[b];[a][b]psnr=shortest=1" -f null - 2>&1 |
      grep -o 'PSNR y:[0-9.inf]*' >"$keep/$name.psnr"
  fi
  echo "  minterpolate $(cat "$keep/$name.psnr")"
done
