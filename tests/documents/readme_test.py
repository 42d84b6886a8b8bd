#!/usr/bin/env python3
"""Runs the README as it stands: every block of commands in order, in one shell.

readme_test.py SOURCE-DIR C-COMPILER C++-COMPILER

A copy of the tree and a home of its own stand for a new user's. What the README shows as output is among
what was printed, and what it installs it also removes. Root does it again as an ordinary user.
"""

import os
import pathlib
import pwd
import re
import shutil
import subprocess
import sys
import tempfile

ORDINARY_USER = "nobody"


def blocks_of(page, kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)


def make_compiler(path, compiler):
    """Optimising takes half of the time, and no step depends on it."""
    path.write_text(f'#!/bin/sh\nexec "{compiler}" "$@" -O0\n')
    path.chmod(0o755)
    return str(path)


def missing_outputs(page, printed):
    """The parts of the page's outputs that were not printed, in their order; "..." leaves lines out."""
    for output in blocks_of(page, "text"):
        at = 0
        for part in re.split(r"^\.\.\.\n", output, flags=re.MULTILINE):
            found = ("\n" + printed).find("\n" + part, at)
            if found < 0:
                yield part
            else:
                at = found + len(part)


def run_as(account, tree, folder, compilers):
    """Does what the README says; returns what is wrong with it."""
    page = (tree / "README.md").read_text()
    commands = blocks_of(page, "sh")
    home = folder / f"home-{account.pw_name}"
    home.mkdir()
    if os.geteuid() != account.pw_uid:
        for name in [home, tree, *tree.rglob("*")]:
            os.chown(name, account.pw_uid, account.pw_gid, follow_symlinks=False)
    environment = {
        "CC": compilers[0],
        "CXX": compilers[1],
        "COLUMNS": "80",
        "HOME": str(home),
        "LANG": "C.UTF-8",
        "MSG_TARVEL_NO_BOOTSTRAP": "1",
        "PATH": os.environ["PATH"],
        "TZ": "UTC",
    }
    identity = {}
    if os.geteuid() == 0:
        identity = {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": []}
    # The last line shows what the README has left in the home.
    script = "set -euo pipefail\n" + "\n".join(commands) + '\necho "left:$(find ~ ! -type d)"\n'
    result = subprocess.run(
        ["bash", "-c", script],
        cwd=tree,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
        **identity,
    )
    if result.returncode != 0:
        return [f"status {result.returncode}\n{result.stdout[-3000:]}\n{result.stderr[-3000:]}"]
    wrong = [f"not printed:\n{part}" for part in missing_outputs(page, result.stdout)]
    if not result.stdout.endswith("\nleft:\n"):
        wrong.append(result.stdout[result.stdout.rindex("left:") :])
    print(f"{len(commands)} blocks of commands run as {account.pw_name}")
    return wrong


def main():
    sources = pathlib.Path(sys.argv[1])
    if not blocks_of((sources / "README.md").read_text(), "sh"):
        sys.exit("the README has no commands")
    accounts = [pwd.getpwuid(os.geteuid())]
    if os.geteuid() == 0:
        accounts.append(pwd.getpwnam(ORDINARY_USER))
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        compilers = [make_compiler(folder / f"compiler{i}", sys.argv[2 + i]) for i in range(2)]
        tree = folder / "msg-tarvel-common"
        shutil.copytree(sources, tree, symlinks=True, ignore=shutil.ignore_patterns("build", "obj-*", ".git"))
        tree.chmod(0o755)
        for account in accounts:
            for complaint in run_as(account, tree, folder, compilers):
                sys.exit(f"The README, as {account.pw_name}: {complaint}")


main()
