#!/usr/bin/python3
"""Checks what no compiler checks: layers, walls, lengths, pages, seeds.

Usage: check_tree.py [ROOT]

Prints one line "path:line: complaint" for each fault and ends with 1 when
there was one. Every rule is a function from a Tree to complaints.
"""

import os
import re
import sys

# Which folders a folder's files may include besides their own. Includes point
# down only: a module can then be built, tested and understood without anything
# above it.
BASE = {"log", "names", "str"}
LAYERS = {
    "src/common/names": set(),
    "src/common/str": set(),
    "src/common/text": {"names", "str"},
    "src/common/cli": {"text"},
    "src/common/log": {"names", "str"},
    "src/common/xml": BASE,
    "src/common/node": BASE,
    "src/common/util": BASE,
    "src/common/preproc": BASE | {"xml"},
    "src/collect/src/utils": BASE | {"node", "util"},
    "src/collect/src/provider":
        BASE | {"utils", "preproc", "node", "util", "datastore"},
    "src/common/datastore": BASE | {"text"},
    "src/collect/src/accumulate":
        BASE | {"text", "cli", "util", "node", "preproc", "datastore",
                "provider"},
    "src/common/facts": BASE | {"preproc"},
    "src/collect/src/reading":
        BASE | {"text", "node", "facts", "datastore", "accumulate"},
    "src/collect/src/db":
        BASE | {"text", "cli", "util", "node", "preproc", "facts",
                "datastore", "provider", "accumulate", "reading"},
    "src/check": BASE | {"facts", "command", "cli"},  # the program is there
    "src/check/judge": BASE | {"text", "xml", "node", "preproc", "facts", "check"},
    "src/check/report": BASE | {"text", "node", "facts", "check", "judge"},
    "src/check/page":
        BASE | {"text", "node", "facts", "check", "accumulate"},
    "src/check/input":
        BASE | {"text", "xml", "node", "util", "preproc", "facts", "datastore",
                "accumulate", "reading", "utils", "check", "judge"},
    "src/check/command":
        BASE | {"text", "cli", "xml", "node", "util", "preproc", "facts",
                "datastore", "accumulate", "reading", "check", "judge",
                "input", "report", "page"},
    "src/collect/src/collect":
        BASE | {"cli", "xml", "node", "util", "preproc", "utils"},
    "src/collect/src":
        BASE | {"cli", "xml", "node", "util", "preproc", "utils", "provider",
                "datastore", "text", "accumulate", "reading", "db",
                "collect"},
}
# Test support lies in the folder that it serves, and only tests may use it,
# those of other folders included.
TEST_SUPPORT = re.compile(
    r"src/.*/(captured_log|test_\w+|failing_\w+|\w+_fixture)\.(h|cpp)")

# Headers of other people's libraries, and the only files that may know them.
WALLS = [
    (r"czmq\.h|zmq\.h",
     r"src/collect/src/(delivery|zelk_show_results|provider/message|"
     r"accumulate/replay)\.cpp"),
    (r"libxml/.*", r"src/common/(xml/.*|preproc/.*\.cpp)|"
                   r"src/collect/src/provider_options\.cpp"),
    (r"syslog\.h|sys/syslog\.h", r"src/common/log/error_log\.cpp"),
    (r"sqlite3\.h", r"src/common/datastore/sqlite(_failure)?\.cpp|"
                    r"src/collect/src/db/(guarded_query|compact)\.cpp"),
    (r"zstd\.h", r"src/collect/src/db/zstd_stream\.cpp"),
    (r"re2/.*", r"src/common/facts/.*|test/facts/.*"),
    (r"openssl/.*", r"src/collect/src/accumulate/sha256\.cpp"),
    (r"libgen\.h", r"(?!)"),  # its basename is a macro
]

SOURCE_LINES = 500
HEADER_LINES = 250
FUNCTION_LINES = 60
SCENARIO_LINES = 40
SCENARIO_HELPER_LINES = 100

# Put together from pieces, so that this file does not hold them itself.
FORBIDDEN = [
    r"\b[Tt]he spec" + r"ification\b",
    r"\bPart " + r"\d+\.\d+\b",
    r"/" + r"work/(main|shared|\.library)",
    r"\bshared/" + r"(spec|design|formats|style|process|fanin|cli)\b",
]

TEXT = re.compile(r"\.(h|cpp|py|sh|txt|cmake|md|xml|xsd|json|[15])$")
CODE = re.compile(r"\.(h|cpp)$")
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


