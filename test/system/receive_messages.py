#!/usr/bin/python3
"""A receiver of accumulate messages that is not the product's.

    receive_messages.py ENDPOINT COUNT OUTDIR [SECONDS]

Binds a PULL socket to ENDPOINT, prints "READY " and the endpoint (with the real
port for tcp://127.0.0.1:*), and writes frame K of message N to
OUTDIR/N.frameK, both from 1. Ends with status 1 when one message takes longer
than SECONDS (60). Needs Debian's python3-zmq.
"""

import os
import sys

import zmq


def receive(socket, count, directory):
    for number in range(1, count + 1):
        for place, frame in enumerate(socket.recv_multipart(), 1):
            path = os.path.join(directory, f"{number}.frame{place}")
            with open(path, "wb") as file:
                file.write(frame)


def main(arguments):
    if len(arguments) not in (3, 4):
        print(__doc__, file=sys.stderr)
        return 2
    endpoint, count, directory = arguments[:3]
    seconds = float(arguments[3]) if len(arguments) == 4 else 60
    os.makedirs(directory, exist_ok=True)
    with zmq.Context() as context, context.socket(zmq.PULL) as socket:
        socket.rcvtimeo = int(seconds * 1000)
        socket.bind(endpoint)
        print("READY", socket.last_endpoint.decode(), flush=True)
        try:
            receive(socket, int(count), directory)
        except zmq.Again:
            print(f"no message within {seconds:g} s", file=sys.stderr)
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
