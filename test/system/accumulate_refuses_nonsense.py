#!/usr/bin/python3
"""Whatever a peer sends costs that peer alone: good peers are served after it,
and every refusal is counted and named."""

import os

from accumulator import (GREETING, Accumulator, Pusher, RawPeer, check,
                         check_datastore, frame, header, message, numbered,
                         record, stored, wait_for)

server = Accumulator("--max-record", "1MiB")
good = Pusher(server.endpoint)
sent = 0


def a_good_peer_is_served():
    global sent
    good.send(numbered("good", sent))
    sent += 1
    wait_for(lambda: stored() == sent, f"record {sent}: {server.stderr()}")


def nonsense(line, *pieces, introduce=True, cut_off=False):
    """Sends the pieces and expects a line about them on standard error."""
    peer = RawPeer(server, introduce)
    before = len(server.lines(line))
    try:
        for piece in pieces:
            peer.send(piece)
    except ConnectionError:
        check(cut_off, "cut off:", line)
    wait_for(lambda: len(server.lines(line)) > before,
             f"no line '{line}' in: {server.stderr()}")
    if cut_off:
        check(peer.is_cut_off(), "still connected:", line)
    else:
        # The same connection is as good as any other afterwards.
        global sent
        peer.send(message(numbered("reformed", sent)))
        sent += 1
        wait_for(lambda: stored() == sent, f"after {line}")
    peer.close()
    a_good_peer_is_served()


parts = record(out=b"12345", err=b"678", nodes=b"n1, n2")
a_good_peer_is_served()

# Messages: refused, and the peer's next one is taken.
nonsense("3 frames instead of 4", message(parts[:3]))
nonsense("3 frames instead of 4", message([b"1", b"2", b"3"]))
nonsense("5 frames instead of 4", message(parts + [b""]))
nonsense("1 frames instead of 4", message(parts[:1]))
nonsense("header of 735 bytes", message([parts[0][:735]] + parts[1:]))
nonsense("header of 737 bytes", message([parts[0] + b"x"] + parts[1:]))
nonsense("stdout of 5 bytes where the header says 9",
         message([header(sizes=(9, 3, 6))] + parts[1:]))
nonsense("stdout of -1 bytes", message([header(sizes=(-1, 3, 6))] + parts[1:]))
nonsense("stderr of 3 bytes where",
         message([header(sizes=(5, 2, 6))] + parts[1:]))
nonsense("stdout of 9223372036854775807 bytes where a record may have",
         message([header(sizes=(2**63 - 1,) * 3)] + parts[1:]))
nonsense("zero byte", message(record(nodes=b"a\0b")))
nonsense("node7, provider oversized.*: stdout of 1048576 bytes where a record",
         message(record(host="node7", name="oversized", out=bytes(1 << 20))))

# Connections: refused or cut off.
nonsense("is not ZMTP", os.urandom(1).replace(b"\xff", b"x") + os.urandom(999),
         introduce=False, cut_off=True)
nonsense("'GET / HTTP/1.1", b"GET / HTTP/1.1\r\n\r\n", introduce=False,
         cut_off=True)
nonsense("older than version 3", GREETING[:10] + b"\x01" + GREETING[11:],
         introduce=False, cut_off=True)
nonsense("mechanism 'CURVE'", GREETING.replace(b"NULL\0", b"CURVE"),
         introduce=False, cut_off=True)
nonsense("type 'DEALER'", GREETING + b"\x04\x1c\x05READY\x0bSocket-Type"
         b"\0\0\0\x06DEALER", introduce=False, cut_off=True)
nonsense("a message before the introduction", GREETING + message(parts),
         introduce=False, cut_off=True)
nonsense("a command of 0 bytes", b"\x04\0", cut_off=True)
nonsense("unknown flags", b"\xf0\x01", cut_off=True)
# Longer than anything that is waited for, and a message that never ends.
nonsense("without an end", frame(b"", True, 1 << 40), cut_off=True)
nonsense("without an end", frame(b"", True) * 200, cut_off=True)

summary = server.stop(status=1)
check(summary["received"] == summary["stored"] == sent, summary)
check(summary["refused"]["malformed"] == 12, summary)
check(summary["refused"]["oversize"] == 2, summary)
check(summary["refused"]["garbage"] == 8, summary)
check_datastore()
