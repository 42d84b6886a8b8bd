"""What a run of script/bench measured, as tables and goals; see collect.py for its file."""

import json
import pathlib
import statistics

WAYS = ("raw", "raw, compiling", "SQLiteCpp", "SQLiteCpp, reusing")
PEERS = ("FlatBuffers", "msgpack-cxx", "Cap'n Proto", "Protocol Buffers", "GVariant")
APART = ("Protocol Buffers, object", "FlatBuffers, reusing", "msgpack-cxx, reusing")
MESSAGES = ("text", "4 contents", "100 KB", "255 addresses")
STEPS = ("encode", "check", "decode", "whole cycle")
MINE = "library"
BIG = 100000


class Ratio:
    """One time beside another, run by run: runs of the same number were made next to each other. What took so
    long that it was measured once stands beside every run of the other."""

    def __init__(self, times, others):
        runs = max(len(times), len(others))
        times = times * runs if len(times) == 1 else times
        others = others * runs if len(others) == 1 else others
        ratios = [time / other for time, other in zip(times, others)]
        self.median = statistics.median(times) / statistics.median(others)
        self.least = min(ratios)
        self.most = max(ratios)

    def __str__(self):
        return f"{number(self.median)} ({number(self.least)} to {number(self.most)})"


def number(value):
    if value >= 100:
        return f"{value:.0f}"
    return f"{value:.3g}" if value >= 10 else f"{value:.2f}"


