# shellcheck shell=sh
# A server of 512 threads on which two processors may not sleep deeply; a
# machine that knows neither idle states nor threads.

tree_cpuidle_smt() {
  cpus=$1/sys/devices/system/cpu
  put "$cpus/smt/control" 'on\n'
  put "$cpus/smt/active" '1\n'
  put "$cpus/cpuidle/current_driver" 'intel_idle\n'
  put "$cpus/cpuidle/current_governor_ro" 'menu\n'
  cpu=0
  while [ "$cpu" -lt 512 ]; do
    state=0
    for name in POLL C1 C1E C6; do
      mkdir -p "$cpus/cpu$cpu/cpuidle/state$state"
      echo "$name" >"$cpus/cpu$cpu/cpuidle/state$state/name"
      echo $((state * state * 10)) >"$cpus/cpu$cpu/cpuidle/state$state/latency"
      echo 0 >"$cpus/cpu$cpu/cpuidle/state$state/disable"
      state=$((state + 1))
    done
    cpu=$((cpu + 1))
  done
  echo 1 >"$cpus/cpu99/cpuidle/state3/disable"
  echo 1 >"$cpus/cpu100/cpuidle/state3/disable"
  mkdir -p "$1-none/sys/devices/system/cpu/cpu0"
  put "$1-smt/sys/devices/system/cpu/smt/control" 'forceoff\n'
}

test_cpuidle_smt() {
  check "cpuidle: 512 CPUs" gives_quickly 0 cpuidle_smt "cpuidle.state3.name: 0-511: C6"
  check "cpuidle: two with a state switched off" gives 0 cpuidle_smt "cpuidle.state3.disable: 99-100: 1"
  check "cpuidle: the rest" gives 0 cpuidle_smt "cpuidle.state3.disable: 0-98,101-511: 0"
  check "cpuidle: threads" gives 0 cpuidle_smt "/sys/devices/system/cpu/smt/control: on"
  tree=cpuidle_smt-smt
  check "cpuidle: no idle states" gives 0 cpuidle_smt "missing: /sys/devices/system/cpu/cpuidle"
  tree=cpuidle_smt-none
  check "cpuidle: neither" gives 80 cpuidle_smt
}
