#!/usr/bin/env bash
# Fails on a header that breaks the comment convention of CONTRIBUTING.md, as far as a program can tell.
# Run from the repository root.
# check-comments.sh [FILE ...]: the headers named, else every tracked one of the product.
set -euo pipefail
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files '*.h' | grep -E '^(kiv|engine|session|draw|cli)/')

awk '
  function complain(what) { print file ": " what; bad = 1 }
  function judge() {
    if (!file) return
    if (!hasSummary) complain("does not begin with a comment")
    if (!hasClass) return
    if (file ~ /^session\// && !isError) canFail = 1  # by exception
    if (!("Threads" in labels)) complain("declares a class and has no Threads: label")
    if (canFail && !("Errors" in labels)) complain("has operations that fail and no Errors: label")
    if (hasLock && !("Locks" in labels)) complain("has a lock and no Locks: label")
    if (holds && !("Owns" in labels)) complain("holds references and has no Owns: label")
  }
  FNR == 1 {
    judge()
    file = FILENAME; hasSummary = /^\/\/ /
    hasClass = isError = canFail = hasLock = holds = 0
    split("", labels)
  }
  /^ *\/\// {
    if (match($0, /^ *\/\/ (Units|Owns|Threads|Locks|Errors): +[^ ]/)) {
      label = $2; sub(/:$/, "", label); labels[label] = 1
    } else if ($0 ~ /[^A-Za-z`](Units|Owns|Threads|Locks|Errors): /) {
      complain(FNR ": a label begins its line: " $0)
    }
    next
  }
  /^ *class [^;]*$/ && !/enum class/ { hasClass = 1; if (/public std::[a-z_]*error/) isError = 1 }
  /^ *struct ([A-Z_]+ )?IKiv[A-Za-z]* *[:{]/ { hasClass = 1 }
  /(HRESULT|WriteError) [A-Z][A-Za-z]*\(/ { canFail = 1 }
  /^ +(mutable )?(std::(recursive_|shared_)?mutex|(kiv::|SimpleSync::)?C?[A-Za-z]*Mutex) +[A-Za-z]+_( KIV_[^;]*)?(\{[^;]*)?;/ { hasLock = 1 }
  /^ +(const )?(KivComPtr|NodeRef|std::(unique|shared)_ptr|std::thread|FILE|Av[A-Za-z]+Ptr|(Frame|Packet)Ptr)[<A-Za-z0-9_:, \t>*]* [A-Za-z]+_( KIV_[^;=]*)?( = [^;]*|\{[^;]*)?;/ { holds = 1 }
  END { judge(); exit bad }
' "${files[@]}"
