#!/usr/bin/python3
"""A writer that dies in the middle of a file, at each step of writing one: what
is whole is stored, what is not is moved aside when it is old enough."""

import os
import subprocess
import sys
import time

from accumulator import check, record, scan, scratch, stored

spool = scratch + "/spool"
os.mkdir(spool)

WRITER = """
import fcntl, os, sys
path, steps = sys.argv[1], int(sys.argv[2])
parts = [bytes.fromhex(part) for part in sys.argv[3:]]
fd = os.open(path, os.O_RDWR | os.O_CREAT | os.O_EXCL, 0o600)
if steps > 0:
    fcntl.flock(fd, fcntl.LOCK_EX)
for part in parts[:max(0, steps - 1)]:
    os.write(fd, part)
if steps > 1 + len(parts):
    fcntl.flock(fd, fcntl.LOCK_UN)
print("there", flush=True)
sys.stdin.read()
"""


def start(steps):
    parts = record(out=b"o" * 50, err=b"e" * 50, nodes=b"node1")
    parts[0] = record(time_sec=1700000000 + steps, out=b"o" * 50,
                      err=b"e" * 50, nodes=b"node1")[0]
    process = subprocess.Popen(
        [sys.executable, "-c", WRITER,
         f"{spool}/ZELK_X_n_1700000000__{steps:06}", str(steps),
         *[part.hex() for part in parts]],
        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    check(process.stdout.readline() == b"there\n")
    return process


# Made, locked, after each of the four writes, unlocked.
writers = {steps: start(steps) for steps in range(7)}
report = scan(spool, "--lock-wait", "0", status=1)
check((report["stored"], report["writing"], report["incomplete"]) == (1, 5, 1),
      report)
for process in writers.values():
    process.kill()
    process.wait()
# Nobody holds a lock now. Only the one with all four writes is whole.
report = scan(spool, status=1)
check((report["stored"], report["incomplete"]) == (1, 5), report)
old = time.time() - 100
for name in os.listdir(spool):
    os.utime(os.path.join(spool, name), (old, old))
report = scan(spool, status=2)
check((report["stored"], report["refused"]) == (0, 5), report)
check(os.listdir(spool) == ["bad"], os.listdir(spool))
check(stored() == 2)
