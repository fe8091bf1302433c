#!/usr/bin/python3
"""listen, killed at random moments under load: the datastore is whole each time,
every row in it is whole and there once, and what was lost is a part of what was
on its way.

ZELK_KILLS: how many times (20)."""

import os
import random
import subprocess
import sys
import time

from accumulator import Accumulator, check, check_datastore, query

KILLS = int(os.environ.get("ZELK_KILLS", "20"))
seed = int(os.environ.get("ZELK_SEED", str(random.randrange(10**6))))
print("seed", seed)
random.seed(seed)

# Says how many it has handed to ZeroMQ, ten thousand times a second at most.
SENDER = f"""
import sys, time
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
peer = Pusher(sys.argv[1])
for sequence in range(10**9):
    peer.send(numbered(sys.argv[2], sequence, 1000))
    if sequence % 10 == 9:
        print(sequence + 1, flush=True)
        time.sleep(0.001)
"""

handed_over = stored_of_it = 0
for turn in range(KILLS):
    server = Accumulator("--batch", "50")
    name = f"turn{turn}"
    sender = subprocess.Popen([sys.executable, "-c", SENDER, server.endpoint,
                               name], stdout=subprocess.PIPE, text=True)
    sender.stdout.readline()
    time.sleep(random.random() * 0.5)
    server.kill()
    sender.kill()
    sent = int(sender.communicate()[0].split()[-1])
    numbers = sorted(int(text.split()[1]) for (text,) in
                     query("SELECT STDOUT FROM v_provider_result WHERE "
                           "Hostname = ?", name))
    # In order and without a hole: only the end can be missing.
    check(numbers == list(range(len(numbers))), name, "has a hole")
    handed_over += sent
    stored_of_it += len(numbers)
    check_datastore()

check(query("SELECT count(*) FROM v_run") == [(KILLS,)])
server = Accumulator()
server.stop()
check(query("SELECT count(*) FROM v_run WHERE state = 'running'") == [(0,)])
check(query("SELECT count(*) FROM v_run WHERE state = 'interrupted'") ==
      [(KILLS,)])
print(f"{KILLS} kills: of {handed_over} records handed to ZeroMQ "
      f"{handed_over - stored_of_it} were on their way and are lost")
