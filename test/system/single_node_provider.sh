#!/bin/bash
# A provider for one node takes no node file, whatever it says.
. "$(dirname "$0")/common.sh"

config
provider memory.xml "sh -c 'echo \${ZELK_DP_NODEFILE-unset} \$ZELK_TIMEOUT'" \
  '<timeout scale="linear">100</timeout><requires min_nodes="1" max_nodes="1"/>'
echo 'node[1-500]' >many
for options in "" "-n nowhere" "-n many"; do
  # shellcheck disable=SC2086
  run -A -f memory.xml $options
  expect_status 0
  expect_stderr
  file=$(results)
  expect_results 1
  case $options in
    # The nodes are recorded, and they scale the time-out.
    "-n many") expect "$(output_of "$file" | head -n 1)" "unset 50000"
               expect "$(number_at "$file" 632 2)" 500 ;;
    *) expect "$(output_of "$file")" "unset 60"
       expect "$(number_at "$file" 632 2)" 0 ;;
  esac
  rm "$file"
done
