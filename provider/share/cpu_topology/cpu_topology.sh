#!/bin/sh
# Sockets, cores, threads, caches and NUMA nodes of the processors.
#
# The kernel's files come first, since lscpu is not on every node and words its
# summary differently from version to version; what it says follows them.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk

cpus=$ROOT/sys/devices/system/cpu
need_file /sys/devices/system/cpu/present

# All caches of 512 processors would be 8000 files; those of one show their
# kinds and sizes, and which processors share them.
list_first_cpu_caches() {
  for cpu in "$cpus"/cpu[0-9] "$cpus"/cpu[0-9][0-9] "$cpus"/cpu[0-9][0-9][0-9]; do
    [ -d "$cpu/cache/index0" ] || continue
    list_numbered "$cpu/cache/index" level type size ways_of_associativity \
      coherency_line_size shared_cpu_list
    return
  done
}

evidence=$(
  {
    list_present "$cpus/possible" "$cpus/present" "$cpus/online" "$cpus/offline" \
      "$cpus/isolated" "$cpus/nohz_full" "$cpus/smt/control" "$cpus/smt/active"
    list_present "$ROOT/sys/devices/system/node/online"
    list_numbered "$ROOT/sys/devices/system/node/node" cpulist
    list_first_cpu_caches
    list_numbered "$cpus/cpu" online topology/physical_package_id topology/die_id \
      topology/core_id topology/thread_siblings_list
  } | print_files
) || incomplete "files of /sys/devices/system/cpu"
printf '%s\n' "$evidence"

# Counts over the processors that are online; an offline one has no topology.
# shellcheck disable=SC2016 # the dollars belong to awk
printf '%s\n' "$evidence" | awk '
  /\/cpu[0-9]+\/topology\/physical_package_id: / {
    package = $2
    if (!(package in packages)) { packages[package]; package_count++ }
    cpu_count++
  }
  /\/topology\/die_id: / { die = $2 }
  /\/topology\/core_id: / {
    core = package " " die " " $2
    if (!(core in threads)) core_count++
    if (++threads[core] > most_threads) most_threads = threads[core]
  }
  /\/node[0-9]+\/cpulist: / { node_count++ }
  END {
    for (core in threads)
      if (!least_threads || threads[core] < least_threads) least_threads = threads[core]
    print "topology.cpus: " cpu_count + 0
    print "topology.packages: " package_count + 0
    print "topology.cores: " core_count + 0
    print "topology.threads_per_core_least: " least_threads + 0
    print "topology.threads_per_core_most: " most_threads + 0
    print "topology.numa_nodes: " node_count + 0
  }'

run_tool lscpu
finish
