#!/bin/bash
# --open: the page is written whatever becomes of the browser, and the status is
# that of what was found.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.colour' from='colour'/>"
for node in n{1..5}; do answer "$node" box 'colour: red'; done
answer n6 box 'colour: blue'
take_in --expect 'n[1-6]'
unset DISPLAY WAYLAND_DISPLAY
mkdir "$scratch/bin"
cat >"$scratch/bin/xdg-open" <<X
#!/bin/sh
head -c 15 "\$1" >$scratch/opened
echo "\$# \$1" >>$scratch/opened
echo chatter
exit \$(cat $scratch/with)
X
chmod +x "$scratch/bin/xdg-open"
export PATH=$scratch/bin:$PATH
echo 0 >with

check --open -o 'my page.html'
expect_status 1
complained '--open: there is no display here'
complained 'the page is my page.html'
if [ ! -s 'my page.html' ] || [ -e opened ]; then fail 'opened without a display'; fi
export DISPLAY=:7
check --open -q --html 'my page.html' --json
expect_status 1
expect_stderr
jq -e .findings stdout >/dev/null || fail 'no report'
until grep -qs html opened; do sleep 0.05; done
expect "$(cat opened)" "<!DOCTYPE html>1 $scratch/my page.html"
echo 3 >with
check --open -o p.html --exit-zero
expect_status 0
[ -s p.html ] || fail 'no page'
refused '--open shows a page in a file: -o FILE.html' --open
refused '--open shows a page in a file: -o FILE.html' --open -o r.json
