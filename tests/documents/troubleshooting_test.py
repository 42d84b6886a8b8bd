#!/usr/bin/env python3
"""Holds the page on troubleshooting against the sources.

troubleshooting_test.py SOURCE-DIR

Every log line of the library and of the host platform, and every result code with its words, is on the
page; and no line is there that nothing logs. On the page a value of a line is a word in capitals or an
example.
"""

import pathlib
import re
import sys

LITERAL = r'"((?:[^"\\]|\\.)*)"'
LIBRARY_CALL = re.compile(r"\bMSG_TARVEL_(ERROR_BARE|ERROR|WARN|INFO)(?:_AT)?\(")
LIBRARY_LINE = re.compile(LIBRARY_CALL.pattern + r"\s*(?:_?site,\s*)?" + LITERAL)
PLATFORM_CALL = re.compile(r"\b__dlog_print\(LOG_ID_MAIN")
PLATFORM_LINE = re.compile(PLATFORM_CALL.pattern + r", DLOG_\w+, LOG_TAG,\s*" + LITERAL)

# Formats that stand for several lines, and where the names in them come from.
NAMED_LINES = {
    "[ERROR] %s() failed: (%d)": re.compile(r"report_failure\(\s*" + LITERAL),
    "[ERROR] %s() failed!": re.compile(r'"(_db_step_get_\w+)"'),
}


def log_lines(root):
    """The format of every line, as it shows."""
    formats = set()
    for file in sorted((root / "src").rglob("*.*")):
        if file.name == "log.h":
            continue
        text = file.read_text()
        lines = LIBRARY_LINE.findall(text)
        if len(lines) != len(LIBRARY_CALL.findall(text)):
            sys.exit(f"{file.name}: a log line's format is no literal at its start")
        for macro, line in lines:
            shown = line.replace("\\n", "").rstrip()
            formats.add("[ERROR] " + shown if macro == "ERROR" else shown)
        for line, names in NAMED_LINES.items():
            formats.update(line.replace("%s", name, 1) for name in names.findall(text))
    for file in sorted((root / "platform" / "host").glob("*.cpp")):
        text = file.read_text()
        lines = PLATFORM_LINE.findall(text)
        if len(lines) != len(PLATFORM_CALL.findall(text)):
            sys.exit(f"{file.name}: a log line's format is no literal at its place")
        formats.update(lines)
    for line in NAMED_LINES:
        if line not in formats:
            sys.exit(f"nothing logs '{line}' any more")
        formats.remove(line)
    return formats


def pattern_of(line):
    """What a line of this format looks like on the page."""
    return re.compile(r"[^`]+?".join(re.escape(part) for part in re.split(r"%(?:lld|[ds])", line)))


def result_codes(root):
    """(code, name, words) of every result code; of the others, -1 among them, without a name."""
    header = (root / "include/msg-tarvel-common/db/db_error.h").read_text()
    codes = {name: code for name, code in re.findall(r"constexpr int (\w+) = (-?\d+);", header)}
    source = (root / "src/db/db_error.cpp").read_text()
    words = re.findall(r"case ([\w-]+):\s*return " + LITERAL + ";", source)
    if not codes or len(words) != source.count("case ") or len(words) != len(codes) + 1:
        sys.exit(f"{len(codes)} codes, words for {len(words)}: the sources look otherwise than expected")
    for label, text in words:
        name = f"`{label}`" if label in codes else ""
        yield codes.get(label, label), name, text
    yield "any other", "", re.search(r"default:\s*return " + LITERAL, source).group(1)


def main():
    root = pathlib.Path(sys.argv[1])
    page = (root / "docs/troubleshooting.md").read_text()
    rows = [[cell.strip() for cell in row.split("|")[1:]] for row in re.findall(r"^\|.*", page, re.M)]
    complaints = []

    sections = re.split(r"^## ", page, flags=re.M)
    logged = [section for section in sections if not section.startswith("Building, linking, starting")]
    shown = {line for section in logged for line in re.findall(r"^\| `([^`]+)` \|", section, re.M)}
    patterns = {line: pattern_of(line) for line in log_lines(root)}
    for line, pattern in sorted(patterns.items()):
        if not any(pattern.fullmatch(candidate) for candidate in shown):
            complaints.append(f"not on the page: {line}")
    for candidate in sorted(shown):
        if not any(pattern.fullmatch(candidate) for pattern in patterns.values()):
            complaints.append(f"on the page, but nothing logs it: {candidate}")
    for row in result_codes(root):
        if not any(cells[:3] == list(row) for cells in rows):
            complaints.append("no row of the result code: " + " | ".join(row))

    for complaint in complaints:
        print(complaint)
    print(f"{len(patterns)} log lines, {len(complaints)} complaints")
    return 1 if complaints else 0


sys.exit(main())
