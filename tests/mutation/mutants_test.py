#!/usr/bin/env -S python3 -B
"""Which mutants a source has, that the equivalent ones of the list are some, and what notices a mutant:
mutants_test.py TREE."""

import pathlib
import sys
import tempfile
import unittest
from unittest import mock

import run_mutants
from mutants import mutants_of
from run_mutants import REMEMBERED, Build, NoticedBy, Program, all_mutants, equivalents

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


class Programs(unittest.TestCase):
    """Programs that are scripts, told `--each SECONDS` first and then `--gtest_filter=TEST`."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "program"

    def failing_test(self, script, *tests, longest=0):
        self.path.write_text("#!/bin/sh\n" + script)
        self.path.chmod(0o755)
        return Program(self.path, "", longest=longest).failing_test(tests)

    def test_what_passes(self):
        self.assertIsNone(self.failing_test("exit 0"))

    def test_a_failure_counts_when_it_comes_twice(self):
        self.assertEqual(self.failing_test("echo failed: A.b; exit 1"), "A.b")
        by_chance = "case $1 in --each) echo failed: A.b; exit 1 ;; esac"
        self.assertIsNone(self.failing_test(by_chance))

    def test_of_several_failures_one_may_be_chance(self):
        one_of_two = "case $1 in --each) echo failed: A.b; echo failed: A.c; exit 1 ;; *=A.c) exit 1 ;; esac"
        self.assertEqual(self.failing_test(one_of_two), "A.c")

    def test_a_program_that_tells_of_no_test(self):
        self.assertEqual(self.failing_test("exit 3"), "all of them, 3")

    def test_the_tests_and_the_time_that_each_may_take(self):
        told = 'echo "$*" >>"$0.told"; exit 0'
        self.failing_test(told, "A.b", "A.c", longest=2)
        self.failing_test(told, longest=1000)
        lines = self.path.with_name("program.told").read_text().splitlines()
        self.assertEqual(lines, ["--each 20 A.b A.c", "--each 120"])

    def test_order(self):
        build = Build.__new__(Build)
        build.programs = {
            name: Program(pathlib.Path(name), folder, {"A.b", "A.c"}, seconds)
            for name, folder, seconds in [("t", "tool", 1), ("d", "db", 3), ("h", "helpers", 9), ("q", "db", 2)]
        }
        self.assertEqual(build._order("src/db/query.h"), ["q", "d", "t", "h"])
        self.assertEqual(build._order("helpers/store_maker.cpp"), ["h", "t", "q", "d"])
        self.assertEqual(build._order("src/log.h"), ["t", "q", "d", "h"])
        known = build._known_tests(["q.A.c", "gone.A.b", "d.A.b", "q.A.gone", "q.A.b"])
        self.assertEqual(list(known), [("q", ["A.c", "A.b"]), ("d", ["A.b"])])


class Remembered(unittest.TestCase):
    def test_the_last_comes_first_and_the_oldest_goes(self):
        with tempfile.TemporaryDirectory() as folder:
            with mock.patch.object(run_mutants, "NOTICED_BY", pathlib.Path(folder) / "noticed_by.txt"):
                noticed_by = NoticedBy()
                for number in range(REMEMBERED + 1):
                    noticed_by.add("src/b.cpp", f"p.A.{number}")
                noticed_by.add("src/b.cpp", "p.A.7")
                noticed_by.add("src/a.cpp", "p.A.b")
                noticed_by.write()
                tests = NoticedBy().tests
        self.assertEqual(list(tests), ["src/a.cpp", "src/b.cpp"])
        self.assertEqual(tests["src/b.cpp"][:3], ["p.A.7", f"p.A.{REMEMBERED}", f"p.A.{REMEMBERED - 1}"])
        self.assertEqual(len(tests["src/b.cpp"]), REMEMBERED)
        self.assertNotIn("p.A.0", tests["src/b.cpp"])

    def test_every_source_is_there(self):
        self.assertTrue(NoticedBy().tests)
        for path in NoticedBy().tests:
            self.assertTrue((TREE / path).is_file(), path)


if __name__ == "__main__":
    unittest.main()
