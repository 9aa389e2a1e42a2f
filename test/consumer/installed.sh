# shellcheck shell=bash
# What every installation has to pass, unpacked packages included. Sourced.

# check_installed PREFIX CLIP WORK: WORK is a folder for what is built.
check_installed() {
  local prefix=$1 clip=$2 work=$3 library libraries pc example
  pc=$(dirname "$(find "$prefix" -name kiv.pc)")
  libraries=$(dirname "$pc")
  example=$(find "$prefix" -type d -path '*/examples/host')

  for library in libkiv libkiv_engine libkiv_values libkiv_session; do
    readelf -d "$libraries/$library.so" | grep "SONAME.*\[$library.so.0\]" >/dev/null || { echo "$library has no version"; return 1; }
  done
  check_exports "$libraries"
  check_headers "$prefix" "$pc"

  cmake -S "$example" -B "$work/by-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/by-cmake" | tail -n 1
  # shellcheck disable=SC2046
  g++ -std=c++20 "$example/host.cpp" -o "$work/by-pkg-config" $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs kiv)
  mkdir -p "$work/by-cmake-out" "$work/by-pkg-config-out" "$work/kivclip-out"
  "$work/by-cmake/host" "$clip" "$work/by-cmake-out/%03d.png"
  LD_LIBRARY_PATH=$libraries "$work/by-pkg-config" "$clip" "$work/by-pkg-config-out/%03d.png"
  # The command line does the same over the same library, with more care: the pictures are equal.
  "$prefix/bin/kivclip" render "$clip" --reverse --speed 2 --interpolation off -o "$work/kivclip-out/%03d.png"
  [ "$(find "$work/kivclip-out" -name '*.png' | wc -l)" = 50 ]
  diff -rq "$work/by-cmake-out" "$work/kivclip-out"
  diff -rq "$work/by-pkg-config-out" "$work/kivclip-out"

  # The interpolation module is found where it was put: half-way pictures are none of the clip's.
  local mode
  for mode in flow off; do
    "$prefix/bin/kivclip" frame "$clip" --speed 1/2 --at 21 --interpolation $mode -o "$work/$mode.png"
  done
  if cmp -s "$work/flow.png" "$work/off.png"; then echo "the interpolation module is not found"; return 1; fi
  check_session "$@"
}

# The example of the session library, built both ways, says and writes the same as kivclip. The
# programs lie elsewhere, so the library has to find the component beside itself.
check_session() {
  local prefix=$1 clip=$2 work=$3 example pc by
  pc=$(dirname "$(find "$prefix" -name kiv-session.pc)")
  example=$(find "$prefix" -type d -path '*/examples/session')
  cmake -S "$example" -B "$work/session-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/session-cmake" | tail -n 1
  mkdir -p "$work/session-pkg-config" "$work/session-kivclip"
  # shellcheck disable=SC2046
  g++ -std=c++20 "$example/main.cpp" -o "$work/session-pkg-config/backwards" $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs kiv-session)
  "$prefix/bin/kivclip" render "$clip" --reverse --speed 1/2 -o "$work/session-kivclip/%03d.png"
  mkdir -p "$work/session-cmake/out" "$work/session-pkg-config/out"
  "$work/session-cmake/backwards" "$clip" "$work/session-cmake/out/%03d.png" >"$work/session-cmake/said"
  LD_LIBRARY_PATH=$(dirname "$pc") "$work/session-pkg-config/backwards" "$clip" "$work/session-pkg-config/out/%03d.png" >"$work/session-pkg-config/said"
  for by in cmake pkg-config; do diff -rq "$work/session-$by/out" "$work/session-kivclip"; done
  # A hundred frames at half speed, and the clip's own from the last one to the first.
  [ "$(find "$work/session-kivclip" -name '*.png' | wc -l)" = 200 ]
  [ "$(wc -l <"$work/session-cmake/said")" = 200 ]
  [ "$(awk '$3 == "frame" { print $4 + 0 }' "$work/session-cmake/said" | uniq)" = "$(seq 99 -1 0)" ]
  grep -q ' generated ' "$work/session-cmake/said"
  diff "$work/session-cmake/said" "$work/session-pkg-config/said"
}

# Nothing leaves the component but its entry points, and nothing of a library that is linked in
# leaves the other two.
check_exports() {
  local foreign
  foreign=$(nm -DC --defined-only "$1/libkiv.so" | awk '{ print $3 }' | grep -v '^Dll' || true)
  foreign+=$(nm -DC --defined-only "$1/libkiv_engine.so" | grep -E ' [TW] (cv|fmt|spdlog|Json|hwy)::' || true)
  [ -z "$foreign" ] || { echo "exported: $foreign"; return 1; }
}

# Every installed header compiles alone, found the way that its users find it. Those of the session
# library need no other.
check_headers() {
  local prefix=$1 pc=$2 header name package
  while read -r header; do
    name=${header#"$prefix"/include/}
    name=${name/#kiv\/engine\//engine/}
    name=${name/#kiv\/session\//session/}
    package=kiv
    if [[ $name == session/* ]]; then package=kiv-session; fi
    # shellcheck disable=SC2046
    echo "#include \"$name\"" | g++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -x c++ \
      $(PKG_CONFIG_PATH=$pc pkg-config --cflags $package) - || { echo "$name does not compile alone"; return 1; }
  done < <(find "$prefix/include/kiv" -name '*.h' -not -path '*/theirs/*')
}
