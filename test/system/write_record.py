"""Writes one result file: write_record.py DIRECTORY HOST PROVIDER OUTPUT

As a worker on that host would, whatever its name and its output hold. Backslash
escapes of Python are understood in both."""

import os
import struct
import sys
import time

HEADER = struct.Struct("<B3xi64si4xqqd255s255s10sqH6xqq60si16s")


def plain(text):
    return text.encode().decode("unicode_escape").encode("latin-1")


directory, host, provider, output = sys.argv[1:]
host, output = plain(host), plain(output)
seconds, nanoseconds = divmod(time.time_ns(), 1_000_000_000)
record = HEADER.pack(1, 0, provider.encode(), 0, seconds, nanoseconds // 1000,
                     1.5, host, b"", b"root", len(host), 1, len(output), 0,
                     b"None", 1, b"") + output + host
name = "ZELK_X_node_%d__%06d" % (seconds, nanoseconds // 1000)
with open(os.path.join(directory, name), "wb") as file:
    file.write(record)
