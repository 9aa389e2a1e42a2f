# shellcheck shell=bash
# What every installation has to pass, unpacked packages included. Sourced.

# check_installed PREFIX CLIP WORK: WORK is a folder for what is built.
check_installed() {
  local prefix=$1 clip=$2 work=$3 library libraries pc example
  pc=$(dirname "$(find "$prefix" -name kiv.pc)")
  libraries=$(dirname "$pc")
  example=$(find "$prefix" -type d -path '*/examples/host')

  for library in libkiv libkiv_engine libkiv_values; do
    readelf -d "$libraries/$library.so" | grep -q "SONAME.*\[$library.so.0\]" || { echo "$library has no version"; return 1; }
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
}

# Nothing leaves the component but its entry points, and nothing of a library that is linked in
# leaves the other two.
check_exports() {
  local foreign
  foreign=$(nm -DC --defined-only "$1/libkiv.so" | awk '{ print $3 }' | grep -v '^Dll' || true)
  foreign+=$(nm -DC --defined-only "$1/libkiv_engine.so" | grep -E ' [TW] (cv|fmt|spdlog|Json|hwy)::' || true)
  [ -z "$foreign" ] || { echo "exported: $foreign"; return 1; }
}

# Every installed header compiles alone, found the way that its users find it.
check_headers() {
  local prefix=$1 pc=$2 header name
  while read -r header; do
    name=${header#"$prefix"/include/}
    name=${name/#kiv\/engine\//engine/}
    # shellcheck disable=SC2046
    echo "#include \"$name\"" | g++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror -x c++ \
      $(PKG_CONFIG_PATH=$pc pkg-config --cflags kiv) - || { echo "$name does not compile alone"; return 1; }
  done < <(find "$prefix/include/kiv" -name '*.h' -not -path '*/theirs/*')
}
