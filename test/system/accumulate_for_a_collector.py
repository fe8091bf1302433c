#!/usr/bin/python3
"""A collector's accumulator: orders on one descriptor, events on another, and
whatever a collector does wrong, it costs nothing that was sent."""

import fcntl
import json
import os
import signal
import time

from accumulator import (Accumulator, Pusher, check, check_datastore, datastore,
                         numbered, query, record, run, scratch, wait_for)


class Collected(Accumulator):
    """An accumulator with both pipes; `first` is written before it starts."""

    def __init__(self, *arguments, first=b'{"run":{}}\n', db=None):
        orders, self.orders = os.pipe()
        self.events_fd, events = os.pipe()
        os.write(self.orders, first)
        os.set_inheritable(orders, True)
        os.set_inheritable(events, True)
        super().__init__(*arguments, "--control-fd", str(orders), "--events-fd",
                         str(events), db=db, pass_fds=(orders, events))
        os.close(orders)
        os.close(events)
        self.text = b""

    def order(self, order):
        line = order if isinstance(order, bytes) else \
            json.dumps(order).encode() + b"\n"
        while line:
            line = line[os.write(self.orders, line):]

    def read(self, what, seconds=30):
        """Events up to the first one of that name; returns that one."""
        end = time.monotonic() + seconds
        os.set_blocking(self.events_fd, False)
        self.events = getattr(self, "events", [])
        while time.monotonic() < end:
            try:
                piece = os.read(self.events_fd, 65536)
                check(piece, "no event", what, "but the end", self.stderr())
                self.text += piece
            except BlockingIOError:
                time.sleep(0.01)
            while b"\n" in self.text:
                line, self.text = self.text.split(b"\n", 1)
                self.events.append(json.loads(line))
                if self.events[-1]["event"] == what:
                    return self.events[-1]
        raise AssertionError(f"no event {what}: {self.events} {self.stderr()}")


def result(node, usec=0, **parts):
    return record(host=node, usec=usec, out=b"four", **parts)


# A whole collection: what came, what did not and why, and the end by order.
server = Collected(first=json.dumps({"run": {
    "label": "nightly", "note": "by ada", "command_line": "zelk-collect @all"
}}).encode() + b"\n")
check(server.read("run") == {"event": "run", "run": 1})
server.order({"expect": [{"node": f"n{i}", "provider": "memory",
                          "option": "None"} for i in range(1, 5)]})
peer = Pusher(server.endpoint)
for i in (1, 2):
    peer.send(result(f"n{i}"))
server.read("result")
event = server.read("result")
check(event == {"event": "result", "node": "n2", "provider": "memory",
                "option": "None", "hostname": "n2", "exit_status": 0,
                "duration": 1.5, "bytes": 4}, event)
check(query("SELECT count(*) FROM v_result") == [(2,)], "told before stored")
server.order({"missing": [{"node": "n3", "provider": "", "option": "",
                           "reason": "ssh: connection refused"},
                          {"node": "n4", "provider": "memory", "option": "None",
                           "reason": "timed out after 10 s"}]})
peer.socket.send_multipart([b"nonsense"])
event = server.read("refused")
check(event["peer"].startswith("127.0.0.1:") and event["reason"], event)
peer.send(result("n3", usec=1))  # comes all the same: behind the order to close
server.order({"close": "auto"})
peer.close()
closed = server.read("closed")
check((closed["state"], closed["results"], closed["nodes"],
       closed["missing_count"]) == ("partial", 3, 3, 1), closed)
check(closed["missing"] == [{"node": "n4", "provider": "memory",
                             "option": "None",
                             "reason": "timed out after 10 s"}], closed)
summary = server.finish(status=1)
check(summary["ended_by"] == "closed", summary)
check(query("SELECT label, note, command_line, state FROM v_run") ==
      [("nightly", "by ada", "zelk-collect @all", "partial")])
check(query("SELECT node, reason FROM v_missing WHERE provider <> ''") ==
      [("n4", "timed out after 10 s")])

# The same results again are no news; a state that is ordered counts.
for state in "complete", "interrupted":
    server = Collected("--run", "1")
    peer = Pusher(server.endpoint)
    peer.send(result("n1"))
    check(server.read("result")["node"] == "n1")
    peer.close()
    server.order({"close": state})
    check(server.read("closed")["state"] == state)
    server.finish(status=0 if state == "complete" else 1)
