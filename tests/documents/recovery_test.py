#!/usr/bin/env -S python3 -B
"""Saves what is left of a damaged store in the way that docs/database.md shows.

recovery_test.py SOURCE-DIR TOOL: the page's commands, in their order and in the data directory of a store
of which some pages are noise. What the damage spared is there afterwards, and the store is sound.
"""

import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile

SKIPPED = 77
HEADING = "### A file that SQLite cannot read"
PROGRAMS = ("mkdir", "mv", "sqlite3", "msg-tarvel")
DATABASE = "dbspace/.msg-tarvel-server.db"
PAGE_SIZE = 4096
MESSAGES = 300
# What a shell says that lacks the table of pages.
NO_PAGES = "SQL logic error"


def commands_of(page):
    section = page[page.index(HEADING) :]
    section = section[: section.index("\n<a name=")]
    commands = re.findall(r"`([^`]+)`", section)
    return [command for command in commands if command.startswith(PROGRAMS)]


def damage(path):
    """Three pages from the middle, of the messages' table among others."""
    content = bytearray(path.read_bytes())
    begin = len(content) // PAGE_SIZE // 2 * PAGE_SIZE
    content[begin : begin + 3 * PAGE_SIZE] = b"\xff" * (3 * PAGE_SIZE)
    path.write_bytes(content)


def rows(path, query):
    connection = sqlite3.connect(path)
    found = set(connection.execute(query).fetchall())
    connection.close()
    return found


class Shell:
    """Runs commands in the data directory, the tool among them."""

    def __init__(self, data, tool):
        self.data = data
        self.environment = {
            **os.environ,
            "MSG_TARVEL_DATA_DIR": str(data),
            "PATH": f"{pathlib.Path(tool).absolute().parent}:{os.environ['PATH']}",
        }

    def run(self, command):
        print("$", command, flush=True)
        return subprocess.run(
            ["bash", "-c", command],
            cwd=self.data,
            env=self.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )


def require(condition, what):
    if not condition:
        sys.exit(f"FAILED: {what}")


def follow(commands, shell):
    """Each command succeeds, but for the two that stand for one another and for what findings give."""
    needs_dump = False
    for command in commands:
        if ".dump" in command and not needs_dump:
            continue
        result = shell.run(command)
        if ".recover" in command:
            needs_dump = NO_PAGES in result.stderr
        else:
            require(result.stderr == "", result.stderr)
        statuses = (0, 1) if command in ("msg-tarvel check", "msg-tarvel repair") else (0,)
        require(result.returncode in statuses, f"{result.returncode}: {result.stdout}")


def main():
    page = (pathlib.Path(sys.argv[1]) / "docs/database.md").read_text()
    if not shutil.which("sqlite3"):
        print("skipped: this machine has no sqlite3 (script/bootstrap test installs it)")
        sys.exit(SKIPPED)
    commands = commands_of(page)
    require(len(commands) == 7, f"the page's commands are {commands}")
    with tempfile.TemporaryDirectory() as name:
        data = pathlib.Path(name) / "data"
        data.mkdir()
        shell = Shell(data, sys.argv[2])
        for command in ("create", f"generate --messages {MESSAGES}", "check"):
            require(shell.run(f"msg-tarvel {command}").returncode == 0, command)
        database = data / DATABASE
        texts = "SELECT msgId, textMessage FROM msg_message_table"
        before = rows(database, texts)
        pictures = sorted(os.listdir(data / "media"))
        damage(database)
        found = shell.run("msg-tarvel check integrity")
        require(found.returncode == 1 and found.stdout.startswith("integrity: "), found.stdout)

        follow(commands, shell)

        saved = rows(database, texts)
        print(len(saved), "of", len(before), "messages are saved")
        require(saved < before, "what was saved is not what was there, or nothing was damaged")
        require(len(saved) > MESSAGES / 2, "most messages are lost")
        require(sorted(os.listdir(data / "media")) == pictures, "pictures are lost")
        left = shell.run("msg-tarvel check")
        require(left.returncode == 0, left.stdout)


main()
