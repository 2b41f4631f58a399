# SPDX-License-Identifier: MIT
"""Every command that a page shows is run by a test, or the page says that it was not run; every claim
of README with "any", "never", "always" or "every" has a test. blocks.txt, commands.txt and claims.txt
beside this file say which.

    python3 tests/pages/pages_test.py BUILD [NAME...]

BUILD is a build folder with the tests in it. Exit status: 0 all is run, 1 not.
"""

import json
import pathlib
import re
import subprocess
import sys
import unittest

from shown import Block, blocks, commands_in, commands_in_prose, pages, prose, section_of

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = sys.argv[1] if len(sys.argv) > 1 else "build"
NOT_RUN = "not run here"
SHOWN_FOR_THE_READER = ("", "bitbake", "c", "ini", "json", "make", "plan", "python", "text", "toml", "yaml")
"""Fenced files, formats and outputs: no commands."""
BY_THE_RUN_OF_TESTS = ("./test", ".ci/run")

_CLAIM = re.compile(r"\b(any|never|always|every)\b", re.IGNORECASE)


def rows(name, separator=None):
    """The lines of a list beside this file, as tuples of their columns."""
    lines = (ROOT / "tests/pages" / name).read_text(encoding="utf-8").splitlines()
    return [tuple(word.strip() for word in line.split(separator, 4)) for line in lines
            if line.strip() and not line.startswith("#")]


def tests():
    """The names of all tests, as ctest lists them."""
    listed = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], capture_output=True,
                            text=True, check=True).stdout
    return {test["name"].split("  #")[0] for test in json.loads(listed)["tests"]}


def kind_of(page, block):
    """The kind of a block of commands, None for what is none."""
    if page.endswith(".scd"):
        return "examples"
    return block.kind if block.kind in ("console", "sh") else None


def unlisted(page, text, by_page, listed):
    """What is wrong with the page's commands, a line each; what is in order is taken out of both lists
    of what nobody shows, `by_page` and `listed`: sets of (page, kind) and of (page, command)."""
    loose = commands_in_prose(text)
    for block in blocks(text):
        kind = kind_of(page, block)
        if kind:
            if (page, kind) not in by_page:
                yield f"{page}:{block.line}: nobody runs its blocks of kind {kind}: name the test in blocks.txt"
            by_page.used.add((page, kind))
            continue
        if block.kind not in ("indented", *SHOWN_FOR_THE_READER):
            yield f"{page}:{block.line}: what is a block of kind '{block.kind}'?"
        loose += commands_in(block)
    for command in loose:
        if (page, command) not in listed:
            yield f"{page}: nobody runs '{command}': name the test in commands.txt"
        listed.used.add((page, command))


class Listed(set):
    """A set that knows which of its members were asked for."""

    def __init__(self, members):
        super().__init__(members)
        self.used = set()


class EveryCommand(unittest.TestCase):
    def setUp(self):
        self.blocks = rows("blocks.txt")
        self.commands = rows("commands.txt", " | ")

    def test_is_on_a_list_and_the_lists_have_no_other(self):
        by_page = Listed((page, kind) for page, kind, _, _ in self.blocks)
        listed = Listed((row[0], row[1]) for row in self.commands)
        problems = [problem for page in pages(ROOT) for problem in unlisted(page, self.text(page), by_page, listed)]
        problems += [f"no page shows {row} any more" for row in sorted((by_page - by_page.used) | (listed - listed.used))]
        self.assertEqual(problems, [], "\n" + "\n".join(problems))
        self.assertGreater(len(by_page), 10)
        self.assertGreater(len(listed), 30)

    def test_has_a_test_that_is_there(self):
        there = tests()
        self.assertGreater(len(there), 1000)
        named = {row[2] for row in self.blocks + self.commands} - {*BY_THE_RUN_OF_TESTS, NOT_RUN}
        self.assertEqual(named - there, set())

    def test_of_a_block_is_read_from_the_page(self):
        for page, kind, _, source in self.blocks:
            with self.subTest(page=page, kind=kind):
                # A test of one page names it whole, one of several without its folder or its end.
                self.assertRegex((ROOT / source).read_text(encoding="utf-8"), rf"\b{pathlib.Path(page).stem.split('.')[0]}\b")

    def test_elsewhere_is_run_there(self):
        for row in self.commands:
            with self.subTest(page=row[0], command=row[1]):
                if row[2] == NOT_RUN:
                    self.assertIn(NOT_RUN, section_of(self.text(row[0]), row[1]).lower())
                    continue
                _, _, _, source, runs = row
                self.assertIn(runs, (ROOT / source).read_text(encoding="utf-8"))

    def test_that_only_the_tests_use_tells_its_options(self):
        for name in ("sweep", "guard_sweep"):
            with self.subTest(name=name):
                said = subprocess.run([f"{BUILD}/bin/{name}", "--help"], capture_output=True, text=True, check=True)
                self.assertIn("--every", said.stdout)

    @staticmethod
    def text(page):
        return (ROOT / page).read_text(encoding="utf-8")


class EveryClaim(unittest.TestCase):
    def test_of_readme_has_a_test_that_is_there(self):
        text = " ".join(prose((ROOT / "README.md").read_text(encoding="utf-8")).split())
        there, claims = tests(), rows("claims.txt", " | ")
        self.assertGreater(len(claims), 0)
        for words, test, source, shows in claims:
            with self.subTest(words=words):
                self.assertRegex(words, _CLAIM)
                self.assertIn(words, text, "README does not say so any more")
                self.assertIn(test, there)
                self.assertIn(shows, (ROOT / source).read_text(encoding="utf-8"))
                text = text.replace(words, "")
        left = [text[max(0, found.start() - 40) : found.end() + 40] for found in _CLAIM.finditer(text)]
        self.assertEqual(left, [], "which test holds this?")


class Reading(unittest.TestCase):
    """What is found on a page."""

    PAGE = "a `vboard run -q` b\n\n    ./demo X  # why\n    no command\n\n```sh\nflashmcu -v\n```\n\n" \
           "```text f\n$ x\n```\n`flashmcu` `vboard run`\n\n    flashmcu      -> drawing\n    c \\\n        d\n"

    def test_blocks_are_fences_and_what_stands_behind_four_blanks(self):
        self.assertEqual([(block.line, block.kind) for block in blocks(self.PAGE)],
                         [(3, "indented"), (6, "sh"), (10, "text"), (15, "indented")])

    def test_commands_begin_with_a_program_and_have_no_gaps(self):
        self.assertEqual([command for block in blocks(self.PAGE) for command in commands_in(block)],
                         ["./demo X", "flashmcu -v"])
        self.assertEqual(commands_in(Block(1, "", ["objcopy -a \\", "    b"])), ["objcopy -a b"])

    def test_in_prose_a_program_with_an_option_or_a_file_is_a_command(self):
        self.assertEqual(commands_in_prose(self.PAGE), ["vboard run -q"])

    def test_one_that_is_not_listed_is_a_problem_and_so_is_an_unknown_kind(self):
        problems = list(unlisted("a.md", self.PAGE + "```perl\n```\n", Listed(()), Listed({("a.md", "./demo X")})))
        self.assertEqual([problem.split(":")[0] + problem.split(":", 1)[1][:24] for problem in problems], [
            "a.md6: nobody runs its block", "a.md18: what is a block of k", "a.md nobody runs 'vboard run"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
