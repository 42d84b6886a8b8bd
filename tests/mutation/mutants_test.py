#!/usr/bin/env -S python3 -B
"""Which mutants a source has, and that the equivalent ones of the list are some: mutants_test.py TREE."""

import pathlib
import sys
import unittest

from mutants import mutants_of
from run_mutants import all_mutants, equivalents

TREE = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")


class Mutants(unittest.TestCase):
    def expect(self, source, *mutated):
        self.assertEqual([m.apply(source) for m in mutants_of("a.cpp", source)], list(mutated))

    def test_numbers(self):
        self.expect("f(0);", "f(1);")
        self.expect("f(7U);", "f(8U);", "f(6U);")
        self.expect("f(0x10);", "f(17);", "f(15);")
        self.expect("f(1'000);", "f(1001);", "f(999);")

    def test_comparisons(self):
        self.expect("a < b", "a <= b", "a > b")
        self.expect("a == b && c", "a != b && c", "a == b || c")
        self.expect("a &&\n    b", "a ||\n    b")

    def test_signs_and_truth(self):
        self.expect("a + b", "a - b")
        self.expect("return !a;", "return a;")
        self.expect("return true;", "return false;")

    def test_characters(self):
        self.expect("f('a', '9', '/');", "f('b', '9', '/');", "f('a', ':', '/');")
        self.expect("f('\\n', '\\'', '\\x1b');")

    def test_texts(self):
        self.expect('f("one");', 'f("oxe");')
        self.expect('f(" ");', 'f("");')
        self.expect('f("");')

    def test_columns(self):
        self.expect('f("SELECT a1, bee, cd");', 'f("SELECT x1, bee, cd");', 'f("SELECT a1, cd, cd");')

    def test_what_is_left_alone(self):
        self.expect("#include <a> // 1 < 2\n// f(1)\n/* f(1) */ static_assert(a == 1); '_' std::vector<int> a->b;")
        self.expect('#define A(x) \\\n  f(1, x)\nb')

    def test_names_do_not_tell_of_lines_above(self):
        names = [[m.name for m in mutants_of("a.cpp", above + "  f(1);")] for above in ("", "\n\n")]
        self.assertEqual(names[0], ["a.cpp: f(1); [2: 1 -> 2]"])
        self.assertEqual(names[0], names[1])

    def test_names_tell_the_same_lines_apart(self):
        names = [m.name for m in mutants_of("a.cpp", "f(1);\nf(1);")]
        self.assertEqual(names, ["a.cpp: f(1); [2: 1 -> 2]", "a.cpp: f(1); [2: 1 -> 2] #2"])

    def test_equivalent_ones_are_mutants(self):
        names = {m.name for m in all_mutants(TREE)}
        self.assertGreater(len(names), 1000)
        for name, reason in equivalents().items():
            self.assertIn(name, names)
            self.assertTrue(reason)


if __name__ == "__main__":
    unittest.main()
