#!/bin/bash
# Who and where: host, -H text and login name stand in each record.
. "$(dirname "$0")/common.sh"

config
provider memory.xml true
long=$(printf '0123456789%.0s' {1..30})
recorded() {
  run -A -H "$1" -f memory.xml
  expect_status 0
  expect_stderr
  file=$(results)
  expect "$(text_at "$file" 104 255)" "$host"
  expect "$(text_at "$file" 359 255)" "${1:0:255}"
  rm "$file"
}
recorded ""
recorded "node 7"
recorded "${long:0:255}"
recorded "$long"

# A session without a terminal has no login name.
start -A -l debug -f memory.xml
finish
expect_status 0
grep -qE "^Username set as 'Unknown' after getlogin_r failed with error code: [0-9]+$" stderr ||
  [ "$(cat /proc/self/loginuid 2>/dev/null || echo 4294967295)" != 4294967295 ] ||
  fail "no debug line"