def duration(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def store_name(messages, indexes):
    return f"{messages:,} messages, {'with' if indexes else 'without'} indexes"


class Results:
    def __init__(self, path):
        self.data = json.loads(pathlib.Path(path).read_text())
        self._queries = {(one["messages"], one["indexes"], one["query"], one["way"]): one
                         for one in self.data["queries"]}
        self._steps = {(one["message"], one["step"], one["peer"]): one["times"] for one in self.data["serializer"]}
        self._imports = {one["program"]: one["times"] for one in self.data["import"]}

    def stores(self):
        return list(dict.fromkeys((one["messages"], one["indexes"]) for one in self.data["queries"]))

    def queries(self):
        return list(dict.fromkeys(one["query"] for one in self.data["queries"]))

    def query(self, messages, indexes, query, way=MINE):
        """The times, or None when this was not measured."""
        one = self._queries.get((messages, indexes, query, way))
        return one and one["times"]

    def per_item(self, messages, indexes, query, way=MINE):
        one = self._queries.get((messages, indexes, query, way))
        return one and statistics.median(one["times"]) / max(one.get("items", 1), 1)

    def instructions_per_item(self, messages, indexes, query):
        """Of one call on 32-bit ARM."""
        for one in self.data["instructions"]:
            if (one["messages"], one["indexes"], one["query"]) == (messages, indexes, query):
                return one["times"][0] / max(one["items"], 1)
        return None

    def step(self, message, step, peer=MINE):
        return self._steps.get((message, step, peer))

    def imported(self, program):
        return self._imports.get(program)

    def pair(self, message, peer=MINE):
        """Encode and decode, run by run."""
        encode, decode = self.step(message, "encode", peer), self.step(message, "decode", peer)
        return encode and decode and [a + b for a, b in zip(encode, decode)]

    def best(self, times_of):
        """The times of the fastest peer that hands over records."""
        found = [times for times in map(times_of, PEERS) if times]
        return min(found, key=statistics.median) if found else None


def query_tables(results):
    """(title, heading, rows) of every store: the library's time, and how many times that of each way it takes."""
    for messages, indexes in results.stores():
        rows = []
        for query in results.queries():
            mine = results.query(messages, indexes, query)
            if not mine:
                continue
            others = [results.query(messages, indexes, query, way) for way in WAYS]
            rows.append([query, duration(statistics.median(mine))]
                        + [str(Ratio(mine, other)) if other else "" for other in others])
        yield store_name(messages, indexes), ["query", "library", *WAYS], rows


def serializer_table(results):
    """The same of the hand-over, a row for each message and step."""
    peers = ("floor", *PEERS, *APART)
    rows = []
    for message in MESSAGES:
        for step in STEPS:
            mine = results.step(message, step)
            if not mine:
                continue
            others = [results.step(message, step, peer) for peer in peers]
            rows.append([f"{message}, {step}", duration(statistics.median(mine))]
                        + [str(Ratio(mine, other)) if other else "" for other in others])
    return "Hand-over", ["message", "library", *peers], rows


def other_tables(results):
    mine, python = results.imported("msg-tarvel import"), results.imported("Python")
    if mine and python:
        yield "Import of texts, CPU of the process", ["program", "time", "beside Python"], [
            ["msg-tarvel import", duration(statistics.median(mine)), str(Ratio(mine, python))],
            ["Python", duration(statistics.median(python)), ""]]
    for run in results.data["owner"]:
        rows = [[f"owner: {run['owner']['name']}"] + tally(run["owner"])]
        rows += [[f"reader: {one['name']}"] + tally(one) for one in run["readers"]]
        yield (f"An owner every 100 ms beside four readers, {store_name(run['messages'], run['indexes'])}",
               ["call", "calls", "failed", "longest", "longest, CPU"], rows)
    rows = [[store_name(one["messages"], one["indexes"]), one["query"], f"{one['times'][0]:,}",
             f"{one['times'][0] // max(one['items'], 1):,}"] for one in results.data["instructions"]]
    if rows:
        yield "Instructions of a call on 32-bit ARM", ["store", "query", "instructions", "for each item"], rows


def tally(one):
    return [str(one["calls"]), str(one["failures"]), duration(one["longest_ms"] * 1e6),
            duration(one["longest_cpu_ms"] * 1e6)]


# Goals


class Goal:
    """A value, and what it may at most (or, with `atLeast`, at least) be; `value` is None when it was not measured."""

    def __init__(self, name, value, limit, at_least=False):
        self.name = name
        self.value = value
        self.limit = limit
        self.at_least = at_least

    def row(self):
        sign = "≥" if self.at_least else "≤"
        if self.value is None:
            return [self.name, f"{sign} {self.limit}", "", "not measured"]
        reached = self.value >= self.limit if self.at_least else self.value <= self.limit
        return [self.name, f"{sign} {self.limit}", number(self.value), "reached" if reached else "missed"]


def median_ratio(times, others):
    return Ratio(times, others).median if times and others else None


def list_goals(results):
    for query in ("list of all", "newest 20", "by time", "unsynced"):
        indexed = results.query(BIG, True, query)
        plain = results.query(BIG, False, query)
        yield Goal(f"{query}, with indexes, beside the loop that compiles",
                   median_ratio(indexed, results.query(BIG, True, query, "raw, compiling")), 1.15)
        yield Goal(f"{query}, without indexes, beside the raw loop",
                   median_ratio(plain, results.query(BIG, False, query, "raw")), 1.2)
    mine = results.query(BIG, True, "list of all")
    for way, limit in (("SQLiteCpp", 12), ("SQLiteCpp, reusing", 2.3)):
        yield Goal(f"list of all, with indexes: times faster than {way}",
                   median_ratio(results.query(BIG, True, "list of all", way), mine), limit, True)


def growth_goals(results):
    for prefix, per_item in (("", results.per_item), ("32-bit ARM, instructions: ", results.instructions_per_item)):
        for query, name, indexes, limit in (
                ("list of all", "a message of the list of all, with indexes", True, 1.4),
                ("list of all", "a message of the list of all, without indexes", False, 1.4),
                ("newest 20", "newest 20, with indexes", True, 1.3)):
            small, big = (per_item(messages, indexes, query) for messages in (1000, BIG))
            yield Goal(f"{prefix}{name}, 1,000 to 100,000", big / small if small and big else None, limit)


def conversation_goals(results):
    for indexes, limit in ((True, 1.2), (False, 1.3)):
        yield Goal(f"conversation list, {'with' if indexes else 'without'} indexes, beside the raw loop",
                   median_ratio(results.query(BIG, indexes, "conversation list"),
                                results.query(BIG, indexes, "conversation list", "raw")), limit)
    # SQLiteCpp is given the statement as it is defined.
    yield Goal("conversation list, without indexes: times faster than the plain statement",
               median_ratio(results.query(BIG, False, "conversation list", "SQLiteCpp"),
                            results.query(BIG, False, "conversation list")), 300, True)
    for query, limit in (("entry of the biggest conversation", 1.3), ("conversation of 20", 1.15),
                         ("biggest conversation", 1.1)):
        yield Goal(f"{query}, with indexes, beside the loop that compiles",
                   median_ratio(results.query(BIG, True, query),
                                results.query(BIG, True, query, "raw, compiling")), limit)


def lock_goals(results):
    slowest = [statistics.median(one["times"]) / 1e9 for one in results.data["queries"]
               if one["way"] == MINE and one["messages"] == BIG]
    yield Goal("longest query at 100,000 messages, seconds", max(slowest, default=None), 0.3)
    commits = [run["owner"]["failures"] for run in results.data["owner"]]
    yield Goal("failed commits of an owner beside four readers", sum(commits) if commits else None, 0)


def serializer_goals(results):
    for message, encode, pair, decode in (("text", 2, 1.8, 1.25), ("4 contents", 2, 1.6, 1.15), ("100 KB", 1, None, 1.15),
                                          ("255 addresses", 1, None, None)):
        yield Goal(f"{message}, encode: times faster than the best peer",
                   median_ratio(results.best(lambda peer: results.step(message, "encode", peer)),
                                results.step(message, "encode")), encode, True)
        if pair:
            yield Goal(f"{message}, encode and decode: times faster than the best peer",
                       median_ratio(results.best(lambda peer: results.pair(message, peer)), results.pair(message)),
                       pair, True)
        if decode:
            yield Goal(f"{message}, decode beside the floor",
                       median_ratio(results.step(message, "decode"), results.step(message, "decode", "floor")), decode)
        yield Goal(f"{message}, whole cycle beside the floor",
                   median_ratio(results.step(message, "whole cycle"), results.step(message, "whole cycle", "floor")), 1.2)
        check = results.step(message, "check")
        yield Goal(f"{message}, check as a share of decode", median_ratio(check, results.step(message, "decode")), 0.15)
        yield Goal(f"{message}, check: times faster than FlatBuffers' verifier",
                   median_ratio(results.step(message, "check", "FlatBuffers"), check), 3.5, True)


def goals_table(results):
    goals = [goal for group in (list_goals, growth_goals, conversation_goals, lock_goals, serializer_goals)
             for goal in group(results)]
    goals.append(Goal("import of texts beside Python",
                      median_ratio(results.imported("msg-tarvel import"), results.imported("Python")), 0.8))
    return "Goals", ["what", "goal", "median", ""], [goal.row() for goal in goals]


def all_tables(results):
    yield from query_tables(results)
    yield serializer_table(results)
    yield from other_tables(results)
    yield goals_table(results)
