#!/usr/bin/env bash
# Makes docs/alpha.png from the samples: every fill of an alpha preset, and one over footage.
# KIVCLIP names the program, ./run's one if not given. Needs ffmpeg.
set -euo pipefail
cd "$(dirname "$0")/.."
kivclip=${KIVCLIP:-build/release/bin/kivclip}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
star=samples/star.webm city=samples/city.mp4

# A backdrop; the coverage as a matte, white on black; a picture to fill with.
ffmpeg -v error -f lavfi -i color=0x2b3440:s=480x270:r=25:d=3 -c:v ffv1 -pix_fmt bgr0 "$folder/flat.mkv"
ffmpeg -v error -c:v libvpx-vp9 -i "$star" -vf alphaextract,format=yuv420p -c:v libx264 -crf 12 \
  "$folder/matte.mp4"
"$kivclip" frame "$city" --at 50 -o "$folder/city.png"

tile=0
add() {  # FOOTAGE OPTION ...
  local footage=$1
  shift
  "$kivclip" frame "$@" --alpha-preset --over "$footage" --at 30 -o "$folder/tile.png"
  ffmpeg -v error -i "$folder/tile.png" -vf scale=360:202:flags=area "$folder/$tile.png"
  tile=$((tile + 1))
}
flat=$folder/flat.mkv matte=$folder/matte.mp4
add "$flat" "$star"
add "$flat" "$star" --alpha-color FF8000
add "$flat" "$star" --alpha-gradient FF2060,20A0FF,45
add "$flat" "$star" --alpha-image "$folder/city.png"
add "$flat" "$matte" --alpha-full-hd "$matte" --alpha-gradient 00E0A0,F0F040,0
add "$city" "$star" --alpha-color FF8000 --alpha-pause 1.08 --alpha-loop 18
ffmpeg -v error -y -i "$folder/%d.png" -vf tile=3x2:padding=4:color=white -frames:v 1 docs/alpha.png
