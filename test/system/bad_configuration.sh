#!/bin/bash
# A configuration that cannot be read ends the run: one record, status 1.
. "$(dirname "$0")/common.sh"

provider memory.xml "touch $scratch/ran"
refused() {
  run -A -c "$1" -f memory.xml
  expect_status 1
  expect_stdout
  expect "$(wc -l <stderr)" 1
  grep -qF -- "$1" stderr || fail "the file is not named"
  [ -z "${2-}" ] || grep -q "$2" stderr || fail "the line is not named"
}

refused nowhere.xml
refused "$scratch"
: >empty.xml && refused empty.xml
printf '<zelk>\n<output_directory>\n</zelk>\n' >torn.xml && refused torn.xml '\b[23]\b'
printf '<zelk>\n\n<max_node/>\n</zelk>\n' >unknown.xml && refused unknown.xml '\b3\b'
printf '<!DOCTYPE z [<!ENTITY e SYSTEM "file:///etc/passwd">]>\n<zelk><output_directory>&e;</output_directory></zelk>\n' >entity.xml
refused entity.xml
[ ! -e ran ] || fail "a provider ran"
