#!/bin/bash
# Providers read nothing from the worker's input, and closed streams harm no file.
. "$(dirname "$0")/common.sh"

config
provider reader.xml 'cat; echo read'
echo "meant for somebody else" >input
run -A -f reader.xml <input
expect_status 0
expect "$(output_of "$(results)")" read
rm "$out"/ZELK_*

provider noisy.xml 'echo out; echo err >&2; ls /proc/self/fd'
"$worker" -A -l debug -f noisy.xml <&- >&- 2>&- || fail "status $?"
file=$(results)
# 3 is the folder that ls itself reads.
expect "$(output_of "$file")" "out
0
1
2
3
err"
expect "$(number_at "$file" 640 8)" 12
