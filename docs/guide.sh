#!/usr/bin/env bash
# Keeps the code in the guides true. A comment before a block of code says what the block is:
#
#   <!-- new: PATH -->      the whole of a new file
#   <!-- change: PATH -->   a change to a file, as the lines of a diff: what stays or goes, in one piece,
#                           is looked for in the file; a line of it need not be the whole line
#   <!-- part: PATH -->     a piece that stands in the file as it is
#
#   guide.sh check GUIDE        fails when a part is not in its file. Run from the repository root.
#   guide.sh apply GUIDE TREE   writes the new files, makes the changes
set -euo pipefail
mode=$1 guide=$2 tree=${3:-.}
awk -v mode="$mode" -v tree="$tree" -v guide="$guide" '
  function fail(why) { print guide ":" FNR ": " why > "/dev/stderr"; failed = 1; exit 1 }
  function read(path,   text, line, got) {
    while ((got = (getline line < path)) > 0) text = text line "\n"
    if (got < 0) fail("there is no file " path)
    close(path)
    return text
  }
  function write(path, text,   folder) {
    folder = path; sub(/\/[^\/]*$/, "", folder)
    if (system("mkdir -p \"" folder "\"") != 0) fail("cannot make " folder)
    printf "%s", text > path
    close(path)
  }
  function change(path,   text, at) {
    sub(/\n$/, "", before); sub(/\n$/, "", after)
    text = read(path); at = index(text, before)
    if (at == 0) fail("not in " path ": " before)
    write(path, substr(text, 1, at - 1) after substr(text, at + length(before)))
  }
  function finish() {
    done++
    if (kind == "part" && mode == "check" && index(read(tree "/" file), block) == 0) fail("this is not in " file)
    if (kind == "new" && mode == "apply") write(tree "/" file, block)
    if (kind == "change" && mode == "apply") change(tree "/" file)
    kind = ""
  }
  /^<!-- (new|change|part): [^ ]+ -->$/ { kind = substr($2, 1, length($2) - 1); file = $3; next }
  /^```/ && kind != "" && !inside { inside = 1; block = before = after = ""; next }
  /^```$/ && inside { inside = 0; finish(); next }
  inside {
    block = block $0 "\n"
    if ($0 !~ /^\+/) before = before substr($0, 2) "\n"
    if ($0 !~ /^-/) after = after substr($0, 2) "\n"
  }
  END { if (!failed && (inside || done == 0)) { print guide ": no code, or an open block" > "/dev/stderr"; exit 1 } }
' "$guide"
