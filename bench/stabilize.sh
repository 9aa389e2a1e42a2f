#!/usr/bin/env bash
# stabilize.sh CLIP [RUNS]: whole-process rate and peak memory of measuring CLIP's motion and of rendering it steadied to
# nothing, in turn with FFmpeg's vidstabdetect and vidstabtransform on the same file. Prints the median of each, of both
# together, and the ratio to FFmpeg's. Needs the packages ffmpeg (with libvidstab) and time.
set -euo pipefail
clip=$(realpath "$1") runs=${2:-3}
kivclip=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../build/release/bin/kivclip")
frames=$("$kivclip" info "$clip" --json | sed -n 's/.*"frames"[^0-9]*\([0-9]*\).*/\1/p' | head -n 1)
folder=$(mktemp -d)
results=$folder/results
trap 'rm -rf "$folder"' EXIT
cd "$folder" # the filters take no path with special characters

measure() { # measure NAME COMMAND...
  local name=$1
  shift
  /usr/bin/time -a -o "$results" -f "$name %e %M %U" "$@" >/dev/null 2>&1
}
for _ in $(seq "$runs"); do
  rm -f settings.json
  measure analysis "$kivclip" stabilize "$clip" --settings settings.json
  measure correction "$kivclip" render "$clip" --settings settings.json --stabilize -o null
  measure ffmpeg-analysis ffmpeg -v error -i "$clip" -vf vidstabdetect=result=motion.trf -f null -
  measure ffmpeg-correction ffmpeg -v error -i "$clip" -vf vidstabtransform=input=motion.trf:smoothing=15,format=bgra -f null -
done

median() { awk -v n="$1" -v c="$2" '$1 == n { print $c }' "$results" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
line() { # line NAME SECONDS PEER_SECONDS MIB
  awk -v n="$1" -v f="$frames" -v s="$2" -v p="$3" -v m="$4" 'BEGIN {
    printf "%-18s %7.1f frames/s  %5.0f MiB   x ffmpeg %.2f\n", n, f / s, m / 1024, p / s }'
}
total() { awk -v a="$(median "$1" 2)" -v b="$(median "$2" 2)" 'BEGIN { print a + b }'; }
for part in analysis correction; do
  line "$part" "$(median $part 2)" "$(median ffmpeg-$part 2)" "$(median $part 3)"
  line "ffmpeg-$part" "$(median ffmpeg-$part 2)" "$(median ffmpeg-$part 2)" "$(median ffmpeg-$part 3)"
done
peer=$(total ffmpeg-analysis ffmpeg-correction)
line both "$(total analysis correction)" "$peer" "$(median correction 3)"
line ffmpeg-both "$peer" "$peer" "$(median ffmpeg-correction 3)"
