#!/usr/bin/env bash
# stabilize-quality.sh CLIP...: the shake that is left in each CLIP after our default level, and after FFmpeg's
# vidstabdetect and vidstabtransform at a smoothing of 15, all measured by stabilize_clip. "left" is ours as a share of
# theirs. Shake: what the path is off from its mean over 15 frames, pixels of a picture 1280 wide and degrees; bends:
# its changes of speed. Zoom in percent. Needs the package ffmpeg.
set -euo pipefail
stabilize=$(dirname "${BASH_SOURCE[0]}")/../build/release/bin/stabilize_clip
smoothing=15
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

theirs() { # theirs CLIP: prints the zoom, writes theirs.mkv
  local lossless="-an -fps_mode passthrough -c:v ffv1 -pix_fmt yuv420p"
  ffmpeg -v error -y -i "$1" -vf "vidstabdetect=result=$work/motion" -f null - </dev/null
  # shellcheck disable=SC2086
  ffmpeg -v verbose -y -i "$1" -vf "vidstabtransform=input=$work/motion:smoothing=$smoothing" $lossless \
    "$work/theirs.mkv" </dev/null 2>&1 | sed -n 's/.*Final zoom: //p'
}
ours() { # ours CLIP: prints the zoom, writes ours.mkv
  "$stabilize" "$1" 10 "$work/ours.mkv" 2>&1 | sed -n 's/.*zoom \([0-9.]*\)%.*/\1/p'
}
row() { # row NAME FILE ZOOM
  "$stabilize" "$2" measure 2>&1 | awk -v n="$1" -v z="$3" '/^shake/ { print n, $3, $5, $8, $12, $14, $17, $20, z }'
}

for clip in "$@"; do
  echo "$clip"
  zoom=$(theirs "$clip") own=$(ours "$clip")
  {
    echo "- x y angle bends-x bends-y bends-angle black zoom"
    row source "$clip" 0
    row theirs "$work/theirs.mkv" "$zoom"
    row ours "$work/ours.mkv" "$own"
  } | awk '{ if ($1 == "theirs") split($0, t); printf "%-8s", $1
             for (i = 2; i <= NF; ++i) printf "%12s", $i
             print "" }
           END { printf "%-8s", "left"; split($0, o)
                 for (i = 2; i <= 7; ++i) printf "%12.2f", o[i] / t[i]
                 print "" }'
done
