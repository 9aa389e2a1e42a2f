#!/usr/bin/env bash
# playback.sh CLIP [RUNS]: whole-process rate and peak memory of rendering CLIP to nothing, in turn with
# FFmpeg's own program on the same file. Prints the median of each and the ratio to FFmpeg with BGRA.
# Needs the packages ffmpeg and time.
set -euo pipefail
clip=$1 runs=${2:-5}
kivclip=$(dirname "${BASH_SOURCE[0]}")/../build/release/bin/kivclip
frames=$("$kivclip" info "$clip" --json | sed -n 's/.*"frames"[^0-9]*\([0-9]*\).*/\1/p' | head -n 1)
results=$(mktemp)
trap 'rm -f "$results"' EXIT

measure() { # measure NAME COMMAND...
  local name=$1
  shift
  /usr/bin/time -a -o "$results" -f "$name %e %M" "$@" >/dev/null 2>&1
}
for _ in $(seq "$runs"); do
  measure kivclip "$kivclip" render "$clip" -o null
  measure ffmpeg-bgra ffmpeg -v error -i "$clip" -vf format=bgra -f null -
  measure ffmpeg-decode ffmpeg -v error -i "$clip" -f null -
done

median() { awk -v n="$1" -v c="$2" '$1 == n { print $c }' "$results" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
for name in kivclip ffmpeg-bgra ffmpeg-decode; do
  awk -v n="$name" -v f="$frames" -v s="$(median "$name" 2)" -v m="$(median "$name" 3)" \
    -v base="$(median ffmpeg-bgra 2)" -v basem="$(median ffmpeg-bgra 3)" \
    'BEGIN { printf "%-14s %7.1f frames/s  %5.0f MiB   rate x %.2f  memory x %.2f\n", n, f / s, m / 1024, base / s, m / basem }'
done
