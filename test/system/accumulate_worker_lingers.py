#!/usr/bin/python3
"""A worker and its linger time against an accumulator that is down, comes late,
is stopped for a while, or dies and comes back."""

import os
import signal
import socket
import subprocess
import time

from accumulator import Accumulator, check, scratch, stored, wait_for

tree = os.environ["ZELK_ROOT"]
root = scratch + "/root"
os.makedirs(root + "/etc/providers")
for name in ("share", "provider"):
    os.symlink(f"{tree}/{name}", f"{root}/{name}")
with open(root + "/etc/zelk.xml", "w") as file:
    file.write("<zelk/>")


def provider(name, command):
    path = f"{scratch}/{name}.xml"
    with open(path, "w") as file:
        file.write(f"<provider><command><![CDATA[{command}]]></command>"
                   "</provider>")
    return path


def worker(endpoint, *providers, linger=None):
    environment = {**os.environ, "ZELK_TEST_INSTALL_ROOT": root}
    if linger is not None:
        environment["ZELK_COLLECT_LINGER"] = str(linger)
    words = [word for path in providers for word in ("-f", path)]
    return subprocess.Popen([tree + "/bin/zelk_run_provider", "-e", endpoint,
                             *words], env=environment, cwd=scratch)


quick = provider("aquick", "echo quick")
with socket.socket() as probe:
    probe.bind(("127.0.0.1", 0))
    endpoint = "tcp://127.0.0.1:%d" % probe.getsockname()[1]

# Down: given up after the linger time, or never.
began = time.monotonic()
check(worker(endpoint, quick, linger=1000).wait(30) == 0)
check(1 <= time.monotonic() - began < 10, time.monotonic() - began)
patient = [worker(endpoint, quick) for _ in range(20)]
time.sleep(2)
check(all(one.poll() is None for one in patient), "the worker did not wait")

# Late: heard all the same.
server = Accumulator("--bind", endpoint)
for one in patient:
    check(one.wait(30) == 0)
wait_for(lambda: stored() == 20, "what waited for the accumulator")

# Stopped for a while: the worker's end does not depend on it, since the system
# takes what is sent; nothing is lost.
server.process.send_signal(signal.SIGSTOP)
workers = [worker(endpoint, quick) for _ in range(5)]
time.sleep(1)
server.process.send_signal(signal.SIGCONT)
for one in workers:
    check(one.wait(30) == 0)
wait_for(lambda: stored() == 25, "what came while it was stopped")

# Dies between two results, and comes back.
flag = scratch + "/go"
waits = provider("bwaits",
                 f"sh -c 'while [ ! -e {flag} ]; do sleep 0.1; done; echo'")
one = worker(endpoint, quick, waits)
wait_for(lambda: stored() == 26, "the first of two results")
server.kill()
server = Accumulator("--bind", endpoint, "--expect", "1", "--until-complete",
                     "--timeout", "60")
with open(flag, "w"):
    pass
check(one.wait(60) == 0)
summary = server.finish()
check(summary["ended_by"] == "complete" and stored() == 27, summary)
