#!/usr/bin/python3
"""A shared directory may hold anything: links, FIFOs, cut and forged files. The
good files among them are taken, nothing else is touched but moved aside."""

import fcntl
import os
import time

from accumulator import (check, check_datastore, header, record, run, scan,
                         scratch, stored, write_file)

spool = scratch + "/spool"
os.mkdir(spool)
whole = record(out=b"x" * 100)
secret = scratch + "/secret"
with open(secret, "wb") as file:
    file.write(b"".join(record(host="secret")))

# Not result files: left alone.
os.symlink(secret, spool + "/ZELK_SYMLINK_n_1700000000__aaaaaa")
os.mkfifo(spool + "/ZELK_FIFO_n_1700000000__aaaaaa")
os.mkdir(spool + "/ZELK_DIRECTORY_n_1700000000__aaaaaa")
os.link(secret, spool + "/ZELK_HARDLINK_n_1700000000__aaaaaa")
strange = set(os.listdir(spool))
# Not even looked at.
for name in (".ZELK_hidden", "notes.txt", "zelk_lower"):
    write_file(spool, whole, name)
# Bad ones: moved aside with the reason.
write_file(spool, [b"garbage" * 200], "ZELK_GARBAGE_n_1700000000__aaaaaa")
write_file(spool, [header(api=9)], "ZELK_API_n_1700000000__aaaaaa")
write_file(spool, whole + [b"more"], "ZELK_LONGER_n_1700000000__aaaaaa")
write_file(spool, [header(sizes=(-5, 0, 0))], "ZELK_MINUS_n_1700000000__aaaaaa")
write_file(spool, [header(sizes=(2**62, 2**62, 2**62))],
           "ZELK_HUGE_n_1700000000__aaaaaa")
with open(spool + "/ZELK_SPARSE_n_1700000000__aaaaaa", "wb") as file:
    file.truncate(1 << 40)
cut = write_file(spool, [header(sizes=(7340, 0, 0)), b"x" * 5120],
                 "ZELK_CUT_n_1700000000__aaaaaa")
os.utime(cut, (time.time() - 3600,) * 2)
bad = {name for name in os.listdir(spool) if name.startswith("ZELK_")} - strange
# Young ones that are not whole: left, and looked at again.
young = {os.path.basename(write_file(spool, [b"".join(whole)[:size]],
                                     f"ZELK_YOUNG_n_1700000000__{size:06}"))
         for size in (0, 100, 736, 800)}
# Held by its writer.
held = write_file(spool, whole, "ZELK_HELD_n_1700000000__aaaaaa")
writer = open(held, "r+b")
fcntl.flock(writer, fcntl.LOCK_EX)
for i in range(20):
    write_file(spool, record(time_sec=1700000000 + i, out=b"good"))

report = scan(spool, "--lock-wait", "1", status=1)
check(report["stored"] == 20 == stored(), report)
check(report["refused"] == len(bad), report)
check(report["incomplete"] == len(young), report)
check(report["writing"] == 1, report)
check(report["left_alone"] == len(strange), report)
left = set(os.listdir(spool))
check({name for name in left if name.startswith("ZELK_")} ==
      strange | young | {os.path.basename(held)}, sorted(left))
check(left >= {".ZELK_hidden", "notes.txt", "zelk_lower"}, left)
aside = set(os.listdir(spool + "/bad"))
check(aside == bad | {name + ".reason" for name in bad}, aside)
check(os.stat(spool + "/bad").st_mode & 0o777 == 0o700)
with open(spool + "/bad/ZELK_CUT_n_1700000000__aaaaaa.reason") as file:
    check(file.read() ==
          "header says 7340 bytes of output, file has 5120\n")
check(os.path.getsize(secret) == 736)

# The text says the same, and what was young has been forgotten by its writer.
writer.close()
done = run("scan", spool, "--db", scratch + "/zelk.db", "--incomplete-age",
           "0", status=1)
check("1 stored, " in done.stdout and "4 refused" in done.stdout, done.stdout)
check(f"(moved to {spool}/bad)" in done.stdout, done.stdout)
check(stored() == 21)
check_datastore()
