# shellcheck shell=sh
# Three modules, one being loaded and one from outside the kernel; a kernel with
# none; one that has no modules at all.

tree_modules() {
  put "$1/proc/modules" 'xfs 1556480 2 - Live 0x0000000000000000\nmlx5_core 2200000 1 mlx5_ib, Live 0x0000000000000000 (OE)\nnfs 500000 0 - Loading 0x0000000000000000\n'
  put "$1/sys/module/mlx5_core/version" '24.10-1.1.4\n'
  put "$1/sys/module/mlx5_core/srcversion" 'ABCDEF0123456789\n'
  put "$1/sys/module/mlx5_core/taint" 'OE\n'
  put "$1/sys/module/kernel_builtin/version" '9.9\n'
  put "$1/proc/sys/kernel/tainted" '12288\n'
  put "$1-empty/proc/modules" ''
  mkdir -p "$1-none/proc"
}

test_modules() {
  check "modules: a name" gives 0 modules "module: xfs"
  check "modules: a version" gives 0 modules "/sys/module/mlx5_core/version: 24.10-1.1.4"
  check "modules: what is not loaded is left out" lacks modules kernel_builtin
  check "modules: one being loaded" gives 0 modules "module_state: nfs Loading"
  check "modules: taint" gives 0 modules "/proc/sys/kernel/tainted: 12288"
  check "modules: no address" lacks modules 0x0
  tree=modules-empty
  check "modules: none loaded" gives 0 modules "modules.count: 0"
  tree=modules-none
  check "modules: a kernel without" gives 80 modules
}
