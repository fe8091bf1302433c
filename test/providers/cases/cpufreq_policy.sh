# shellcheck shell=sh
# A server with 4 processors under intel_pstate, one of which kept another
# governor; an AMD server of 512; a machine without cpufreq.

# put_policy FOLDER CPU DRIVER GOVERNOR
put_policy() {
  policy=$1/sys/devices/system/cpu/cpu$2/cpufreq
  put "$policy/scaling_driver" "$3\\n"
  put "$policy/scaling_governor" "$4\\n"
  put "$policy/scaling_min_freq" '800000\n'
  put "$policy/scaling_max_freq" '3600000\n'
  put "$policy/cpuinfo_min_freq" '800000\n'
  put "$policy/cpuinfo_max_freq" '3600000\n'
  put "$policy/scaling_cur_freq" '1234567\n'
}

tree_cpufreq_policy() {
  for cpu in 0 1 2 3; do put_policy "$1" "$cpu" intel_pstate performance; done
  put_policy "$1" 2 intel_pstate powersave
  pstate=$1/sys/devices/system/cpu/intel_pstate
  put "$pstate/status" 'active\n'
  put "$pstate/no_turbo" '0\n'
  put "$pstate/uevent" ''
  mkdir -p "$1-none/sys/devices/system/cpu/cpufreq" "$1-none/sys/devices/system/cpu/cpu0"
  cpu=0
  while [ "$cpu" -lt 512 ]; do
    policy=$1-big/sys/devices/system/cpu/cpu$cpu/cpufreq
    mkdir -p "$policy"
    echo amd-pstate-epp >"$policy/scaling_driver"
    echo performance >"$policy/scaling_governor"
    echo 3700000 >"$policy/scaling_max_freq"
    cpu=$((cpu + 1))
  done
}

test_cpufreq_policy() {
  check "cpufreq: one processor with another governor" \
    gives 0 cpufreq_policy "cpufreq.scaling_governor: 2: powersave"
  check "cpufreq: the others" gives 0 cpufreq_policy "cpufreq.scaling_governor: 0-1,3: performance"
  check "cpufreq: limits" gives 0 cpufreq_policy "cpufreq.scaling_max_freq: 0-3: 3600000"
  check "cpufreq: turbo" gives 0 cpufreq_policy "/sys/devices/system/cpu/intel_pstate/no_turbo: 0"
  check "cpufreq: not the frequency of the moment" lacks cpufreq_policy 1234567
  tree=cpufreq_policy-big
  chmod 000 "$trees/$tree/sys/devices/system/cpu/cpu511/cpufreq/scaling_governor"
  ! can_be_nobody || shell=$as_nobody
  check "cpufreq: 512 CPUs" gives_quickly 0 cpufreq_policy "cpufreq.scaling_driver: 0-511: amd-pstate-epp"
  check "cpufreq: a file for root only" gives 0 cpufreq_policy \
    "unreadable: /sys/devices/system/cpu/cpu511/cpufreq/scaling_governor: Permission denied"
  shell=
  tree=cpufreq_policy-none
  check "cpufreq: a machine without" gives 80 cpufreq_policy
}
