#!/usr/bin/python3
"""Tests of catalogue.py: what the page says, and that a stale one is found."""

import contextlib
import io
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import catalogue  # noqa: E402

MEMORY = """<provider name="memory" version="3">
  <description>Memory | of the
    node</description><command>x</command>
  <requires min_nodes="2" max_nodes="8"/>
  <facts><fact name="mem.{1}" from="(x)" type="integer" unit="KiB"
    better="higher" compare="outlier"/>
  <fact name="mods" from="m" several="set" optional="yes"/></facts></provider>"""


class Catalogue(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.root = self.folder.name
        for name in ("etc/providers", "doc"):
            os.makedirs(os.path.join(self.root, name))
        self.write("etc/providers/memory.xml", MEMORY)

    def tearDown(self):
        self.folder.cleanup()

    def write(self, name, text):
        with open(os.path.join(self.root, name), "w", encoding="utf-8") as file:
            file.write(text)

    def run_it(self, *arguments):
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            status = catalogue.main([*arguments, self.root])
        return status, said.getvalue()

    def test_says_what_the_descriptions_say(self):
        self.write("etc/providers/x.xml",
                   "<provider><command>y</command></provider>")
        self.write("etc/zelk.xml", "<zelk><suites><suite name='quick'><provider>"
                   "memory</provider></suite></suites></zelk>")
        page = catalogue.page(self.root)
        for line in (
                "2 providers with 2 declared facts.",
                "| [memory](#memory) | Memory \\| of the node | 3 | 2 to 8 | "
                "60 s | 2 |",
                "| `mem.{1}` | integer | KiB | higher | outlier |  |",
                "| `mods` | list |  |  | equal | may be absent |",
                "| `@quick` | `memory` |",
                "No facts are declared."):
            self.assertIn(line, page.split("\n"))

    def test_leaves_out_kept_versions(self):
        self.write("etc/providers/memory.v2.xml", MEMORY)
        self.write("etc/providers/ipv4.v.xml", MEMORY)
        self.assertIn("2 providers with", catalogue.page(self.root))

    def test_finds_a_stale_page(self):
        self.assertEqual(self.run_it("--check")[0], 1)
        self.assertEqual(self.run_it()[0], 0)
        self.assertEqual(self.run_it("--check"), (0, ""))
        self.write("etc/providers/memory.xml", MEMORY.replace("KiB", "MiB"))
        status, said = self.run_it("--check")
        self.assertEqual(status, 1)
        self.assertIn("is stale: run tools/catalogue.py", said)
        self.assertIn("+| `mem.{1}` | integer | MiB |", said)


if __name__ == "__main__":
    unittest.main()
