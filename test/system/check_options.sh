#!/bin/bash
# Values that are empty, output that goes nowhere, eyes that have ASCII only.
. "$(dirname "$0")/check_common.bash"

describe_facts box "<fact name='box.heat' from='heat' type='integer' unit='°C' compare='outlier'/>"
for node in n{1..6}; do answer "$node" box 'heat: 40'; done
take_in --label nightly --expect 'n[1-6]'
for node in n{1..5}; do answer "$node" box 'heat: 40'; done
answer n6 box 'heat: 80'
take_in --label nightly --expect 'n[1-6]'

for option in --db --baseline -o --run --config -n; do
  refused "expected a value; found ''" "$option" ''
done
for option in --help --version --list --man '--explain no-answer'; do
  status=0
  # shellcheck disable=SC2086  # an option and its value
  "$checker" $option >/dev/full 2>"$scratch/stderr" || status=$?
  expect_status 3
  complained 'standard output could not be written'
done

export LC_ALL=C.UTF-8
check
said '80 °C'
LC_ALL=C check
said '80 C'
! grep -qP '[^\x00-\x7f]' stdout || fail 'not ASCII'
for form in text plain csv md nagios; do
  check --ascii --format "$form"
  ! grep -qP '[^\x00-\x7f]' stdout || fail "$form is not ASCII"
done

check --baseline label:nightly
said 'Baseline: run 1 '
refused "no picture 'bogus'; there are heatmap nodes trend, and dist:FACT of" --figure bogus -o x.svg
refused "did you mean 'dist:box.heat'?" --figure dist:box.hea -o x.svg
check --max-size 1K -o x.html
expect_status 1
complained '--max-size 1.0 KiB cannot be kept to: the least page has '
