#!/usr/bin/env bash
# Installs the release build into an empty folder and builds the player against it, by the CMake
# package and by pkg-config. Run from anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --preset release -DCMAKE_INSTALL_PREFIX="$work/kiv" >/dev/null
cmake --build --preset release | tail -n 1
cmake --install build/release >/dev/null
cp -r test/consumer "$work/consumer"
clip=$PWD/samples/city.mp4
cd "$work"

cmake -S consumer -B by-cmake -G Ninja -DCMAKE_PREFIX_PATH="$work/kiv" >/dev/null
cmake --build by-cmake | tail -n 1
[ "$(by-cmake/player "$clip")" = "100 of 100 frames" ]

pc=$(dirname "$(find kiv -name kiv.pc)")
# shellcheck disable=SC2046
g++ -std=c++20 consumer/player.cpp -o player $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs kiv)
[ "$(LD_LIBRARY_PATH=$(dirname "$pc") ./player "$clip")" = "100 of 100 frames" ]
kiv/bin/kivclip frame "$clip" --at 50 -o frame.png
test -s frame.png
echo "the installed package works"
