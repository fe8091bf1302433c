#!/usr/bin/python3
"""A scan ends at the first signal once what it holds is stored, and at the
second one at once, though the datastore is held by somebody else; progress as
lines; the label of a run that nobody else names."""

import os
import signal
import sqlite3
import subprocess
import time

from accumulator import (Accumulator, check, check_datastore, datastore,
                         numbered, query, record, run, scan, scratch,
                         skip, stored, wait_for, write_file)

spool = scratch + "/spool"
os.mkdir(spool)

# With a label and without a run, and in quarters.
for node in range(1, 9):
    write_file(spool, record(host=f"node{node}", out=b"x"))
done = run("scan", spool, "--db", datastore, "--label", "nightly", "--expect",
           "node[1-8]", "--expect-provider", "memory", "--progress", "lines",
           "--batch", "1", status=0)
lines = [line[17:21] for line in done.stderr.splitlines()]
check(lines == [" 25%", " 50%", " 75%", "100%"], done.stderr)
check("\r" not in done.stderr, done.stderr)
check(query("SELECT label, state FROM v_run") == [("nightly", "complete")])
for style in "none", "auto":
    write_file(spool, record(host="node9", out=style.encode()))
    check(run("scan", spool, "--db", datastore, "--expect", "1", "--progress",
              style, "-q", status=0).stderr == "")

# Held by another program: not waited for after a second signal.
there = write_file(spool, numbered("held", 1))
holder = sqlite3.connect(datastore, isolation_level=None)
holder.execute("BEGIN IMMEDIATE")
before = stored()
waiting = Accumulator(spool, command="scan", ready=False)
wait_for(lambda: waiting.lines("Waiting for another process"),
         lambda: "word of the wait: " + waiting.stderr())
waiting.process.send_signal(signal.SIGTERM)
time.sleep(0.3)
waiting.process.send_signal(signal.SIGTERM)
check(waiting.process.wait(5) == -signal.SIGTERM, waiting.process.returncode)
check(os.path.exists(there))
holder.execute("ROLLBACK")
holder.close()

# A disk that does not answer: only the second one ends it.
crashing = os.environ.get("ZELK_CRASHING")
if not crashing:
    skip("a build with points to hang at is needed")
for step in "locked:1", "taken:1", "committed:1":
    for first, second in ((signal.SIGTERM, signal.SIGTERM),
                          (signal.SIGINT, signal.SIGTERM)):
        scanner = subprocess.Popen(
            [crashing, "scan", spool, "--db", datastore, "-q"],
            env={**os.environ, "ZELK_HANG_AT": step}, stdout=subprocess.DEVNULL)
        time.sleep(1)
        scanner.send_signal(first)
        time.sleep(0.5)
        check(scanner.poll() is None, "it did not hang")
        scanner.send_signal(second)
        check(scanner.wait(5) == -first, scanner.returncode)
        check(os.path.exists(there))

report = scan(spool)
check(report["stored"] + report["duplicates"] == 1, report)
check(stored() == before + 1 and os.listdir(spool) == [])
check_datastore()
