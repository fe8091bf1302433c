#!/bin/bash
# An install root that is set but empty is the root of the file system.
. "$(dirname "$0")/common.sh"

export ZELK_TEST_INSTALL_ROOT=
run -h
expect_status 1
expect "$(sed -n 6p stdout)" "     Configuration file [default = /etc/zelk.xml]"
