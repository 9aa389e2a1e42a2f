#!/usr/bin/env bash
# gallery.sh [FOLDER]: makes the pictures of the gallery from samples/ and writes the page around them,
# into docs/ unless told otherwise.
# Needs build/release/bin/kivclip, and the package ffmpeg to make the pictures small.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
to=${1:-docs}
kivclip=build/release/bin/kivclip
clip=samples/city.mp4
mkdir -p "$to/gallery"
rm -f "$to"/gallery/*.png
page=$to/gallery.md

say() { printf '%s\n' "$@" >>"$page"; }

# shrink PICTURE: 600 columns at most and 64 colours, which is a twentieth of a sheet's bytes.
shrink() {
  command -v ffmpeg >/dev/null || return 0
  ffmpeg -v error -y -i "$1" -vf "scale='min(iw,600)':-1:flags=area,split[a][b];[a]palettegen=max_colors=64:stats_mode=single[p];[b][p]paletteuse=dither=none" \
    -compression_level 100 -pred mixed "$1.small.png"
  mv "$1.small.png" "$1"
}

# show NAME TITLE TEXT COMMAND [ARGUMENT...]: runs kivclip with "-o NAME.png"; shows command and picture.
show() {
  local name=$1 title=$2 text=$3
  shift 3
  "$kivclip" "$@" -o "$to/gallery/$name.png" >/dev/null
  shrink "$to/gallery/$name.png"
  say "## $title" "$text" "" '```' "kivclip $* -o $name.png" '```' "" "![$title](gallery/$name.png)" ""
}

printf '%s\n' "# Gallery" "" \
  "Made by \`docs/gallery.sh\` from [the sample clip](../samples/README.md) with the commands shown. A sheet has every frame of" \
  "a result with its number there and the time it has in the clip." "" >"$page"

show forwards "As it is" "The first frames." sheet "$clip" --frames 0:5
show reverse "Backwards" "The clip's last frame comes first." sheet "$clip" --reverse --frames 0:5
show range "A stretch backwards" "Frames 20 to 25, 25 first." \
  sheet "$clip" --reverse --reverse-range 20:25
show fast "Faster" "Ten times the speed: every tenth frame." sheet "$clip" --speed 10 --frames 0:5
show slow-repeated "Slower" "A third of the speed. Source frames repeat." \
  sheet "$clip" --speed 1/3 --interpolation off --frames 0:5
show rate "Another frame rate" "10 frames per second instead of 25; the speed stays." \
  sheet "$clip" --fps 10 --frames 0:5
show crop "Crop" "The middle half of each side." frame "$clip" --at 50 --crop 0.25,0.25,0.5,0.5
show zoom-start "A moving crop" "The keyframes of [zoom.json](../samples/zoom.json): at the start," \
  frame "$clip" --at 0 --crop-keyframes samples/zoom.json --decode-scale 2/3
show zoom-end "... and at the end" "closer, scaled to the first frame's size." \
  frame "$clip" --at 99 --crop-keyframes samples/zoom.json --decode-scale 2/3
"$kivclip" keyframes samples/zoom.json --plot "$to/gallery/curves.png" >/dev/null
shrink "$to/gallery/curves.png"
say "## Keyframe curves" "The same keyframes." "" '```' "kivclip keyframes samples/zoom.json --plot curves.png" '```' "" \
  "![Keyframe curves](gallery/curves.png)" ""
sed -i '$d' "$page"
du -ck "$to"/gallery/*.png | tail -n 1 | cut -f1 | sed 's/$/ KiB of pictures/' >&2
