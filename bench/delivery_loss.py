#!/usr/bin/python3
"""How many records are lost when the accumulator ends under a sender that goes
on: the figures of doc/delivery.md.

  delivery_loss.py [ROUNDS]     with ZELK_ROOT or ZELK_ACCUMULATE set

Each round: a sender sends numbered records, the accumulator is killed (SIGKILL)
or told to stop (SIGTERM) at a random moment and started again at the same
address, and the sender ends by itself with everything sent. Prints for each
kind of sender how many of its records are not in the datastore, for each end:
least, median, most."""

import os
import random
import statistics
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) +
                "/../test/system")
from accumulator import Accumulator, query, scratch  # noqa: E402

SENDER = f"""
import sys, time
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
endpoint, name = sys.argv[1:3]
count, size, pause = int(sys.argv[3]), int(sys.argv[4]), float(sys.argv[5])
peer = Pusher(endpoint)
for sequence in range(count):
    peer.send(numbered(name, sequence, size))
    if pause:
        time.sleep(pause)
peer.close()
Pusher.context.term()
"""

#       name                              records  bytes  pause s  ends within s
CASES = [("burst of 1 KiB records", 40000, 1024, 0, 0.8),
         ("burst of 64 KiB records", 4000, 65536, 0, 1.0),
         ("one 1 KiB record each 0.5 ms", 3000, 1024, 0.0005, 1.5),
         ("one 1 KiB record each 20 ms", 100, 1024, 0.02, 2.0)]


def one_round(case, how, turn):
    name, count, size, pause, within = case
    base = f"{scratch}/{turn}.db"
    server = Accumulator(db=base)
    endpoint = server.endpoint
    sender = subprocess.Popen([sys.executable, "-c", SENDER, endpoint, "s",
                               str(count), str(size), str(pause)])
    time.sleep(0.3 + random.random() * within)
    if how == "SIGKILL":
        server.kill()
    else:
        server.stop()
    server = Accumulator("--bind", endpoint, db=base)
    sender.wait()
    server.stop()
    numbers = [int(text.split()[1]) for (text,) in
               query("SELECT STDOUT FROM v_provider_result", path=base)]
    assert len(numbers) == len(set(numbers)), "stored twice"
    for end in ("", "-wal", "-shm"):
        if os.path.exists(base + end):
            os.unlink(base + end)
    return count - len(numbers)


def main():
    rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 20
    print(f"{'sender':30} {'end':8} {'least':>6} {'median':>6} {'most':>6}  of")
    for case in CASES:
        for how in "SIGKILL", "SIGTERM":
            lost = [one_round(case, how, turn) for turn in range(rounds)]
            print(f"{case[0]:30} {how:8} {min(lost):6} "
                  f"{statistics.median(lost):6.0f} {max(lost):6}  {case[1]}",
                  flush=True)


main()
