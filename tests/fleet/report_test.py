#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""The fleet report: of real runs, opened in a real browser that has no network."""

import html
import os
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../engines"))

from support.boards import Board, read, write  # noqa: E402
from support.engine_test import OLD, EngineTest, install_package, run_tests  # noqa: E402
from support.sandbox import WORK  # noqa: E402

_REPORT = "/usr/bin/fleet-report"


class ReportTest(EngineTest):
    def setUp(self):
        super().setUp()
        install_package("flashguard-fleet-report")

    def record(self, name, board, image, run_options=()):
        os.makedirs("records", exist_ok=True)
        write(f"records/{name}.jsonl", board.flashguard("--json", "install", image, run_options=run_options).stdout)

    def records_of_every_kind(self):
        self.record("current", Board("current", image_path=self.new), self.new)
        self.record("dead", Board("dead", "--option", "silent=yes"), self.new)
        self.record("noisy", Board("noisy"), self.new, ("--fault", "answer:write#2=nak"))
        self.record("refused", Board("refused"), self.bad)
        self.record("sound", Board("sound", image_path=OLD), self.new)
        self.record("stuck", Board("stuck"), self.new, ("--fault", "cell:0x2110=stuck-erased"))
        write("records/cut.jsonl", '{"type":"progress","phase":"write","done":1,"total":2}\n{"type":"verd')

    def page(self):
        """The page as a browser has it once it has run what is in it, without the scripts themselves."""
        page = self.run_program(
            "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
            f"--user-data-dir={WORK}/chromium", "--window-size=1200,1500", f"--screenshot={WORK}/report.png",
            "--dump-dom", f"file://{WORK}/report.html")
        return page[page.index("<html") :].split("<script>")[0]

    def test_a_page_of_runs_of_every_kind_names_the_failures_and_draws_its_charts(self):
        self.records_of_every_kind()
        self.run_program(_REPORT, "records", "-o", "report.html")
        page = self.page()
        self.assertIn('data-charts="6"', page)
        rows = [[html.unescape(cell) for cell in re.findall(r"<td[^>]*>(.*?)</td>", row)]
                for row in re.findall(r"<tr>(.*?)</tr>", page)]
        failures = [row for row in rows if len(row) == 5]
        self.assertEqual([row[:2] for row in failures],
                         [["cut", "run was cut short"], ["dead", "no chip answers"], ["refused", "image refused"],
                          ["stuck", "no firmware left"]])
        for row in failures[1:]:
            self.assertTrue(row[2] and row[4], row)
        boards = {row[0]: row[1:] for row in rows if len(row) == 6}
        self.assertEqual(boards["sound"][:3], ["installed", "4660", "4661"])
        self.assertEqual(boards["current"][0], "current")
        self.assertEqual((boards["noisy"][0], boards["noisy"][4]), ("installed", "1"))

    def test_a_page_asks_for_nothing_from_outside(self):
        self.records_of_every_kind()
        self.run_program(_REPORT, "records", "-o", "report.html")
        self.assertEqual(re.findall(r"""(?:src|href|url)\s*[=(]\s*["'][^"'#]""", read("report.html").split("<script>")[0]), [])

    def test_what_a_board_says_is_text_and_no_markup(self):
        os.makedirs("records")
        write("records/<b>.jsonl", '{"type":"verdict","status_name":"failed","problem":"<script>alert(1)</script>"}\n')
        self.run_program(_REPORT, "records", "-o", "report.html")
        self.assertNotIn("<script>alert", read("report.html"))
        self.assertNotIn("<b>.", read("report.html"))

    def test_an_empty_folder_is_named_and_nothing_is_written(self):
        os.makedirs("records")
        said = self.run_program(_REPORT, "records", "-o", "report.html", status=1)
        self.assertEqual(said, "fleet-report: records: no *.jsonl in there; name the folder of the records\n")
        self.assertFalse(os.path.exists("report.html"))


if __name__ == "__main__":
    run_tests()
