# shellcheck shell=sh
# A stand-in for systemctl, of a version that marks failed units with a dot.

tree_services() {
  mkdir -p "$1/run/systemd/system" "$1-other/run"
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/systemctl/systemctl" 'case "$*" in
  *--state=failed*) echo "● munge.service loaded failed failed MUNGE authentication service" ;;
  *--type=service*) printf "  sshd.service     loaded    active   running OpenSSH server daemon\n● munge.service loaded failed failed MUNGE\n● nfs.service not-found inactive dead nfs.service\n  getty@tty1.service loaded active running Getty on tty1\n" ;;
  *list-unit-files*) printf "sshd.service                 enabled         enabled\nfirewalld.service masked enabled\n" ;;
esac'
  put_tool "$scratch/systemctl-dead/systemctl" 'echo "Failed to connect to bus: Connection refused" >&2; exit 1'
}

with_systemctl() { shell="env ZELK_PROVIDER_PATH=$scratch/$1:/usr/sbin:/usr/bin:/sbin:/bin"; }

test_services() {
  with_systemctl systemctl
  check "services: a failed one" gives 0 services "unit_failed: munge.service loaded failed"
  check "services: a running one" gives 0 services "service: sshd.service active running"
  check "services: an instance" gives 0 services "service: getty@tty1.service active running"
  check "services: at boot" gives 0 services "unit_file: sshd.service enabled"
  check "services: masked" gives 0 services "unit_file: firewalld.service masked"
  with_systemctl systemctl-dead
  check "services: a manager that does not answer" gives 83 services \
    "failed: systemctl: Failed to connect to bus: Connection refused"
  mkdir "$scratch/no-systemctl"
  ln -s "$(command -v awk)" "$(command -v sort)" "$scratch/no-systemctl"
  shell="env ZELK_PROVIDER_PATH=$scratch/no-systemctl"
  check "services: systemd without its tool" gives 81 services
  shell=
  tree=services-other
  check "services: another init" gives 80 services
}
