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

# shrink PICTURE [COLUMNS]: 600 columns at most and 64 colours, which is a twentieth of a sheet's bytes.
shrink() {
  command -v ffmpeg >/dev/null || return 0
  ffmpeg -v error -y -i "$1" -vf "scale='min(iw,${2:-600})':-1:flags=area,split[a][b];[a]palettegen=max_colors=64:stats_mode=single[p];[b][p]paletteuse=dither=none" \
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
  "Made by \`docs/gallery.sh\` from [the sample clip](../samples/README.md) with the commands shown. A sheet shows every frame of" \
  "a result with its number in the result and its time in the clip." "" >"$page"

show forwards "Unchanged" "The first frames." sheet "$clip" --frames 0:5
show reverse "Backwards" "The clip's last frame comes first." sheet "$clip" --reverse --frames 0:5
show range "A range backwards" "Frames 20 to 25, 25 first." \
  sheet "$clip" --reverse --reverse-range 20:25
show fast "Faster" "Ten times the speed: every tenth frame." sheet "$clip" --speed 10 --frames 0:5
show slow-repeated "Slower" "Half the speed. Source frames repeat." \
  sheet "$clip" --speed 1/2 --interpolation off --frames 0:5
show slow-made "Slower, with in-between pictures" "They are generated from the motion between the clip's frames." \
  sheet "$clip" --speed 1/2 --frames 0:5
show slow-frame "One in-between picture" "Half-way between the clip's frames 10 and 11." \
  frame "$clip" --speed 1/2 --at 21 --decode-scale 2/3
show rate "Another frame rate" "10 frames per second instead of 25; the speed stays." \
  sheet "$clip" --fps 10 --frames 0:5
show crop "Crop" "The middle half of each side." frame "$clip" --at 50 --crop 0.25,0.25,0.5,0.5
show zoom-start "A moving crop" "The keyframes of [zoom.json](../samples/zoom.json): the first frame." \
  frame "$clip" --at 0 --crop-keyframes samples/zoom.json --decode-scale 2/3
show zoom-end "The end of the moving crop" "Zoomed in, scaled to the first frame's size." \
  frame "$clip" --at 99 --crop-keyframes samples/zoom.json --decode-scale 2/3
show alpha "A shape over footage" \
  "The preset [star.webm](../samples/README.md) in a gradient, paused because the clip is longer; see [alpha presets](alpha.md)." \
  frame samples/star.webm --alpha-preset --alpha-gradient FF2060,20A0FF,45 --alpha-pause 1.08 --alpha-loop 18 \
  --over "$clip" --at 50
# The sample's camera is steady: a crop that trembles stands for a hand.
motion=$(mktemp -d)
trap 'rm -rf "$motion"' EXIT
awk 'BEGIN {
  srand(7)
  printf "{\"FrameRateDen\":1,\"FrameRateNum\":25,\"dataType\":1,\"splineDegree\":0,\"splineType\":0,\"params\":["
  for (i = 0; i < 100; i += 3) {
    printf "%s{\"index\":%d,\"valueType\":\"KivRectF\",", i ? "," : "", i
    printf "\"valueValue\":\"left:%f, top:%f, width:0.9, height:0.9\"}", 0.05 + 0.02 * (rand() - 0.5), 0.05 + 0.02 * (rand() - 0.5)
  }
  print "]}"
}' >"$motion/hand.json"
"$kivclip" render "$clip" --crop-keyframes "$motion/hand.json" -o "$motion/shaky.mp4" --quiet
"$kivclip" stabilize "$motion/shaky.mp4" --settings "$motion/clip.json" --plot "$to/gallery/path.png" --quiet
shrink "$to/gallery/path.png" 960
say "## A steadied camera" "The path of a shaking camera (the sample clip, shaken by keyframes), before and after." "" '```' \
  "kivclip stabilize shaky.mp4 --settings clip.json --plot path.png" \
  "kivclip render shaky.mp4 --settings clip.json --stabilize -o steady.mp4" '```' "" "![Camera path](gallery/path.png)" ""
"$kivclip" keyframes samples/zoom.json --plot "$to/gallery/curves.png" >/dev/null
shrink "$to/gallery/curves.png" 960
say "## Keyframe curves" "The same keyframes." "" '```' "kivclip keyframes samples/zoom.json --plot curves.png" '```' "" \
  "![Keyframe curves](gallery/curves.png)" ""
sed -i '$d' "$page"
du -ck "$to"/gallery/*.png | tail -n 1 | cut -f1 | sed 's/$/ KiB of pictures/' >&2
