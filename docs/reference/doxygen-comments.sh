#!/usr/bin/env bash
# doxygen-comments.sh HEADER: prints the header with its comments in doxygen's form, line for line.
#
# The comment at the top is the file's. Others belong to what follows them. "Threads:  any." and its
# like become paragraphs of that name, and what continues them loses its indentation.
awk '
  function escape(text) { gsub(/[@<>\\]/, "\\\\&", text); gsub(/#/, "\\#", text); return text }
  BEGIN { top = 1 }
  /^[ \t]*\/\/( |$)/ {
    match($0, /^[ \t]*/)
    indent = substr($0, 1, RLENGTH)
    text = substr($0, RLENGTH + 3)
    if (text ~ /^ (Units|Owns|Threads|Locks|Errors): /) {
      name = text; sub(/:.*/, "", name); sub(/^ /, "", name)
      sub(/^ [A-Z][a-z]*: */, "", text)
      text = " @par " name "^^" indent "/// " escape(text)
    } else {
      if (text ~ /^  /) sub(/^ +/, " ", text)
      text = escape(text)
    }
    if (top == 1) { text = " @file^^" indent "///" text; top = 2 }
    text = indent "///" text
    gsub(/\^\^/, "\n", text)
    print text
    next
  }
  { if (top == 2 || !/^[ \t]*$/) top = 0 }
  # A comment behind a member.
  /[;,)] +\/\/ / && !/"[^"]*\/\// { at = index($0, "// "); print substr($0, 1, at - 1) "///< " escape(substr($0, at + 3)); next }
  { print }
' "$1"
