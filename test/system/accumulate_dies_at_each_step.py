#!/usr/bin/python3
"""Killed at each named step of a scan and of a listen, twice at the same one:
nothing is lost, nothing is stored twice, and the next one finishes the work."""

import os
import signal
import subprocess

from accumulator import (Accumulator, Pusher, check, check_datastore, numbered,
                         query, scan, scratch, skip, write_file)
import accumulator

crashing = os.environ.get("ZELK_CRASHING")
if not crashing:
    skip("a build with crash points is needed")

FILES = 60
spool = scratch + "/spool"
os.mkdir(spool)
written = 0


def numbers():
    return [int(text.split()[1]) for (text,) in
            query("SELECT STDOUT FROM v_provider_result")] \
        if os.path.exists(accumulator.datastore) else []


def check_files():
    there = {int(name.rsplit("__", 1)[1]) for name in os.listdir(spool)
             if name.startswith("ZELK_")}
    now = numbers()
    check(len(now) == len(set(now)), "stored twice")
    check(set(now) | there == set(range(written)), "lost",
          set(range(written)) - set(now) - there)
    check_datastore()


for step in ("locked:7", "read:7", "taken:7", "taken:10", "committed:1",
             "committed:3", "removed:1", "removed:15", "synchronised:2"):
    for _ in range(2):
        while len(os.listdir(spool)) < FILES:
            write_file(spool, numbered("node1", written),
                       "ZELK_M_n_1700000000__%06d" % written)
            written += 1
        process = subprocess.run(
            [crashing, "scan", spool, "--db", accumulator.datastore, "--batch",
             "10"], env={**os.environ, "ZELK_CRASH_AT": step})
        check(process.returncode == -signal.SIGKILL, step, process.returncode)
        check_files()
scan(spool)
check(sorted(numbers()) == list(range(written)))

# A bad file is either where it was or aside, at every moment.
for step in ("read:1", "moved aside:1"):
    name = f"ZELK_BAD_n_1700000000__{step[:4]}00"
    write_file(spool, [b"bad" * 500], name)
    subprocess.run([crashing, "scan", spool, "--db", accumulator.datastore],
                   env={**os.environ, "ZELK_CRASH_AT": step})
    check(os.path.exists(f"{spool}/{name}") !=
          os.path.exists(f"{spool}/bad/{name}"), step)
scan(spool, status=2)

# What listen had committed is there; what it had not was on its way.
accumulator.datastore = scratch + "/listen.db"
for step in ("opened:1", "handed over:30", "committed:1", "committed:4",
             "closed:1"):
    accumulator.program = crashing
    before = numbers()
    ready = step != "opened:1"
    # Its end is one of the steps; a commit takes seconds on a busy disk.
    limit = "5" if step == "closed:1" else "60"
    server = Accumulator("--batch", "10", "--timeout", limit, ready=ready,
                         db=accumulator.datastore,
                         environment={"ZELK_CRASH_AT": step})
    if ready:
        peer = Pusher(server.endpoint)
        first = len(before)
        # Until it is dead: how many records a commit takes is its own affair.
        # As many as the socket holds without anybody who listens.
        for i in range(900):
            if server.process.poll() is not None:
                break
            peer.send(numbered("node1", first + i))
    server.process.wait(120)
    check(server.process.returncode == -signal.SIGKILL, step,
          server.process.returncode, server.stderr())
    after = sorted(numbers())
    check(after == list(range(len(after))) and len(after) >= len(before), step)
    check_datastore()
