#!/bin/bash
# The worker is not installed on one host, of another version on a second one,
# and may not be executed on a third one.
. "$(dirname "$0")/../common.bash"
on node02 rm /opt/zelkara/bin/zelk_run_provider
on node03 sh -c 'cd /opt/zelkara/bin && sed "s/\(@(#)zelk_run_provider \)[0-9]/\19/" \
  zelk_run_provider >other && chmod 755 other && mv other zelk_run_provider'
on node04 chmod 644 /opt/zelkara/bin/zelk_run_provider

collect -w 'node[01-06]' -f $seen/hello.xml
expect_status 1
expect_run partial 3/6 3/6
expect_missing node02 'zelk_run_provider.*not'
expect_missing node03 'version'
expect_missing node04 'zelk_run_provider.*not'
