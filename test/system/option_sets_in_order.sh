#!/bin/bash
# A provider runs once for each of its option sets, in the order written.
# shellcheck disable=SC2016  # values are handed over as they are
. "$(dirname "$0")/common.sh"

config '<provider_options><provider name="Memory">
  <option id="z"><variable name="V">it'"'"'s "$HOME" &amp; `id`; $(id) \ </variable></option>
  <option id="a"/>
  <option id="an_identifier_of_59_bytes_is_as_long_as_the_records_field_b"/>
</provider></provider_options>'
provider mEMORY.xml "sh -c 'echo \"[\$V]\" >>order'"
provider other.xml true
run -A -f mEMORY.xml -f other.xml
expect_status 0
expect_stderr
expect "$(cat order)" '[it'"'"'s "$HOME" & `id`; $(id) \ ]
[]
[]'
expect "$(for file in $(results); do text_at "$file" 656 60; echo; done | sort | tr '\n' ' ')" \
  "None a an_identifier_of_59_bytes_is_as_long_as_the_records_field_b z "
