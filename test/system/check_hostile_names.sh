#!/bin/bash
# What nodes call themselves and print is data, in every form.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
says() { /usr/bin/python3 "$here/write_record.py" "$out" "$1" box "$2cpu.model: x\n"; }
for node in n{1..5}; do says "$node" 'colour: red\n'; done
says 'n\x1b[2J<script>alert(1)</script>' \
  'colour: \x1b]0;x\x07</script><svg onload=alert(1)>&"'"'"',=cmd()\n'
take_in
evil=$'n\033[2J<script>alert(1)</script>'
check
expect_status 1
no_controls stdout stderr
said '1 name that no command can take is left out'
not_said '--show node'
for form in plain json jsonl csv junit sarif nagios prom md html; do
  check --format "$form"
  no_controls stdout
  [ -s stdout ] || fail "$form says nothing"
done
check --format nodes
expect_stdout
complained '1 name that no command can take left out'
check --format html
not_said '<script>alert(1)'
not_said '<svg onload'
check --format junit
xmllint --noout --nonet stdout
check --json
jq -e --arg name "$evil" '.nodes | any(.name == $name)' stdout >/dev/null || fail 'the name is lost'
check --drain-commands
no_controls stdout
! grep -q '^[^#].*script' stdout || fail 'a command with such a name'
check --diff box
no_controls stdout
check --show node "@*"
no_controls stdout
check --explain box-differs
no_controls stdout
