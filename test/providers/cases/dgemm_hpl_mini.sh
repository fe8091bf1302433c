# shellcheck shell=sh
# See stream_triad.sh.

statuses_dgemm_hpl_mini="0 81"
seconds_dgemm_hpl_mini=20
tools_dgemm_hpl_mini=none
export DGEMM_SIZE=240 DGEMM_SECONDS=0.1

stable_dgemm_hpl_mini() { sed -e '/^clock\.governor: /d' -e 's/: .*//'; }

tree_dgemm_hpl_mini() {
  put "$1/sys/class/hwmon/hwmon0/name" 'coretemp\n'
  put "$1/sys/class/hwmon/hwmon0/temp1_input" '61500\n'
  put "$1/proc/meminfo" 'MemAvailable:    2097152 kB\n'
  put "$1-small/proc/meminfo" 'MemAvailable:    2048 kB\n'
}

test_dgemm_hpl_mini() {
  if [ ! -x "$share/dgemm_hpl_mini/dgemm_hpl_mini_probe" ]; then
    check "arithmetic: not built" gives 81 dgemm_hpl_mini
    return
  fi
  tree=
  check "arithmetic: every product is checked" gives 0 dgemm_hpl_mini "dgemm.wrong: 0"
  for kernel in avx512 avx2 plain; do
    shell="env DGEMM_KERNEL=$kernel"
    run dgemm_hpl_mini
    if [ "$status" -eq 2 ] && [ "$kernel" != plain ]; then
      skip "arithmetic: kernel $kernel" "this processor lacks it"
    else
      check "arithmetic: kernel $kernel" gives 0 dgemm_hpl_mini "dgemm.kernel: $kernel"
      check "arithmetic: kernel $kernel is right" gives 0 dgemm_hpl_mini "dgemm.wrong: 0"
    fi
  done
  shell="env DGEMM_SIZE=100"
  check "arithmetic: a size is rounded up" gives 0 dgemm_hpl_mini "dgemm.size: 120"
  for wrong in DGEMM_KERNEL=mmx DGEMM_SIZE=big DGEMM_SECONDS=0; do
    shell="env $wrong"
    check "arithmetic: refuses $wrong" gives 2 dgemm_hpl_mini
  done
  shell=
  tree=dgemm_hpl_mini
  check "arithmetic: heat" gives 0 dgemm_hpl_mini "temperature.after: 61.5 °C"
  tree=dgemm_hpl_mini-small
  check "arithmetic: matrices that do not fit" gives 2 dgemm_hpl_mini
}
