#!/usr/bin/env python3
"""Puts what a run measured into the documentation: write_page.py FILE DOCS

Writes the tables between the marks of DOCS/performance.md, and the pictures DOCS/performance-*.svg beside it.
"""

import pathlib
import re
import statistics
import sys

from growth_picture import picture
from results import MINE, Results, duration, goals_table, other_tables, query_tables, serializer_table

MARKED = re.compile(r"(<!-- (\w+): written by script/bench --page -->\n).*?(<!-- end -->)", re.DOTALL)
PICTURES = {"list-of-all": "list of all", "newest": "newest 20", "conversation-list": "conversation list"}
LINES = ((MINE, True), (MINE, False), ("raw", True), ("raw", False))


def markdown(title, heading, rows):
    text = f"### {title}\n\n| {' | '.join(heading)} |\n|{'---|' * len(heading)}\n"
    return text + "".join(f"| {' | '.join(row)} |\n" for row in rows)


def tables(some):
    return "\n" + "\n".join(markdown(*table) for table in some) + "\n"


def describe_run(results):
    machine = results.data["machine"]
    sizes = " and ".join(f"{messages:,}" for messages, indexes in results.stores() if indexes)
    text = (f"\nMeasured on {machine['date']}, on {machine['cores']} cores of {machine['MHz']} MHz, with stores of "
            f"{sizes} messages, in {machine['runs']} runs.\n")
    for line in results.data["left_out"]:
        text += f"It {line}.\n"
    return text + "\n"


def contents(results):
    return {
        "run": describe_run(results),
        "goals": tables([goals_table(results)]),
        "queries": tables(query_tables(results)),
        "serializer": tables([serializer_table(results)]),
        "others": tables(other_tables(results)),
    }


def lines_of(results, query):
    """(name, [(messages, nanoseconds), ...]) of each line that has points."""
    for way, indexes in LINES:
        points = [(messages, statistics.median(results.query(messages, indexes, query, way)))
                  for messages, with_indexes in results.stores()
                  if with_indexes == indexes and results.query(messages, indexes, query, way)]
        if points:
            yield f"{'raw loop' if way == 'raw' else way}, {'with' if indexes else 'without'} indexes", points


def main(path, docs):
    results = Results(path)
    docs = pathlib.Path(docs)
    page = docs / "performance.md"
    parts = contents(results)
    page.write_text(MARKED.sub(lambda found: found[1] + parts[found[2]] + found[3], page.read_text()))
    for name, query in PICTURES.items():
        lines = list(lines_of(results, query))
        if lines:
            (docs / f"performance-{name}.svg").write_text(picture(query, lines, duration))


if __name__ == "__main__":
    main(*sys.argv[1:])
