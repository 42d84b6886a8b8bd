#!/usr/bin/env -S python3 -B
"""Tries mutants of src/ and helpers/ in copies of the tree; script/mutate makes them.

Each mutant is compiled and tested until a test notices it: first by the tests that noticed others of its file,
which noticed_by.txt remembers, then by the programs of its own folder, then by all others, those that take least
first, and with --sanitizers under the sanitizers. A program is linked when its turn has come. Each copy has a
worker, a process of its own, which takes numbers of mutants and answers with what became of them."""

import argparse
import collections
import datetime
import enum
import json
import math
import os
import pathlib
import random
import shlex
import signal
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass, field

from mutants import mutants_of

FOLDERS = ("src", "helpers")
# A mutant may loop for ever. So many seconds a test may take of which nobody knows how long it takes.
LONGEST = 120
# What a worker's line with an outcome begins with.
ANSWER = "outcome: "
EQUIVALENT = pathlib.Path(__file__).parent / "equivalent.txt"
NOTICED_BY = pathlib.Path(__file__).parent / "noticed_by.txt"
# So many tests of each file are remembered, which take a second.
REMEMBERED = 25


class Outcome(enum.Enum):
    NOTICED = "noticed"
    SURVIVED = "survived"
    NOT_COMPILED = "not compiled"


def quiet(command, seconds=None, out=subprocess.DEVNULL):
    """The exit status of a command whose output nobody needs, or only `out`; None when it took too long."""
    process = subprocess.Popen(
        command,
        stdout=out,
        stderr=subprocess.DEVNULL,
        stdin=subprocess.DEVNULL,
        start_new_session=True,
        env={**os.environ, "G_SLICE": "always-malloc"},
    )
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None
    finally:
        # With what it has started itself, and left behind if a test was ended.
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


@dataclass
class Program:
    """A program of GoogleTest cases, and how long all of them and the longest take."""

    path: pathlib.Path
    folder: str
    tests: set = field(default_factory=set)
    seconds: float = 0
    longest: float = LONGEST

    def failing_test(self, tests=()):
        """The first of the tests, or of all, that does not pass, twice; None when all do."""
        limit = min(LONGEST, math.ceil(10 + 5 * self.longest))
        with tempfile.TemporaryFile("w+", errors="replace") as out:
            status = quiet([self.path, "--each", str(limit), *tests], out=out)
            out.seek(0)
            failed = [line.split()[1] for line in out if line.startswith("failed: ")]
        if status == 0:
            return None
        if not failed:
            return f"all of them, {status}"
        # Once may be the machine's doing, on which a mutant has most of the work.
        return next((test for test in failed if quiet([self.path, f"--gtest_filter={test}"], limit) != 0), None)


