#!/bin/sh
# Hashes of configuration files that should be equal on equal nodes. Contents
# never leave the node.
#
# The variable FILES, which an option set may set, names more: absolute paths
# with blanks between them. Any of them all may lead into a shared file system,
# which may be dead.

more_files=${FILES:-}
normal_refusals=
# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools timeout awk sh sha256sum
run_within 60

local_files='/etc/chrony.conf /etc/chrony/chrony.conf /etc/default/grub /etc/environment
  /etc/exports /etc/fstab /etc/group /etc/hosts /etc/idmapd.conf /etc/krb5.conf /etc/ld.so.conf
  /etc/ld.so.conf.d/*.conf /etc/ldap.conf /etc/login.defs /etc/modprobe.d/*.conf
  /etc/munge/munge.key /etc/nfs.conf /etc/nsswitch.conf /etc/ntp.conf /etc/pam.d/* /etc/passwd
  /etc/profile /etc/profile.d/*.sh /etc/resolv.conf /etc/security/*.conf
  /etc/security/limits.d/*.conf /etc/selinux/config /etc/shells /etc/ssh/ssh_config
  /etc/ssh/ssh_config.d/*.conf /etc/ssh/ssh_known_hosts /etc/ssh/sshd_config
  /etc/ssh/sshd_config.d/*.conf /etc/sssd/sssd.conf /etc/sudoers /etc/sysctl.conf
  /etc/sysctl.d/*.conf /etc/systemd/*.conf /etc/udev/rules.d/*.rules'
shared_files='/etc/slurm/*.conf /etc/slurm-llnl/*.conf'

# A folder that cannot be listed is told by its name. What is there and no file
# has no hash.
hash_seconds=5
# shellcheck disable=SC2016 # the child expands these
hash_program='
  case $file in
    *"*"*) [ -d "${file%/*}" ] && [ ! -r "${file%/*}" ] && echo ": Permission denied" && continue ;;
  esac
  if [ -f "$file" ] || [ ! -e "$file" ]; then sha256sum "$file" 2>&1; fi'

# Patterns are for the child to expand.
set -f
# shellcheck disable=SC2086 # words on purpose
set -- $local_files $shared_files $more_files
for file in "$@"; do
  shift
  case $file in
    /*) set -- "$@" "$file" ;;
    *) printf 'skipped: not an absolute path: %s\n' "$file" ;;
  esac
done
# shellcheck disable=SC2016 # the dollars belong to awk
in_turn "$hash_seconds" "$hash_program" "$@" |
  awk -v named=" $more_files " -v normal="$normal_refusals" '
    /^\003/ { path = substr($0, 2); next }
    /^\004/ { print "unreadable: " substr($0, 2); failed = 1; next }
    /^\\?[0-9a-f]+ / { sub(/^\\/, ""); print path ": sha256 " $1; next }
    {
      message = $0
      while ((colon = index(message, ": ")) > 0) message = substr(message, colon + 2)
      if (tolower(message) ~ /^no such file/) {
        if (index(named, " " path " ")) print "missing: " path
        next
      }
      if (path ~ /\*/) sub(/\/[^\/]*$/, "", path)
      print "unreadable: " path ": " message
      if (message !~ normal) failed = 1
    }
    END { exit failed ? 83 : 0 }' || incomplete "a file gave no answer or an error"
finish
