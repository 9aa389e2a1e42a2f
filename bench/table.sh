#!/usr/bin/env bash
# table.sh CLIP [RUNS]: one table of what this program and the tools people use take for the same jobs on CLIP: whole
# processes in turn, the median of RUNS (3 unless given), and the ratio of our rate to the first peer's. Peers that are
# not installed are left out: ffmpeg (with vid.stab) and melt. Needs the package time.
set -euo pipefail
file=$1 runs=${2:-3}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
kivclip=$here/../build/release/bin/kivclip
clip=$(printf %q "$file")  # as the commands below are read
program=$(printf %q "$kivclip")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
field() { "$kivclip" info "$file" --json | sed -n "s/.*\"$1\"[^0-9]*\\([0-9]*\\).*/\\1/p" | head -n 1; }
frames=$(field frames)
rate=$("$kivclip" info "$file" --json | sed -n 's/.*"frame_rate"[^0-9]*\([0-9/]*\).*/\1/p')
slow_frames=$((frames < 60 ? frames : 60))  # the slowest of them makes two a second

rows=()  # JOB|TOOL|FRAMES|COMMAND
row() { rows+=("$1|$2|$3|$4"); }
has() { command -v "$1" >/dev/null; }

row forward kivclip "$frames" "$program render $clip -o null"
row backward kivclip "$frames" "$program render $clip --reverse --memory 1024 -o null"
row "slow 1/2" kivclip $((2 * slow_frames)) "$program render $clip --speed 1/2 --frames 0:$((2 * slow_frames - 1)) -o null"
row analyse kivclip "$frames" "$program stabilize $clip --settings $work/motion.json"
row steady kivclip "$frames" "$program render $clip --settings $work/motion.json --stabilize -o null"
if has ffmpeg; then
  row forward ffmpeg "$frames" "ffmpeg -v error -i $clip -vf format=bgra -f null -"
  row backward ffmpeg "$frames" "ffmpeg -v error -i $clip -vf reverse,format=bgra -f null -"
  row "slow 1/2" minterpolate $((2 * slow_frames)) "ffmpeg -v error -i $clip -frames:v $((2 * slow_frames)) -vf setpts=2*PTS,minterpolate=fps=$rate:mi_mode=mci:mc_mode=aobmc:me_mode=bidir:vsbmc=1 -f null -"
  # Not piped into grep -q: ffmpeg would fail when that stops reading.
  if [[ $(ffmpeg -v error -filters) == *vidstabdetect* ]]; then
    row analyse vidstabdetect "$frames" "ffmpeg -v error -y -i $clip -vf vidstabdetect=result=$work/t.trf -f null -"
    row steady vidstabtransform "$frames" "ffmpeg -v error -y -i $clip -vf vidstabtransform=input=$work/t.trf:smoothing=15 -f null -"
  fi
fi
if has melt; then
  row forward melt "$frames" "melt $clip -silent -consumer avformat:/dev/null f=rawvideo vcodec=rawvideo pix_fmt=bgra an=1 real_time=-1"
fi

for _ in $(seq "$runs"); do
  for i in "${!rows[@]}"; do
    IFS='|' read -r job tool _ command <<<"${rows[$i]}"
    [ "$job" = analyse ] && rm -f "$work/motion.json"  # or it would be believed
    [ "$tool" = minterpolate ] && [ -e "$work/$i" ] && continue  # once is long enough
    if eval "/usr/bin/time -o '$work/last' -f '%e %M' $command" >/dev/null 2>&1; then
      cat "$work/last" >>"$work/$i"
    fi
  done
done

# The middle one of a row's runs by column.
median() { awk -v c="$2" '{ print $c }' "$1" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
printf '%-10s %-18s %10s %10s   %s\n' job tool frames/s 'peak MiB' 'kivclip against it'
for job in forward backward 'slow 1/2' analyse steady; do
  own=
  for i in "${!rows[@]}"; do
    IFS='|' read -r name tool count _ <<<"${rows[$i]}"
    [ "$name" = "$job" ] || continue
    if [ ! -e "$work/$i" ]; then printf '%-10s %-18s     failed\n' "$job" "$tool"; continue; fi
    rate=$(awk -v f="$count" -v s="$(median "$work/$i" 1)" 'BEGIN { print f / s }')
    [ "$tool" = kivclip ] && own=$rate
    awk -v j="$job" -v t="$tool" -v r="$rate" -v m="$(median "$work/$i" 2)" -v o="$own" 'BEGIN {
      ratio = t == "kivclip" ? "" : sprintf("x %.2f", o / r)
      printf "%-10s %-18s %10.1f %10.0f   %s\n", j, t, r, m / 1024, ratio }'
  done
done
