#!/bin/sh
# Transparent huge pages, and the pools of explicit ones, also for each node.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools xargs grep awk

thp=$ROOT/sys/kernel/mm/transparent_hugepage
pools=$ROOT/sys/kernel/mm/hugepages
[ -d "$thp" ] || [ -d "$pools" ] || not_applicable "the kernel has no huge pages"
[ -d "$thp" ] || missing "${thp#"$ROOT"}"
[ -d "$pools" ] || missing "${pools#"$ROOT"}"

# Folder names hold their size in kB; `demote` can only be written, and the
# counters under stats/ grow all the time.
{
  for setting in enabled defrag shmem_enabled use_zero_page hpage_pmd_size \
    shrink_underused; do
    list_present "$thp/$setting"
  done
  list_present "$thp"/khugepaged/* "$thp"/hugepages-*/enabled \
    "$thp"/hugepages-*/shmem_enabled
  for setting in nr_hugepages nr_overcommit_hugepages free_hugepages \
    resv_hugepages surplus_hugepages; do
    list_present "$pools"/hugepages-*/"$setting"
  done
  for pool in "$pools"/hugepages-*; do
    list_numbered "$ROOT/sys/devices/system/node/node" \
      "hugepages/${pool##*/}/nr_hugepages"
  done
} | print_files || incomplete "huge page files"
finish
