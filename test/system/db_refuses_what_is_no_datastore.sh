#!/bin/bash
# What is missing, damaged or of another program or version is left as it is.
. "$(dirname "$0")/db_common.bash"

fill 2
/usr/bin/python3 - "$ZELK_DB" <<'PYTHON'
import shutil, sqlite3, sys
for version in (0, 99):
    name = "version%d" % version
    source = sqlite3.connect(sys.argv[1])
    target = sqlite3.connect(name)
    source.backup(target)
    target.execute("PRAGMA user_version = %d" % version)
    target.commit()
sqlite3.connect("foreign").execute("CREATE TABLE t (x)")
PYTHON
mkdir folder
: >empty
head -c 5000 /dev/zero >text
head -c 3000 "$ZELK_DB" >short
for file in nowhere folder empty text short foreign version0 version99; do
  before=$(sha256sum <"$file" 2>/dev/null || true)
  for words in info runs "show latest" "query SELECT/**/1" "export -o x" check \
    "check --repair" vacuum "prune --keep 0 --yes" "import x"; do
    # shellcheck disable=SC2086
    db $words --db "$file"
    expect_status 3
    [ -s stderr ] || fail "$words says nothing"
  done
  expect "$(sha256sum <"$file" 2>/dev/null || true)" "$before"
done
[ ! -e nowhere ] || fail "made"
db migrate --db version99
expect_status 3
expect_complaint "a newer Zelkara is needed"
db info --db postgresql://host/x
expect_status 3
"$db_program" info >/dev/full 2>lost && fail "a full standard output is fine"
expect "$(cat lost)" "zelk-db: standard output could not be written"
