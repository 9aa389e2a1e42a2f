#!/usr/bin/env bash
# reverse.sh CLIP [RUNS]: whole-process rate and peak memory of rendering CLIP backwards to nothing within several
# budgets (MiB), in turn with rendering it forwards and with FFmpeg's reverse filter on the same file. Prints the
# median of each, and ratios to our own forward rate and to FFmpeg's. Needs the packages ffmpeg and time.
set -euo pipefail
clip=$1 runs=${2:-3}
kivclip=$(dirname "${BASH_SOURCE[0]}")/../build/release/bin/kivclip
frames=$("$kivclip" info "$clip" --json | sed -n 's/.*"frames"[^0-9]*\([0-9]*\).*/\1/p' | head -n 1)
budgets="1024 512 256"
results=$(mktemp) report=$(mktemp)
trap 'rm -f "$results" "$report"' EXIT

measure() { # measure NAME COMMAND...
  local name=$1
  shift
  /usr/bin/time -a -o "$results" -f "$name %e %M" "$@" >/dev/null 2>&1
}
for _ in $(seq "$runs"); do
  measure forwards "$kivclip" render "$clip" -o null
  for budget in $budgets; do
    measure "backwards-$budget" "$kivclip" render "$clip" --reverse --memory "$budget" -o null --report "$report"
    awk -v n="decoded-$budget" -v f="$frames" -F'[:,]' '/"pictures_decoded"/ { print n, $2 / f, 0 }' "$report" >>"$results"
  done
  measure ffmpeg-reverse ffmpeg -v error -i "$clip" -vf reverse,format=bgra -f null -
done

median() { awk -v n="$1" -v c="$2" '$1 == n { print $c }' "$results" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
for name in forwards $(printf 'backwards-%s ' $budgets) ffmpeg-reverse; do
  awk -v n="$name" -v f="$frames" -v s="$(median "$name" 2)" -v m="$(median "$name" 3)" -v own="$(median forwards 2)" \
    -v peer="$(median ffmpeg-reverse 2)" -v d="$(median "${name/backwards/decoded}" 2)" 'BEGIN {
      printf "%-15s %7.1f frames/s  %5.0f MiB   x forwards %.2f   x ffmpeg reverse %.2f", n, f / s, m / 1024, own / s, peer / s
      if (n ~ /^backwards/) printf "   decoded per frame %.2f", d
      print "" }'
done
