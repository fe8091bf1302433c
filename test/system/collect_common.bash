# What the scenarios of zelk-collect share, on top of common.sh: no node but this
# machine, a datastore and descriptions of its own.
# shellcheck shell=bash disable=SC1091,SC2034,SC2154  # many names are for the scenarios
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

export ZELK_DB=$scratch/zelk.db TZ=UTC TMPDIR=$scratch/tmp
mkdir "$TMPDIR"
unset ZELK_CONFIG ZELK_NODEFILE ZELK_LAUNCHER ZELK_SHARED_TEMP_DIR STATE_DIRECTORY
unset "${!SLURM_@}" "${!PBS_@}" XDG_STATE_HOME
collector=$tree/bin/zelk-collect
config

# describe NAME COMMAND [XML]: a provider of this installation.
describe() { provider "$root/etc/providers/$1.xml" "${@:2}"; }

# collect ARGUMENT...: to its end; sets `status`, fills stdout and stderr.
collect() {
  status=0
  ZELK_TEST_TAG=$scratch timeout 200 "$collector" "$@" \
    >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
}

# start_collecting ARGUMENT...: in the background; sets `pid`.
start_collecting() {
  : >"$scratch/stdout" 2>"$scratch/stderr"
  ZELK_TEST_TAG=$scratch setsid "$collector" "$@" \
    >"$scratch/stdout" 2>"$scratch/stderr" </dev/null &
  pid=$!
}

# sql STATEMENT: its rows, fields parted by commas.
sql() { "$tree/bin/zelk-db" query --format csv "$1" | tail -n +2 | sed 's/\r//; s/""//g'; }
expect_rows() { expect "$(sql "$1")" "$(printf '%s\n' "${@:2}")"; }
expect_stored() {  # RUN [PROVIDER...]: its results
  expect_rows "SELECT provider FROM v_result WHERE run = $1 ORDER BY 1" "${@:2}"
}
expect_state() { expect_rows "SELECT state FROM v_run WHERE run = $1" "$2"; }

# A line of standard output, with * for what may differ.
expect_text() {
  local line
  # shellcheck disable=SC2053  # a pattern
  while IFS= read -r line; do [[ $line == $1 ]] && return; done <"$scratch/stdout"
  fail "no line '$1'"
}

# Of what was started nothing runs any more, and nothing is left in TMPDIR.
nothing_runs() { [ -z "$(tagged)" ]; }
nothing_lies_about() { [ -z "$(ls -A "$TMPDIR")" ]; }
expect_nothing_left() {
  wait_for nothing_runs
  wait_for nothing_lies_about
}
