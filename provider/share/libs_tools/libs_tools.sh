#!/bin/sh
# Shared libraries that the loader knows, and the versions of compilers, MPI and
# other tools in the system's own folders.
#
# Tools that a module system adds later, from a shared file system, are not
# looked for: that system may be dead.

tool_output=
tool_status=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout env awk sort cut
run_within 60

# The loader's cache is one local file. musl has no such cache, and its
# `ldconfig` may be a script that says nothing.
if ! ask_tool ldconfig -p; then
  libraries_reason="no ldconfig"
elif [ "$tool_status" -ne 0 ]; then
  libraries_reason="ldconfig: exit status $tool_status"
  [ "$tool_status" -ne 124 ] || libraries_reason="ldconfig gave no answer"
else
  libraries_reason=
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$tool_output" | awk '
    / => \// { sub(/^[ \t]+/, ""); print "library: " $0; count++ }
    END { print "libraries.count: " count + 0 }' | sort
fi
if [ -n "$libraries_reason" ]; then
  printf 'unreadable: library: %s\n' "$libraries_reason"
  printf 'unreadable: libraries.count: %s\n' "$libraries_reason"
fi

# version_of SOURCE COMMAND ARGUMENT...: the first line that is not empty.
version_of() {
  version_source=$1
  shift
  incomplete_reason=
  ask_tool "$@" >/dev/null || { missing "$1"; return 0; }
  case $tool_status in
    0) ;;
    124)
      printf 'unreadable: %s: %s\n' "$version_source" "${incomplete_reason#*: }"
      return 0
      ;;
    *)
      # What a tool that failed says is no version.
      version_source="failed: $1"
      printf '%s: exit status %s\n' "$version_source" "$tool_status"
      ;;
  esac
  printf '%s\n' "$tool_output" | awk -v source="$version_source" '
    /[^ \t\r]/ { sub(/[ \t\r]+$/, ""); print source ": " substr($0, 1, 500); exit }'
}

# Tools that hang would use up the time of those behind them, so some are asked
# at the same time. One write of a child is whole as long as it is short; the
# numbers bring them into their order.
tools_at_once=8
asked=0
ask_version() {
  asked=$((asked + 1))
  { version_lines=$(version_of "$@" | awk -v number="$asked" '{ print number, NR, $0 }')
    [ -z "$version_lines" ] || printf '%s\n' "$version_lines"; } &
  [ "$((asked % tools_at_once))" -ne 0 ] || wait
}

evidence=$(
  {
    for tool in bash perl python3 gcc gfortran clang ld make cmake git openssl mpirun \
      apptainer singularity nvcc hipcc rsync; do
      case $tool in
        openssl) ask_version "$tool" "$tool" version ;;
        *) ask_version "$tool" "$tool" --version ;;
      esac
    done
    ask_version slurm slurmd -V
    ask_version libc getconf GNU_LIBC_VERSION
    ask_version ssh ssh -V
    ask_version ucx ucx_info -v
    ask_version libfabric fi_info --version
    wait
  } | sort -k 1,1n -k 2,2n | cut -d ' ' -f 3-
)
printf '%s\n' "$evidence"
case $evidence in
  *"unreadable: "*)
    incomplete "no answer from $(printf '%s\n' "$evidence" |
      awk '/^unreadable: / { sub(/:$/, "", $2); printf "%s%s", comma, $2; comma = ", " }')"
    ;;
esac
finish
