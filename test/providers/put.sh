# shellcheck shell=sh
# Files of recorded trees.

# put FILE TEXT: TEXT is a printf format; folders are made as needed.
put() {
  mkdir -p "${1%/*}"
  # shellcheck disable=SC2059 # the text is a format on purpose
  printf "$2" >"$1"
}

# put_each TEXT FILE...: copies of a file.
put_each() {
  text=$1
  shift
  for file in "$@"; do put "$file" "$text"; done
}

# put_tool FILE TEXT: a stand-in for a program, a shell script with this text.
put_tool() {
  mkdir -p "${1%/*}"
  printf '#!/bin/sh\n%s\n' "$2" >"$1"
  chmod 755 "$1"
}
