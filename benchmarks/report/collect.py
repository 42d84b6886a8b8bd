#!/usr/bin/env python3
"""Makes one JSON file of what the programs printed: collect.py FOLDER >FILE

FOLDER has queries-*.json and serializer.json as Google Benchmark writes them, import.json and owner-*.json.
The file lists each measurement with its times in nanoseconds, in the order of the runs:

{"machine": ..., "left_out": [...],
 "queries": [{"messages", "indexes", "query", "way", "items", "times"}, ...],
 "serializer": [{"message", "step", "peer", "bytes", "times"}, ...],
 "import": [{"program", "times"}, ...],
 "owner": [{"messages", "indexes", "owner", "readers"}, ...],
 "instructions": [{"messages", "indexes", "query", "items", "times"}, ...]}

Those of 32-bit ARM are instructions, not times, and instructions.json may be missing.
"""

import json
import pathlib
import sys

NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def measurements(report, names):
    """Google Benchmark's runs, those of one name together; `names` are what its parts stand for."""
    found = {}
    # They took turns at random; the families stand as they were registered.
    for run in sorted(report["benchmarks"], key=lambda run: run["family_index"]):
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        key = tuple(run["name"].split("/")[:len(names)])
        entry = found.setdefault(key, {**dict(zip(names, key)), "times": []})
        entry["times"].append(run["cpu_time"] * NANOSECONDS[run["time_unit"]])
        for counter in ("items", "bytes"):
            if counter in run:
                entry[counter] = int(run[counter])
    return list(found.values())


def read(path):
    return json.loads(path.read_text())


def store_of(path):
    """owner-100000-yes.json, or queries-...: how many messages, and whether there are indexes."""
    _, messages, indexes = path.stem.split("-")
    return {"messages": int(messages), "indexes": indexes == "yes"}


def in_order(folder, pattern):
    return sorted(folder.glob(pattern), key=lambda path: tuple(store_of(path).values()))


def main(folder):
    folder = pathlib.Path(folder)
    result = {"machine": {}, "left_out": [], "queries": [], "serializer": [], "import": [], "owner": [], "instructions": []}
    for path in in_order(folder, "queries-*.json"):
        result["queries"] += [{**store_of(path), **entry} for entry in measurements(read(path), ("query", "way"))]
    serializer = read(folder / "serializer.json")
    result["serializer"] = measurements(serializer, ("message", "step", "peer"))
    context = serializer["context"]
    result["machine"] = {"date": context["date"][:10], "cores": context["num_cpus"], "MHz": context["mhz_per_cpu"],
                         "runs": max(len(entry["times"]) for entry in result["serializer"])}
    result["import"] = read(folder / "import.json")["import"]
    for path in in_order(folder, "owner-*.json"):
        result["owner"].append({**store_of(path), **read(path)})
    if (folder / "instructions.json").exists():
        result["instructions"] = read(folder / "instructions.json")["instructions"]
    result["left_out"] = sorted(set((folder / "left-out.txt").read_text().splitlines()))
    json.dump(result, sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    main(sys.argv[1])