class Build:
    """A build of the tree, whose test programs notice a mutant or do not."""

    def __init__(self, tree, preset, passes=False):
        self.tree = tree
        self.folder = tree / "build" / preset
        subprocess.run([tree / "script/configure", "--preset", preset], check=True)
        subprocess.run(["cmake", "--build", self.folder, "--", "--quiet"], check=True)
        self.programs = self._programs_of_ctest()
        if passes:
            self._take_times_of_ctest()
            return
        for name, program in self.programs.items():
            began = time.monotonic()
            if test := program.failing_test():
                sys.exit(f"{name}.{test} fails without any mutant")
            program.seconds = program.longest = time.monotonic() - began

    def _programs_of_ctest(self):
        """Name -> program of GoogleTest cases."""
        shown = subprocess.check_output(["ctest", "--show-only=json-v1"], cwd=self.folder)
        programs = {}
        for test in json.loads(shown)["tests"]:
            path, *arguments = test.get("command", [""])
            for case in (a.partition("=")[2] for a in arguments if a.startswith("--gtest_filter=")):
                properties = {p["name"]: p["value"] for p in test["properties"]}
                where = pathlib.Path(properties["WORKING_DIRECTORY"]).relative_to(self.folder / "tests")
                program = Program(pathlib.Path(path), str(where))
                programs.setdefault(program.path.name, program).tests.add(case)
        return programs

    def _take_times_of_ctest(self):
        """How long the tests took when CTest ran them last."""
        seconds = collections.defaultdict(list)
        costs = self.folder / "Testing/Temporary/CTestCostData.txt"
        for line in costs.read_text().splitlines() if costs.exists() else []:
            if line == "---":
                break
            name, _, cost = line.split()
            seconds[name.partition(".")[0]].append(float(cost))
        for name, program in self.programs.items():
            if name in seconds:
                program.seconds, program.longest = sum(seconds[name]), max(seconds[name])

    def try_mutant(self, mutant, remembered):
        """Puts the mutant in the place of its source for as long as it takes; its outcome and the test."""
        began = time.monotonic()
        path = self.tree / mutant.path
        source = path.read_text()
        path.write_text(mutant.apply(source))
        try:
            outcome, by = self._outcome(mutant.path, remembered)
        finally:
            path.write_text(source)
        told = f"{outcome.value} by {by}" if by else outcome.value
        print(f"{told}, {time.monotonic() - began:.1f} s: {mutant.name}", flush=True)
        return outcome, by

    def _outcome(self, path, remembered):
        """What becomes of the changed tree, and by which test."""
        if not self._make("msg-tarvel-common", "msg-tarvel-helpers"):
            return Outcome.NOT_COMPILED, ""
        for name, tests in (*self._known_tests(remembered), *((name, ()) for name in self._order(path))):
            if not self._make(name):
                return Outcome.NOTICED, f"the build of {name}"
            if test := self.programs[name].failing_test(tests):
                return Outcome.NOTICED, f"{name}.{test}"
        return Outcome.SURVIVED, ""

    def _make(self, *targets):
        return quiet(["cmake", "--build", self.folder, "--target", *targets]) == 0

    def _known_tests(self, names):
        """Program -> those of its tests that are named, in the order of the names."""
        known = {}
        for program, _, test in (name.partition(".") for name in names):
            if program in self.programs and test in self.programs[program].tests:
                known.setdefault(program, []).append(test)
        return known.items()

    def _order(self, path):
        """The names of all programs: those of the source's own folder first, and what takes least."""
        parts = pathlib.PurePath(path).parts
        own = parts[1] if parts[0] == "src" and len(parts) > 2 else parts[0]
        # What is made of helpers is the tool, more than the library.
        folders = [own, "tool"] if own == "helpers" else [own]

        def place(name):
            program = self.programs[name]
            nearness = folders.index(program.folder) if program.folder in folders else len(folders)
            return nearness, program.seconds

        return sorted(self.programs, key=place)


class NoticedBy:
    """Path -> the tests that noticed mutants of it, the last one first."""

    def __init__(self):
        self.tests = collections.defaultdict(list)
        for line in NOTICED_BY.read_text().splitlines() if NOTICED_BY.exists() else []:
            if not line.startswith("#"):
                path, test = line.split()
                self.tests[path].append(test)

    def add(self, path, test):
        self.tests[path] = [test, *(other for other in self.tests[path] if other != test)][:REMEMBERED]

    def write(self):
        lines = ["# Tests that noticed mutants of a file, the last one first: script/mutate --remember writes them.\n"]
        lines += [f"{path} {test}\n" for path, tests in sorted(self.tests.items()) for test in tests]
        NOTICED_BY.write_text("".join(lines))


def equivalents():
    """Name -> reason of the mutants that do what the source does."""
    known = {}
    if EQUIVALENT.exists():
        lines = [line for line in EQUIVALENT.read_text().splitlines() if line and not line.startswith("#")]
        for name, reason in zip(lines[::2], lines[1::2]):
            known[name] = reason.strip()
    return known


