"""The code blocks of a page."""

import re

# A block whose first line is a comment with a file's name is that file.
_NAME = re.compile(r"// ([\w.]+\.(?:cpp|h|c))\n")


def blocks(text, *languages):
    """(language, block) of every block in one of these languages, in order."""
    return re.findall(rf"```({'|'.join(languages)})\n(.*?)```", text, re.DOTALL)


def name_of(block):
    """The name of the file that a block is; None for any other block."""
    name = _NAME.match(block)
    return name and name[1]


def write_files(text, folder):
    """Writes the files that the page shows into a folder."""
    for _, block in blocks(text, "cpp", "c"):
        name = name_of(block)
        if name:
            (folder / name).write_text(block)
