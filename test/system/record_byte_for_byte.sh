#!/bin/bash
# A result file is, byte for byte, what its fields say and nothing else.
. "$(dirname "$0")/common.sh"

config '<provider_options><provider name="memory"><option id="full">
  <variable name="V">x</variable></option></provider></provider_options>'
provider memory.xml "sh -c 'echo out; printf \"err\\0\\377\" >&2; exit 7'"
sed -i 's|<provider>|<provider name="Memory of the node" version="-3">|; s|</provider>|<encoding>base64</encoding></provider>|' memory.xml
printf 'alpha\nbeta\n' >nodes
before=$(date +%s)
run -A -H "node 7" -n nodes -f memory.xml
expect_status 0
expect_stderr
file=$(results)
"$here/record_layout.py" "$file" >fields || fail "the layout"
for field in api=1 exit_status=7 "name=Memory of the node" encoding=1 \
  "hostname=$host" "host_arg=node 7" nodes_csv_size=11 num_nodes=2 \
  stdout_size=4 stderr_size=5 option_id=full version=-3 \
  'stdout=out\n' 'stderr=err\x00\xff' "nodes_csv=alpha, beta"; do
  grep -qFx -- "$field" fields || fail "no field $field in $(cat fields)"
done
seconds=$(sed -n 's/^timestamp_sec=//p' fields)
{ [ "$seconds" -ge "$before" ] && [ "$seconds" -le "$(date +%s)" ]; } || fail "$seconds"
awk -F= '/^timestamp_usec/ { u = $2 } /^duration/ { d = $2 }
  END { exit !(u >= 0 && u < 1000000 && d > 0 && d < 60) }' fields || fail "times"

mapfile -t fields <fields
"$here/record_layout.py" --build "${fields[@]}" | cmp - "$file" || fail "the bytes"
