# What the scenarios of zelk-db share, on top of common.sh.
#
#   ZELK_DB_PROGRAM, ZELK_ACCUMULATE   other programs than those of ZELK_ROOT
# shellcheck shell=bash disable=SC1091,SC2034,SC2154  # many names are for the scenarios
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

accumulate=${ZELK_ACCUMULATE:-$tree/bin/zelk-accumulate}
db_program=${ZELK_DB_PROGRAM:-$tree/bin/zelk-db}
export ZELK_DB=$scratch/zelk.db TZ=UTC
unset STATE_DIRECTORY XDG_STATE_HOME

# db ARGUMENT...: sets `status`, fills stdout and stderr.
db() {
  status=0
  "$db_program" "$@" >"$scratch/stdout" 2>"$scratch/stderr" </dev/null || status=$?
}

# fill COUNT [OPTION...]: a run of two results of each of so many nodes.
fill() {
  local spool=$scratch/spool
  mkdir -p "$spool"
  /usr/bin/python3 "$here/write_results.py" "$spool" "$1"
  "$accumulate" scan "$spool" -q "${@:2}" >/dev/null || [ $? -eq 1 ]
}

shown() { cat "$scratch/stdout"; }
expect_text() { grep -qF -- "$1" "$scratch/stdout" || fail "no '$1' on stdout"; }
expect_complaint() { grep -qF -- "$1" "$scratch/stderr" || fail "no '$1'"; }
# What a terminal would obey; line ends aside.
expect_no_controls() {
  ! LC_ALL=C grep -qP '[\x00-\x09\x0b-\x1f\x7f-\xff]' "$@" || fail "controls"
}
