#!/bin/sh
# Hashes of configuration files that should be equal on equal nodes. Contents
# never leave the node.
#
# The variable FILES, which an option set may set, names more: absolute paths
# with blanks between them.

more_files=${FILES:-}
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout awk sh sha256sum

local_files='etc/chrony.conf etc/chrony/chrony.conf etc/default/grub etc/environment
  etc/exports etc/fstab etc/group etc/hosts etc/idmapd.conf etc/krb5.conf etc/ld.so.conf
  etc/ld.so.conf.d/*.conf etc/ldap.conf etc/login.defs etc/modprobe.d/*.conf
  etc/munge/munge.key etc/nfs.conf etc/nsswitch.conf etc/ntp.conf etc/pam.d/* etc/passwd
  etc/profile etc/profile.d/*.sh etc/resolv.conf etc/security/*.conf
  etc/security/limits.d/*.conf etc/selinux/config etc/shells etc/ssh/ssh_config
  etc/ssh/ssh_config.d/*.conf etc/ssh/ssh_known_hosts etc/ssh/sshd_config
  etc/ssh/sshd_config.d/*.conf etc/sssd/sssd.conf etc/sudoers etc/sysctl.conf
  etc/sysctl.d/*.conf etc/systemd/*.conf etc/udev/rules.d/*.rules'
# These folders are often links into a shared file system, which may be dead.
shared_files='etc/slurm/*.conf etc/slurm-llnl/*.conf'

# Looking for a file can hang as well as reading it, so the child does both.
hash_seconds=10
# shellcheck disable=SC2016 # the child expands these
hash_program='
  cd "$1/" || exit 1
  shift
  patterns=$*
  set --
  for file in $patterns; do [ -f "$file" ] && set -- "$@" "$file"; done
  [ $# -eq 0 ] || sha256sum "$@"
  exit 0'

# hash_group NAME PATTERN...: relative to the root.
hash_group() {
  group_name=$1
  shift
  group_output=$(bounded "$hash_seconds" sh -c "$hash_program" sh "$ROOT" "$@")
  if [ $? -eq 124 ]; then
    printf 'unreadable: %s: no answer in %s s\n' "$group_name" "$hash_seconds"
    incomplete "$group_name gave no answer in $hash_seconds s"
  fi
  [ -z "$group_output" ] || printf '%s\n' "$group_output" | awk '
    /^[0-9a-f]+  / { print "sha256: " $1 " /" substr($0, length($1) + 3); next }
    /^sha256sum: / {
      sub(/^sha256sum: (can.t open )?/, "")
      gsub(/\047/, "")
      print "unreadable: /" $0
      if ($0 !~ /: Permission denied$/) failed = 1
      next
    }
    { print "failed: sha256sum: " $0; failed = 1 }
    END { exit failed ? 83 : 0 }' || incomplete "$group_name"
}

# Patterns are for the child to expand, in its own folder.
set -f
# shellcheck disable=SC2086 # words on purpose
hash_group "files of /etc" $local_files
# shellcheck disable=SC2086 # words on purpose
hash_group "files of slurm" $shared_files
for file in $more_files; do
  case $file in
    /*) hash_group "$file" "${file#/}" ;;
    *) printf 'skipped: not an absolute path: %s\n' "$file" ;;
  esac
done
finish
