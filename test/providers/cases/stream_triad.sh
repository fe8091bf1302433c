# shellcheck shell=sh
# The program is built with the product, so that it is only in an installed
# tree; elsewhere the script has to say so. Figures are judged by
# bench/performance_providers.sh.

statuses_stream_triad="0 81"
seconds_stream_triad=20
tools_stream_triad=none
# For all runs of these tests: small and quick.
export STREAM_ARRAY_MIB=8 STREAM_SECONDS=0.2

# Which lines there are is the same each time, their figures are not.
stable_stream_triad() { sed -e '/^clock\.governor: /d' -e 's/: .*//'; }

# Two sockets of one core each, as far as this machine has two processors.
tree_stream_triad() {
  put_each '0\n' "$1/sys/devices/system/cpu/cpu0/topology/physical_package_id"
  put_each '1\n' "$1/sys/devices/system/cpu/cpu1/topology/physical_package_id"
  for cpu in 0 1; do
    put "$1/sys/devices/system/cpu/cpu$cpu/topology/thread_siblings_list" "$cpu\\n"
    put "$1/sys/devices/system/cpu/cpu$cpu/cpufreq/scaling_cur_freq" '3500000\n'
    put "$1/sys/devices/system/cpu/cpu$cpu/cpufreq/scaling_governor" 'performance\n'
  done
  put "$1/proc/meminfo" 'MemAvailable:    2097152 kB\n'
  put "$1-small/proc/meminfo" 'MemAvailable:    20480 kB\n'
}

test_stream_triad() {
  if [ ! -x "$share/stream_triad/stream_triad_probe" ]; then
    check "bandwidth: not built" gives 81 stream_triad
    return
  fi
  tree=
  check "bandwidth: every result is checked" gives 0 stream_triad "stream.node.wrong: 0"
  check "bandwidth: no figure is zero" no_figure_is_zero
  check "bandwidth: one processor" one_processor
  tree=stream_triad
  if [ "$(nproc)" -gt 1 ]; then
    check "bandwidth: the first socket" gives 0 stream_triad "stream.socket.0.threads: 1"
    check "bandwidth: the second socket" gives 0 stream_triad "stream.socket.1.wrong: 0"
  else
    skip "bandwidth: sockets" "one processor"
  fi
  check "bandwidth: the clock" gives 0 stream_triad "clock.told.most: 3500 MHz"
  check "bandwidth: the governor" gives 0 stream_triad "clock.governor: performance"
  tree=stream_triad-small
  check "bandwidth: arrays that do not fit" gives 2 stream_triad
  shell="env STREAM_ARRAY_MIB=0"
  check "bandwidth: arrays fitted to the memory" gives 0 stream_triad "stream.node.array: 2 MiB"
  tree=
  for wrong in STREAM_SECONDS=soon STREAM_TIMES=1 STREAM_ARRAY_MIB=-1; do
    shell="env $wrong"
    check "bandwidth: refuses $wrong" gives 2 stream_triad
  done
}

no_figure_is_zero() {
  run stream_triad
  [ "$(grep -c 'best: ' "$scratch/out")" -ge 8 ] || { echo "figures are missing"; return 1; }
  if grep -E 'best: (0\.0|-|.*(nan|inf))' "$scratch/out"; then return 1; fi
}

one_processor() {
  have taskset || { echo "no taskset"; return 1; }
  shell="taskset -c 0"
  gives 0 stream_triad "stream.node.threads: 1"
  result=$?
  shell=
  return "$result"
}
