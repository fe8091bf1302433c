#!/bin/bash
# SQL of the user reads the documented views, and changes and sees nothing else.
. "$(dirname "$0")/db_common.bash"

fill 2
before=$(sha256sum <"$ZELK_DB")
refused() {
  db query "$1"
  expect_status 3
  [ -s stderr ] || fail "$1"
}
refused 'DELETE FROM run'
refused 'SELECT * FROM run'
refused 'WITH v_run AS (SELECT * FROM name) SELECT * FROM v_run'
refused 'SELECT * FROM sqlite_schema'
refused "ATTACH '$scratch/x' AS x"
refused 'PRAGMA writable_schema = ON'
refused "VACUUM INTO '$scratch/x'"
refused 'SELECT 1; SELECT 2'
refused 'SELEC'
expect "$(sha256sum <"$ZELK_DB") $(ls "$scratch/x" 2>/dev/null)" "$before "

db query 'SELECT node, stdout_size FROM v_result WHERE provider = '"'cpu' ORDER BY node"
expect_stdout "node     stdout_size" "node001           23" "node002           23"
db query 'SELECT count(*) AS n FROM v_provider_result' --format jsonl
expect_stdout '{"n":5}'
echo 'SELECT 1 AS a -- from a file' >q.sql
db query --file q.sql --format csv
expect_stdout a 1
db query 'SELECT * FROM v_result' --max-rows 2 --format jsonl
expect_status 1
expect_complaint "more than 2 rows"
db query --timeout 1 'WITH RECURSIVE c(x) AS (VALUES(1) UNION ALL SELECT x+1 FROM c) SELECT max(x) FROM c'
expect_status 2
expect_complaint "stopped after 1 s"
for form in table csv json jsonl; do
  script -qec "$db_program query 'SELECT * FROM v_result' --format $form" typescript >/dev/null
  sed '1d;$d' typescript | tr -d '\r' >lines
  expect_no_controls lines
done
