#!/usr/bin/env bash
# check.sh KIV_REFERENCE: fails when a made document is not what the tables say, or when the command
# table is not what the nodes' rows say. Run from the repository root.
set -euo pipefail
reference=$1 status=0
for document in commands:commands keys:settings-keys; do
  file=docs/${document#*:}.md
  "$reference" "${document%:*}" | diff "$file" - ||
    { echo "$file is not up to date: cmake --build build/dev --target reference"; status=1; }
done

# Every header that is installed by name is in the interface reference.
for header in $(grep -oE '(kiv|engine)/[A-Za-z/]+\.h' cmake/KivInstall.cmake | sort -u); do
  grep -q "$header" docs/Doxyfile || { echo "docs/Doxyfile does not name $header"; status=1; }
done

# Each row {CommandId::Name, &Class::Handler, Route::kStop} of a node, as "Name|node|Stop".
node_of() { # the node that a source file belongs to
  case $(basename "$1" .cpp) in
    Streamer | VideoStreamer) echo source ;;
    FrameCache | VideoFrameCache) echo "frame cache" ;;
    Reverser | VideoReverse) echo reverse ;;
    VideoShifter) echo speed ;;
    VideoSlider) echo "frame rate" ;;
    VideoCrop) echo crop ;;
    *AlphaVideo*) echo "alpha video" ;;
    *Stabilizer*) echo stabilizer ;;
    *) echo "unknown node of $1" ;;
  esac
}
rows() {
  local file
  grep -rlE '\{CommandId::[A-Za-z]+, &' kiv --include='*.cpp' | while read -r file; do
    tr '\n' ' ' <"$file" | grep -oE '\{CommandId::[A-Za-z]+, +&[A-Za-z:]+, +Route::k(Stop|Forward)\}' |
      sed -E "s/.*CommandId::([A-Za-z]+),.*Route::k([A-Za-z]+).*/\1|$(node_of "$file")|\2/"
  done | sort
}
documented() {
  "$reference" routes | awk -F'|' '
    function each(list, route,   parts, n, i) { n = split(list, parts, ", "); for (i = 1; i <= n; i++) print $1 "|" parts[i] "|" route }
    { each($2, "Stop"); each($3, "Forward") }' | sort
}
# Nodes that this tree has: rows of others are for nodes yet to come.
built() { rows | cut -d'|' -f2 | sort -u; }
diff <(rows) <(documented | awk -F'|' 'NR == FNR { has[$0] = 1; next } $2 in has' <(built) -) ||
  { echo "kiv/chain/CommandFacts.h is not what the nodes' rows say"; status=1; }
exit $status
