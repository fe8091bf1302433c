# shellcheck shell=sh
# See stream_triad.sh.

statuses_latency_jitter="0 81"
seconds_latency_jitter=20
tools_latency_jitter=none
export JITTER_SECONDS=0.2

stable_latency_jitter() { sed -e '/^clock\.governor: /d' -e 's/: .*//'; }

test_latency_jitter() {
  if [ ! -x "$share/latency_jitter/latency_jitter_probe" ]; then
    check "jitter: not built" gives 81 latency_jitter
    return
  fi
  tree=
  check "jitter: all processors" gives 0 latency_jitter "jitter.cpus: $(nproc)"
  check "jitter: figures are in order" jitter_is_in_order
  shell="env JITTER_SECONDS=long"
  check "jitter: refuses no duration" gives 2 latency_jitter
}

jitter_is_in_order() {
  run latency_jitter
  for kind in quantum wakeup fork_exec; do
    sed -n "s/^jitter\.$kind\.\(least\|median\|p99\|p99_9\|most\): \([0-9.]*\) us$/\2/p" \
      "$scratch/out" >"$scratch/order"
    [ "$(wc -l <"$scratch/order")" -eq 5 ] || { echo "$kind: not five figures"; return 1; }
    sort -g -c "$scratch/order" || return 1
  done
}
