#!/bin/bash
# Runs clang-tidy over every source of the tree, on all cores.
#
#   tools/tidy.sh BUILD [FILE...]     BUILD holds compile_commands.json
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=${1:?the build folder}
shift
[ -f "$build/compile_commands.json" ] ||
  { echo "$build has no compile_commands.json" >&2; exit 1; }
if [ $# -eq 0 ]; then
  mapfile -t files < <(find src provider bench -name '*.cpp' | sort)
else
  files=("$@")
fi
# It counts the warnings of system headers that it does not show: left out.
printf '%s\0' "${files[@]}" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$build" \
    2> >(grep -v ' warnings\? generated\.$' >&2)
