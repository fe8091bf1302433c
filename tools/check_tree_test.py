#!/usr/bin/python3
"""Tests of check_tree.py: a sound little tree, and one fault planted each."""

import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import check_tree  # noqa: E402

HEAD = "// What this header is for.\n\n#pragma once\n"

SOUND = {
    "src/common/str/CMakeLists.txt": "zelk_library(str SOURCES str.cpp)\n",
    "src/common/str/str.h": HEAD,
    "src/common/str/str.cpp": '#include "src/common/str/str.h"\n',
    "src/common/log/captured_log.h": HEAD,
    "src/common/log/error_log.h": HEAD,
    "src/collect/src/CMakeLists.txt":
        "zelk_program(zelk_tool\n  SOURCES tool.cpp)\n",
    "src/collect/src/tool.cpp":
        '#include "src/common/str/str.h"\n'
        'int f() { return getopt(argc, argv, "Ac:"); }\n',
    "doc/man/zelk_tool.1":
        ".SH OPTIONS\n.TP\n.B \\-A\nText.\n.TP\n.BI \\-c \" file\"\n"
        ".SH EXIT STATUS\n.SH ENVIRONMENT\n.SH FILES\n.SH EXAMPLES\n",
    "etc/providers/memory.xml":
        "<provider><command>%PROVIDER_AUXILIARY_PATH%/m</command></provider>\n",
    "provider/share/memory/m": "",
    "test/fuzz/CMakeLists.txt": "zelk_fuzzer(a_fuzz DEPS str)\n",
    "test/fuzz/a_fuzz.cpp": "int x;\n",
    "test/fuzz/seeds/a_fuzz/one": "\t \r",
}


