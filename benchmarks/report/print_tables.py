#!/usr/bin/env python3
"""Prints what a run measured: print_tables.py FILE"""

import sys

from results import Results, all_tables


def print_table(title, heading, rows):
    widths = [max(len(row[i]) for row in [heading, *rows]) for i in range(len(heading))]
    print(f"\n{title}")
    for row in [heading, *rows]:
        first, *others = (cell.ljust(width) if i == 0 else cell.rjust(width)
                          for i, (cell, width) in enumerate(zip(row, widths)))
        print("  ".join(["  " + first, *others]).rstrip())


def main(path):
    results = Results(path)
    print("CPU time of the thread. Each other column: how many times its time the library takes, as the median "
          "(least to most) of runs that took turns.")
    for line in results.data["left_out"]:
        print(line)
    for table in all_tables(results):
        print_table(*table)


if __name__ == "__main__":
    main(sys.argv[1])
