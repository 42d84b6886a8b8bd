#!/usr/bin/env python3
"""The instructions that one call of a query takes on 32-bit ARM: count_instructions.py EMULATOR... -- PROGRAM STORE...

Each STORE is MESSAGES-INDEXES=FOLDER (1000-yes=/stores/1000). Prints JSON: {"instructions": [{"messages": ...,
"indexes": ..., "query": ..., "items": ..., "times": [instructions]}, ...]}.
"""

import json
import re
import subprocess
import sys

QUERIES = ("list of all", "newest 20", "conversation list")


def count(command):
    """(instructions, items)"""
    done = subprocess.run(command, capture_output=True, text=True)
    found = re.search(r"^instructions: (\d+)$", done.stderr, re.MULTILINE)
    if done.returncode != 0 or not found:
        sys.exit(f"{command} fails: {done.stderr}")
    return int(found[1]), int(done.stdout)


def one_call(ask, folder, query):
    """Of a call that is not the first: what a process does once is left out."""
    twice, items = count([*ask, folder, query, "2"])
    once, _ = count([*ask, folder, query, "1"])
    return {"query": query, "items": items, "times": [twice - once]}


def main(arguments):
    emulator, (program, *stores) = arguments[:arguments.index("--")], arguments[arguments.index("--") + 1:]
    result = []
    for store in stores:
        name, folder = store.split("=", 1)
        messages, indexes = name.split("-")
        result += [{"messages": int(messages), "indexes": indexes == "yes",
                    **one_call([*emulator, program], folder, query)} for query in QUERIES]
    json.dump({"instructions": result}, sys.stdout)


if __name__ == "__main__":
    main(sys.argv[1:])
