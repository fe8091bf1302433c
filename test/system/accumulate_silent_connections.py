#!/usr/bin/python3
"""500 connections that say nothing are gone after the time for introductions,
port scans leave nothing behind, and a peer that stops answering is let go."""

import os
import signal
import socket
import subprocess
import sys
import time

from accumulator import (Accumulator, Pusher, RawPeer, check, numbered, stored,
                         wait_for)

server = Accumulator("--heartbeat", "1")


def descriptors():
    return len(os.listdir(f"/proc/{server.process.pid}/fd"))


def processor_time():
    with open(f"/proc/{server.process.pid}/stat") as file:
        return sum(map(int, file.read().rsplit(")", 1)[1].split()[11:13]))


before = descriptors()
for _ in range(200):
    socket.create_connection(server.address).close()
wait_for(lambda: descriptors() <= before, "the port scan to be forgotten")

began = time.monotonic()
silent = [RawPeer(server, introduce=False) for _ in range(500)]
wait_for(lambda: descriptors() >= before + 490, "500 connections")
good = Pusher(server.endpoint)
good.send(numbered("good", 0))
wait_for(lambda: stored() == 1, "a good peer beside them")
wait_for(lambda: descriptors() <= before + 1, "the silent ones to be gone", 15)
check(time.monotonic() - began < 10, "it took", time.monotonic() - began)
check(len(server.lines("no introduction")) <= 60, "too many lines")

# Idle peers cost nothing. The unit is 10 ms.
ticks = processor_time()
time.sleep(2)
check(processor_time() - ticks <= 2, "busy when idle")

# A peer that is stopped is let go, and heard again when it goes on.
PEER = f"""
import sys
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
peer = Pusher(sys.argv[1])
peer.send(numbered("stopped", 1))
sys.stdin.readline()
peer.send(numbered("stopped", 2))
peer.close()
Pusher.context.term()
"""
stopped = subprocess.Popen([sys.executable, "-c", PEER, server.endpoint],
                           stdin=subprocess.PIPE)
wait_for(lambda: stored() == 2, "its first record")
connected = descriptors()
stopped.send_signal(signal.SIGSTOP)
wait_for(lambda: descriptors() < connected, "it to be let go", 15)
good.send(numbered("good", 1))
wait_for(lambda: stored() == 3, "the one that answers")
stopped.send_signal(signal.SIGCONT)
# What it sends before it knows of the end of its connection is lost.
wait_for(lambda: descriptors() >= connected, "it to come back")
stopped.communicate(b"\n", 30)
wait_for(lambda: stored() == 4, "its second record")

summary = server.stop()
check(summary["refused"]["unreachable"] == 1, summary)
check(summary["refused"]["silent"] == 700, summary)
check(summary["stored"] == summary["received"] == 4, summary)
