#!/usr/bin/python3
"""Reads and makes provider results without the product's own code.

    record_layout.py FILE                 each field as key=value, one a line
    record_layout.py --build [KEY=VALUE]  a result's bytes on standard output

The layout stands here a second time on purpose: a mistake in the product's
struct shows as a difference between the two.

Values are bytes as in a Python bytes literal (\\n, \\x00, \\\\). Reading ends with
status 1 when the lengths do not add up, or when padding or the rest of a text
field is not zero. Building sets api to 1 and the sizes to the lengths of the
blocks unless they are given, and never complains: it makes bad results, too.
"""

import struct
import sys

HEADER = struct.Struct("<B3si64si4sqqd255s255s10sqH6sqq60si16s")
KEYS = (
    "api padding_1 exit_status name encoding padding_2 timestamp_sec"
    " timestamp_usec duration hostname host_arg username nodes_csv_size"
    " num_nodes padding_3 stdout_size stderr_size option_id version reserved"
).split()
TEXTS = {"name", "hostname", "host_arg", "username", "option_id"}
ZEROS = {"padding_1", "padding_2", "padding_3", "reserved"}
BLOCKS = ("stdout", "stderr", "nodes_csv")

assert HEADER.size == 736


def escaped(value):
    if not isinstance(value, bytes):
        return str(value)
    return value.decode("latin-1").encode("unicode_escape").decode()


def unescaped(text):
    plain = text.encode("utf-8", "surrogateescape").decode("latin-1")
    return plain.encode("latin-1", "backslashreplace").decode(
        "unicode_escape").encode("latin-1")


def text_and_fault(key, field):
    text, _, rest = field.partition(b"\0")
    fault = f"bytes behind the end of {key}" if rest.strip(b"\0") else None
    return text, fault


def parse(content):
    """Returns the fields of a result and what is wrong with it."""
    if len(content) < HEADER.size:
        return {}, [f"{len(content)} bytes are no header"]
    fields = dict(zip(KEYS, HEADER.unpack_from(content)))
    faults = [f"{key} is not zero" for key in sorted(ZEROS)
              if fields.pop(key).strip(b"\0")]
    for key in sorted(TEXTS):
        fields[key], fault = text_and_fault(key, fields[key])
        faults += [fault] if fault else []

    rest = content[HEADER.size:]
    sizes = [fields[block + "_size"] for block in BLOCKS]
    if min(sizes) < 0 or sum(sizes) != len(rest):
        return fields, faults + [f"{len(rest)} bytes behind a header that"
                                 f" says {' + '.join(map(str, sizes))}"]
    for block, size in zip(BLOCKS, sizes):
        fields[block], rest = rest[:size], rest[size:]
    return fields, faults


def build(values):
    """Returns the bytes of a result; `values` maps keys to bytes."""
    blocks = [values.pop(block, b"") for block in BLOCKS]
    fields = {key: b"" if key in TEXTS | ZEROS else 0 for key in KEYS}
    fields["api"] = 1
    for block, content in zip(BLOCKS, blocks):
        fields[block + "_size"] = len(content)
    for key, value in values.items():
        if key not in fields:
            raise SystemExit(f"no field {key}")
        is_bytes = isinstance(fields[key], bytes)
        number = float if key == "duration" else int
        fields[key] = value if is_bytes else number(value)
    return HEADER.pack(*(fields[key] for key in KEYS)) + b"".join(blocks)


def main(arguments):
    if arguments[:1] == ["--build"]:
        pairs = (argument.partition("=") for argument in arguments[1:])
        values = {key: unescaped(value) for key, _, value in pairs}
        sys.stdout.buffer.write(build(values))
        return 0
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    with open(arguments[0], "rb") as file:
        fields, faults = parse(file.read())
    for key, value in fields.items():
        print(f"{key}={escaped(value)}")
    for fault in faults:
        print(f"{arguments[0]}: {fault}", file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