def all_mutants(tree):
    found = []
    for folder in FOLDERS:
        for path in sorted((tree / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                found += mutants_of(str(path.relative_to(tree)), path.read_text())
    return found


def work(arguments, drawn):
    """Tries the mutants whose numbers the input has, and answers with their outcomes and the tests."""
    build, sanitized = Build(arguments.tree, "dev", arguments.passed), None
    for line in sys.stdin:
        number, *remembered = line.split()
        outcome, by = build.try_mutant(drawn[int(number)], remembered)
        if outcome is Outcome.SURVIVED and arguments.sanitizers:
            sanitized = sanitized or Build(arguments.tree, "asan")
            under_them = sanitized.try_mutant(drawn[int(number)], remembered)
            if under_them[0] is Outcome.NOTICED:
                outcome, by = under_them
        print(f"{ANSWER}{outcome.name} {by}", flush=True)


class Draw:
    """Mutants by their numbers, of which `count` that compile are tried, none begun after `seconds`."""

    def __init__(self, size, count, seconds):
        self.numbers, self.count, self.end = iter(range(size)), count, time.monotonic() + seconds
        self.lock, self.under_way = threading.Lock(), 0
        self.noticed, self.survivors = 0, []

    def take(self):
        with self.lock:
            tried = self.noticed + len(self.survivors)
            if tried + self.under_way >= self.count or time.monotonic() > self.end:
                return None
            number = next(self.numbers, None)
            self.under_way += number is not None
            return number

    def put(self, number, outcome):
        with self.lock:
            self.under_way -= 1
            self.noticed += outcome is Outcome.NOTICED
            if outcome is Outcome.SURVIVED:
                self.survivors.append(number)


def delegate(worker, draw, drawn, noticed_by):
    """Has a worker try mutants of the draw until there are enough, or it is gone."""
    with worker.stdin:
        while (number := draw.take()) is not None:
            path = drawn[number].path
            print(number, *noticed_by.tests[path], file=worker.stdin, flush=True)
            for line in worker.stdout:
                if line.startswith(ANSWER):
                    outcome, _, by = line[len(ANSWER) :].strip().partition(" ")
                    draw.put(number, Outcome[outcome])
                    if by and " " not in by:
                        noticed_by.add(path, by)
                    break
                print(line, end="", flush=True)
            else:
                return


def arguments_of_call():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tree", type=pathlib.Path, required=True)
    parser.add_argument("--count", type=int, default=30, help="how many are drawn")
    parser.add_argument("--seed", default=datetime.date.today().isoformat(), help="what draws them: the date")
    parser.add_argument("--only", action="append", help="of the mutants whose name holds this text, or another")
    parser.add_argument("--least", type=float, default=97, help="per cent that must be noticed")
    parser.add_argument("--survivors", type=int, default=0, help="how many are spared, whatever per cent they are")
    parser.add_argument("--seconds", type=float, default=math.inf, help="no other is begun after that time")
    parser.add_argument("--passed", action="store_true", help="the tests passed just now")
    parser.add_argument("--remember", action="store_true", help="keep which tests noticed what")
    parser.add_argument("--sanitizers", action="store_true", help="try what survives under them too")
    parser.add_argument("--worker", action="append", help="a command that runs one in a copy of its own")
    parser.add_argument("--work", action="store_true", help="be a worker")
    return parser.parse_args()


def main():
    arguments = arguments_of_call()
    mutants = [m for m in all_mutants(arguments.tree) if any(text in m.name for text in arguments.only or [""])]
    known = equivalents()
    drawn = [m for m in mutants if m.name not in known]
    random.Random(arguments.seed).shuffle(drawn)
    if arguments.work:
        # What restores the source runs at an end by a signal too.
        signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
        work(arguments, drawn)
        return

    words = [sys.argv[0], *sys.argv[1:], "--work"]
    workers = [
        subprocess.Popen([*shlex.split(command), *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        for command in arguments.worker
    ]
    signal.signal(signal.SIGTERM, lambda *_: [worker.terminate() for worker in workers])
    draw, noticed_by = Draw(len(drawn), arguments.count, arguments.seconds), NoticedBy()
    threads = [threading.Thread(target=delegate, args=(worker, draw, drawn, noticed_by)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if arguments.remember:
        noticed_by.write()
    if any(worker.wait() != 0 for worker in workers):
        sys.exit("a worker has failed")

    for number in draw.survivors:
        print(f"survived: {drawn[number].name}")
    tried = draw.noticed + len(draw.survivors)
    rate = 100 * draw.noticed / max(1, tried)
    print(
        f"{tried} of {len(mutants)} mutants ({len(known)} more do what the source does), drawn by"
        f" {arguments.seed}: {len(draw.survivors)} survived, {rate:.1f} % noticed"
    )
    sys.exit(0 if rate >= arguments.least or len(draw.survivors) <= arguments.survivors else 1)


if __name__ == "__main__":
    main()
