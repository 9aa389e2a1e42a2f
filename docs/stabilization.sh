#!/usr/bin/env bash
# stabilization.sh CLIP [FIRST]: draws the pictures of docs/stabilization.md from CLIP: its camera's path, and frames
# from FIRST on before and after. Needs the package ffmpeg, which puts the tiles together.
set -euo pipefail
clip=$1 first=${2:-58}
docs=$(realpath "$(dirname "${BASH_SOURCE[0]}")")
kivclip=$docs/../build/release/bin/kivclip
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
tile=480 frames=10

"$kivclip" stabilize "$clip" --settings "$folder/clip.json" --plot "$docs/stabilization-path.png"
span=$first:$((first + frames - 1))
"$kivclip" render "$clip" --frames "$span" -o "$folder/before.mkv" --codec ffv1
"$kivclip" render "$clip" --settings "$folder/clip.json" --frames "$span" -o "$folder/after.mkv" --codec ffv1

# Above the last frame as it is, below the mean of all of them: what moves blurs.
column="trim=start_frame=$((frames - 1)),setpts=0,scale=$tile:-2"
one() { echo "[$1:v]split[$1a][$1b];[$1a]$column[$1c];[$1b]tmix=frames=$frames,$column[$1d];[$1c][$1d]vstack[$1e]"; }
ffmpeg -v error -y -i "$folder/before.mkv" -i "$folder/after.mkv" -filter_complex \
  "$(one 0);$(one 1);[0e][1e]hstack,split[p][q];[p]palettegen[r];[q][r]paletteuse=dither=none" -frames:v 1 \
  "$docs/stabilization-frames.png"
