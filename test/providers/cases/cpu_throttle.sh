# shellcheck shell=sh
# Two packages of two cores, one package hot; counters of 512 processors that all
# differ; an older kernel without times; a processor that counts nothing.

put_throttle() {  # FOLDER CPU CORE PACKAGE
  throttle=$1/sys/devices/system/cpu/cpu$2/thermal_throttle
  mkdir -p "$throttle"
  echo "$3" >"$throttle/core_throttle_count"
  echo "$4" >"$throttle/package_throttle_count"
}

tree_cpu_throttle() {
  put_throttle "$1" 0 0 0
  put_throttle "$1" 1 0 0
  put_throttle "$1" 2 17 4000000000
  put_throttle "$1" 3 3 4000000000
  put "$1/sys/devices/system/cpu/cpu2/thermal_throttle/core_throttle_total_time_ms" '250\n'
  cpu=0
  while [ "$cpu" -lt 512 ]; do
    put_throttle "$1-big" "$cpu" "$cpu" 7
    cpu=$((cpu + 1))
  done
  mkdir -p "$1-none/sys/devices/system/cpu/cpu0/topology"
}

test_cpu_throttle() {
  check "throttle: the highest" gives 0 cpu_throttle "throttle.core_throttle_count_most: 17"
  check "throttle: a large count" gives 0 cpu_throttle "throttle.package_throttle_count_most: 4000000000"
  check "throttle: who" gives 0 cpu_throttle "throttle.package_throttle_count: 2-3: 4000000000"
  check "throttle: how many" gives 0 cpu_throttle "throttle.cpus_throttled: 2"
  check "throttle: time" gives 0 cpu_throttle "throttle.core_throttle_total_time_ms_most: 250"
  tree=cpu_throttle-big
  check "throttle: 512 CPUs" gives_quickly 0 cpu_throttle "throttle.core_throttle_count_most: 511"
  check "throttle: no time on older kernels" lacks cpu_throttle time_ms
  tree=cpu_throttle-none
  check "throttle: not counted" gives 80 cpu_throttle
}
