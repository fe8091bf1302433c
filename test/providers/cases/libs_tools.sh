# shellcheck shell=sh
# Stand-ins for the loader's tool and a compiler.

seconds_libs_tools=4

tree_libs_tools() {
  put "$1/etc/os-release" 'ID=test\n'
  libs_tools=$scratch/libs_tools
  mkdir -p "$libs_tools"
  for tool in timeout env awk sort sleep; do ln -s "$(command -v "$tool")" "$libs_tools/$tool"; done
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$libs_tools/ldconfig" 'printf "2 libs found in cache\n\tlibz.so.1 (libc6,x86-64) => /lib64/libz.so.1\n\tliba.so (libc6) => /lib/a b.so\n"'
  put_tool "$libs_tools/gcc" 'printf "\n gcc (X) 12.2.0 \nCopyright\n"'
  put_tool "$libs_tools/mpirun" 'echo "error: no such thing 4.1" >&2; exit 2'
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$libs_tools/perl" 'echo "home $HOME libraries ${LD_LIBRARY_PATH:-unset} modules ${MODULEPATH:-unset}"'
  put_tool "$libs_tools/git" 'trap "" TERM; sleep 30'
}

test_libs_tools() {
  shell="env MODULEPATH=/nfs ZELK_PROVIDER_PATH=$libs_tools"
  check "libs: a library" gives 83 libs_tools "library: libz.so.1 (libc6,x86-64) => /lib64/libz.so.1"
  check "libs: a tool that hangs is ended, the rest is there" gives 83 libs_tools "libraries.count: 2"
  rm "$libs_tools/git"
  check "libs: a version" gives 0 libs_tools "gcc:  gcc (X) 12.2.0"
  check "libs: a failure is no version" gives 0 libs_tools "failed: mpirun: error: no such thing 4.1"
  check "libs: nor a line of its own" lacks libs_tools '^mpirun'
  check "libs: the user's environment stays outside" gives 0 libs_tools \
    "perl: home / libraries unset modules unset"
  check "libs: a tool that is not there" gives 0 libs_tools "missing: nvcc"
  shell=
}
