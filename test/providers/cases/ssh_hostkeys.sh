# shellcheck shell=sh
# A stand-in for ssh-keygen, which says what the real one does; a node without
# keys; one without the tool.

tree_ssh_hostkeys() {
  put "$1/etc/ssh/ssh_host_ed25519_key.pub" 'ssh-ed25519 AAAA root@image\n'
  put "$1/etc/ssh/ssh_host_rsa_key.pub" 'broken\n'
  put "$1/etc/ssh/ssh_host_ed25519_key" 'hunter2\n'
  mkdir -p "$1-none/etc/ssh"
  # shellcheck disable=SC2016 # for the stand-in
  put_tool "$scratch/keygen/ssh-keygen" 'for last in "$@"; do :; done
case $last in
  *ed25519*) echo "256 SHA256:agHP+RaDOoQ8p/1yxvjuemqWRbDBqDi4XDMZGSzlxTc root@image (ED25519)" ;;
  *) echo "$last is not a public key file."; exit 255 ;;
esac'
}

test_ssh_hostkeys() {
  shell="env ZELK_PROVIDER_PATH=$scratch/keygen:/usr/sbin:/usr/bin:/sbin:/bin"
  check "host keys: a fingerprint" gives 83 ssh_hostkeys \
    "hostkey: ED25519 256 SHA256:agHP+RaDOoQ8p/1yxvjuemqWRbDBqDi4XDMZGSzlxTc"
  check "host keys: a broken one is not passed over" gives 83 ssh_hostkeys \
    "failed: ssh-keygen: exit status 255"
  check "host keys: it is named" gives 83 ssh_hostkeys \
    "unreadable: hostkey: /etc/ssh/ssh_host_rsa_key.pub: ssh-keygen: exit status 255"
  check "host keys: no private key, no comment" lacks ssh_hostkeys 'hunter2\|image'
  mkdir "$scratch/no-keygen"
  for tool in awk sh timeout env; do ln -s "$(command -v "$tool")" "$scratch/no-keygen"; done
  shell="env ZELK_PROVIDER_PATH=$scratch/no-keygen"
  check "host keys: no tool" gives 81 ssh_hostkeys
  tree=ssh_hostkeys-none
  shell=
  check "host keys: none" gives 80 ssh_hostkeys
  can_be_nobody || return
  chmod 711 "$trees/$tree/etc/ssh"
  shell=$as_nobody
  check "host keys: a folder that keeps its names to itself" gives 82 ssh_hostkeys
}
