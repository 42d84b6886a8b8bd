#!/usr/bin/env -S python3 -B
"""Tries mutants of src/ and helpers/ in a tree that nobody works on; script/mutate makes one.

Each mutant is compiled and tested until a test notices it: first by the test programs of its own folder, then
by the others, those that take least first, and with --sanitizers under the sanitizers."""

import argparse
import collections
import datetime
import enum
import json
import math
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

from mutants import mutants_of

FOLDERS = ("src", "helpers")
# A mutant may loop for ever; the longest program takes half a minute.
LONGEST = 90
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


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tree", type=pathlib.Path, required=True)
    parser.add_argument("--count", type=int, default=30, help="how many are drawn")
    parser.add_argument("--seed", default=datetime.date.today().isoformat(), help="what draws them: the date")
    parser.add_argument("--only", default="", help="of the mutants whose name holds this text")
    parser.add_argument("--least", type=float, default=97, help="per cent that must be noticed")
    parser.add_argument("--seconds", type=float, default=math.inf, help="no other is begun after that time")
    parser.add_argument("--passed", action="store_true", help="the tests passed just now")
    parser.add_argument("--sanitizers", action="store_true", help="try what survives under them too")
    arguments = parser.parse_args()
    # What restores the source runs at an end by a signal too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))

    mutants = [m for m in all_mutants(arguments.tree) if arguments.only in m.name]
    known = equivalents()
    drawn = [m for m in mutants if m.name not in known]
    random.Random(arguments.seed).shuffle(drawn)

    build = Build(arguments.tree, "dev", arguments.passed)
    end = time.monotonic() + arguments.seconds
    noticed, survivors = 0, []
    for mutant in drawn:
        if noticed + len(survivors) == arguments.count or time.monotonic() > end:
            break
        outcome = build.try_mutant(mutant)
        noticed += outcome is Outcome.NOTICED
        if outcome is Outcome.SURVIVED:
            survivors.append(mutant)
    tried = noticed + len(survivors)
    if survivors and arguments.sanitizers:
        build = Build(arguments.tree, "asan")
        survivors = [m for m in survivors if build.try_mutant(m) is not Outcome.NOTICED]

    for mutant in survivors:
        print(f"survived: {mutant.name}")
    rate = 100 * (tried - len(survivors)) / max(1, tried)
    print(
        f"{tried} of {len(mutants)} mutants ({len(known)} more do what the source does), drawn by"
        f" {arguments.seed}: {len(survivors)} survived, {rate:.1f} % noticed"
    )
    return 0 if rate >= arguments.least else 1


if __name__ == "__main__":
    sys.exit(main())
