#!/usr/bin/python3
"""scan --watch takes in what comes, comes back to what was locked, tells of bad
files, survives its directory, and stops when told."""

import fcntl
import os
import shutil
import signal

from accumulator import (Accumulator, check, numbered, query, record, scratch, stored,
                         wait_for, write_file)

spool = scratch + "/spool"
os.mkdir(spool)
write_file(spool, numbered("early", 0))
watch = Accumulator("--watch", "--poll-interval", "0.2", spool, command="scan")
check(watch.endpoint == spool, watch.endpoint)
wait_for(lambda: stored() == 1, "the file that was there")

write_file(spool, numbered("late", 1))
wait_for(lambda: stored() == 2, "a file that came")

# Written elsewhere and moved in.
os.rename(write_file(scratch, numbered("moved", 2)), spool + "/ZELK_M_n_1__aaaaaa")
wait_for(lambda: stored() == 3, "a file that was moved in")

# Locked while it is written.
path = spool + "/ZELK_LOCKED_n_1700000000__aaaaaa"
with open(path, "wb") as file:
    fcntl.flock(file, fcntl.LOCK_EX)
    frames = numbered("slow", 3)
    file.write(b"".join(frames[:1]))
    file.flush()
    write_file(spool, numbered("other", 4))
    wait_for(lambda: stored() == 4, "the file beside the locked one")
    check(os.path.exists(path), "a locked file was touched")
    file.write(b"".join(frames[1:]))
wait_for(lambda: stored() == 5, "the file that was locked")

write_file(spool, [b"garbage" * 200])
wait_for(lambda: watch.lines("Refused the file 'ZELK_.*bad"), "a line about it")
wait_for(lambda: os.listdir(spool) == ["bad"], "an empty directory")

# The directory goes, and comes again: nothing tells of that.
shutil.rmtree(spool)
wait_for(lambda: watch.lines("Unable to read directory"), "a line about it")
os.mkdir(spool)
for i in range(100):
    write_file(spool, numbered("again", 10 + i))
wait_for(lambda: stored() == 105, "files in the new directory")

summary = watch.stop(status=1)
check(summary["stored"] == 105 and summary["refused"] == 1, summary)
check(query("SELECT DISTINCT state FROM v_run") == [("complete",)])

# What one label names is parted by a gap, as by scans one after the other.
labelled = scratch + "/labelled"
os.mkdir(labelled)
with open(labelled + "/label", "w") as file:
    file.write("nightly\n")
other = scratch + "/labelled.db"
watch = Accumulator("--watch", "--poll-interval", "0.2", labelled,
                    command="scan", db=other)
for i, when in enumerate((1600000000, 1600000300, 1600009000)):
    write_file(labelled, record(time_sec=when, out=b"z"),
               f"ZELK_M_n_{when}__{i:06}")
    wait_for(lambda: stored(other) == i + 1, "a labelled file")
watch.stop()
check(query("SELECT label, results FROM v_run ORDER BY run", path=other) ==
      [("nightly", 2), ("nightly", 1)], query("SELECT * FROM v_run", path=other))

# Files of one time are one run, whoever takes them in and when.
runs = query("SELECT count(*) FROM v_run")
again = Accumulator("--watch", spool, command="scan")
write_file(spool, numbered("late", 200))
wait_for(lambda: stored() == 106, "a file for the second one")
again.stop(signal.SIGINT, status=-signal.SIGINT)
check(query("SELECT count(*) FROM v_run") == runs, query("SELECT * FROM v_run"))
