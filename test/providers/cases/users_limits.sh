# shellcheck shell=sh
# Accounts with one number twice and a second root; a directory server that is
# dead; password fields that must stay where they are.

stable_users_limits() { sed '/^lookup.unknown_user_ms: /d'; }

tree_users_limits() {
  put "$1/proc/self/limits" 'Limit                     Soft Limit           Hard Limit           Units     \nMax locked memory         65536                unlimited            bytes     \n'
  put "$1/etc/passwd" 'root:x:0:0:root:/root:/bin/bash\ntoor:hunter2:0:0:Bourne-again Superuser:/root:\nmunge:x:992:990:secret name:/var/run/munge:/sbin/nologin\n+@staff::::::\nslurm:x:992:991::/:/bin/sh\n'
  put "$1/etc/group" 'root:x:0:\nmunge:hunter2:990:alice,bob\n'
  put "$1/etc/security/limits.d/99-rdma.conf" '# for the fabric\n\n* hard memlock unlimited\n'
  # shellcheck disable=SC2016 # the text is a script
  put_tool "$scratch/getent/getent" 'case $*:$# in
passwd:1) echo "root:x:0:0:::"; echo "ldap1:x:2001:2001:::"; echo "ldap2:x:2002:2001:::" ;;
*) exit 2 ;; esac'
  put_tool "$scratch/getent-dead/getent" 'trap "" TERM; sleep 30'
  mkdir -p "$1-none/proc/self"
}

test_users_limits() {
  shell="env ZELK_PROVIDER_PATH=$scratch/getent:/usr/sbin:/usr/bin:/sbin:/bin"
  check "limits: as the kernel has them" gives 0 users_limits \
    "/proc/self/limits: Max locked memory         65536                unlimited            bytes     "
  check "limits: where they are set" gives 0 users_limits \
    "/etc/security/limits.d/99-rdma.conf: * hard memlock unlimited"
  check "users: name and numbers" gives 0 users_limits "user: munge 992 990"
  check "users: a number twice" gives 0 users_limits "users.shared_numbers: 2"
  check "users: a second root" gives 0 users_limits "users.with_number_0: 2"
  check "users: no entry for a directory" gives 0 users_limits "users.count: 4"
  check "groups: name and number" gives 0 users_limits "group: munge 990"
  check "users: no passwords, names or members" lacks users_limits 'hunter2\|secret\|alice\|Bourne'
  check "users: one that nobody knows" gives 0 users_limits "lookup.unknown_user: unknown"
  check "users: those of the directory too" gives 0 users_limits "users.known: 3"
  check "groups: a list that fails is not known" gives 0 users_limits \
    "unreadable: groups.known: getent: exit status 2"
  shell="env ZELK_PROVIDER_PATH=$scratch/getent-dead:/usr/sbin:/usr/bin:/sbin:/bin"
  check "users: a dead directory server is a finding" gives 0 users_limits \
    "lookup.unknown_user: no answer in 5 s"
  check "users: a dead directory server is not asked again" gives 0 users_limits \
    "unreadable: users.known: no answer in 5 s"
  shell=
  tree=users_limits-none
  check "limits: a kernel without" gives 80 users_limits
  put "$trees/$tree/proc/self/limits" 'Limit\n'
  check "users: without their file nobody is counted" gives 83 users_limits \
    "unreadable: users.count: /etc/passwd: No such file or directory"
  check "users: not even nobody" lacks users_limits '^users.count'
}
