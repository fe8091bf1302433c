"""What the scenarios of zelk-accumulate share.

Environment:
  ZELK_ROOT        the installed tree under test
  ZELK_ACCUMULATE  the program, when it is not ZELK_ROOT/bin/zelk-accumulate

A scenario is a program that imports this, and ends with 0, or with 77 when this
machine cannot show what it checks. Everything it makes lies below `scratch`.
"""

import atexit
import json
import os
import re
import shutil
import signal
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time

scratch = tempfile.mkdtemp(prefix="zelk.")
atexit.register(shutil.rmtree, scratch, True)
program = os.environ.get("ZELK_ACCUMULATE") or \
    os.environ["ZELK_ROOT"] + "/bin/zelk-accumulate"
datastore = scratch + "/zelk.db"

HEADER = struct.Struct("<B3xi64si4xqqd255s255s10sqH6xqq60si16s")


def skip(why):
    print("skipped:", why)
    sys.exit(77)


def check(claim, *shown):
    """A claim that must be true; what is shown explains one that is not."""
    if not claim:
        raise AssertionError(" ".join(map(str, shown)))


def wait_for(condition, what, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            if condition():
                return
        except sqlite3.OperationalError:
            pass  # a datastore in the making
        time.sleep(0.02)
    raise AssertionError(
        f"waited in vain: {what() if callable(what) else what}")


def header(name="memory", host="node1", time_sec=1700000000, usec=0, out=b"",
           err=b"", nodes=b"", option="None", api=1, sizes=None):
    out_size, err_size, nodes_size = sizes or (len(out), len(err), len(nodes))
    return HEADER.pack(api, 0, name.encode(), 0, time_sec, usec, 1.5,
                       host.encode(), b"", b"root", nodes_size, 1, out_size,
                       err_size, option.encode(), 1, b"")


def record(**parts):
    """The four frames of a result."""
    return [header(**parts), parts.get("out", b""), parts.get("err", b""),
            parts.get("nodes", b"")]


def numbered(sender, sequence, size=64):
    """A record that tells who sent it and which one it is."""
    text = b"%s %d " % (sender.encode(), sequence)
    return record(host=sender, time_sec=1700000000 + sequence // 1000000,
                  usec=sequence % 1000000, out=text.ljust(size, b"."))


def write_file(directory, frames, name=None):
    """A result file as a worker leaves it."""
    if name is None:
        write_file.count = getattr(write_file, "count", 0) + 1
        name = "ZELK_MEMORY_node1_1700000000__%06d" % write_file.count
    path = os.path.join(directory, name)
    with open(path, "wb") as file:
        file.write(b"".join(frames))
    return path


def query(sql, *values, path=None):
    base = sqlite3.connect(f"file:{path or datastore}?mode=ro", uri=True,
                           timeout=30)
    try:
        return base.execute(sql, values).fetchall()
    finally:
        base.close()


def stored(path=None):
    return query("SELECT count(*) FROM v_provider_result", path=path)[0][0]


def check_datastore(path=None):
    found = query("PRAGMA integrity_check", path=path)
    check(found == [("ok",)], found)
    whole = query("SELECT count(*) FROM v_provider_result WHERE STDOUT IS NULL",
                  path=path)
    check(whole == [(0,)], "rows that are not whole:", whole)


class Accumulator:
    """A listen, or any other command, that runs beside the scenario."""

    def __init__(self, *arguments, command="listen", ready=True, db=None,
                 preexec=None, environment=None, pass_fds=()):
        self.arguments = [program, command, "--db", db or datastore]
        if command == "listen" and "--bind" not in arguments:
            self.arguments += ["--bind", "tcp://127.0.0.1:*"]
        self.arguments += [*arguments, "--json", "--stats-interval", "0"]
        self.errors = open(f"{scratch}/stderr.{id(self)}", "w+b")
        reader, writer = os.pipe()
        if ready:
            self.arguments += ["--ready-fd", str(writer)]
        self.process = subprocess.Popen(
            self.arguments, stdout=subprocess.PIPE, stderr=self.errors,
            pass_fds=[writer, *pass_fds], preexec_fn=preexec,
            env={**os.environ, **(environment or {})})
        os.close(writer)
        atexit.register(self.process.kill)
        with os.fdopen(reader) as line:
            self.endpoint = line.readline()[6:].strip() if ready else ""
        check(not ready or self.endpoint, "not ready:", self.stderr())

    @property
    def address(self):
        host, port = self.endpoint[6:].rsplit(":", 1)
        return host, int(port)

    def stderr(self):
        self.errors.flush()
        with open(self.errors.name, "rb") as file:
            return file.read().decode("utf-8", "replace")

    def lines(self, pattern):
        return [line for line in self.stderr().splitlines()
                if re.search(pattern, line)]

    def memory(self):
        """Resident bytes, now and at most."""
        with open(f"/proc/{self.process.pid}/status") as file:
            text = file.read()
        return [int(re.search(rf"{key}:\s*(\d+)", text).group(1)) * 1024
                for key in ("VmRSS", "VmHWM")]

    def stop(self, signal_number=signal.SIGTERM, status=0):
        """Ends it; returns its summary. A status of None: the caller looks."""
        self.process.send_signal(signal_number)
        return self.finish(status)

    def finish(self, status=0, timeout=120):
        text, _ = self.process.communicate(timeout=timeout)
        check(status is None or self.process.returncode == status, "status",
              self.process.returncode, self.stderr())
        self.summary = json.loads(text) if text else {}
        return self.summary

    def kill(self):
        self.process.kill()
        self.process.communicate()


def run(*arguments, status=None, **options):
    """A command to its end; returns the finished process."""
    done = subprocess.run([program, *arguments], capture_output=True, text=True,
                          timeout=300, **options)
    check(status is None or done.returncode == status, "status",
          done.returncode, done.stdout, done.stderr)
    return done


def scan(directory, *arguments, status=0, db=None):
    return json.loads(run("scan", "--db", db or datastore, "--json", directory,
                          *arguments, status=status).stdout)


class Pusher:
    """A peer as workers are ones."""

    context = None

    def __init__(self, endpoint, high_water=1000):
        import zmq
        if Pusher.context is None:
            Pusher.context = zmq.Context()
            Pusher.context.set(zmq.MAX_SOCKETS, 20000)
        self.socket = Pusher.context.socket(zmq.PUSH)
        self.socket.linger = -1
        self.socket.sndhwm = high_water
        self.socket.connect(endpoint)

    def send(self, frames):
        self.socket.send_multipart(frames)

    def close(self):
        self.socket.close()


GREETING = b"\xff" + bytes(8) + b"\x7f\x03\x01NULL" + bytes(48)


def frame(body, more=False, length=None):
    size = len(body) if length is None else length
    return bytes([(1 if more else 0) | 2]) + struct.pack(">Q", size) + body


def message(frames):
    return b"".join(frame(part, i + 1 < len(frames))
                    for i, part in enumerate(frames))


class RawPeer:
    """A peer that says exactly what it is told to. Each has an address of its
    own: lines about one peer are rationed."""

    count = 0

    def __init__(self, accumulator, introduce=True):
        RawPeer.count += 1
        self.socket = socket.create_connection(
            accumulator.address, 30,
            (f"127.0.{RawPeer.count // 250}.{RawPeer.count % 250 + 1}", 0))
        if introduce:
            ready = b"\x05READY\x0bSocket-Type\0\0\0\x04PUSH"
            self.send(GREETING + bytes([4, len(ready)]) + ready)

    def send(self, data):
        self.socket.sendall(data)

    def is_cut_off(self, seconds=20):
        """Whether the other side ends the connection."""
        self.socket.settimeout(seconds)
        try:
            while self.socket.recv(65536):
                pass
            return True
        except ConnectionError:
            return True
        except socket.timeout:
            return False

    def leave(self):
        """Ends its side and reads to the other's end. Closing with something
        unread would be a reset, which throws away what is on its way."""
        self.socket.shutdown(socket.SHUT_WR)
        self.is_cut_off()
        self.close()

    def close(self):
        self.socket.close()
