#!/usr/bin/env bash
# Fails on an include that points against the arrows of ARCHITECTURE.md, and on a folder that the table
# below does not know. Run from the repository root.
# check-includes.sh [FILE ...]: the files named, else every tracked source.
set -euo pipefail
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files '*.h' '*.cpp' | grep -Ev '^(test|bench|docs|examples)/')

# A row: a folder, which of our folders (or single files of one) it may include besides itself, and which
# libraries it may call. A folder that is named in a row has its own row above.
table='
kiv/values        |                                                              |
kiv/base          | kiv/values                                                   |
kiv/platform      | kiv/values kiv/base                                          |
kiv/object        | kiv/values kiv/base kiv/platform                             |
kiv/keyframes     | kiv/values kiv/base kiv/platform kiv/object                  | json
kiv/chain         | kiv/values kiv/base kiv/platform kiv/object                  |
kiv/Shared        | kiv/values kiv/base kiv/platform                             |
kiv/StreamCommon  | $nodes kiv/Shared                                            |
kiv/cache         | $nodes                                                       |
kiv/speed         | $nodes                                                       |
kiv/effects       | $nodes kiv/keyframes kiv/Shared kiv/StreamCommon             |
kiv/VideoStab     | $nodes kiv/StreamCommon                                      |
kiv/component     | kiv/*                                                        |

engine/base       | $declared                                                    | fmt
engine/memory     | $declared engine/base                                        | hwy
engine/picture    | $declared engine/base engine/memory                          | hwy
engine/bags       | $declared engine/base                                        | json
engine/registry   | $declared engine/base engine/bags                            | fmt json
engine/logger     | $declared engine/base                                        | ffmpeg spdlog fmt
engine/tasks      | $declared engine/base                                        |
engine/filters    | $declared engine/base engine/memory engine/picture           | hwy
engine/motion     | $declared engine/base engine/memory engine/picture           | hwy opencv
engine/tween      | $declared engine/base engine/memory engine/motion            | hwy
engine/media/read | $declared engine/base engine/memory                          | ffmpeg
engine/media/keep | $declared engine/base engine/memory engine/media/read        | ffmpeg hwy
engine/media/colour | $declared engine/base engine/memory engine/media/read/AvPointers.h | ffmpeg hwy libyuv
engine/media      | $declared engine/base engine/memory engine/picture engine/registry engine/logger engine/media/read engine/media/keep engine/media/colour | ffmpeg
engine/write      | $declared engine/base engine/memory engine/picture engine/media/read engine/media/colour | ffmpeg hwy libyuv fmt
engine            | $declared engine/base engine/picture engine/bags engine/registry engine/logger engine/tasks engine/filters engine/motion engine/media engine/media/keep |

session           | kiv/values kiv/base kiv/platform $interfaces engine/base engine/memory engine/picture engine/bags engine/registry engine/logger engine/filters engine/media engine/write engine/motion | json fmt
draw              | session kiv/values/Saturate.h                                | fmt
cli               | session draw kiv/values/Saturate.h                           | CLI json fmt
'
nodes='kiv/values kiv/base kiv/platform kiv/object kiv/chain'
declared='kiv/values kiv/base kiv/platform'
interfaces='kiv/chain/IKiv* kiv/chain/CommandIds.h kiv/chain/NodeTypes.h kiv/component/IKiv* kiv/component/EntryPoints.h kiv/keyframes/IKiv* kiv/VideoStab/IKiv* kiv/VideoStab/StabSettings.h'
table=${table//\$nodes/$nodes}
table=${table//\$declared/$declared}
table=${table//\$interfaces/$interfaces}

awk -v table="$table" '
  function folder_of(path) { sub(/\/[^\/]*$/, "", path); return path }
  function trimmed(text) { gsub(/^ +| +$/, "", text); return text }
  BEGIN {
    lines = split(table, rows, "\n")
    for (i = 1; i <= lines; i++) {
      if (split(rows[i], cells, "|") < 3) continue
      room = trimmed(cells[1]); known[room] = 1
      ours = split(trimmed(cells[2]), names, / +/)
      for (k = 1; k <= ours; k++) {
        open[room, names[k]] = 1
        # A name without a row above would be an arrow that points back.
        if (names[k] !~ /[.*]/ && !(names[k] in known)) { print "table: " room " before " names[k]; bad = 1 }
        if (names[k] ~ /\*$/) { sub(/\*$/, "", names[k]); prefixes[room] = prefixes[room] " " names[k] }
      }
      called = split(trimmed(cells[3]), names, / +/)
      for (k = 1; k <= called; k++) calls[room, names[k]] = 1
    }
    split("ffmpeg libyuv hwy opencv spdlog fmt json CLI", libraries, " ")
    sign["ffmpeg"] = "^lib(av|sw)[a-z]*/"; sign["libyuv"] = "^libyuv"; sign["hwy"] = "^hwy/"
    sign["opencv"] = "^opencv"; sign["spdlog"] = "^spdlog/"; sign["fmt"] = "^fmt/"
    sign["json"] = "^json/"; sign["CLI"] = "^CLI/"
  }
  function has_prefix(room, name,   count, list, k) {
    count = split(trimmed(prefixes[room]), list, " ")
    for (k = 1; k <= count; k++) if (index(name, list[k]) == 1) return 1
    return 0
  }
  FNR == 1 && !(folder_of(FILENAME) in known) { print FILENAME ": folder is not in the table"; bad = 1 }
  {
    if (!match($0, /^[ \t]*#[ \t]*include[ \t]*["<][^">]+[">]/)) next
    name = $0; sub(/^[^"<]*["<]/, "", name); sub(/[">].*/, "", name)
    room = folder_of(FILENAME)
    for (k in libraries) {
      if (name ~ sign[libraries[k]] && !((room, libraries[k]) in calls)) {
        print FILENAME ":" FNR ": must not call " name; bad = 1
      }
    }
    if ($0 !~ /"/ || name !~ /\//) next
    if (folder_of(name) == room || (room, folder_of(name)) in open || (room, name) in open || has_prefix(room, name)) next
    print FILENAME ":" FNR ": must not include " name; bad = 1
  }
  END { exit bad }
' "${files[@]}"
