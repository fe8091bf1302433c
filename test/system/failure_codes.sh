#!/bin/bash
# Each reason why a provider does not run has its message; the run goes on.
. "$(dirname "$0")/common.sh"

config
echo '<provider><command>' >torn.xml
provider elsewhere.xml true '<requires architecture="aarch64"/>'
provider long.xml "true $(printf 'x%.0s' {1..131072})"
provider good.xml 'echo good'

run -A -f torn.xml -f good.xml
expect_status 0
expect "$(wc -l <stderr)" 2
expect "$(tail -n 1 stderr)" "Error parsing the XML file"
grep -q '^torn.xml' stderr || grep -q torn.xml stderr || fail "no file named"

run -A -f long.xml -f good.xml
expect_status 0
expect_stderr "Error executing popen3 (7): Argument list too long" \
  "Some other error running the provider"

run -A -f elsewhere.xml -f good.xml
expect_status 0
expect_stderr
run -A -l info -f elsewhere.xml -f good.xml
expect_stderr "The system does not match the architecture required by elsewhere"
expect_results 4
