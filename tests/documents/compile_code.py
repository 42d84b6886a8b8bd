#!/usr/bin/env -S python3 -B
"""Compiles the code of the pages and of the headers' comments.

compile_code.py SOURCE-DIR C-COMPILER C++-COMPILER FLAG...

In a page, every block of C or C++ that includes something is a whole source file; one that begins with
its name can be included by the others of the page. In a header, what
stands between \\code and \\endcode is the inside of a function; CONTEXTS has what is around it.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

import pages

DB = "#include <msg-tarvel-common/db/db_error.h>\nnamespace msg_tarvel::db {\nextern DBMgr* const store;\n"
IPC = "#include <iostream>\nnamespace msg_tarvel {\n"
WIRE = (
    "#include <stdlib.h>\n"
    "extern const msg_message_item_t message;\n"
    "extern const char* bytes;\n"
    "extern size_t size;\n"
    "void send_bytes(const char* buffer, int length);\n"
)

# Header: the languages that it is for, and what stands before and behind the function.
CONTEXTS = {
    "db/DBMgr.h": (["c++"], DB, "}\n"),
    "ipc/MsgIPC.h": (["c++"], IPC, "}\n"),
    "msg-tarvel-serializer/msg-tarvel-serializer.h": (["c", "c++"], WIRE, ""),
}

STANDARDS = {"c": "-std=c99", "c++": "-std=c++17"}
# A line of use may set a variable that nothing reads.
WARNINGS = ["-Wall", "-Wextra", "-Werror", "-Wno-unused-variable"]


def pages_of(root):
    return [root / "README.md", *sorted((root / "docs").glob("*.md"))]


def code_of_pages(root):
    """(where, language, source) of every whole program or function in the pages."""
    for page in pages_of(root):
        for number, (kind, block) in enumerate(pages.blocks(page.read_text(), "cpp", "c"), 1):
            if "#include" in block:
                name = pages.name_of(block)
                source = f'#include "{name}"\n' if name else block
                yield f"{page.name}, block {number}", "c++" if kind == "cpp" else "c", source


def code_of_headers(root):
    """The same of the examples in the headers."""
    include = root / "include/msg-tarvel-common"
    for header in sorted(include.rglob("*.h")):
        name = header.relative_to(include).as_posix()
        blocks = re.findall(r"\\code\n(.*?)\\endcode", header.read_text(), re.DOTALL)
        if bool(blocks) != (name in CONTEXTS):
            sys.exit(f"{name}: {len(blocks)} examples, and CONTEXTS says otherwise")
        for number, block in enumerate(blocks, 1):
            languages, before, behind = CONTEXTS[name]
            inside = re.sub(r"^\s*\*", "", block, flags=re.MULTILINE)
            for language in languages:
                source = (
                    f"#include <msg-tarvel-common/{name}>\n{before}"
                    f"void example(void);\nvoid example(void) {{\n{inside}\n}}\n{behind}"
                )
                yield f"{name}, example {number} ({language})", language, source


def main():
    root = pathlib.Path(sys.argv[1])
    compilers = {"c": sys.argv[2], "c++": sys.argv[3]}
    flags = sys.argv[4:]
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / "code"
        for page in pages_of(root):
            pages.write_files(page.read_text(), file.parent)
        for where, language, source in [*code_of_pages(root), *code_of_headers(root)]:
            file.write_text(source)
            command = [compilers[language], "-x", language, STANDARDS[language], *WARNINGS]
            result = subprocess.run(
                [*command, "-fsyntax-only", *flags, "-I", folder, str(file)],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
            )
            print(where, "compiles" if result.returncode == 0 else "DOES NOT COMPILE")
            if result.returncode != 0:
                print(result.stdout)
                failures += 1
    return 1 if failures else 0


sys.exit(main())
