#!/usr/bin/python3
"""Two scans of one directory at once take each of 2,000 files in exactly once,
into one run."""

import json
import os
import subprocess

from accumulator import (check, check_datastore, datastore, numbered, program,
                         query, scratch, write_file)

FILES = 2000
spool = scratch + "/spool"
os.mkdir(spool)
for i in range(FILES):
    write_file(spool, numbered("node%d" % (i % 50), i))

scans = [subprocess.Popen([program, "scan", spool, "--db", datastore, "--json"],
                          stdout=subprocess.PIPE) for _ in range(2)]
reports = []
for one in scans:
    text, _ = one.communicate(timeout=120)
    check(one.returncode == 0, one.returncode, text)
    reports.append(json.loads(text))

check(os.listdir(spool) == [], os.listdir(spool)[:5])
check(sum(report["stored"] for report in reports) == FILES, reports)
check(sum(report["duplicates"] for report in reports) == 0, reports)
check(sum(report["refused"] for report in reports) == 0, reports)
check(query("SELECT count(*), count(DISTINCT Unique_timestamp) FROM "
            "v_provider_result") == [(FILES, FILES)])
check(query("SELECT count(*), min(state) FROM v_run") == [(1, "complete")],
      query("SELECT * FROM v_run"))
check_datastore()
