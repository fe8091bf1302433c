#!/usr/bin/python3
"""SIGTERM under load: what senders that have ended had sent is stored, of the
others a beginning without a hole, and the end comes in time."""

import atexit
import signal
import subprocess
import sys
import time

from accumulator import (Accumulator, check, check_datastore, query, scratch)

SENDER = f"""
import sys
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
name, count, size = sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
peer = Pusher(sys.argv[1])
for sequence in range(count):
    peer.send(numbered(name, sequence, size))
peer.close()
peer.context.term()
"""


def start(name, count, size=1024):
    sender = subprocess.Popen([sys.executable, "-c", SENDER, server.endpoint,
                               name, str(count), str(size)])
    atexit.register(sender.kill)  # it would go on when a claim is not true
    return sender


for turn in range(3):
    server = Accumulator("--stop-wait", "10",
                         db=f"{scratch}/{turn}.db")
    path = f"{scratch}/{turn}.db"
    finished = [start(f"done{i}", 2000) for i in range(3)]
    endless = [start(f"endless{i}", 10**7) for i in range(2)]
    for sender in finished:
        check(sender.wait(60) == 0)
    # Everything that those three had to send is with the system by now.
    began = time.monotonic()
    summary = server.stop(status=None)
    took = time.monotonic() - began
    for sender in endless:
        sender.kill()
        sender.wait()
    check(took < 25, "the end took", took)
    # One that never pauses may lose the record it is in the middle of.
    cut_off = summary["refused"].get("cut off", 0)
    check(cut_off <= len(endless), summary)
    check(server.process.returncode == (1 if cut_off else 0), summary)
    check(summary["received"] == summary["stored"], summary)
    check(summary["pending"] == 0 and summary["lost"] == 0, summary)

    def numbers(name):
        rows = query("SELECT STDOUT FROM v_provider_result WHERE Hostname = ?",
                     name, path=path)
        return sorted(int(row[0].split()[1]) for row in rows)

    for i in range(3):
        check(numbers(f"done{i}") == list(range(2000)), f"done{i}")
    for i in range(2):
        got = numbers(f"endless{i}")
        check(got == list(range(len(got))), f"endless{i} has a hole")
    check_datastore(path)

# Twice means now.
server = Accumulator()
busy = start("busy", 10**7)
time.sleep(0.5)
server.process.send_signal(signal.SIGTERM)
time.sleep(0.1)
server.process.send_signal(signal.SIGTERM)
began = time.monotonic()
server.process.wait(10)
check(server.process.returncode == -signal.SIGTERM, server.process.returncode)
check(time.monotonic() - began < 3)
check(server.lines("Stopped at once: "), server.stderr())
busy.kill()
check_datastore()

# Ctrl-C stops cleanly, and the shell is told.
server = Accumulator(db=scratch + "/c.db")
server.stop(signal.SIGINT, -signal.SIGINT)
check(server.summary["ended_by"] == "SIGINT", server.summary)
