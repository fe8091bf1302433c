"""Writes result files: write_results.py DIRECTORY NODES

Of each node one of "memory" and one of "cpu", with bytes that are no text, and
one of a node and a provider whose names are escape sequences."""

import os
import struct
import sys
import time

HEADER = struct.Struct("<B3xi64si4xqqd255s255s10sqH6xqq60si16s")


def write(directory, provider, host, usec, out, err=b"", encoding=0):
    now, usec = divmod(start + usec, 1000000)
    record = HEADER.pack(1, 0, provider, encoding, now, usec, 1.5, host, b"",
                         b"root", len(host), 1, len(out), len(err), b"None", 1,
                         b"") + out + err + host
    name = "ZELK_X_node_%d__%06d" % (now, usec)
    with open(os.path.join(directory, name), "wb") as file:
        file.write(record)


# Every call writes records of its own.
start = time.time_ns() // 1000
directory, nodes = sys.argv[1], int(sys.argv[2])
for number in range(1, nodes + 1):
    for offset, provider in enumerate((b"memory", b"cpu")):
        write(directory, provider, b"node%03d" % number, 2 * number + offset,
              b"out \x00\xff\x1b[2J of %s on %d\n" % (provider, number), b"warn")
write(directory, b"\x1b]0;p\x07", b"\x1b[2Jevil", 0, b"aGVsbG8K", encoding=1)
