#!/usr/bin/python3
"""What a collection costs, as ratios to floors of the same run.

Usage: collect_bench.py ROOT [--hosts N] [--nodes N] [--rounds N] [PART...]

ROOT is an installed tree. PART is "launch" or "scale"; both by default.

launch  N hosts (64) of the test cluster over ssh: zelk-collect from its start to
        the stored run, with a provider that says one word, to clush and to pdsh
        that run `true` there with the same fan-out. Needs root and namespaces.
scale   N nodes (1,000) that are none: a stand-in for ssh starts each worker on
        this machine, 8 at a time. Processor time and memory of zelk-collect
        itself, with names that fold into one range and with names of no shape.

Ends with 1 when a bar was missed, with 77 when the machine permits no cluster.
"""

import argparse
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
CLUSTER = os.path.join(HERE, "..", "test", "cluster", "cluster.sh")
PROVIDER = "<provider><command>echo hello</command></provider>\n"

# An allowance beside a floor, and figures that must not be exceeded.
LAUNCH_BAR = 1.3
CPU_BAR = 3.0  # s for 1,000 nodes: 5 % of a core when they take a minute
MEMORY_BAR = 100.0  # MiB
SHAPE_BAR = 1.15  # no more, and what two runs of one thing differ by

missed = False


def show(name, ours, floor, ratio, bar):
    """Prints one line of the table; `ratio` is what the bar is for."""
    global missed
    verdict = "" if ratio <= bar else "  MISSED"
    missed = missed or ratio > bar
    print(f"{name:44} {ours:10.3f} {floor:10.3f} {ratio:8.3f} {bar:8.3f}{verdict}",
          flush=True)


def header():
    print(f"{'name':44} {'ours':>10} {'floor':>10} {'ratio':>8} {'bar':>8}")


# ---- launch

class Cluster:
    def __init__(self, root, hosts, scratch):
        self.environment = dict(os.environ, CLUSTER_ROOT=root,
                                CLUSTER_DIR=os.path.join(scratch, "cluster"))
        status = self.call("up", str(hosts)).returncode
        if status:
            sys.exit(status)

    def call(self, *arguments):
        return subprocess.run([CLUSTER, *arguments], env=self.environment,
                              stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)

    def timed(self, *command):
        """Seconds of a command on the head."""
        begin = time.monotonic()
        status = self.call("exec", "head", *command).returncode
        seconds = time.monotonic() - begin
        if status:
            sys.exit(f"status {status} of {' '.join(command)}")
        return seconds


def launch(options, scratch):
    cluster = Cluster(options.root, options.hosts, scratch)
    try:
        with open(os.path.join(scratch, "cluster/shared/hello.xml"), "w") as file:
            file.write(PROVIDER)
        nodes = f"node[01-{options.hosts}]"
        fanout = str(options.hosts)
        commands = {
            "zelk-collect": ["zelk-collect", "--db", "sqlite:/tmp/zelk.db",
                             "--fanout", fanout, "--progress", "none", "-w",
                             nodes, "-f", "/run/cluster/shared/hello.xml"],
            "clush": ["clush", "-q", "-f", fanout, "-w", nodes, "true"],
            "pdsh": ["pdsh", "-R", "ssh", "-f", fanout, "-w", nodes, "true"],
        }
        seconds = {name: [] for name in commands}
        for turn in range(options.rounds + 1):
            for name, command in commands.items():
                taken = cluster.timed(*command)
                if turn:  # the first one fills the caches
                    seconds[name].append(taken)
    finally:
        cluster.call("down")
    ours = statistics.median(seconds["zelk-collect"])
    for name in ("clush", "pdsh"):
        floor = statistics.median(seconds[name])
        show(f"{options.hosts} hosts over ssh, to {name} of true (s)", ours,
             floor, ours / floor, LAUNCH_BAR)


# ---- scale

STAND_IN = """#!/bin/sh
# ssh [OPTION...] HOST COMMAND..., for hosts that are all this machine.
while :; do
  case $1 in
    --) shift; break ;;
    -[bcDEeFIiJLlmOopQRSWw]) shift 2 ;;
    -*) shift ;;
    *) break ;;
  esac
done
shift
exec /bin/sh -c "$*"
"""