class CheckTree(unittest.TestCase):
    def complaints(self, changes):
        with tempfile.TemporaryDirectory() as root:
            for path, text in {**SOUND, **changes}.items():
                if text is None:
                    continue
                full = os.path.join(root, path)
                os.makedirs(os.path.dirname(full), exist_ok=True)
                with open(full, "w", encoding="utf-8", newline="") as file:
                    file.write(text)
            return list(check_tree.complaints(root))

    def expect(self, changes, *parts):
        """Exactly one complaint for each of `parts`, which it contains."""
        found = self.complaints(changes)
        self.assertEqual(len(found), len(parts), found)
        for line, part in zip(sorted(found), sorted(parts)):
            self.assertIn(part, line)

    def test_a_sound_tree_passes(self):
        self.expect({})

    def test_an_include_that_points_up(self):
        self.expect({"src/common/str/str.cpp":
                     '#include "src/common/str/str.h"\n'
                     '#include "src/common/log/error_log.h"\n'},
                    "str.cpp:2: src/common/str may not include from")

    def test_an_include_of_nothing(self):
        self.expect({"src/common/str/str.h": HEAD + '#include "str.h"\n'},
                    'str.h:4: "str.h" is not a file')

    def test_a_folder_without_a_layer(self):
        self.expect({"src/common/new/new.h": HEAD}, "no place in the layers")

    def test_test_support_in_the_product(self):
        include = '#include "src/common/log/captured_log.h"\n'
        self.expect({"src/collect/src/tool.cpp": include,
                     "src/collect/src/tool_test.cpp": include,
                     "src/collect/src/CMakeLists.txt":
                         "zelk_program(zelk_tool tool.cpp tool_test.cpp)\n"},
                    "tool.cpp:1:")

    def test_a_wall(self):
        for header in "czmq.h", "libxml/tree.h", "syslog.h", "libgen.h", \
                "sqlite3.h", "zstd.h":
            with self.subTest(header):
                self.expect({"src/common/str/str.h":
                             HEAD + f"#include <{header}>\n"},
                            f"str.h:4: <{header}>")

    def test_the_own_header_comes_first(self):
        self.expect({"src/common/str/str.cpp":
                     '#include <string>\n#include "src/common/str/str.h"\n'},
                    "str.cpp:1: the first include")

    def test_a_header_without_head(self):
        self.expect({"src/common/str/str.h": "#pragma once\n"}, "str.h:1:")
        self.expect({"src/common/str/str.h": "// What it is for.\n"},
                    "no #pragma once")

    def test_whitespace(self):
        for text, part in (("a \n", "white space"), ("a\tb\n", "tab"),
                           ("a\r\n", "carriage"), ("a", "no newline")):
            with self.subTest(part):
                self.expect({"README.md": text}, part)

    def test_lengths(self):
        self.expect({"tools/a.py": "x\n" * 500})
        self.expect({"tools/a.py": "x\n" * 501}, "501 lines")
        self.expect({"src/common/str/str.h": HEAD + "//\n" * 248},
                    "251 lines")
        self.expect({"test/system/a.sh": "x\n" * 41}, "41 lines")

    def test_a_long_function(self):
        body = "  g();\n"
        for head in "void f(int a) {\n", "TEST(a, b) {\n", \
                "void f(int a,\n       int b) {\n":
            with self.subTest(head):
                self.expect({"test/fuzz/a_fuzz.cpp":
                             head + body * 60 + "}\n" + head + "}\n"})
                self.expect({"test/fuzz/a_fuzz.cpp":
                             head + body * 61 + "}\n"}, "body of 61 lines")

    def test_a_long_flat_table(self):
        body = "f(int a) {\n" + "  g();\n" * 61 + "}\n"
        self.expect({"test/fuzz/a_fuzz.cpp":
                     "// All names, as a flat table.\nvoid " + body})
        self.expect({"test/fuzz/a_fuzz.cpp":
                     "// All names, as a flat table.\nvoid " + body +
                     "\nvoid " + body}, "a_fuzz.cpp:66: a body of 61 lines")

    def test_forbidden_words(self):
        for text in ("see Pa" + "rt 3.2\n", "as the sp" + "ecification says\n",
                     "/wor" + "k/main/x\n"):
            with self.subTest(text):
                self.expect({"NEWS.md": text}, "has no place here")

    def test_a_source_that_is_not_built(self):
        self.expect({"src/common/str/other_test.cpp": "int x;\n"},
                    "other_test.cpp:1: src/common/str/CMakeLists.txt")

    def test_a_program_without_a_page(self):
        self.expect({"doc/man/zelk_tool.1": None}, "zelk_tool has no")

    def test_a_program_of_the_head_node(self):
        build = SOUND["src/collect/src/CMakeLists.txt"]
        both = {"src/collect/src/CMakeLists.txt":
                build + build.replace("zelk_tool", "zelk-tool")}
        self.expect(both, "zelk-tool has no doc/man/zelk-tool.1")
        page = SOUND["doc/man/zelk_tool.1"].replace("\\-A", "\\-\\-all")
        self.expect({**both, "doc/man/zelk-tool.1": page})

    def test_a_page_that_differs_from_the_program(self):
        page = SOUND["doc/man/zelk_tool.1"]
        self.expect({"doc/man/zelk_tool.1": page.replace("\\-A", "\\-B")},
                    "-A is not", "-B is not")
        self.expect({"doc/man/zelk_tool.1": page.replace(' " file"', "")},
                    "-c is not")
        self.expect({"doc/man/zelk_tool.1": page.replace(".SH FILES\n", "")},
                    "no section FILES")

    def test_provider_folders(self):
        self.expect({"provider/share/memory/m": None},
                    "provider/share/memory is missing")
        self.expect({"provider/share/other/m": ""}, "no description uses")

    def test_seeds(self):
        self.expect({"test/fuzz/seeds/a_fuzz/one": None}, "no seeds")
        self.expect({"test/fuzz/seeds/b_fuzz/one": ""}, "seeds of no fuzzer")

    def test_a_script_that_may_not_be_run(self):
        self.expect({"tools/a.sh": "#!/bin/sh\n"}, "may not be run")


if __name__ == "__main__":
    unittest.main()
