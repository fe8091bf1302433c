# shellcheck shell=sh
# A port of each kind. Made after the kernel's documentation of these files; not
# seen on real hardware.

tree_ib_counters() {
  port=$1/sys/class/infiniband/mlx5_0/ports/1
  put "$port/counters/symbol_error" '12\n'
  put "$port/counters/link_downed" '3\n'
  put_each '0\n' "$port/counters/link_error_recovery" "$port/counters/port_rcv_errors" \
    "$port/counters/port_xmit_discards" "$port/counters/excessive_buffer_overrun_errors"
  put_each '987654321\n' "$port/counters/port_rcv_data" "$port/counters/port_xmit_packets" \
    "$port/counters/unicast_rcv_packets" "$port/hw_counters/rx_read_requests" \
    "$port/counters/VL15_dropped"
  put "$port/counters/VL15_dropped" '0\n'
  put "$port/hw_counters/out_of_sequence" '77\n'
  put "$port/hw_counters/lifespan" '10\n'
  put_each '0\n' "$1-clean/sys/class/infiniband/hfi1_0/ports/1/counters/symbol_error" \
    "$1-clean/sys/class/infiniband/hfi1_0/ports/1/counters/link_downed"
  mkdir -p "$1-empty/sys/class/infiniband" "$1-none/sys/class"
}

stable_ib_counters() { sed 's/: [0-9]*$//'; }

test_ib_counters() {
  port=/sys/class/infiniband/mlx5_0/ports/1
  check "port errors: symbols" gives 0 ib_counters "$port/counters/symbol_error: 12"
  check "port errors: link" gives 0 ib_counters "$port/counters/link_downed: 3"
  check "port errors: of the hardware" gives 0 ib_counters "$port/hw_counters/out_of_sequence: 77"
  check "port errors: nothing of use" lacks ib_counters 987654321
  check "port errors: no setting" lacks ib_counters lifespan
  tree=ib_counters-clean
  check "port errors: none so far" gives 0 ib_counters \
    "/sys/class/infiniband/hfi1_0/ports/1/counters/symbol_error: 0"
  tree=ib_counters-empty
  check "port errors: no port" gives 80 ib_counters
  tree=ib_counters-none
  check "port errors: none" gives 80 ib_counters
}
