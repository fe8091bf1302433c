#!/usr/bin/python3
"""What zelk-accumulate says to people: help, version, mistakes, and where it
looks for what the command line does not say."""

import os
import re
import time

from accumulator import (check, numbered, record, run, scan, scratch, stored,
                         write_file)

for words in (["--help"], ["listen", "-h"], ["scan", "--nonsense", "--help"]):
    done = run(*words, status=0)
    check(done.stdout.count("Usage: zelk-accumulate") == 1, done.stdout)
    check(done.stderr == "", done.stderr)
done = run("--version", status=0)
check(re.fullmatch(r"zelk-accumulate [0-9.]+( \(commit [0-9a-f]{12}\))?\n"
                   r"datastore version 3\n", done.stdout), done.stdout)
for words in ([], ["lisen"], ["listen", "--bnid", "x"], ["replay"],
              ["scan", "/no/such/directory", "--db", scratch + "/x.db"],
              ["listen", "--bind", "nonsense", "--db", scratch + "/x.db"],
              ["scan", scratch, "--db", "mysql://host/x"]):
    done = run(*words, status=3)
    check(done.stdout == "" and done.stderr, words)
check("did you mean '--bind'?" in run("listen", "--bnid", "x").stderr)
check(not os.path.exists(scratch + "/x.db"), "made for nothing")

# The spool of the configuration, the datastore of the environment.
spool = scratch + "/spool"
os.mkdir(spool)
with open(scratch + "/zelk.xml", "w") as file:
    file.write(f"<zelk><output_directory>{spool}</output_directory></zelk>")
root = os.path.dirname(os.path.dirname(os.path.abspath(
    run.__globals__["program"])))
if os.path.exists(root + "/share/zelkara/zelk.xsd"):
    write_file(spool, numbered("node1", 0))
    done = run("scan", status=0, env={
        **os.environ, "ZELK_CONFIG": scratch + "/zelk.xml",
        "ZELK_DB": "sqlite:" + scratch + "/env.db"})
    check(done.stdout.startswith("1 file: 1 stored\nrun 1 from 1 result, 1 "
                                 "node, 2023-11-14 "), done.stdout)
    check(stored(scratch + "/env.db") == 1)
    done = run("scan", "-c", scratch + "/none.xml", status=3,
               env={**os.environ, "ZELK_DB": scratch + "/env.db"})
    check(scratch + "/none.xml" in done.stderr, done.stderr)

# Results on standard output, everything else on standard error.
bad = write_file(spool, [b"garbage" * 200])
write_file(spool, record(out=b"x"))
done = run("scan", spool, "--db", scratch + "/zelk.db", "-v", "-v", status=1)
check("2 files: 1 stored, 1 refused" in done.stdout, done.stdout)
check("refused" not in done.stderr, done.stderr)
check(run("scan", spool, "--db", scratch + "/zelk.db", "-q", status=0).stdout ==
      "")

# What cannot be begun is not.
for words in (("scan", "--watch", scratch + "/nonexistent"),
              ("scan", spool, "--ready-fd", "999"),
              ("scan", spool, "--label", "a\x1b[2Jb")):
    done = run(*words, "--db", scratch + "/zelk.db", status=3)
    check(done.stderr and "\x1b" not in done.stderr, done.stderr)
done = run("scan", spool, "--db", "mysql:foo", status=3)
check("'mysql:foo': expected sqlite:PATH or a path" in done.stderr, done.stderr)

# Sent to nobody: said so, and the file stays.
path = write_file(spool, record(out=b"y", usec=1))
began = time.monotonic()
done = run("replay", path, scratch + "/none", "--to", "tcp://127.0.0.1:1",
           "--wait", "1", status=2)
check(time.monotonic() - began < 10)
check("send it again" in done.stderr and "no such file" in done.stderr,
      done.stderr)
check(scan(spool, "--keep")["stored"] == 1 and os.path.exists(path))

# Kept files are stored once, however often they are met.
check(scan(spool, "--keep")["duplicates"] == 1)
check(scan(spool, "--run", "new")["duplicates"] == 1)
check(not os.path.exists(path))
# By label, whatever the time.
with open(spool + "/label", "w") as file:
    file.write("nightly\n")
for when in (1500000000, 1600000000):
    write_file(spool, record(time_sec=when, out=b"z"))
report = scan(spool)
check([one["label"] for one in report["runs"]] == ["nightly"], report)
