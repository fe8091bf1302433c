#!/bin/bash
# The installed tree is whole, and its files are what their schemas say.
. "$(dirname "$0")/common.sh"

for file in bin/zelk_run_provider bin/zelk-collect etc/zelk.xml provider/provider.xsd \
  share/zelkara/zelk.xsd share/zelkara/description.xsd \
  share/man/man1/zelk_run_provider.1; do
  [ -s "$tree/$file" ] || fail "no $file"
done
[ -x "$worker" ] || fail "the worker cannot be run"
expect "$(cd "$tree/bin" && echo *)" "zelk-accumulate zelk-check zelk-collect zelk-db zelk_run_provider"
[ ! -e "$tree/provider/src" ] || fail "sources are installed"
xmllint --noout --nonet --schema "$tree/share/zelkara/zelk.xsd" "$tree/etc/zelk.xml" 2>stderr ||
  fail "etc/zelk.xml"
for file in "$tree"/etc/providers/*.xml; do
  xmllint --noout --nonet --schema "$tree/share/zelkara/description.xsd" "$file" 2>stderr ||
    fail "$file"
done
for file in "$tree"/etc/checks/*.xml; do
  xmllint --noout --nonet --schema "$tree/share/zelkara/check.xsd" "$file" 2>stderr ||
    fail "$file"
done
# Nothing that a node may lack: the worker's libraries and what those need.
expect "$(readelf -d "$worker" | sed -n 's/.*NEEDED.*\[\(.*\)\.so.*/\1/p' |
  grep -vxE 'libc|libm|libstdc\+\+|libgcc_s|libc?zmq|libxml2|ld-linux-x86-64|libasan|libubsan')" ""
