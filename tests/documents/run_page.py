#!/usr/bin/env -S python3 -B
"""Does what a page says, and compares what is printed with what the page shows.

run_page.py PAGE PREFIX COMPILER: in an empty folder, with the library below PREFIX alone. The page's
files are there from the start. In its console blocks, what follows "$ " is a command, run by one shell
from the first to the last; what follows up to the next one is all that the command prints on its
standard output. Every command succeeds.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

import pages


def steps(text):
    """[command, output] of every command in the page."""
    found = []
    for _, block in pages.blocks(text, "console"):
        for line in block.splitlines(keepends=True):
            if line.startswith("$ "):
                found.append([line[2:].rstrip("\n"), ""])
            else:
                found[-1][1] += line
    return found


def environment(folder, prefix, compiler):
    """For a shell to which g++ is the compiler and the library is nowhere else than below the prefix."""
    (folder / "tools").mkdir()
    (folder / "tools/g++").symlink_to(compiler)
    # pkg-config's quotes around a blank would not survive the shell's $(...).
    (folder / "prefix").symlink_to(prefix)
    description = next((folder / "prefix/").glob("**/msg-tarvel-common.pc"))
    others = ("CPATH", "LIBRARY_PATH", "MSG_TARVEL_DATA_DIR")
    return {
        **{name: value for name, value in os.environ.items() if name not in others},
        "PATH": f"{folder}/tools:{os.environ['PATH']}",
        "PKG_CONFIG_PATH": str(description.parent),
        "LD_LIBRARY_PATH": str(description.parent.parent),
    }


def run(commands, work, variables):
    """What each command printed; what follows one that fails is missing."""
    mark = "--- next command"
    script = "".join(f"{command}\necho '{mark}'\n" for command in commands)
    result = subprocess.run(
        ["bash", "-e", "-c", script], cwd=work, env=variables, stdout=subprocess.PIPE, text=True
    )
    return result.stdout.split(mark + "\n")[:-1]


def main():
    text = pathlib.Path(sys.argv[1]).read_text()
    prefix, compiler = (pathlib.Path(argument).absolute() for argument in sys.argv[2:4])
    expected = steps(text)
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        work = folder / "work"
        work.mkdir()
        pages.write_files(text, work)
        printed = run([command for command, _ in expected], work, environment(folder, prefix, compiler))
    failures = 0
    for (command, output), real in zip(expected, printed + [None] * len(expected)):
        right = output == real
        print("right:" if right else "WRONG:", command)
        if not right:
            print(f"the page shows\n{output}and it printed\n{real or 'nothing that ended well'}")
            failures += 1
    print(len(expected), "commands")
    return 1 if failures or not expected else 0


sys.exit(main())
