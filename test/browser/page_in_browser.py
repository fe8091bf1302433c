#!/usr/bin/python3
"""The report's page in a real browser.

Usage: page_in_browser.py WRITE_PAGES [SHOTS] [unittest's arguments]

Makes the pages with the program WRITE_PAGES. With a folder SHOTS, pictures of
them are left there for people to look at.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import browser

# Seconds, for a page of 4,000 nodes and 46 providers, on two busy cores.
MOST_TO_WRITE = 3
MOST_TO_OPEN = 8
MOST_TO_SCROLL = 6
MOST_TO_FILTER = 3
MOST_TO_PRINT = 20
MOST_SHEETS = 9  # for 136 nodes with six kinds of trouble
LARGEST_PAGE = 5 * 1024 * 1024

VISIBLE = """
return Array.from(document.querySelectorAll(arguments[0]))
  .filter(e => e.getClientRects().length > 0).map(e => e.textContent.trim());
"""

WHITE, DARK = "rgb(255, 255, 255)", "rgb(20, 24, 29)"


class Shared:
    """The pages and the browser, made once for all tests."""


def setUpModule():
    Shared.scratch = tempfile.TemporaryDirectory()
    Shared.folder = pathlib.Path(Shared.scratch.name)
    lines = subprocess.run([PROGRAM, Shared.folder], check=True, text=True,
                           env={**os.environ, "TZ": "UTC"},
                           stdout=subprocess.PIPE).stdout.splitlines()
    Shared.written = {}
    for name, size, took, _ in map(str.split, lines):
        Shared.written[name] = (int(size), float(took))
    if SHOTS:
        SHOTS.mkdir(parents=True, exist_ok=True)
    Shared.browser = browser.Browser()


def tearDownModule():
    Shared.browser.quit()
    Shared.scratch.cleanup()


class PageTest(unittest.TestCase):
    @property
    def browser(self):
        return Shared.browser

    @property
    def folder(self):
        return Shared.folder

    def setUp(self):
        self.browser.reset()

    def open(self, name, part=""):
        self.browser.open(f"file://{self.folder / name}{part}")

    def shot(self, name, height=None):
        if SHOTS:
            self.browser.screenshot(SHOTS / f"{name}.png", height)

    def one(self, what):
        return self.browser.driver.find_element(By.CSS_SELECTOR, what)

    def visible(self, what):
        return self.browser.run(VISIBLE, what)

    def soon_visible(self, what):
        """Where the script acts on an event, which comes behind the click."""
        end = time.monotonic() + 10
        while not self.visible(what) and time.monotonic() < end:
            time.sleep(.02)
        return self.visible(what)

    def colour(self, what, name="background-color"):
        return self.browser.run(
            "return getComputedStyle(document.querySelector(arguments[0]))"
            "[arguments[1]]", what, name)

    def filter(self, text):
        box = self.one("#filter")
        box.send_keys(Keys.CONTROL, "a")
        box.send_keys(Keys.DELETE, text)
        time.sleep(.6)  # the script waits until typing stops

    def assert_fits(self, width):
        self.assertLessEqual(
            self.browser.run("return document.documentElement.scrollWidth"),
            width)


class Looks(PageTest):
    def test_light(self):
        self.open("example.html")
        self.assertEqual(self.browser.console(), [])
        self.assertEqual(self.colour("body"), WHITE)
        self.assertEqual(self.colour(".band"), "rgb(143, 15, 30)")
        self.assertEqual(self.browser.driver.title,
                         "unhealthy 5 · suspect 6 · cluster alpha · 2025-11-21")
        self.shot("light")

    def test_dark(self):
        self.browser.media(prefers_color_scheme="dark")
        self.open("example.html")
        self.assertEqual(self.colour("body"), DARK)
        # Classes win over the attributes that serve pages without a style.
        self.assertEqual(self.colour(".strip .s-crit", "fill"),
                         "rgb(255, 122, 102)")
        self.shot("dark")

    def test_healthy(self):
        self.open("healthy.html")
        self.assertIn("All 136 nodes are healthy.", self.one("header").text)
        self.shot("healthy")

    def test_nothing_is_lost_on_a_narrow_screen(self):
        for name in ("example.html", "hostile.html", "4000.html"):
            with self.subTest(name):
                self.browser.size(320)
                self.open(name)
                self.assert_fits(320)
        self.open("example.html")
        self.shot("narrow", 6000)

    def test_the_evidence_of_all_findings_is_seen_on_a_narrow_screen(self):
        self.browser.size(390)
        self.open("4000.html")
        right = self.browser.run("""
            return Math.max(...Array.from(
              document.querySelectorAll('.stack td.evidence'),
              e => e.getBoundingClientRect().right))""")
        self.assertGreater(right, 0)
        self.assertLessEqual(right, 390)

    def test_forced_colours_leave_the_marks(self):
        self.browser.media(forced_colors="active")
        self.open("example.html")
        self.assertEqual(self.colour(".strip .i-crit", "stroke"),
                         self.colour("body", "color"))

    def test_paper_is_white_even_from_a_dark_screen(self):
        self.browser.media(media="print", prefers_color_scheme="dark")
        self.open("example.html")
        self.assertEqual(self.colour("body"), WHITE)
        self.assertEqual(self.visible("nav"), [])
        pdf = self.browser.pdf()
        self.assertTrue(pdf.startswith(b"%PDF"))
        sheets = len(re.findall(rb"/Type\s*/Page\b", pdf))
        self.assertGreater(sheets, 0)
        self.assertLessEqual(sheets, MOST_SHEETS)
        if SHOTS:
            (SHOTS / "print.pdf").write_bytes(pdf)


class Script(PageTest):
    def test_filter_leaves_what_has_the_node(self):
        self.open("example.html")
        all_rows = len(self.visible(".heat tbody tr"))
        self.filter("node013")
        rows = self.visible(".heat tbody tr")
        self.assertEqual(len(rows), 1)
        self.assertIn("stream-low", rows[0])
        # node013 is in the folded set node[013,088], and in that of all.
        self.assertEqual(len(self.visible(".cards > .card")), 2)
        self.assertEqual(len(self.visible(".one-node summary")), 1)
        self.assertEqual(len(self.visible(".squares .found")), 1)
        self.assertRegex(self.one("#filtered").get_attribute("textContent"),
                         r"^\d+ of \d+ shown$")
        self.filter("")
        self.assertEqual(len(self.visible(".heat tbody tr")), all_rows)
        self.assertEqual(self.visible(".squares .found"), [])

    def test_filter_finds_words(self):
        self.open("example.html")
        self.filter("Memory BANDWIDTH")
        cards = self.visible(".cards > .card h3")
        self.assertEqual(len(cards), 1)

    def test_states_are_switched_off_and_on(self):
        self.open("example.html")
        before = len(self.visible(".cards > .card"))
        button = self.one("[data-state=crit] button")
        button.click()
        self.assertEqual(button.get_attribute("aria-pressed"), "false")
        self.assertEqual(len(self.visible(".cards > .card")), before - 3)
        button.click()
        self.assertEqual(len(self.visible(".cards > .card")), before)

    def test_columns_are_sorted(self):
        self.open("4000.html")
        table = "#first table.sortable"
        head = self.one(f"{table} thead th:nth-child(2)")
        names = f"{table} tbody th"
        head.find_element(By.CSS_SELECTOR, "[role=button]").click()
        self.assertEqual(head.get_attribute("aria-sort"), "ascending")
        rising = self.visible(names)
        self.assertGreater(len(rising), 20)
        self.assertEqual(rising, sorted(rising))
        head.find_element(By.CSS_SELECTOR, "[role=button]").send_keys(
            Keys.ENTER)
        self.assertEqual(head.get_attribute("aria-sort"), "descending")
        self.assertEqual(self.visible(names), sorted(rising, reverse=True))

    def test_numbers_are_sorted_as_numbers(self):
        self.open("4000.html")
        table = "#performance .values.sortable"
        self.one(f"{table} thead th:nth-child(3) [role=button]").click()
        first = self.browser.run(
            "return Array.from(document.querySelector(arguments[0]).tBodies[0]"
            ".rows).map(row => parseFloat(row.cells[2].textContent))", table)
        self.assertGreater(len(first), 3)
        self.assertEqual(first, sorted(first))

    def test_folded_sets_open(self):
        self.open("example.html")
        count = self.one(".heat .calm .count")
        count.click()
        self.assertEqual(count.get_attribute("aria-expanded"), "true")
        names = self.visible(".heat .calm .set code")[0].split()
        self.assertEqual(len(names), 90)
        self.assertIn("node096", names)
        self.assertNotIn("node013", names)
        count.click()
        self.assertIn("node[001-012,", self.visible(".heat .calm code")[0])

    def test_a_link_opens_what_it_leads_to(self):
        self.open("example.html")
        self.one(".card .node[href]").click()
        self.assertEqual(len(self.soon_visible(".one-node[open] .inside")), 1)
        self.open("example.html", "#n-node020")
        self.assertEqual(len(self.soon_visible("#n-node020[open] .inside")), 1)

    def test_theme_is_switched(self):
        self.open("example.html")
        seen = []
        for _ in range(3):
            self.one("#theme").click()
            seen.append((self.one("#theme").text, self.colour("body")))
        self.assertEqual(seen, [("Theme: light", WHITE), ("Theme: dark", DARK),
                                ("Theme: auto", WHITE)])

    def test_tips_name_nodes_and_cells(self):
        self.open("example.html")
        chain = ActionChains(self.browser.driver, duration=20)
        chain.move_to_element(self.one(".heat .hit")).perform()
        self.assertEqual(self.visible(".tip"), ["reach: critical (no-answer)"])
        squares = self.one("#nodes figure:nth-child(2) svg")
        width, height = squares.size["width"], squares.size["height"]
        chain.move_to_element_with_offset(
            squares, 8 - width // 2, 8 - height // 2).perform()
        self.assertEqual(self.visible(".tip"), ["node001"])

    def test_buttons_copy(self):
        self.open("example.html")
        self.browser.run("""
            navigator.clipboard.writeText = text => {
              window.copied = text; return Promise.resolve(); };""")
        self.one(".card .nodes .copier").click()
        self.assertEqual(self.browser.run("return window.copied"),
                         "node[037,112]")


class WithoutScript(PageTest):
    def test_all_is_there(self):
        self.open("example.html")
        with_script = self.visible("h2")
        self.browser.command("Emulation.setScriptExecutionDisabled", value=True)
        self.open("example.html")
        self.assertEqual(self.visible("h2"), with_script)
        self.assertEqual(self.visible(".tools"), [])
        self.assertEqual(self.visible("button"), [])
        self.assertEqual(len(self.visible(".heat tbody tr")), 10)
        self.assertIn("node[001-012,", self.visible(".heat .calm code")[0])
        self.shot("without_script", 4000)

    def test_a_page_made_without_one_has_none(self):
        self.open("no_script.html")
        self.assertEqual(self.browser.console(), [])
        self.assertEqual(self.browser.run(
            "return document.querySelectorAll("
            "'script:not([type=\"application/json\"])').length"), 0)


class Policies(PageTest):
    def test_pictures_keep_their_colours_under_a_strict_policy(self):
        with browser.Server(self.folder, browser.STRICT) as server:
            self.browser.open(server.address + "example.html")
            self.assertEqual(self.colour(".strip path.s-crit", "fill"),
                             "rgb(143, 15, 30)")
            self.assertEqual(self.visible(".tools"), [])
            self.assertIn("Of 136 nodes 5 are unhealthy",
                          self.one("header").text)
            self.assertEqual(len(self.visible("h2")), 10)
            self.shot("strict_policy", 4000)

    def test_a_style_beside_the_page_passes_a_strict_policy(self):
        with browser.Server(self.folder, browser.STRICT) as server:
            self.browser.open(server.address + "assets/page.html")
            self.assertEqual(self.colour(".band"), "rgb(143, 15, 30)")

    def test_files_beside_the_page_work_without_a_server(self):
        self.open("assets/page.html")
        self.assertEqual(self.colour(".band"), "rgb(143, 15, 30)")
        self.assertEqual(len(self.visible(".tools")), 1)

    def test_what_slips_onto_the_page_does_not_run(self):
        page = (self.folder / "example.html").read_text()
        slipped = ("<script>window.ran = 1</script><style>body{margin:9px}"
                   "</style><img src='x' onerror='window.ran = 1' alt=''/>")
        (self.folder / "slipped.html").write_text(
            page.replace("<main", slipped + "<main", 1))
        self.open("slipped.html")
        self.assertIsNone(self.browser.run("return window.ran || null"))
        self.assertEqual(self.colour("body", "margin-top"), "0px")
        said = self.browser.console()
        self.assertTrue(said)
        for line in said:
            self.assertIn("Content Security Policy", line)


class Hostile(PageTest):
    def test_no_text_of_a_node_runs(self):
        self.open("hostile.html")
        self.assertEqual(self.browser.console(), [])
        found = self.browser.run("""
            const all = Array.from(document.querySelectorAll('*'));
            return [all.filter(e => e.getAttributeNames()
                      .some(name => name.startsWith('on'))).length,
                    document.scripts.length,
                    all.filter(e => e.localName == 'testcase').length];""")
        self.assertEqual(found, [0, 2, 0])
        self.assertIn("<svg onload=alert(1)>", self.one("header").text)
        self.shot("hostile", 6000)

    def test_the_script_takes_no_text_for_markup(self):
        self.open("hostile.html")
        for count in self.browser.driver.find_elements(
                By.CSS_SELECTOR, ".count[role=button]")[:20]:
            self.browser.run("arguments[0].click()", count)
        self.filter("<svg onload")
        for head in self.browser.driver.find_elements(
                By.CSS_SELECTOR, "thead [role=button]"):
            self.browser.run("arguments[0].click()", head)
        self.assertEqual(self.browser.console(), [])
        self.assertEqual(self.browser.run("return document.querySelectorAll("
                                          "'svg[onload]').length"), 0)

    def test_the_data_can_be_read_again(self):
        self.open("hostile.html")
        self.assertTrue(self.browser.run(
            "return typeof JSON.parse(document.getElementById('judgement')"
            ".textContent)") == "object")


class Large(PageTest):
    def timed(self, most, act):
        begin = time.monotonic()
        act()
        took = time.monotonic() - begin
        self.assertLess(took, most)
        return took

    def test_is_written_small_and_quickly(self):
        for name in ("4000.html", "10000.html"):
            self.assertLess(Shared.written[name][0], LARGEST_PAGE)
        self.assertLess(Shared.written["4000.html"][1], MOST_TO_WRITE)

    def test_opens_scrolls_and_prints(self):
        opened = self.timed(MOST_TO_OPEN, lambda: self.open("4000.html"))
        self.assertEqual(self.browser.console(), [])
        scrolled = self.timed(MOST_TO_SCROLL, lambda: self.browser.driver
                              .execute_async_script("""
            const done = arguments[0], end = document.body.scrollHeight;
            let y = 0;
            function step() {
              scrollTo(0, y += 900);
              if (y < end) requestAnimationFrame(step); else done();
            }
            step();"""))
        self.shot("large", 6000)
        filtered = self.timed(MOST_TO_FILTER, lambda: self.filter("node0013"))
        self.filter("")
        printed = self.timed(MOST_TO_PRINT, lambda: self.assertGreater(
            len(re.findall(rb"/Type ?/Page\b", self.browser.pdf())), 10))
        print(f"4,000 nodes: opened in {opened:.1f} s, scrolled in "
              f"{scrolled:.1f} s, filtered in {filtered:.1f} s, printed in "
              f"{printed:.1f} s", file=sys.stderr)

    def test_the_full_map_opens(self):
        self.open("4000.html")
        self.one("#map details summary").click()
        self.assertEqual(len(self.visible("#map .tall svg")), 1)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    PROGRAM = sys.argv.pop(1)
    SHOTS = None
    if len(sys.argv) > 1 and not sys.argv[1].startswith("-"):
        SHOTS = pathlib.Path(sys.argv.pop(1))
    unittest.main()
