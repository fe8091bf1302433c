#!/usr/bin/python3
"""A soft limit of 64 open files is raised; where the hard limit is too low for
the peers, all of them are heard all the same, one after the other."""

import resource
import subprocess
import sys

from accumulator import Accumulator, check, stored, wait_for

PEERS = 300

SENDER = f"""
import sys
sys.path.insert(0, {sys.path[0]!r})
from accumulator import Pusher, numbered
first = int(sys.argv[2])
peers = [Pusher(sys.argv[1]) for _ in range({PEERS // 3})]
for i, peer in enumerate(peers):
    peer.send(numbered("node%d" % (first + i), 0))
if sys.argv[3] == "stay":
    sys.stdin.read()
for peer in peers:
    peer.close()
Pusher.context.term()
"""


def limited(soft, hard):
    return lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (soft, hard))


def start(server, what):
    return [subprocess.Popen([sys.executable, "-c", SENDER, server.endpoint,
                              str(first), what], stdin=subprocess.PIPE)
            for first in range(0, PEERS, PEERS // 3)]


hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
server = Accumulator(preexec=limited(64, hard))
senders = start(server, "stay")
wait_for(lambda: stored() == PEERS, "all that stay connected")
for sender in senders:
    sender.communicate(b"")
summary = server.stop()
check(summary["stored"] == PEERS, summary)

server = Accumulator("--expect", f"node[0-{PEERS - 1}]", "--until-complete",
                     preexec=limited(164, 164), db=server.arguments[3] + "2")
check(server.lines("Expecting 300 nodes, but only 100 can be connected"),
      server.stderr())
for sender in start(server, "leave"):
    sender.communicate()
summary = server.finish()
check(summary["stored"] == PEERS and summary["ended_by"] == "complete", summary)
check(len(server.lines("further ones have to wait")) < 10, server.stderr())