class Tree:
    """The files of a checkout, read once."""

    def __init__(self, root):
        self.root = root
        self.files = {}
        for folder, folders, names in os.walk(root):
            folders[:] = sorted(f for f in folders
                                if f not in (".git", "build", "__pycache__"))
            for name in sorted(names):
                path = os.path.join(folder, name)
                if os.path.isfile(path) and not os.path.islink(path):
                    self.files[os.path.relpath(path, root)] = None

    def raw(self, path):
        if self.files[path] is None:
            with open(os.path.join(self.root, path), "rb") as file:
                self.files[path] = file.read()
        return self.files[path]

    def lines(self, path):
        return self.raw(path).decode("utf-8", "replace").split("\n")

    def matching(self, pattern):
        return [path for path in self.files if re.fullmatch(pattern, path)]

    def text_files(self):
        """Files written by people; seeds are bytes, whatever their name."""
        for path in self.files:
            if path.startswith("test/fuzz/seeds/"):
                continue
            if TEXT.search(path) or self.raw(path).startswith(b"#!"):
                yield path

    def code_files(self):
        return [path for path in self.files if CODE.search(path)]

    def includes(self, path):
        """Yields (line number, quote, header)."""
        for number, line in enumerate(self.lines(path), 1):
            found = INCLUDE.match(line)
            if found:
                yield number, found.group(1), found.group(2)


def is_test(path):
    return (path.endswith("_test.cpp") or not path.startswith("src/")
            or TEST_SUPPORT.fullmatch(path) is not None)


def layers(tree):
    for path in tree.code_files():
        folder = os.path.dirname(path)
        if not path.startswith("src/"):
            continue
        if folder not in LAYERS:
            yield path, 1, "the folder has no place in the layers"
            continue
        for number, quote, header in tree.includes(path):
            if quote == '"':
                yield from layer_of_include(tree, path, number, header)


def layer_of_include(tree, path, number, header):
    folder, target = os.path.dirname(path), os.path.dirname(header)
    if header not in tree.files:
        yield path, number, f'"{header}" is not a file of the tree'
    elif TEST_SUPPORT.fullmatch(header):
        if not is_test(path):
            yield path, number, f'"{header}" is for tests only'
    elif target != folder and os.path.basename(target) not in LAYERS[folder]:
        yield path, number, f"{folder} may not include from {target}"


def walls(tree):
    for path in tree.code_files():
        for number, quote, header in tree.includes(path):
            for pattern, allowed in WALLS:
                if (quote == "<" and re.fullmatch(pattern, header)
                        and not re.fullmatch(allowed, path)
                        and (header == "libgen.h" or not is_test(path))):
                    yield path, number, f"<{header}> may not be included here"


def own_header_first(tree):
    for path in tree.code_files():
        own = re.sub(r"(_test)?\.cpp$", ".h", path)
        if own == path or own not in tree.files:
            continue
        first = next(tree.includes(path), (1, "", ""))
        if first[2] != own:
            yield path, first[0], f'the first include must be "{own}"'


def header_heads(tree):
    for path in tree.matching(r".*\.h"):
        lines = tree.lines(path)
        if not re.match(r"// \S.{10}", lines[0]):
            yield path, 1, "a header starts with a comment on its purpose"
        if "#pragma once" not in lines:
            yield path, 1, "no #pragma once"


# What machines print is kept as they print it.
PRINTED = re.compile(r"test/facts/recordings/|test/providers/cases/|"
                     r"test/synthetic/outputs/")


def whitespace(tree):
    for path in tree.text_files():
        if PRINTED.match(path):
            continue
        content = tree.raw(path)
        if content and not content.endswith(b"\n"):
            yield path, content.count(b"\n") + 1, "no newline at the end"
        for number, line in enumerate(content.split(b"\n"), 1):
            if line == b"IFS=' \t":  # how POSIX sh writes its field separators
                continue
            if line.endswith((b" ", b"\t")):
                yield path, number, "white space at the end of the line"
            if b"\r" in line:
                yield path, number, "carriage return"
            if b"\t" in line:
                yield path, number, "tab"


def longest(tree, path):
    if path == "test/system/common.sh":
        return SCENARIO_HELPER_LINES
    if re.fullmatch(r"test/system/[^/]*\.sh", path):
        return SCENARIO_LINES
    if path.endswith(".h"):
        return HEADER_LINES
    return SOURCE_LINES if re.search(r"\.(cpp|py|sh)$", path) else None


def file_lengths(tree):
    for path in tree.files:
        limit = longest(tree, path)
        lines = tree.raw(path).count(b"\n")
        if limit and lines > limit:
            yield path, limit, f"{lines} lines; at most {limit}"


def function_lengths(tree):
    """Counts from the line that opens a body at the margin to its "}".

    A comment above that owns to a "flat table" or a "flat switch" lifts the
    limit: splitting one of those makes it harder to read.
    """
    for path in tree.code_files():
        begin, flat = None, False
        for number, line in enumerate(tree.lines(path), 1):
            if begin is None and not line:
                flat = False
            if re.match(r"// .*\bflat (table|switch)\b", line):
                flat = True
            if re.match(r"[^\s/#}].*\) .*\{$|\S.*\)\s*\{$|    .*\) \{$", line):
                begin = number if begin is None else begin
            elif line.startswith("}"):
                if begin and not flat and number - begin - 1 > FUNCTION_LINES:
                    yield (path, begin, f"a body of {number - begin - 1} lines;"
                           f" at most {FUNCTION_LINES}")
                begin = None


