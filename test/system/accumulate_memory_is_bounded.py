#!/usr/bin/python3
"""64 fast senders of 1 MiB records and a datastore that takes nothing: memory
stays within the budget, nothing is dropped, all of it is stored afterwards."""

import sqlite3
import subprocess
import sys
import time

from accumulator import (Accumulator, check, check_datastore, datastore,
                         query, stored, wait_for)

SENDERS, RECORDS, SIZE = 64, 12, 1 << 20
BUDGET = 64 << 20

SENDER = f"""
import sys
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
first = int(sys.argv[2])
peers = [(i, Pusher(sys.argv[1], 2)) for i in range(first, first + 16)]
for sequence in range({RECORDS}):
    for sender, peer in peers:
        peer.send(numbered("s%d" % sender, sequence, {SIZE}))
for sender, peer in peers:
    peer.close()
Pusher.context.term()
"""

server = Accumulator("--memory", f"{BUDGET >> 20}MiB", "--max-record", "8MiB",
                     "--batch", "10")
before = server.memory()[0]
# Somebody else is writing: the store can only wait.
other = sqlite3.connect(datastore, isolation_level=None)
other.execute("BEGIN IMMEDIATE")
senders = [subprocess.Popen([sys.executable, "-c", SENDER, server.endpoint,
                             str(first)])
           for first in range(0, SENDERS, 16)]


def held():
    return server.memory()[0] - before


# Beyond 16 MiB that wait for the store no peer is read.
wait_for(lambda: held() > 12 << 20, lambda: f"records held: {held()}")
time.sleep(5)
most = server.memory()[1] - before
# The batch that the store has is outside the budget, and so is the allocator's
# slack.
check(most < 1.5 * BUDGET + (32 << 20), "held", most >> 20, "MiB")
check(stored() == 0)
other.execute("ROLLBACK")
for sender in senders:
    check(sender.wait(120) == 0)
wait_for(lambda: stored() == SENDERS * RECORDS, "everything to be stored")
summary = server.stop()
check(summary["stored"] == SENDERS * RECORDS, summary)
check(query("SELECT count(DISTINCT Hostname) FROM v_provider_result") ==
      [(SENDERS,)])
check_datastore()
print("at most", most >> 20, "MiB above the start")
