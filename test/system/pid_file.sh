#!/bin/bash
# The pid file lies beside the configuration and holds the process group.
. "$(dirname "$0")/common.sh"

config
provider memory.xml "cat etc/pidfile_$host"
mkdir etc && mv "$root/etc/zelk.xml" etc/
echo "a line longer than any process group's number" >"etc/pidfile_$host"

run -A -c etc/zelk.xml -f memory.xml
expect_status 0
expect_stderr
group=$(ps -o pgid= $$ | tr -d ' ')
expect "$(cat "etc/pidfile_$host")" "$group"
expect "$(stat -c %s "etc/pidfile_$host")" $((${#group} + 1))
expect "$(output_of "$(results)")" "$group"

# A configuration file without a folder lies in the current one.
cd etc
rm "pidfile_$host"
run -A -c zelk.xml -f ../memory.xml
expect "$(cat "pidfile_$host")" "$group"

# One that leads its own group writes its own number.
start -A -c zelk.xml -f ../memory.xml
leader=$pid
finish
expect_status 0
expect "$(cat "pidfile_$host")" "$leader"
