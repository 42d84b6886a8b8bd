#!/usr/bin/env python3
"""The tables, goals and pictures that benchmarks/report makes of measurements: report_test.py FOLDER"""

import io
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stdout
from xml.etree import ElementTree

REPORT = pathlib.Path(sys.argv.pop())
sys.path.insert(0, str(REPORT))
sys.dont_write_bytecode = True

import growth_picture  # noqa: E402
import print_tables  # noqa: E402
import results  # noqa: E402
import write_page  # noqa: E402


def run(name, cpu_time, family, unit="ns", **more):
    return {"name": name, "run_type": "iteration", "cpu_time": cpu_time, "time_unit": unit, "family_index": family,
            **more}


def tally(name, failures=0):
    return {"name": name, "calls": 7, "failures": failures, "longest_ms": 12.0, "longest_cpu_ms": 3.0}


QUERIES = {
    "queries-1000-yes": [run("newest 20/library", 2, 1, "us", items=20), run("list of all/library", 1, 0, "ms", items=1000),
                         {**run("newest 20/library_mean", 9, 1, "us"), "run_type": "aggregate"}],
    # Runs come in any order, and one that takes long has one run and a longer name.
    "queries-100000-yes": [
        run("list of all/raw, compiling", 100, 1, "ms", items=100000),
        run("list of all/library", 120, 0, "ms", items=100000),
        run("list of all/library", 110, 0, "ms", items=100000),
        run("list of all/raw, compiling", 110, 1, "ms", items=100000),
        run("list of all/library", 130, 0, "ms", items=100000),
        run("list of all/raw, compiling", 100, 1, "ms", items=100000),
        run("list of all/SQLiteCpp/iterations:1/repeats:1", 1.2, 2, "s", items=100000)],
}
SERIALIZER = [run("text/encode/library", 50, 0, bytes=250), run("text/encode/FlatBuffers", 200, 1, bytes=300),
              run("text/encode/msgpack-cxx", 120, 2, bytes=180), run("text/encode/msgpack-cxx, reusing", 10, 3),
              run("text/decode/library", 100, 4), run("text/decode/floor", 90, 5),
              run("text/decode/FlatBuffers", 130, 6)]


def write_run(folder):
    for name, runs in QUERIES.items():
        (folder / f"{name}.json").write_text(json.dumps({"benchmarks": runs}))
    context = {"date": "2026-01-02T03:04:05+00:00", "num_cpus": 2, "mhz_per_cpu": 2100}
    (folder / "serializer.json").write_text(json.dumps({"context": context, "benchmarks": SERIALIZER}))
    (folder / "import.json").write_text(json.dumps({"import": [
        {"program": "msg-tarvel import", "times": [3e9, 1e9, 2e9]}, {"program": "Python", "times": [4e9, 4e9, 4e9]}]}))
    (folder / "owner-100000-yes.json").write_text(json.dumps({"owner": tally("commit", 1), "readers": [tally("newest 20")]}))
    (folder / "instructions.json").write_text(json.dumps({"instructions": [
        {"messages": messages, "indexes": True, "query": "newest 20", "items": 20, "times": [instructions]}
        for messages, instructions in ((1000, 2000000), (100000, 2500000))]}))
    (folder / "left-out.txt").write_text("left out: SQLiteCpp (libsqlitecpp-dev)\nleft out: SQLiteCpp (libsqlitecpp-dev)\n")


