#!/usr/bin/python3
"""Runs a command beside a file system that takes questions and never answers.

Usage: stuck_mount.py MOUNT_POINT COMMAND [ARGUMENT...]

The mount is seen by the command and its children only. A process that asks it
waits in the kernel, and no signal ends it (state D), until the command has ended
and this script with it. Needs root and /dev/fuse; ends with 77 without them,
else with the command's exit status.
"""

import ctypes
import os
import struct
import subprocess
import sys
import threading

CLONE_NEWNS = 0x20000
MS_REC_PRIVATE = 0x4000 | 0x40000
FUSE_INIT = 26
libc = ctypes.CDLL(None, use_errno=True)


def call(function, *arguments):
    if function(*arguments) != 0:
        print("stuck_mount.py:", os.strerror(ctypes.get_errno()), file=sys.stderr)
        sys.exit(77)


def serve(device):
    """Takes each question and answers the first kind only."""
    while True:
        try:
            request = os.read(device, 1 << 17)
        except OSError:
            return
        opcode, unique = struct.unpack_from("<IQ", request, 4)
        if opcode == FUSE_INIT:
            answer = struct.pack("<IIIIHHI36x", 7, 31, 0, 0, 16, 12, 4096)
            os.write(device, struct.pack("<IiQ", 16 + len(answer), 0, unique) + answer)


def main():
    point, command = sys.argv[1], sys.argv[2:]
    if os.getuid() != 0 or not os.path.exists("/dev/fuse"):
        sys.exit(77)
    call(libc.unshare, CLONE_NEWNS)
    call(libc.mount, b"none", b"/", None, MS_REC_PRIVATE, None)
    device = os.open("/dev/fuse", os.O_RDWR)
    options = f"fd={device},rootmode=40000,user_id=0,group_id=0"
    call(libc.mount, b"stuck", point.encode(), b"fuse", 0, options.encode())
    threading.Thread(target=serve, args=(device,), daemon=True).start()
    sys.exit(subprocess.call(command))


main()
