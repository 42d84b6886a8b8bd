#!/usr/bin/env -S python3 -B
"""Holds docs/tool-json.md against what the commands print with --json.

tool_json_test.py SOURCE-DIR TOOL: on a store that has something of everything, no command prints a field that
the page lacks, every field of the page is printed by one, and the page says of each that is null that it may be.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

# Objects whose fields are named by data: kinds of findings, reasons.
NAMED_BY_DATA = ("mended", "leftCounts", "skippedBecause", "skippedFirst")
REPORT = {"path", "counts", "findings"}
DAMAGED_PART = '<parts><part seq="0" ct="image/png" data="Q"/></parts>'
BACKUP = (
    '<smses><sms address="02055550199" date="1" type="1" body="a"/>'
    '<sms address="+442055550199" date="2" type="1" body="b"/><sms address="1" date="x" type="1" body="c"/>'
    f'<mms address="+442055550199" date="3" msg_box="1">{DAMAGED_PART}</mms><sms'
)
NUMBER = "02055550199"
COMMANDS = (
    "create",
    "generate --messages 200",
    "check",
    "repair --dry-run",
    "repair",
    f"import --keep-going --own-number {NUMBER} NAME.xml",
    "threads",
    "messages",
    "conversation 1",
    "message 1",
    f"find {NUMBER}",
    f"find {NUMBER} --explain",
    "info",
    "query",
    "query db_get_thread 1",
    "query db_get_conversation 1",
    "query db_get_sim_infos",
    f"query db_check_thread_address_exist {NUMBER}",
    "query db_get_subscription_info",
    "query db_has_download_required_message",
    "ipc",
    "buffer show NAME.bin",
    "buffer check NAME.bin",
    "backup NAME.db --redact",
)


def fields_of_page(text):
    """In the first column of the tables of fields."""
    in_tables = re.findall(r"^\| (`.*?) \|", text[text.index("| Field |") :], re.MULTILINE)
    return set(re.findall(r"`(\w+)`", " ".join(in_tables)))


def nulls_of_page(text):
    """Fields whose row says that they may be null."""
    rows = re.findall(r"^\| (`.*?) \|(.*null.*)$", text, re.MULTILINE)
    return {name for names, rest in rows for name in re.findall(r"`(\w+)`", names + rest)}


def add_nulls(value, fields):
    if isinstance(value, dict):
        fields |= {name for name, part in value.items() if part is None}
        for part in value.values():
            add_nulls(part, fields)
    elif isinstance(value, list):
        for part in value:
            add_nulls(part, fields)


def add_fields(value, fields):
    if isinstance(value, dict):
        for name, part in value.items():
            fields.add(name)
            is_report = value.keys() == REPORT
            if name not in NAMED_BY_DATA and not (is_report and name == "counts"):
                add_fields(part, fields)
    elif isinstance(value, list):
        for part in value:
            add_fields(part, fields)


class Store:
    def __init__(self, folder, tool):
        self.folder = folder
        self.tool = tool
        self.environment = {
            **os.environ,
            "MSG_TARVEL_DATA_DIR": str(folder / "data"),
            "MSG_TARVEL_SETTINGS": str(folder / "settings.ini"),
        }

    def run(self, command):
        words = command.replace("NAME", str(self.folder / "file")).split()
        result = subprocess.run([self.tool, *words], env=self.environment, stdout=subprocess.PIPE)
        if result.returncode not in (0, 1):
            sys.exit(f"FAILED: {command}: {result.returncode}")
        return result.stdout

    def value(self, command):
        return json.loads(self.run(f"--json {command}"))


def main():
    page = (pathlib.Path(sys.argv[1]) / "docs/tool-json.md").read_text()
    named = set(re.findall(r"`(\w+)`", page))
    printed = set()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        # Only this one shows a message's metadata.
        (folder / "settings.ini").write_text("[db/csc]\nsalescode=ATT\n")
        store = Store(folder, sys.argv[2])
        store.run("create")
        os.chmod(folder / "data/dbspace/.msg-tarvel-server.db", 0o600)
        os.remove(folder / "data/dbspace/.msg-tarvel-server.db-journal")
        for command in COMMANDS:
            if command == "check":
                (folder / "data/media/stray").write_text("x")
                (folder / "file.bin").write_bytes(store.run("buffer encode 1"))
                (folder / "file.xml").write_text(BACKUP)
            value = store.value(command)
            fields, nulls = set(), set()
            add_fields(value, fields)
            add_nulls(value, nulls)
            nulls -= nulls_of_page(page)
            if nulls:
                sys.exit(f"FAILED: {command} prints null, which the page does not tell: {sorted(nulls)}")
            if fields - named:
                sys.exit(f"FAILED: {command} prints what the page lacks: {sorted(fields - named)}")
            printed |= fields
    missing = fields_of_page(page) - printed
    if missing:
        sys.exit(f"FAILED: no command prints {sorted(missing)}")


main()
