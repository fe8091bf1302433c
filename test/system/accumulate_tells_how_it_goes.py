#!/usr/bin/python3
"""Readiness on a descriptor and to the supervisor, the statistics line, the
meter on a terminal only, and the end when everything expected has come."""

import os
import pty
import socket
import subprocess
import time

from accumulator import (Accumulator, Pusher, check, datastore, program,
                         query, record, run, scratch, wait_for)

# The supervisor's socket.
supervisor = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
supervisor.bind(scratch + "/notify")
supervisor.settimeout(30)
server = Accumulator("--expect", "node[1-4]", "--expect-provider", "memory",
                     "--expect-provider", "stream:quick", "--until-complete",
                     "--label", "nightly",
                     environment={"NOTIFY_SOCKET": scratch + "/notify"})
check(supervisor.recv(1000).decode() ==
      f"READY=1\nSTATUS=Receiving on {server.endpoint}")

peer = Pusher(server.endpoint)
for node in range(1, 5):
    peer.send(record(host=f"node{node}", out=b"x"))
wait_for(lambda: query("SELECT count(*) FROM v_provider_result") == [(4,)],
         "four results")
for node in range(1, 5):
    check(server.process.poll() is None, "ended too early")
    peer.send(record(host=f"node{node}", name="stream", option="quick"))
time.sleep(1)
check(server.process.poll() is None, "a peer is still there")
peer.send(record(host="node9", name="another one"))
peer.close()
summary = server.finish()
check(summary["ended_by"] == "complete", summary)
check(summary["run"]["state"] == "complete", summary)
check(summary["run"]["label"] == "nightly", summary)
check(summary["stored"] == 9, summary)
check(supervisor.recv(1000) == b"STOPPING=1")

# What is missing is named, folded.
server = Accumulator("--expect", "node[1-10]", "--until-complete", "--timeout",
                     "2")
peer = Pusher(server.endpoint)
for node in (1, 2, 3, 7):
    peer.send(record(host=f"node{node}", usec=5))
summary = server.finish(status=1)
check(summary["ended_by"] == "time limit", summary)
check(summary["run"]["state"] == "partial", summary)
check([one["nodeset"] for one in summary["run"]["missing"]] ==
      ["node[4-6,8-10]"], summary)
peer.close()

# A stranger does not stand for a node that is missing, even to who is quiet.
other = scratch + "/stranger.db"
server = Accumulator("--expect", "node1", db=other)
peer = Pusher(server.endpoint)
peer.send(record(host="node01"))
wait_for(lambda: query("SELECT count(*) FROM v_result", path=other) == [(1,)],
         "the stranger's result")
peer.close()
summary = server.stop(status=1)
check((summary["run"]["nodes_answered"], summary["run"]["nodes_not_expected"])
      == (0, 1), summary)
done = run("listen", "--db", other, "--run", "1", "--bind", "tcp://127.0.0.1:*",
           "--timeout", "1", "-q", status=1)
check("0 of 1 nodes +1 not expected\n  missing: node1 (1)" in done.stdout,
      done.stdout)
with open("/dev/full", "w") as full:
    done = subprocess.run([program, "listen", "--db", other, "--bind",
                           "tcp://127.0.0.1:*", "--timeout", "1"], stdout=full,
                          stderr=subprocess.PIPE, text=True)
check(done.returncode == 2, done)
check("standard output could not be written" in done.stderr, done.stderr)

# The gaps are filled into the same run.
server = Accumulator("--run", "latest", "--until-complete", "--expect",
                     "node[1-10]")
peer = Pusher(server.endpoint)
for node in (4, 5, 6, 8, 9, 10):
    peer.send(record(host=f"node{node}", usec=5))
peer.close()
summary = server.finish()
check(summary["run"]["state"] == "complete", summary)
check(summary["run"]["results"] == 10, summary)
run("listen", "--db", datastore, "--run", "4711", "--bind",
    "tcp://127.0.0.1:*", status=3)


def on_terminal(*arguments):
    """What a listen of two seconds writes to a terminal as standard error."""
    master, slave = pty.openpty()
    with subprocess.Popen([program, "listen", "--db", datastore, "--bind",
                           "tcp://127.0.0.1:*", "--timeout", "2", *arguments],
                          stderr=slave, stdout=subprocess.PIPE,
                          env={**os.environ, "TERM": "xterm"}) as process:
        os.close(slave)
        text = b""
        while True:
            try:
                piece = os.read(master, 65536)
            except OSError:
                break
            if not piece:
                break
            text += piece
    os.close(master)
    return text


check(b"0 records received" in on_terminal(), "no meter on a terminal")
check(b"records received" not in on_terminal("--progress", "none"))
check(b"records received" not in on_terminal("-q"))

# Not a terminal: lines.
done = run("listen", "--db", datastore, "--bind", "tcp://127.0.0.1:*",
           "--timeout", "3", "--stats-interval", "1", status=0)
lines = done.stderr.splitlines()
check(2 <= len(lines) <= 3, done.stderr)
check(lines[0].startswith("zelk-accumulate: received 0 (0/s), stored 0"), lines)
check("\r" not in done.stderr)
check(done.stdout.startswith("0 records received: 0 stored"), done.stdout)
