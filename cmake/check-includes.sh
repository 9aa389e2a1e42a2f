#!/usr/bin/env bash
# Fails on an include that points against the arrows of ARCHITECTURE.md. Run from the repository root.
# check-includes.sh [FILE ...]: the files named, else every tracked source.
set -euo pipefail
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files 'kiv/*.h' 'kiv/*.cpp' 'engine/*.h' 'engine/*.cpp' 'host/*.h' 'host/*.cpp')

awk '
  # The first row whose pattern fits the including file says what it may include of ours.
  function allow(from, to) { rows++; pattern[rows] = from; allowed[rows] = to }
  BEGIN {
    below_node = "kiv/(values|platform|chain)/|kiv/component/(object|Unknown|AtBoundary|ModuleCounts)"
    allow("^kiv/values/keyframes/", "kiv/(values|platform)/|kiv/component/object/|kiv/chain/Locks[.]h")
    allow("^kiv/values/", "kiv/values/")
    allow("^kiv/platform/", "kiv/(values|platform)/")
    allow("^kiv/component/object/", "kiv/(values|platform)/|kiv/component/object/")
    allow("^kiv/component/IKiv", "kiv/(values|platform)/|kiv/chain/(IKiv[A-Za-z]*|CommandIds|NodeTypes)[.]h")
    allow("^kiv/component/", "kiv/")
    allow("^kiv/chain/", "kiv/(values|platform|chain)/|kiv/component/object/")
    allow("^kiv/Shared/", "kiv/(values|platform|Shared)/")
    allow("^kiv/StreamCommon/", "kiv/(values|platform|chain|Shared|StreamCommon)/|kiv/component/object/")
    allow("^kiv/cache/", "kiv/(values|platform|chain|cache)/|kiv/component/object/")
    allow("^kiv/speed/", "kiv/(values|platform|chain|speed)/|kiv/component/object/")
    allow("^kiv/effects/", "kiv/(values|platform|chain|Shared|StreamCommon|effects)/|kiv/component/object/")
    allow("^kiv/VideoStab/", "kiv/(values|platform|chain|StreamCommon|VideoStab)/|kiv/component/object/")
    allow("^engine/common/", "kiv/(values|platform)/|engine/common/")
    allow("^engine/media/", "kiv/(values|platform)/|engine/(common|logger|media)/")
    allow("^engine/filters/", "kiv/(values|platform)/|engine/(common|filters)/")
    allow("^engine/motion/", "kiv/(values|platform)/|engine/(common|motion)/")
    allow("^engine/tasks/", "kiv/(values|platform)/|engine/(common|tasks)/")
    allow("^engine/logger/", "kiv/(values|platform)/|engine/(common|logger)/")
    allow("^engine/tween/", "kiv/(values|platform)/|engine/(common|motion|tween)/")
    allow("^engine/", "kiv/(values|platform)/|engine/")
    allow("^host/", "kiv/(values|platform)/|kiv/(chain|component)/(IKiv[A-Za-z]*|CommandIds|NodeTypes|EntryPoints)[.]h|kiv/VideoStab/(IKiv[A-Za-z]*|StabSettings)[.]h|engine/|host/")
    # Above the object base, though it lies in the folder of the values; hosts see its interface only.
    keyframes = "^kiv/values/keyframes/"
    outside = "^(libav|libsw|libyuv|hwy/|opencv|spdlog|fmt/|json/)"
  }
  {
    if (!match($0, /^[ \t]*#[ \t]*include[ \t]*["<][^">]+[">]/)) next
    name = $0; sub(/^[^"<]*["<]/, "", name); sub(/[">].*/, "", name)
    if (FILENAME ~ keyframes && name ~ /^json\//) next
    if (name ~ keyframes && FILENAME !~ keyframes && FILENAME !~ /^kiv\/(effects|component)\// && name !~ /IKiv[A-Za-z]*[.]h$/) { print FILENAME ":" FNR ": must not include " name; bad = 1; next }
    if (FILENAME ~ /^kiv\// && name ~ outside) { print FILENAME ":" FNR ": " name " belongs under engine/"; bad = 1; next }
    if (FILENAME ~ /^host\// && name ~ /^(libav|libsw|libyuv|hwy\/|opencv)/) { print FILENAME ":" FNR ": " name " belongs under engine/"; bad = 1; next }
    if (name !~ /^(kiv|engine|host|test)\//) next
    for (i = 1; i <= rows; i++) {
      if (FILENAME !~ pattern[i]) continue
      if (name !~ "^(" allowed[i] ")") { print FILENAME ":" FNR ": must not include " name; bad = 1 }
      break
    }
  }
  END { exit bad }
' "${files[@]}"
