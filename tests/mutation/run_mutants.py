#!/usr/bin/env -S python3 -B
"""Tries mutants of src/ and helpers/ in copies of the tree; script/mutate makes them.

Each mutant is compiled and tested until a test notices it: first by the test programs of its own folder, then
by the others, those that take least first, and with --sanitizers under the sanitizers. Each copy has a worker, a
process of its own, which takes numbers of mutants and answers with what became of them."""

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

from mutants import mutants_of

FOLDERS = ("src", "helpers")
# A mutant may loop for ever; the longest program takes half a minute.
LONGEST = 90
# What a worker's line with an outcome begins with.
ANSWER = "outcome: "
EQUIVALENT = pathlib.Path(__file__).parent / "equivalent.txt"


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
        # With what it has started itself.
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()


class Build:
    """A build of the tree, whose test programs notice a mutant or do not."""

    def __init__(self, tree, preset, passes=False):
        self.tree = tree
        self.folder = tree / "build" / preset
        subprocess.run([tree / "script/configure", "--preset", preset], check=True)
        subprocess.run(["cmake", "--build", self.folder, "--", "--quiet"], check=True)
        self.folders, self.seconds = {}, self._seconds_of_ctest()
        for program, folder in self._programs_of_ctest().items():
            self.folders[program] = folder
            if not passes:
                began = time.monotonic()
                if test := self._failing_test(program):
                    sys.exit(f"{test} of {program} fails without any mutant")
                self.seconds[program.name] = time.monotonic() - began

    def _programs_of_ctest(self):
        """Program of GoogleTest cases -> the folder of tests/ that it is of."""
        shown = subprocess.check_output(["ctest", "--show-only=json-v1"], cwd=self.folder)
        programs = {}
        for test in json.loads(shown)["tests"]:
            command = test.get("command", [])
            if any(argument.startswith("--gtest_filter=") for argument in command):
                properties = {p["name"]: p["value"] for p in test["properties"]}
                where = pathlib.Path(properties["WORKING_DIRECTORY"]).relative_to(self.folder / "tests")
                programs[pathlib.Path(command[0])] = str(where)
        return programs

    def _seconds_of_ctest(self):
        """How long the tests of each program took when CTest ran them last."""
        seconds = collections.Counter()
        costs = self.folder / "Testing/Temporary/CTestCostData.txt"
        for line in costs.read_text().splitlines() if costs.exists() else []:
            if line == "---":
                break
            name, _, cost = line.split()
            seconds[name.split(".")[0]] += float(cost)
        return seconds

    @staticmethod
    def _failing_test(program):
        """The first test of the program that does not pass, twice; None when all do."""
        with tempfile.TemporaryFile("w+", errors="replace") as out:
            status = quiet([program, "--each"], LONGEST, out)
            out.seek(0)
            failed = [line.split()[1] for line in out if line.startswith("failed: ")]
        if status == 0:
            return None
        if not failed:
            return f"{program.name}, {'without an end' if status is None else status}"
        # Once may be the machine's doing, on which a mutant has most of the work.
        return failed[0] if quiet([program, f"--gtest_filter={failed[0]}"], LONGEST) != 0 else None

    def try_mutant(self, mutant):
        """Puts the mutant in the place of its source for as long as it takes, and tells of it."""
        began = time.monotonic()
        path = self.tree / mutant.path
        source = path.read_text()
        path.write_text(mutant.apply(source))
        try:
            outcome, by = self._outcome(mutant.path)
        finally:
            path.write_text(source)
        print(f"{outcome.value}{by}, {time.monotonic() - began:.1f} s: {mutant.name}", flush=True)
        return outcome

    def _outcome(self, path):
        """What becomes of the changed tree, and by which program."""
        parts = pathlib.PurePath(path).parts
        own = parts[1] if parts[0] == "src" and len(parts) > 2 else parts[0]
        # What is made of helpers is the tool, more than the library.
        near = (own, "tool") if own == "helpers" else (own,)
        programs = sorted(self.folders, key=lambda program: self.seconds[program.name])
        first = [program for program in programs if self.folders[program] in near]
        others = [program for program in programs if program not in first]
        for batch in (first, *(others[i : i + 8] for i in range(0, len(others), 8))):
            targets = [program.name for program in batch]
            if quiet(["cmake", "--build", self.folder, "--target", "msg-tarvel-common", *targets]) != 0:
                # What the sources of the near programs take is a program; others may refuse it.
                return (Outcome.NOT_COMPILED, "") if batch is first else (Outcome.NOTICED, " by the build")
            for program in batch:
                if test := self._failing_test(program):
                    return Outcome.NOTICED, f" by {test}"
        return Outcome.SURVIVED, ""


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
    """Tries the mutants whose numbers the input has, and answers with their outcomes."""
    build, sanitized = Build(arguments.tree, "dev", arguments.passed), None
    for line in sys.stdin:
        mutant = drawn[int(line)]
        outcome = build.try_mutant(mutant)
        if outcome is Outcome.SURVIVED and arguments.sanitizers:
            sanitized = sanitized or Build(arguments.tree, "asan")
            if sanitized.try_mutant(mutant) is Outcome.NOTICED:
                outcome = Outcome.NOTICED
        print(f"{ANSWER}{outcome.value}", flush=True)


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


def delegate(worker, draw):
    """Has a worker try mutants of the draw until there are enough, or it is gone."""
    with worker.stdin:
        while (number := draw.take()) is not None:
            print(number, file=worker.stdin, flush=True)
            for line in worker.stdout:
                if line.startswith(ANSWER):
                    draw.put(number, Outcome(line[len(ANSWER) :].strip()))
                    break
                print(line, end="", flush=True)
            else:
                return


def arguments_of_call():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tree", type=pathlib.Path, required=True)
    parser.add_argument("--count", type=int, default=30, help="how many are drawn")
    parser.add_argument("--seed", default=datetime.date.today().isoformat(), help="what draws them: the date")
    parser.add_argument("--only", default="", help="of the mutants whose name holds this text")
    parser.add_argument("--least", type=float, default=97, help="per cent that must be noticed")
    parser.add_argument("--survivors", type=int, default=0, help="how many are spared, whatever per cent they are")
    parser.add_argument("--seconds", type=float, default=math.inf, help="no other is begun after that time")
    parser.add_argument("--passed", action="store_true", help="the tests passed just now")
    parser.add_argument("--sanitizers", action="store_true", help="try what survives under them too")
    parser.add_argument("--worker", action="append", help="a command that runs one in a copy of its own")
    parser.add_argument("--work", action="store_true", help="be a worker")
    return parser.parse_args()


def main():
    arguments = arguments_of_call()
    mutants = [m for m in all_mutants(arguments.tree) if arguments.only in m.name]
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
    draw = Draw(len(drawn), arguments.count, arguments.seconds)
    threads = [threading.Thread(target=delegate, args=(worker, draw)) for worker in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
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