def forbidden_words(tree):
    patterns = [re.compile(pattern) for pattern in FORBIDDEN]
    for path in tree.text_files():
        for number, line in enumerate(tree.lines(path), 1):
            for pattern in patterns:
                found = pattern.search(line)
                if found:
                    yield path, number, f"'{found.group()}' has no place here"


def every_source_is_built(tree):
    for path in tree.matching(r"(src|bench|test/fuzz)/.*\.cpp"):
        build = os.path.join(os.path.dirname(path), "CMakeLists.txt")
        name = os.path.basename(path)
        if path.startswith(("bench/", "test/fuzz/")):
            name = name[:-len(".cpp")]
        words = re.findall(r"[\w.]+", "\n".join(tree.lines(build))) \
            if build in tree.files else []
        if name not in words:
            yield path, 1, f"{build} does not build it"


def page_options(lines):
    """The options of a page's OPTIONS section: letter to "takes a value"."""
    options, inside = {}, False
    for line in lines:
        if line.startswith(".SH"):
            inside = "OPTIONS" in line
        found = re.match(r"\.(B|BI|BR) \\-(\w)(.*)", line) if inside else None
        if found:
            options[found.group(2)] = bool(found.group(3).strip())
    return options


def man_pages(tree):
    """Every program has a page, and the page has the program's options."""
    for build in tree.matching(r"src/.*/CMakeLists\.txt"):
        text = "\n".join(tree.lines(build))
        for program in re.findall(r"zelk_program\(\s*([\w-]+)", text):
            page = f"doc/man/{program}.1"
            if page not in tree.files:
                yield build, 1, f"{program} has no {page}"
                continue
            for section in ("OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES",
                            "EXAMPLES"):
                if f".SH {section}" not in tree.lines(page):
                    yield page, 1, f"no section {section}"
            # Those with a dash are the head node's, with long options.
            if "-" not in program:
                yield from options_of_page(tree, os.path.dirname(build), page)


def options_of_page(tree, folder, page):
    for path in tree.matching(re.escape(folder) + r"/[^/]*\.cpp"):
        if is_test(path):
            continue
        found = re.search(r'getopt\([^"]*"([^"]*)"',
                          "\n".join(tree.lines(path)))
        if not found:
            continue
        code = {letter: value == ":"
                for letter, value in re.findall(r"(\w)(:?)", found.group(1))}
        options = page_options(tree.lines(page))
        for letter in sorted(set(code) | set(options)):
            if code.get(letter) != options.get(letter):
                yield page, 1, f"-{letter} is not what {path} reads"


def provider_folders(tree):
    """A description's auxiliary folder is there, and no folder is forgotten."""
    used = {"common"}  # what all providers' scripts start with
    for path in tree.matching(r"etc/providers/[^/]*\.xml"):
        text = "\n".join(tree.lines(path))
        name = os.path.basename(path)[:-len(".xml")]
        named = re.search(r"<provider\b[^>]*\bname=\"([^\"]*)\"", text)
        folder = re.search(r"<auxiliary_path>\s*(.*?)\s*</auxiliary_path>",
                           text)
        folder = folder.group(1) if folder else \
            named.group(1) if named else name
        used.add(folder)
        if "%PROVIDER_AUXILIARY_PATH%" in text and not tree.matching(
                f"provider/share/{re.escape(folder)}/.*"):
            yield path, 1, f"provider/share/{folder} is missing"
    for path in tree.matching(r"provider/share/[^/]*/.*"):
        if path.split("/")[2] not in used:
            yield path, 1, "no description uses this folder"


def fuzz_seeds(tree):
    fuzzers = {os.path.basename(path)[:-len(".cpp")]
               for path in tree.matching(r"test/fuzz/[^/]*\.cpp")}
    seeded = {path.split("/")[3]
              for path in tree.matching(r"test/fuzz/seeds/[^/]*/.*")}
    for name in sorted(fuzzers - seeded):
        yield f"test/fuzz/{name}.cpp", 1, f"no seeds in test/fuzz/seeds/{name}"
    for name in sorted(seeded - fuzzers):
        yield f"test/fuzz/seeds/{name}", 1, "seeds of no fuzzer"


def executable_scripts(tree):
    for path in tree.text_files():
        starts = tree.raw(path).startswith(b"#!")
        runs = os.access(os.path.join(tree.root, path), os.X_OK)
        if starts != runs:
            yield path, 1, ("a script that may not be run" if starts
                            else "may be run but says not by what")


RULES = [layers, walls, own_header_first, header_heads, whitespace,
         file_lengths, function_lengths, forbidden_words,
         every_source_is_built, man_pages, provider_folders, fuzz_seeds,
         executable_scripts]


def complaints(root):
    tree = Tree(root)
    for rule in RULES:
        for path, line, text in rule(tree):
            yield f"{path}:{line}: {text}"


def main(arguments):
    default = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    found = list(complaints(os.path.normpath((arguments + [default])[0])))
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
