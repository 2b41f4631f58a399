# SPDX-License-Identifier: MIT
"""What scripts/mutate takes for a place to damage, and how it reads its list of explanations."""

import tempfile
import unittest
from pathlib import Path

from mutation.explained import read_explanations
from mutation.operators import mutants_of
from mutation.source import Source
from mutation.subjects import SUBJECTS
from mutation.switched import ALWAYS, Shape, switch

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

    def test_what_the_compiler_alone_looks_at_is_left_alone(self):
        self.assertEqual(changes('static_assert(A(2) == 1, "a; (b)");\nF();\n'
                                 "static_assert(kA &&\n              kB < 3);"),
                         ["F(); -> ;"])

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


class MutantsThatAreBuiltTogether(unittest.TestCase):
    def shape(self, text):
        shape = Shape(Source("a.cpp", text))
        return ([text[body.start:body.end] for body in shape.bodies],
                [table.name for table in shape.tables])

    def test_stand_in_the_bodies_of_functions(self):
        for text, bodies in (
                ("namespace a { namespace {\nint F(int b) { if (b) { G(); } return 1; }\n} }",
                 ["{ if (b) { G(); } return 1; }"]),
                ("A::A(int b) : B{b, {1}}, m_c(b) { F(); }", ["{ F(); }"]),
                ("struct S { int a = 1; bool F() const { return a; } };", ["{ return a; }"]),
                ("struct S { void F(int a = 2) { G(a); } };", ["{ G(a); }"]),
                ("template <class T, int N = 3> void F(T a) noexcept { a(); }", ["{ a(); }"]),
                ("const auto k = [](int a) { return a; };", []),
                ("enum class E { kA = 1 };", [])):
            self.assertEqual(self.shape(text)[0], bodies, text)

    def test_or_in_tables(self):
        self.assertEqual(self.shape("constexpr std::array<int, 2> kA{{1, 2}};\n"
                                    "constexpr int kB = 3;\nconstexpr int F() { return 1; }")[1],
                         ["kA", "kB"])

    def switched(self, text, **arguments):
        pairs = list(enumerate((mutant for mutant in mutants_of("a.cpp", text)
                                if mutant.kind in ("number", "text")), 1))
        return switch(Source("a.cpp", text), pairs, 7, **arguments)

    def test_are_chosen_by_their_number(self):
        switched, after = self.switched("int F() {\n    return 4;\n}\nint g;\n")
        self.assertEqual(switched.group_of, {1: 7, 2: 7})
        self.assertEqual(after, 8)
        self.assertEqual(switched.text.split("\n")[2:], [
            "int F() { switch (__builtin_is_constant_evaluated() ? 0 : ::mutant_switch::Which(7)) {",
            "case 1:", '#line 1 "mutant-1"', "{", "    return 3;", "} break;",
            "case 2:", '#line 1 "mutant-2"', "{", "    return 5;", "} break;",
            "default:", '#line 1 "a.cpp"', "{", "    return 4;", "} break;",
            "} }", '#line 3 "a.cpp"', "", "int g;", ""])

    def test_leave_the_type_of_a_table_and_a_fixed_table_alone(self):
        text = 'constexpr std::array<A, 2> kA{{"x" "y"}};'
        switched, _ = self.switched(text)
        self.assertEqual(set(switched.group_of.values()), {ALWAYS})
        self.assertEqual(switched.text.split("\n")[2],
                         'static const std::array<A, 2> kA{{(::mutant_switch::Is(4) ? "x" "~" : '
                         '(::mutant_switch::Is(3) ? "~" "y" : "x" "y"))}};')
        self.assertEqual(self.switched(text, fixed=("kA",))[0].group_of, {})


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