class ReportTest(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = pathlib.Path(place.name)
        write_run(self.folder)
        collected = subprocess.run([REPORT / "collect.py", self.folder], check=True, capture_output=True, text=True)
        self.file = self.folder / "results.json"
        self.file.write_text(collected.stdout)
        self.results = results.Results(self.file)

    def goal(self, name):
        rows = {row[0]: row[1:] for row in results.goals_table(self.results)[2]}
        return rows[name]

    def test_collects_runs_in_order_and_in_nanoseconds(self):
        self.assertEqual(self.results.stores(), [(1000, True), (100000, True)])
        self.assertEqual(self.results.queries(), ["list of all", "newest 20"])
        self.assertEqual(self.results.query(100000, True, "list of all"), [120e6, 110e6, 130e6])
        self.assertEqual(self.results.query(100000, True, "list of all", "SQLiteCpp"), [1.2e9])
        self.assertIsNone(self.results.query(1000, False, "list of all"))
        self.assertEqual(self.results.data["left_out"], ["left out: SQLiteCpp (libsqlitecpp-dev)"])

    def test_a_failed_run_ends_it(self):
        (self.folder / "serializer.json").write_text(json.dumps({"context": {}, "benchmarks": [
            run("text/encode/library", 0, 0, error_occurred=True, error_message="refused")]}))
        failed = subprocess.run([REPORT / "collect.py", self.folder], capture_output=True, text=True)
        self.assertNotEqual(failed.returncode, 0)
        self.assertIn("text/encode/library: refused", failed.stderr)

    def test_a_ratio_is_of_medians_and_of_runs_that_took_turns(self):
        ratio = results.Ratio([120, 110, 130], [100, 110, 100])
        self.assertEqual((ratio.median, ratio.least, ratio.most), (1.2, 1.0, 1.3))
        self.assertEqual(str(ratio), "1.20 (1.00 to 1.30)")
        once = results.Ratio([120, 110, 130], [1200])
        self.assertEqual(str(once), "0.10 (0.09 to 0.11)")

    def test_the_table_of_a_store_has_a_row_for_each_query(self):
        tables = {title: rows for title, _, rows in results.query_tables(self.results)}
        self.assertEqual(tables["100,000 messages, with indexes"],
                         [["list of all", "120 ms", "", "1.20 (1.00 to 1.30)", "0.10 (0.09 to 0.11)", ""]])
        self.assertEqual([row[:2] for row in tables["1,000 messages, with indexes"]],
                         [["list of all", "1 ms"], ["newest 20", "2 µs"]])

    def test_goals_are_reached_missed_or_not_measured(self):
        self.assertEqual(self.goal("list of all, with indexes, beside the loop that compiles"), ["≤ 1.15", "1.20", "missed"])
        self.assertEqual(self.goal("list of all, with indexes: times faster than SQLiteCpp"), ["≥ 12", "10", "missed"])
        self.assertEqual(self.goal("a message of the list of all, with indexes, 1,000 to 100,000"),
                         ["≤ 1.4", "1.20", "reached"])
        self.assertEqual(self.goal("newest 20, with indexes, 1,000 to 100,000"), ["≤ 1.3", "", "not measured"])
        self.assertEqual(self.goal("newest 20, without indexes, beside the raw loop"), ["≤ 1.2", "", "not measured"])
        self.assertEqual(self.goal("longest query at 100,000 messages, seconds"), ["≤ 0.3", "0.12", "reached"])
        self.assertEqual(self.goal("failed commits of an owner beside four readers"), ["≤ 0", "1.00", "missed"])
        self.assertEqual(self.goal("32-bit ARM, instructions: newest 20, with indexes, 1,000 to 100,000"),
                         ["≤ 1.3", "1.25", "reached"])
        self.assertEqual(self.goal("import of texts beside Python"), ["≤ 0.8", "0.50", "reached"])

    def test_the_best_peer_is_one_that_does_the_same(self):
        # Not the writer that overwrites its last message.
        self.assertEqual(self.goal("text, encode: times faster than the best peer"), ["≥ 2", "2.40", "reached"])
        # The only one that both wrote and read.
        self.assertEqual(self.goal("text, encode and decode: times faster than the best peer"), ["≥ 1.8", "2.20", "reached"])
        self.assertEqual(self.goal("text, decode beside the floor"), ["≤ 1.25", "1.11", "reached"])

    def test_prints_every_table(self):
        printed = io.StringIO()
        with redirect_stdout(printed):
            print_tables.main(self.file)
        for line in ("left out: SQLiteCpp", "\n1,000 messages, with indexes\n", "\nHand-over\n", "\nGoals\n",
                     "\n  msg-tarvel import   2 s  0.50 (0.25 to 0.75)\n"):
            self.assertIn(line, printed.getvalue())

    def test_the_page_keeps_what_is_not_between_its_marks(self):
        page = self.folder / "performance.md"
        page.write_text("# Before\n<!-- run: written by script/bench --page -->\nold\n<!-- end -->\nbetween\n"
                        "<!-- others: written by script/bench --page -->\n<!-- end -->\nafter\n")
        for _ in range(2):
            write_page.main(self.file, self.folder)
        written = page.read_text()
        self.assertEqual(written.splitlines()[:8], [
            "# Before", "<!-- run: written by script/bench --page -->", "",
            "Measured on 2026-01-02, on 2 cores of 2100 MHz, with stores of 1,000 and 100,000 messages, in 1 runs.",
            "It left out: SQLiteCpp (libsqlitecpp-dev).", "", "<!-- end -->", "between"])
        self.assertIn("| owner: commit | 7 | 1 | 12 ms | 3 ms |", written)
        self.assertIn("| 100,000 messages, with indexes | newest 20 | 2,500,000 | 125,000 |", written)
        self.assertTrue(written.endswith("<!-- end -->\nafter\n"))
        self.assertTrue((self.folder / "performance-list-of-all.svg").exists())

    def test_a_picture_has_a_point_for_each_store(self):
        points = [(1000, 1e6), (10000, 1e7), (100000, 1e8)]
        drawn = growth_picture.picture("a < b", [("mine", points), ("yours", points[:2])], results.duration)
        svg = ElementTree.fromstring(drawn)
        name = "{http://www.w3.org/2000/svg}"
        self.assertEqual(len(svg.findall(f"{name}circle")), 5)
        lines = [line.get("points") for line in svg.findall(f"{name}polyline")]
        # Ten times as much is as far along one axis as along the other.
        self.assertEqual(lines[0], "80.0,310.0 380.0,175.0 680.0,40.0")
        words = [text.text for text in svg.findall(f"{name}text")]
        for word in ("a < b: CPU time", "1 ms", "100 ms", "1,000", "100,000", "mine", "yours"):
            self.assertIn(word, words)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
