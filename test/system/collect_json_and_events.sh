#!/bin/bash
# Standard output has the results and nothing else, for programs too.
# shellcheck disable=SC2154
. "$(dirname "$0")/collect_common.bash"

describe alpha 'echo one'
describe beta 'exit 81'
collect --json --events events --label nightly
expect_status 0
/usr/bin/python3 - "$host" <<'END'
import json, re, sys
document = json.load(open("stdout"))
assert document["schema"] == "zelkara.collect/1", document
run = document["run"]
assert (run["id"], run["label"], run["state"]) == (1, "nightly", "complete"), run
assert (run["expected"], run["received"], run["nodes"]) == (2, 2, 1), run
[row] = document["shortfalls"]
assert row["kind"] == "not measured" and row["providers"] == ["beta"], row
assert row["nodes"] == [sys.argv[1]] and document["missing"] == [], document
assert document["exit_status"] == 0

events = [json.loads(line) for line in open("events")]
names = [event["event"] for event in events]
assert names[0] == "begin" and names[-1] == "end", names
assert names.count("result") == 2 and "run" in names and "closed" in names, names
assert all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", event["time"])
           for event in events), events
END

# Events on standard output: the summary moves out of their way.
collect --events -
expect_status 0
/usr/bin/python3 -c 'import json; [json.loads(line) for line in open("stdout")]'
grep -q "^Collected 2 of 2 results" stderr || fail "no summary"

collect --events /nowhere/events
expect_status 3
expect_line "zelk-collect: --events: cannot write '/nowhere/events' (2): No such file or directory"
