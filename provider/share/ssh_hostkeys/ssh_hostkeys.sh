#!/bin/sh
# Fingerprints of the node's own SSH keys. Two nodes with the same one were
# copied from one image.
#
# Only the public halves are read.

# shellcheck source=/dev/null
. "${0%/*}/../common/prologue.sh"
need_tools awk sh timeout env
run_within 60

# The folder may be a link into a file system that is dead, so a child looks for
# the keys as well. For each it says how the tool ended; of a pattern that stands
# for none, whether that is because the folder is closed.
# shellcheck disable=SC2016 # for the child
ask_keygen='
  case $file in
    *"*"*)
      folder=${file%/*}
      if [ -d "$folder" ] && ! { [ -r "$folder" ] && [ -x "$folder" ]; }; then echo closed; fi
      continue
      ;;
  esac
  env -i PATH="$PATH" LC_ALL=C HOME=/ ssh-keygen -l -E sha256 -f "$file" 2>&1
  echo "ended $?"'

# The comment at the end of a key is the name of whom made it.
# shellcheck disable=SC2016 # the dollars belong to awk
print_keys='
  function unread(what) { print "unreadable: hostkey: " what }
  /^\003/ { path = substr($0, 2); text = ""; next }
  /^\004/ { unread(substr($0, 2)); next }
  $0 == "closed" { print; next }
  $1 != "ended" || NF != 2 { text = text "\n" $0; next }
  $2 == 127 && text ~ /^\nenv:/ { print "no tool"; next }
  $2 != 0 {
    print "failed: ssh-keygen: exit status " $2
    unread(path ": ssh-keygen: exit status " $2)
    next
  }
  {
    count = split(substr(text, 2), line, "\n")
    for (i = 1; i <= count; i++) {
      words = split(line[i], word, " ")
      type = word[words]
      gsub(/[()]/, "", type)
      print "hostkey: " type " " word[1] " " word[2]
    }
  }'

evidence=$(in_turn 5 "$ask_keygen" '/etc/ssh/ssh_host_*_key.pub' | awk "$print_keys")
case $evidence in
  '') not_applicable "the machine has no SSH host keys" ;;
  closed) no_permission /etc/ssh ;;
  "no tool"*) tool_missing ssh-keygen ;;
  *"unreadable: "*) incomplete "files of /etc/ssh" ;;
esac
printf '%s\n' "$evidence"
finish
