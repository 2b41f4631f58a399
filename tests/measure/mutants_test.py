# SPDX-License-Identifier: MIT
"""What scripts/mutate takes for a place to damage, and how it reads its list of explanations."""

import tempfile
import unittest
from pathlib import Path

from mutation.explained import read_explanations
from mutation.operators import mutants_of
from mutation.subjects import SUBJECTS

REPOSITORY = Path(__file__).resolve().parent.parent.parent


def changes(text, kind=None):
    return [mutant.change for mutant in mutants_of("a.cpp", text)
            if kind in (None, mutant.kind)]


class Mutants(unittest.TestCase):
    def test_numbers_go_up_and_down_in_their_own_base(self):
        self.assertEqual(changes("x = 10;", "number"), ["10 -> 11", "10 -> 9"])
        self.assertEqual(changes("x = 0x1FU;", "number"), ["0x1FU -> 0x1EU", "0x1FU -> 0x20U"])
        self.assertEqual(changes("Wait(100'000);", "number"), ["100'000 -> 100001",
                                                               "100'000 -> 99999"])
        self.assertEqual(changes("x = 0;", "number"), ["0 -> 1"])

    def test_comments_directives_and_templates_are_left_alone(self):
        self.assertEqual(changes("// x = 1;\n/* y == 2 */\n#define Z 3\n"), [])
        self.assertEqual(changes("std::vector<int> items;", "operator"), [])
        self.assertEqual(changes("void Take(const char* a, Row& b);", "operator"), [])

    def test_comparisons_flip_and_lose_or_gain_their_equality(self):
        self.assertEqual(changes("return a < b;", "operator"), ["< -> <=", "< -> >="])
        self.assertEqual(changes("return a == b;", "operator"), ["== -> !="])

    def test_a_condition_is_negated_once(self):
        self.assertEqual(changes("if (a && b) {}", "condition"), ["a && b -> !(a && b)"])
        # The flipped operator and the dropped ! do the same.
        self.assertEqual(changes("if (a == b) {}", "condition"), [])
        self.assertEqual(changes("if (!a) {}", "condition"), ["! -> nothing"])

    def test_texts_change_and_keep_their_escapes_whole(self):
        self.assertEqual(changes('Say("\\n");', "text"), ['"\\n" -> "~"'])
        self.assertEqual(changes('Say("ab");', "text"), ['"ab" -> "~b"'])
        self.assertEqual(changes('Say("");', "text"), ['"" -> "~"'])

    def test_statements_are_taken_out_and_leave_their_lines(self):
        mutants = [mutant for mutant in mutants_of("a.cpp", "void F() {\n    G(1,\n      2);\n}\n")
                   if mutant.kind == "removed"]
        self.assertEqual(len(mutants), 1)
        self.assertEqual(mutants[0].apply("void F() {\n    G(1,\n      2);\n}\n"),
                         "void F() {\n    ;\n\n}\n")

    def test_declarations_and_returns_are_not_taken_out(self):
        self.assertEqual(changes("const int a = F();\nstd::string b;\nreturn c;", "removed"), [])

    def test_neighbours_change_places_unless_both_assign(self):
        self.assertEqual(changes("F();\nG();", "swapped"), ["F(); G(); -> G(); F();"])
        self.assertEqual(changes("a = F();\nb = G();", "swapped"), [])
        self.assertEqual(changes("F();\nF();", "swapped"), [])

    def test_equal_changes_of_a_line_have_numbers(self):
        self.assertEqual(changes("x = a + b + c;", "operator"), ["+ -> -", "+ -> - #2"])

    def test_a_mutant_knows_its_line(self):
        mutant = mutants_of("a.cpp", "\n\n    x = true;  // y\n")[-1]
        self.assertEqual((mutant.line, mutant.line_text), (3, "x = true;  // y"))

    def test_a_line_that_only_leaves_a_block_has_the_line_before_it(self):
        (mutant,) = [m for m in mutants_of("a.cpp", "if (a()) {\n  return true;\n}\n")
                     if m.kind == "word"]
        self.assertEqual(mutant.line_text, "if (a()) { return true;")


class Explanations(unittest.TestCase):
    def read(self, text):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "list.txt"
            path.write_text(text, encoding="utf-8")
            return read_explanations(path)

    def test_fit_file_line_and_change(self):
        (entry,) = self.read("## Head.\n\na.cpp\nx[0] = true;\ntrue -> false\nNobody\nlooks.\n")
        self.assertEqual(entry.reason, "Nobody looks.")
        (mutant,) = [m for m in mutants_of("a.cpp", "  x[0] = true;\n") if m.kind == "word"]
        self.assertTrue(entry.fits(mutant))
        (other,) = [m for m in mutants_of("a.cpp", "  x[1] = true;\n") if m.kind == "word"]
        self.assertFalse(entry.fits(other))

    def test_a_star_stands_for_any_change(self):
        (entry,) = self.read("a.cpp\nx[0] = 5;\n5 -> *\nRoom to spare.\n")
        fitting = [m.change for m in mutants_of("a.cpp", "x[0] = 5;") if entry.fits(m)]
        self.assertEqual(fitting, ["5 -> 4", "5 -> 6"])

    def test_refuse_an_entry_without_a_reason(self):
        with self.assertRaises(ValueError):
            self.read("a.cpp\nx = 5;\n5 -> 4\n")

    def test_each_fits_a_place_that_is_there(self):
        judged = 0
        for subject in SUBJECTS.values():
            mutants = [mutant for pattern in subject.sources for path in REPOSITORY.glob(pattern)
                       for mutant in mutants_of(path.relative_to(REPOSITORY).as_posix(),
                                                path.read_text(encoding="utf-8"))]
            explained = REPOSITORY / subject.explained
            for entry in read_explanations(explained) if explained.is_file() else []:
                judged += 1
                self.assertTrue(any(map(entry.fits, mutants)),
                                f"{subject.explained}: nothing fits {entry}")
        self.assertGreater(judged, 0)


if __name__ == "__main__":
    unittest.main()
