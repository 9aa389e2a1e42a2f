#!/usr/bin/env bash
# Does what docs/node-authors.md says to a copy of the tree, builds the node, runs its test and renders
# with it; and compares the pieces of code in the other guides with their files. Run from anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
for guide in docs/embedding.md README.md; do bash docs/guide.sh check $guide; done

# Always the same folder: the compiler cache knows it the next time.
tree=$PWD/build/guide
rm -rf "$tree"
mkdir -p "$tree"
git ls-files -z | xargs -0 cp --parents -t "$tree"
bash docs/guide.sh apply docs/node-authors.md "$tree"
cd "$tree"
clang-format --dry-run -Werror kiv/flip/*.h kiv/flip/*.cpp test/flip/*.cpp kiv/platform/*.h kiv/chain/*.h
bash cmake/check-includes.sh kiv/flip/*.h kiv/flip/*.cpp
bash cmake/check-comments.sh kiv/flip/*.h

# Nothing here is measured, so nothing is optimized.
cmake -B build -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKIV_WERROR=ON -DKIV_BENCH=OFF >/dev/null
cmake --build build --target flip_test kiv_reference kivclip | tail -n 1
build/bin/flip_test
build/bin/kiv_reference keys | grep 'Flip.Enabled' >/dev/null

frame() { # frame NAME ARGUMENT...: one frame of the sample, as pixels
  local name=$1
  shift
  build/bin/kivclip render samples/city.mp4 --frames 50:50 --format bgra -o "$name" "$@" 2>/dev/null
}
frame plain
frame once --chain source,flip --settings flip.json
frame twice --chain source,flip,flip --settings flip.json
frame off --chain source,flip
frame option --chain source,flip --mirror
cmp plain twice
cmp plain off
cmp once option
if cmp -s plain once; then echo "the new node does nothing"; exit 1; fi
echo "the node author's guide works as it stands"
