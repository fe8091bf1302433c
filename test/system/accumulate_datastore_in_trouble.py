#!/usr/bin/python3
"""A full disk, a datastore that is read-only, removed, or never was one:
nothing that was received is lost, and nothing is silent."""

import os
import subprocess

from accumulator import (Accumulator, Pusher, check, check_datastore, numbered,
                         run, scan, scratch, skip, stored, wait_for, write_file)

if os.geteuid() != 0:
    skip("only root may mount a file system")

disk = scratch + "/disk"
os.mkdir(disk)
if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "none", disk],
                  capture_output=True).returncode != 0:
    skip("no file system can be mounted here")
try:
    database = disk + "/zelk.db"
    SENT = 400

    # Full: kept in memory, said once, and stored when there is room again.
    server = Accumulator("--stop-wait", "2", db=database)
    peer = Pusher(server.endpoint)
    for i in range(SENT):
        peer.send(numbered("full", i, 10000))
    wait_for(lambda: server.lines("is full|kept and tried"), "a complaint")
    before = stored(database)
    check(before < SENT, before)
    subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
    wait_for(lambda: stored(database) == SENT, "everything to be stored")
    check(len(server.lines("kept and tried")) == 1, server.stderr())
    check_datastore(database)
    summary = server.stop()
    check(summary["stored"] == SENT, summary)

    # Full until the end: what cannot be stored is written to files.
    subprocess.run(["mount", "-o", "remount,size=8m", disk], check=True)
    server = Accumulator("--stop-wait", "2", "--unsaved-dir",
                         scratch + "/unsaved", db=database)
    peer = Pusher(server.endpoint)
    for i in range(SENT, 2 * SENT):
        peer.send(numbered("full", i, 20000))
    wait_for(lambda: server.lines("kept and tried"), "a complaint")
    summary = server.stop(status=1)
    check(summary["received"] == SENT == summary["stored"] + summary["unsaved"],
          summary)
    check(len(os.listdir(scratch + "/unsaved")) == summary["unsaved"])
    subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
    report = scan(scratch + "/unsaved", db=database)
    check(report["stored"] + report["duplicates"] == summary["unsaved"], report)
    check(stored(database) == 2 * SENT)
    check_datastore(database)

    # A scan leaves the files where they are, and says so by its status.
    spool = scratch + "/spool"
    os.mkdir(spool)
    subprocess.run(["mount", "-o", "remount,size=24m", disk], check=True)
    for i in range(2 * SENT, 3 * SENT):
        write_file(spool, numbered("full", i, 40000))
    report = scan(spool, "--store-wait", "1", status=1, db=database)
    check(report["given_up"] and report["stored"] < SENT, report)
    check(stored(database) + len(os.listdir(spool)) >= 3 * SENT)
    subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
    scan(spool, db=database)
    check(stored(database) == 3 * SENT and os.listdir(spool) == [])

    # Removed: noticed, and started anew.
    server = Accumulator(db=database)
    peer = Pusher(server.endpoint)
    peer.send(numbered("removed", 0))
    wait_for(lambda: stored(database) == 3 * SENT + 1, "the first record")
    for name in os.listdir(disk):
        os.unlink(f"{disk}/{name}")
    for i in range(1, 50):
        peer.send(numbered("removed", i))
    wait_for(lambda: os.path.exists(database) and stored(database) == 49,
             lambda: f"a new datastore: {server.stderr()}")
    check(server.lines("removed or replaced"), server.stderr())
    server.stop()

    # Read-only: nothing is begun.
    subprocess.run(["mount", "-o", "remount,ro", disk], check=True)
    write_file(spool, numbered("readonly", 200))
    for command in (("scan", spool), ("listen", "--bind", "tcp://127.0.0.1:*")):
        done = run(*command, "--db", database, status=3)
        check(done.stderr.strip().endswith(
            f"Datastore '{database}': the file or its directory cannot be "
            "written to"), done.stderr)
    check(len(os.listdir(spool)) == 1)
    subprocess.run(["mount", "-o", "remount,rw", disk], check=True)
    scan(spool, db=database)
    check(os.listdir(spool) == [])
finally:
    subprocess.run(["umount", "-l", disk])

# No datastore: refused before anything is taken, and left as it was.
other = scratch + "/other"
with open(other, "wb") as file:
    file.write(b"not a datastore" * 1000)
for path in (other, scratch, scratch + "/no/such/directory/zelk.db"):
    done = run("scan", spool, "--db", path, status=3)
    check(done.stderr.count("\n") == 1, done.stderr)
    done = run("listen", "--db", path, "--bind", "tcp://127.0.0.1:*", status=3)
    check(done.stderr.count("\n") == 1, done.stderr)
check(os.path.getsize(other) == 15000)
