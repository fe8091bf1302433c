# shellcheck shell=sh
# Accounts with one number twice and a second root; a directory server that is
# dead; password fields that must stay where they are.

stable_users_limits() { sed '/^lookup.unknown_user_ms: /d'; }

tree_users_limits() {
  put "$1/proc/self/limits" 'Limit                     Soft Limit           Hard Limit           Units     \nMax locked memory         65536                unlimited            bytes     \n'
  put "$1/etc/passwd" 'root:x:0:0:root:/root:/bin/bash\ntoor:hunter2:0:0:Bourne-again Superuser:/root:\nmunge:x:992:990:secret name:/var/run/munge:/sbin/nologin\n+@staff::::::\nslurm:x:992:991::/:/bin/sh\n'
  put "$1/etc/group" 'root:x:0:\nmunge:hunter2:990:alice,bob\n'
  put "$1/etc/security/limits.d/99-rdma.conf" '# for the fabric\n\n* hard memlock unlimited\n'
  put_tool "$scratch/getent/getent" 'exit 2'
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
  shell="env ZELK_PROVIDER_PATH=$scratch/getent-dead:/usr/sbin:/usr/bin:/sbin:/bin"
  check "users: a dead directory server is a finding" gives 0 users_limits \
    "lookup.unknown_user: no answer in 5 s"
  shell=
  tree=users_limits-none
  check "limits: a kernel without" gives 80 users_limits
}
