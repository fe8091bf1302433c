#!/usr/bin/python3
"""One record, however often and by whatever way it comes, is one row; two that
share a key and differ are two."""

import os

from accumulator import (Accumulator, Pusher, check, check_datastore, numbered,
                         record, run, scan, scratch, stored, wait_for,
                         write_file)

server = Accumulator()
peer = Pusher(server.endpoint)
for _ in range(3):
    for i in range(500):
        peer.send(numbered("node1", i))
# Of the time of the first one.
peer.send(record(out=b"another one"))
peer.send(record(out=b"and another one"))
peer.close()
wait_for(lambda: stored() == 502, "502 rows")
summary = server.stop()
check(summary["received"] == 1502, summary)
check((summary["stored"], summary["duplicates"], summary["conflicts"]) ==
      (502, 1000, 2), summary)

# As files, and as files sent again.
spool = scratch + "/spool"
os.mkdir(spool)
for i in range(500):
    write_file(spool, numbered("node1", i))
server = Accumulator("--expect", "500", "--timeout", "60")
done = run("replay", spool, "--to", server.endpoint, status=0)
check(done.stdout == f"500 records sent to {server.endpoint}\n", done.stdout)
summary = server.stop(status=1)  # its run got none of them
check((summary["stored"], summary["duplicates"]) == (0, 500), summary)
report = scan(spool)
check((report["stored"], report["duplicates"]) == (0, 500), report)
check(os.listdir(spool) == [])
check(stored() == 502)
check_datastore()
