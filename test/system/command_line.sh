#!/bin/bash
# The command line: time-out, variables, node file, command, in this order.
. "$(dirname "$0")/common.sh"

config '<provider_options><provider name="pair">
  <option id="o" timeout="100" scale="squared"><variable name="V">a b</variable></option>
</provider></provider_options>'
mkdir aux
provider pair.xml 'echo %PROVIDER_AUXILIARY_PATH% %PROVIDER_AUXILIARY_PATH%' \
  "<auxiliary_path>$scratch/aux</auxiliary_path><requires min_nodes=\"2\" max_nodes=\"9\"/>"
# shellcheck disable=SC2016  # a node file's name may hold the token as well
printf 'alpha\nbeta\n' >aux/nodes

run -A -l debug -n '%PROVIDER_AUXILIARY_PATH%/nodes' -f pair.xml
expect_line "Unable to read nodefile for data provider 'pair'"
mkdir '%PROVIDER_AUXILIARY_PATH%' && cp aux/nodes '%PROVIDER_AUXILIARY_PATH%/'
run -A -l debug -n '%PROVIDER_AUXILIARY_PATH%/nodes' -f pair.xml
expect_status 0
expect_line "About to run data provider 'ZELK_TIMEOUT=400 V='a b' ZELK_DP_NODEFILE=$scratch/aux/nodes echo $scratch/aux $scratch/aux'. Command will time out in 400 second(s)."
expect "$(output_of "$(results)")" "$scratch/aux $scratch/aux
alpha, beta"
