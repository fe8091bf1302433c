# What the hosts find in their /etc, and the keys. Sourced by cluster.sh.
# shellcheck shell=bash disable=SC2154  # cluster.sh has the variables

write_files() {
  mkdir -p "$dir"/{keys,log,hosts,shared,etc/ssh,home/root,home/ada/.ssh}
  chmod 755 "$dir" "$dir"/home "$dir"/keys
  chmod 1777 "$dir/shared"
  echo "$1" >"$dir/size"
  write_keys
  write_names
  write_accounts
  write_ssh_files
}

# One host key for all, so that one line tells every client that it is right.
write_keys() {
  local name
  for name in host user other_host; do
    ssh-keygen -q -t ed25519 -N '' -C "cluster $name" -f "$dir/keys/$name"
  done
  mkdir -p "$dir/home/root/.ssh"
  cp "$dir/keys/user" "$dir/home/root/.ssh/id_ed25519"
  cp "$dir/keys/user" "$dir/home/ada/.ssh/id_ed25519"
  chmod 700 "$dir"/home/*/.ssh
}

write_names() {
  local name
  echo "127.0.0.1 localhost" >"$dir/etc/hosts"
  for name in $(all_names); do
    echo "$(address_of "$(number_of "$name")") $name"
  done >>"$dir/etc/hosts"
  # No name server: a name that is not in the file is unknown at once.
  printf '%s: files\n' passwd group shadow hosts services protocols >"$dir/etc/nsswitch.conf"
}

# The machine's accounts with another home for root, whose shell start-up files
# are no part of a test, and a user for tests of permissions.
write_accounts() {
  sed 's|^\(root:[^:]*:0:0:[^:]*:\)[^:]*:[^:]*$|\1/run/cluster/home/root:/bin/bash|' \
    /etc/passwd >"$dir/etc/passwd"
  echo "ada:x:64999:64999::/run/cluster/home/ada:/bin/bash" >>"$dir/etc/passwd"
  { cat /etc/group && echo "ada:x:64999:"; } >"$dir/etc/group"
  # "*": no password fits, and the account is not locked as with "!".
  (umask 077 && cut -d: -f1 "$dir/etc/passwd" | sed 's/$/:*:19000:0:99999:7:::/' >"$dir/etc/shadow")
  chown -R 64999:64999 "$dir/home/ada"
}

write_ssh_files() {
  echo "* $(cut -d' ' -f1,2 "$dir/keys/host.pub")" >"$dir/etc/ssh/ssh_known_hosts"
  mkdir -p "$dir/etc/ssh/keys"
  cp "$dir/keys/user.pub" "$dir/etc/ssh/keys/authorized"
  cp "$dir/keys/host" "$dir/keys/other_host" "$dir/etc/ssh/keys"
  chmod 600 "$dir"/etc/ssh/keys/*host
  cat >"$dir/etc/ssh/cluster_sshd_config" <<'C'
AddressFamily inet
HostKey /etc/ssh/keys/host
AuthorizedKeysFile /etc/ssh/keys/authorized
PidFile /run/sshd.pid
PermitRootLogin prohibit-password
PasswordAuthentication no
KbdInteractiveAuthentication no
UsePAM no
UseDNS no
PrintMotd no
MaxStartups 400
MaxSessions 200
C
  # The exchange that is the default costs four times as much of the processor,
  # which all hosts share.
  cat >"$dir/etc/ssh/ssh_config" <<'C'
Host *
  AddressFamily inet
  StrictHostKeyChecking yes
  UserKnownHostsFile /dev/null
  KexAlgorithms curve25519-sha256
  LogLevel ERROR
C
}