server = Collected()
peer = Pusher(server.endpoint)
peer.send(result("n1"))  # which run 1 has
peer.send(result("n1", usec=7))
server.read("result")
check(len(server.events) == 2, server.events)
peer.close()

# The collector dies: what was sent is stored, and the run says so. (A peer that
# has not reached the accumulator by then finds nobody: the first is waited for.)
peer = Pusher(server.endpoint)
peer.send(result("n1", usec=100))
server.read("result")
for i in range(1, 100):
    peer.send(result("n1", usec=100 + i))
os.close(server.orders)
peer.close()
check(server.read("closed")["state"] == "interrupted")
summary = server.finish(status=1)
check(summary["ended_by"] == "collector gone", summary)
check(summary["stored"] == 101, summary)
check(query("SELECT state, results FROM v_run ORDER BY run DESC LIMIT 1") ==
      [("interrupted", 101)])

# Before it has said a word: there is no run.
runs = query("SELECT count(*) FROM v_run")
orders, writer = os.pipe()
os.close(writer)
done = run("listen", "--db", datastore, "--bind", "tcp://127.0.0.1:*",
           "--control-fd", str(orders), status=3, pass_fds=(orders,))
check("ended without an order" in done.stderr, done.stderr)
check(query("SELECT count(*) FROM v_run") == runs)
for option in "--control-fd", "--events-fd", "--ready-fd":
    done = run("listen", "--db", datastore, option, "999", status=3)
    check("descriptor 999 is not open" in done.stderr, done.stderr)

# Garbage is one line on standard error each, however much there is of it.
server = Collected(first=b"\n\x00\xff\n[[[[[[\n" + b"{" * 70 + b"\n"
                   b'{"run":{"label":1}}\n{"run":{"label":"after all"}}\n',
                   db=scratch + "/garbage.db")
check(server.read("run")["run"] == 1)
before = server.memory()[1]
piece = b"x" * 1000000
for _ in range(50):
    server.order(piece)
server.order(b"\n" + b'{"expect":[{"node":"n1"}]}\n')
wait_for(lambda: query("SELECT nodes_expected FROM v_run",
                       path=scratch + "/garbage.db") == [(1,)], server.stderr)
lines = server.lines("A line of the control descriptor is passed over")
check(len(lines) == 6, lines)
check("longer than 4194304 bytes" in lines[-1], lines)
check(server.memory()[1] - before < 40 << 20, server.memory())
server.order(b'{"close":"complete"}\n{"close":"interrupted"}\n')
check(server.read("closed")["state"] == "complete")
server.finish()
check(query("SELECT label FROM v_run", path=scratch + "/garbage.db") ==
      [("after all",)])

# A collector that reads no events holds nothing up; it is told what it missed.
COUNT = 60000
server = Collected(db=scratch + "/deaf.db")
fcntl.fcntl(server.events_fd, 1031, 4096)  # F_SETPIPE_SZ
peer = Pusher(server.endpoint)
for i in range(COUNT):
    peer.send(numbered("deaf", i))
peer.close()
wait_for(lambda: query("SELECT count(*) FROM v_result",
                       path=scratch + "/deaf.db") == [(COUNT,)],
         "results whose events nobody reads", 120)
check(server.memory()[1] < 300 << 20, server.memory())
server.order({"close": "auto"})
check(server.read("closed")["results"] == COUNT)
told = sum(event["event"] == "result" for event in server.events)
dropped = sum(event.get("count", 0) for event in server.events)
check(dropped > 0 and told + dropped == COUNT, told, dropped)
server.finish()

# One that is gone does not hold it up either.
server = Collected(db=scratch + "/gone.db")
os.close(server.events_fd)
peer = Pusher(server.endpoint)
for i in range(10000):
    peer.send(numbered("gone", i))
peer.close()
server.order({"close": "auto"})
check(server.finish()["stored"] == 10000)

# Told to end by a signal, it closes the run and says so.
server = Collected(db=scratch + "/signal.db")
server.order({"expect": [{"node": "n1"}]})
wait_for(lambda: query("SELECT nodes_expected FROM v_run",
                       path=scratch + "/signal.db") == [(1,)], server.stderr)
server.process.send_signal(signal.SIGTERM)
check(server.read("closed")["state"] == "interrupted")
server.finish(status=1)
for name in "zelk", "garbage", "deaf", "gone", "signal":
    check_datastore(f"{scratch}/{name}.db")
