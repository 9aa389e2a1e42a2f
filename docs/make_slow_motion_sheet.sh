#!/usr/bin/env bash
# Makes docs/slow-motion.png from a sample: the real picture, the one generated in its place, and its neighbours mixed.
# Needs ffmpeg and build/release/bin/interpolation_quality.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
number=11
ffmpeg -v error -ss 1 -i samples/city.mp4 -frames:v 13 -pix_fmt yuv420p "$folder/city.y4m"
for mode in 0 1; do
  mkdir "$folder/$mode"
  build/release/bin/interpolation_quality -m "$mode" -o "$folder/$mode" "$folder/city.y4m"
done
tile="crop=130:100:iw*5/8:(ih-100)/2,scale=2*iw:-1:flags=neighbor"
ffmpeg -v error -y -i "$folder/0/city-$number-real.ppm" -i "$folder/0/city-$number-made.ppm" \
  -i "$folder/1/city-$number-made.ppm" \
  -filter_complex "[0]${tile}[a];[1]${tile}[b];[2]${tile}[c];[a][b][c]hstack=3" docs/slow-motion.png
