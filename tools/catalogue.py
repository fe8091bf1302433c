#!/usr/bin/python3
"""Writes doc/catalogue.md from the providers' descriptions.

Usage: catalogue.py [--check] [ROOT]

With --check nothing is written: prints what differs and ends with 1 when the
page is not what the descriptions say.
"""

import difflib
import os
import sys
import xml.etree.ElementTree as ElementTree

PAGE = "doc/catalogue.md"
DESCRIPTIONS = "etc/providers"
CONFIGURATION = "etc/zelk.xml"

HEAD = """# Catalogue

<!-- Written by tools/catalogue.py from etc/providers and etc/zelk.xml. -->

Every provider that is shipped, as its description has it; what is special about
each stands in [providers.md](providers.md), and what the columns of the facts
mean in [formats.md](formats.md#facts). The same at a terminal:
`zelk-collect --list`.

"""


def cell(text):
    """`text` as one cell of a table."""
    return " ".join((text or "").split()).replace("|", "\\|")


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def code(text):
    return f"`{cell(text)}`" if text else ""


class Provider:
    """One description."""

    def __init__(self, path):
        root = ElementTree.parse(path).getroot()
        stem = os.path.basename(path)[:-len(".xml")]
        self.name = root.get("name", stem)
        self.version = root.get("version", "1")
        self.description = cell(root.findtext("description"))
        self.timeout = (root.findtext("timeout") or "60").strip()
        requires = root.find("requires")
        self.requires = {} if requires is None else requires.attrib
        facts = root.find("facts")
        self.declares = facts is not None
        self.format = "lines" if facts is None else facts.get("format", "lines")
        self.facts = [] if facts is None else facts.findall("fact")

    def nodes(self):
        least = self.requires.get("min_nodes", "1")
        most = self.requires.get("max_nodes", "1")
        return least if least in (most, "1") else f"{least} to {most}"

    def anchor(self):
        return self.name.lower().replace(" ", "-")


def type_of(fact):
    """The type of the fact, not of the lines that it is made of."""
    return {"count": "integer", "set": "list"}.get(
        fact.get("several"), fact.get("type", "text"))


def fact_row(fact):
    better = fact.get("better", "none")
    return [code(fact.get("name")), type_of(fact), cell(fact.get("unit")),
            "" if better == "none" else better,
            fact.get("compare", "equal"),
            "may be absent" if fact.get("optional") == "yes" else ""]


def section(provider):
    text = f"## {provider.name}\n\n{provider.description}.\n\n"
    if provider.format == "nagios":
        return text + "A monitoring plugin: its state, text and data.\n\n"
    if not provider.facts:
        return text + "No facts are declared.\n\n"
    rows = [fact_row(fact) for fact in provider.facts]
    return text + table(
        ["fact", "type", "unit", "better", "compare", ""], rows) + "\n"


def overview(providers):
    rows = [[f"[{cell(p.name)}](#{p.anchor()})", p.description, p.version,
             p.nodes(), f"{p.timeout} s", str(len(p.facts))]
            for p in providers]
    return table(["provider", "what it tells", "version", "nodes",
                  "time-out", "facts"], rows) + "\n"


def suites(root):
    path = os.path.join(root, CONFIGURATION)
    if not os.path.exists(path):
        return ""
    found = ElementTree.parse(path).getroot().findall("suites/suite")
    if not found:
        return ""
    rows = [[code("@" + suite.get("name", "")),
             " ".join(code(p.text) for p in suite.findall("provider"))]
            for suite in found]
    return "## Suites\n\n" + table(["suite", "providers"], rows) + "\n"


def is_kept_version(name):
    """NAME.vN.xml: an older description, kept for older results."""
    before, mark, number = name[:-len(".xml")].rpartition(".v")
    return bool(before and mark and number.isdigit())


def page(root):
    folder = os.path.join(root, DESCRIPTIONS)
    names = sorted(name for name in os.listdir(folder)
                   if name.endswith(".xml") and not is_kept_version(name))
    providers = [Provider(os.path.join(folder, name)) for name in names]
    facts = sum(len(p.facts) for p in providers)
    count = f"{len(providers)} providers with {facts} declared facts.\n\n"
    return (HEAD + count + overview(providers) + suites(root) +
            "".join(section(p) for p in providers)).rstrip() + "\n"


def current(path):
    if not os.path.exists(path):
        return ""
    with open(path, encoding="utf-8") as file:
        return file.read()


def check(root, wanted):
    found = current(os.path.join(root, PAGE))
    if found == wanted:
        return 0
    sys.stdout.writelines(difflib.unified_diff(
        found.splitlines(True), wanted.splitlines(True), PAGE,
        "what the descriptions say"))
    print(f"{PAGE} is stale: run tools/catalogue.py")
    return 1


def main(arguments):
    checking = "--check" in arguments
    places = [word for word in arguments if word != "--check"]
    here = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    root = os.path.normpath((places + [here])[0])
    wanted = page(root)
    if checking:
        return check(root, wanted)
    with open(os.path.join(root, PAGE), "w", encoding="utf-8") as file:
        file.write(wanted)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
