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
need_tools timeout env awk sort

# The loader's cache is one local file. musl has no such cache, and its
# `ldconfig` may be a script that says nothing.
if ask_tool ldconfig -p; then
  # shellcheck disable=SC2016 # the dollars belong to awk
  printf '%s\n' "$tool_output" | awk '
    / => \// { sub(/^[ \t]+/, ""); print "library: " $0; count++ }
    END { print "libraries.count: " count + 0 }' | sort
fi

# version_of SOURCE COMMAND ARGUMENT...: the first line that is not empty.
version_of() {
  version_source=$1
  shift
  command -v "$1" >/dev/null 2>&1 || { missing "$1"; return 0; }
  ask_tool "$@"
  # What a tool that failed says is no version.
  [ "$tool_status" -eq 0 ] || version_source="failed: $1"
  printf '%s\n' "$tool_output" | awk -v source="$version_source" '
    /[^ \t\r]/ { sub(/[ \t\r]+$/, ""); print source ": " $0; exit }'
}

for tool in bash perl python3 gcc gfortran clang ld make cmake git openssl mpirun \
  apptainer singularity nvcc hipcc rsync; do
  case $tool in
    openssl) version_of "$tool" "$tool" version ;;
    *) version_of "$tool" "$tool" --version ;;
  esac
done
version_of slurm slurmd -V
version_of libc getconf GNU_LIBC_VERSION
version_of ssh ssh -V
version_of ucx ucx_info -v
version_of libfabric fi_info --version
finish
