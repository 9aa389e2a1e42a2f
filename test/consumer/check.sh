#!/usr/bin/env bash
# Installs the release build into an empty folder, builds the example host from what is installed
# alone, by the CMake package and by pkg-config, runs it, and uninstalls. Run from anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source test/consumer/installed.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --preset release >/dev/null
cmake --build --preset release | tail -n 1
# Somebody else's file in a folder that we share, and in one of ours.
mkdir -p "$work/prefix/include/kiv/theirs"
touch "$work/prefix/include/theirs.h" "$work/prefix/include/kiv/theirs/own.h"
theirs=$(find "$work/prefix" ! -type d | sort)
cmake --install build/release --prefix "$work/prefix" >/dev/null

check_installed "$work/prefix" "$PWD/samples/city.mp4" "$work"

cmake --build build/release --target uninstall >/dev/null
left=$(find "$work/prefix" ! -type d | sort)
[ "$left" = "$theirs" ] || { echo "the uninstall left or took: $(diff <(echo "$theirs") <(echo "$left"))"; exit 1; }
# Of our folders only the one that somebody else uses is left.
[ "$(find "$work/prefix" -type d -name 'kiv')" = "$work/prefix/include/kiv" ]
echo "the installed files work, and the uninstall takes exactly them"
