# What the scenarios of zelk-check share, on top of collect_common.bash: runs of
# nodes that are made up, and what is said of them.
# shellcheck shell=bash disable=SC1091,SC2034,SC2154  # many names are for the scenarios
. "$(dirname "${BASH_SOURCE[0]}")/collect_common.bash"

export LC_ALL=C
unset SOURCE_DATE_EPOCH NO_COLOR CLICOLOR CLICOLOR_FORCE XDG_CONFIG_HOME
export HOME=$scratch
checker=$tree/bin/zelk-check
ln -s "$tree/etc/checks" "$root/etc/"
evidence=$scratch/evidence

# describe_facts NAME FACTS: a provider that prints the evidence of the moment,
# and what the machine is: machines of which nobody knows it are not compared.
describe_facts() {
  describe "$1" "echo cpu.model: made up; cat $evidence.$1" \
    "<facts>$2<fact name='cpu.model' from='cpu.model'/></facts>"
}

# answer NODE PROVIDER TEXT: what one node says; waits in the shared directory.
answer() {
  printf '%b\n' "$3" >"$evidence.$2"
  run -A -H "$1" -c "$root/etc/zelk.xml" -f "$root/etc/providers/$2.xml"
  expect_status 0
}

# take_in [OPTION...]: what has been said becomes a run.
take_in() {
  "$tree/bin/zelk-accumulate" scan "$out" -q --run new "$@" >"$scratch/scan" || [ $? -eq 1 ]
}

# check ARGUMENT...: to its end; sets `status`, fills stdout and stderr.
check() {
  status=0
  ZELK_TEST_TAG=$scratch timeout 100 "$checker" "$@" \
    >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
}

# said WORDS / not_said WORDS: somewhere on standard output.
said() { grep -qF -- "$1" "$scratch/stdout" || fail "no '$1' on stdout"; }
not_said() { ! grep -qF -- "$1" "$scratch/stdout" || fail "'$1' on stdout"; }
complained() { grep -qF -- "$1" "$scratch/stderr" || fail "no '$1' on stderr"; }
# What a terminal would obey; tabs, and line ends of either kind, aside.
no_controls() {
  ! sed 's/\r$//' "$@" | LC_ALL=C grep -qP '[\x00-\x08\x0b-\x1f\x7f]' || fail "controls in $*"
}

# It begins nothing, and says why.
refused() { # WORDS ARGUMENT...
  check "${@:2}"
  expect_status 3
  expect_stdout
  complained "$1"
}