def own_cost(pid):
    """Seconds of processor time and MiB at the most of that process alone."""
    with open(f"/proc/{pid}/stat") as file:
        fields = file.read().rsplit(") ", 1)[1].split()
    seconds = (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
    with open(f"/proc/{pid}/status") as file:
        peak = next(line for line in file if line.startswith("VmHWM:"))
    return seconds, int(peak.split()[1]) / 1024


def collect_alone(options, scratch, names):
    """Runs a collection; its own cost, and its wall time in seconds."""
    database = os.path.join(scratch, "scale.db")
    nodefile = os.path.join(scratch, "nodes")
    description = os.path.join(scratch, "hello.xml")
    with open(nodefile, "w") as file:
        file.writelines(f"{name} role=compute\n" for name in names)
    with open(description, "w") as file:
        file.write(PROVIDER)
    environment = dict(os.environ,
                       PATH=os.path.join(scratch, "bin") + ":" + os.environ["PATH"])
    begin = time.monotonic()
    child = subprocess.Popen(
        [os.path.join(options.root, "bin/zelk-collect"), "--db",
         "sqlite:" + database, "--fanout", "8", "--address", "127.0.0.1",
         "--progress", "none", "-n", nodefile, "-f", description],
        env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL)
    cost = (0.0, 0.0)
    while child.poll() is None:
        try:
            cost = own_cost(child.pid)
        except (OSError, IndexError, StopIteration):
            pass  # it has ended since, and has no memory any more
        time.sleep(0.02)
    if child.returncode:
        sys.exit(f"zelk-collect ended with {child.returncode}")
    seconds = time.monotonic() - begin
    stored = subprocess.run(
        [os.path.join(options.root, "bin/zelk-db"), "--db", "sqlite:" + database,
         "query", "--format", "csv",
         "SELECT results, state FROM v_run ORDER BY run DESC LIMIT 1"],
        capture_output=True, text=True, check=True).stdout.split()[-1]
    if stored.replace('"', "") != f"{len(names)},complete":
        sys.exit(f"the run has {stored}, expected {len(names)},complete")
    return cost, seconds


def shapeless(count):
    """Names that have no number in common, nor a prefix; always the same ones."""
    chance = random.Random(1)
    names = set()
    while len(names) < count:
        names.add("".join(chance.choice("abcdefghijklmnopqrstuvwxyz")
                          for _ in range(chance.randint(4, 12))))
    return sorted(names)


def scale(options, scratch):
    os.mkdir(os.path.join(scratch, "bin"))
    stand_in = os.path.join(scratch, "bin", "ssh")
    with open(stand_in, "w") as file:
        file.write(STAND_IN)
    os.chmod(stand_in, 0o755)
    kinds = {"fold": [f"node{i:04}" for i in range(1, options.nodes + 1)],
             "no shape": shapeless(options.nodes)}
    costs = {kind: [] for kind in kinds}
    for _ in range(options.rounds):
        for kind, names in kinds.items():
            cost, seconds = collect_alone(options, scratch, names)
            costs[kind].append(cost)
            print(f"# {options.nodes} nodes, names {kind}: {seconds:.1f} s, "
                  f"collector {cost[0]:.2f} s, {cost[1]:.1f} MiB", flush=True)
    # The least: what else runs on the machine can only add to it.
    per_thousand = {kind: min(c[0] for c in costs[kind]) * 1000 / options.nodes
                    for kind in kinds}
    for kind in kinds:
        show(f"collector, names {kind} (s for 1,000 nodes)", per_thousand[kind],
             CPU_BAR, per_thousand[kind] / CPU_BAR, 1.0)
        memory = max(c[1] for c in costs[kind])
        show(f"its memory, names {kind} (MiB)", memory, MEMORY_BAR,
             memory / MEMORY_BAR, 1.0)
    show("names of no shape, to names that fold (s)", per_thousand["no shape"],
         per_thousand["fold"], per_thousand["no shape"] / per_thousand["fold"],
         SHAPE_BAR)


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("root", type=os.path.abspath)
    parser.add_argument("parts", nargs="*", default=[])
    parser.add_argument("--hosts", type=int, default=64)
    parser.add_argument("--nodes", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    parts = {"launch": launch, "scale": scale}
    header()
    for name in options.parts or parts:
        with tempfile.TemporaryDirectory() as scratch:
            parts[name](options, scratch)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
