#!/usr/bin/python3
"""A scan that is killed at any moment loses nothing and stores nothing twice.

ZELK_KILLS: how many times (20)."""

import os
import random
import sqlite3
import subprocess
import time

from accumulator import (check, check_datastore, datastore, numbered, program,
                         query, scan, scratch, write_file)

KILLS = int(os.environ.get("ZELK_KILLS", "20"))
FILES = 300
seed = int(os.environ.get("ZELK_SEED", str(random.randrange(10**6))))
print("seed", seed)
random.seed(seed)
spool = scratch + "/spool"
os.mkdir(spool)

names = {}  # file to what it holds
made = []   # the datastore, once it was read
written = 0
longest = 0.3


def write_more(count):
    global written
    for _ in range(count):
        path = write_file(spool, numbered("node%d" % (written % 9), written,
                                          random.choice((64, 3000, 40000))))
        names[os.path.basename(path)] = written
        written += 1


def stored_numbers():
    if not os.path.exists(datastore):
        return []
    try:
        texts = query("SELECT STDOUT FROM v_provider_result")
    except sqlite3.OperationalError as error:
        # Killed while it was made: there are no tables yet, or what was begun
        # is to be taken back first, by one who may write.
        check(not made, "unreadable:", error)
        return []
    made.append(datastore)
    return [int(text.split()[1]) for (text,) in texts]


for _ in range(KILLS):
    write_more(FILES - len(os.listdir(spool)))
    began = time.monotonic()
    process = subprocess.Popen([program, "scan", spool, "--db", datastore,
                                "--batch", "20", "-q"],
                               stdout=subprocess.DEVNULL)
    try:
        process.wait(random.random() * longest)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
    else:
        longest = min(longest, 1.2 * (time.monotonic() - began))
    numbers = stored_numbers()
    there = {names[name] for name in os.listdir(spool)}
    check(len(numbers) == len(set(numbers)), "stored twice")
    check(set(numbers) | there == set(range(written)),
          "lost:", set(range(written)) - set(numbers) - there)

report = scan(spool)
check(os.listdir(spool) == [])
check(sorted(stored_numbers()) == list(range(written)))
check(query("SELECT count(*) FROM v_run WHERE state <> 'complete'") == [(0,)],
      query("SELECT * FROM v_run"))
check_datastore()
print(KILLS, "kills,", written, "files, known again at the end:",
      report["duplicates"])
