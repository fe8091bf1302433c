#!/usr/bin/python3
"""A sender that ends at any byte of a message: what it had sent whole is
stored, the rest is counted as cut off and never as a record."""

import random

from accumulator import (Accumulator, RawPeer, check, check_datastore, message,
                         numbered, query, wait_for)

random.seed(4)
server = Accumulator()
whole = message(numbered("whole", 0, 5000))
cuts = [1, 2, 9, 10, 100, len(whole) - 1] + random.sample(range(11, 5700), 40)
for number, cut in enumerate(cuts):
    peer = RawPeer(server)
    data = message(numbered("node%d" % number, 0, 5000)) + \
        message(numbered("node%d" % number, 1, 5000))[:cut]
    # In pieces, so that every boundary is met.
    for i in range(0, len(data), 1460):
        peer.send(data[i:i + 1460])
    peer.leave()
wait_for(lambda: query("SELECT count(*) FROM v_provider_result") ==
         [(len(cuts),)], "the whole ones")
summary = server.stop(status=1)
check(summary["received"] == summary["stored"] == len(cuts), summary)
check(summary["refused"]["cut off"] == len(cuts), summary)
check(server.lines(r"in the middle of a record, after \d+ of \d+ bytes"))
check_datastore()
