# shellcheck shell=sh
# Stand-ins for the loader's tool and a compiler.

seconds_libs_tools=4

tree_libs_tools() {
  put "$1/etc/os-release" 'ID=test\n'
  libs_tools=$scratch/libs_tools
  mkdir -p "$libs_tools"
  for tool in timeout env awk sort cut sleep; do ln -s "$(command -v "$tool")" "$libs_tools/$tool"; done
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
  check "libs: it is named, with the reason" gives 83 libs_tools "unreadable: git: no answer in 5 s"
  cp -R "$libs_tools" "$scratch/libs_hung"
  for tool in ldconfig perl python3 clang ld make cmake openssl mpirun apptainer singularity nvcc hipcc \
    rsync slurmd getconf ssh ucx_info fi_info; do
    put_tool "$scratch/libs_hung/$tool" 'trap "" TERM; echo 1.0; sleep 30'
  done
  shell="env ZELK_PROVIDER_PATH=$scratch/libs_hung"
  check "libs: many tools that hang end before the time-out" gives_up_hung_tools
  tree=
  check "libs: a tool that is a link to a mount that never answers" tells_stuck_tool
  tree=libs_tools
  shell="env MODULEPATH=/nfs ZELK_PROVIDER_PATH=$libs_tools"
  rm "$libs_tools/git"
  check "libs: a version" gives 0 libs_tools "gcc:  gcc (X) 12.2.0"
  check "libs: a failure is no version" gives 0 libs_tools "failed: mpirun: error: no such thing 4.1"
  check "libs: nor a line of its own" lacks libs_tools '^mpirun'
  check "libs: the user's environment stays outside" gives 0 libs_tools \
    "perl: home / libraries unset modules unset"
  check "libs: a tool that is not there" gives 0 libs_tools "missing: nvcc"
  put_tool "$libs_tools/ldconfig" 'exit 1'
  check "libs: a loader's tool that fails tells no libraries" gives 0 libs_tools \
    "unreadable: library: ldconfig: exit status 1"
  check "libs: nor how many there are" gives 0 libs_tools \
    "unreadable: libraries.count: ldconfig: exit status 1"
  shell=
}

# Half of a minute is left for what cannot be ended. Each is named once, by the
# word that its version would have stood behind.
gives_up_hung_tools() {
  run libs_tools
  [ "$status" -eq 83 ] || { echo "status $status"; return 1; }
  [ "$ticks" -lt 4000 ] || { echo "took $ticks hundredths of a second"; return 1; }
  for tool in ldconfig perl python3 clang ld make cmake git openssl mpirun apptainer singularity nvcc \
    hipcc rsync slurm libc ssh ucx libfabric; do
    [ "$(grep -c "^unreadable: $tool: no" "$scratch/out")" -eq 1 ] || { echo "$tool:"; cat "$scratch/out"; return 1; }
  done
  grep -q -x 'gcc:  gcc (X) 12.2.0' "$scratch/out" || { echo "the one that answers is not there"; return 1; }
  ! grep '1\.0\|^libraries.count' "$scratch/out"
}

tells_stuck_tool() {
  mkdir -p "$scratch/stuck"
  cp -R "$libs_tools" "$scratch/libs_stuck"
  rm "$scratch/libs_stuck/git"
  ln -s "$scratch/stuck/mpirun" "$scratch/libs_stuck/cmake"
  timeout 60 "$here/stuck_mount.py" "$scratch/stuck" env "ZELK_PROVIDER_PATH=$scratch/libs_stuck" \
    "$share/libs_tools/libs_tools.sh" >"$scratch/out" 2>"$scratch/err"
  status=$?
  if [ "$status" -eq 77 ]; then echo "skipped: no root or no FUSE"; return 0; fi
  [ "$status" -eq 83 ] || { echo "status $status"; cat "$scratch/err"; return 1; }
  grep -q -x 'unreadable: cmake: no answer in 5 s' "$scratch/out" || { cat "$scratch/out"; return 1; }
  grep -q -x 'gcc:  gcc (X) 12.2.0' "$scratch/out" || { echo "gcc is not there"; return 1; }
}
