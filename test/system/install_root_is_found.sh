#!/bin/bash
# Without ZELK_TEST_INSTALL_ROOT the tree is found through the program.
. "$(dirname "$0")/common.sh"

unset ZELK_TEST_INSTALL_ROOT
mkdir -p moved/bin "a link"
cp "$worker" moved/bin/
ln -s "$tree/share" "$tree/provider" moved/
mkdir moved/etc
mv "$root/etc/providers" moved/etc/
root=$scratch/moved
config
ln -s "$scratch/moved/bin/zelk_run_provider" "a link/worker"

worker="a link/worker"
run -h
expect "$(sed -n 6p stdout)" \
  "     Configuration file [default = $(realpath moved)/etc/zelk.xml]"

provider memory.xml 'echo %PROVIDER_AUXILIARY_PATH%'
run -A -f memory.xml
expect_status 0
expect_stderr
expect "$(output_of "$(results)")" "$(realpath moved)/provider/share/memory"
