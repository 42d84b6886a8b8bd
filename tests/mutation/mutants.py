"""The mutants of a C++ source: what differs from it in one constant, comparison, sign, text or column."""

import collections
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
    (?P<skip>//[^\n]*|/\*.*?\*/|^[ ]*\#(?:[^\n]*\\\n)*[^\n]*|static_assert\([^;]*;)
  | (?P<character>'(?:\\.[^']*|[^'\\])')
  | (?P<text>"(?:\\.|[^"\\\n])*")
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*)[uUlL]*\b)
  | (?P<truth>\b(?:true|false)\b)
  | (?P<operator>[ ](?:==|!=|<=|>=|<|>|&&|\|\||\+|-)(?=[ \n]))
  | (?P<not>(?<=[(\s])!(?=[A-Za-z_(]))
  | (?P<other>[A-Za-z_]\w*)
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)
OPERATORS = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">"],
    "<=": ["<", ">"],
    ">": [">=", "<"],
    ">=": [">", "<"],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
}
# A name of a column or a table in a statement; keywords are in capital letters.
NAME = re.compile(r"\b[a-z_][A-Za-z_]*[A-Za-z]\b")
STATEMENT = re.compile(r"\b(SELECT|FROM|WHERE|INSERT|UPDATE|DELETE|CREATE|ORDER|AND|JOIN|CASE)\b|=|, ")


@dataclass(frozen=True)
class Mutant:
    """`new` in the place of `old`, `offset` characters into the file `path`."""

    path: str
    offset: int
    old: str
    new: str
    line: int
    name: str

    def apply(self, source):
        end = self.offset + len(self.old)
        assert source[self.offset : end] == self.old
        return source[: self.offset] + self.new + source[end:]


def _other_numbers(token):
    digits = re.match(r"0[xX][0-9a-fA-F']+|[\d']+", token).group()
    value = int(digits.replace("'", ""), 0 if digits[:2] in ("0x", "0X") else 10)
    yield str(value + 1) + token[len(digits) :]
    if value > 1:
        yield str(value - 1) + token[len(digits) :]


def _other_texts(token):
    text = token[1:-1]
    letters = [m.start() for m in re.finditer(r"(?<![\\%])[A-Za-z](?![\\])", text)]
    if letters:
        middle = letters[len(letters) // 2]
        yield '"' + text[:middle] + ("x" if text[middle] != "x" else "y") + text[middle + 1 :] + '"'
    elif text:
        yield '""'
    names = list(NAME.finditer(text)) if STATEMENT.search(text) else []
    for first, second in zip(names, names[1:]):
        if first.group() != second.group():
            yield '"' + text[: first.start()] + second.group() + text[first.end() :] + '"'
            break


def mutants_of(path, source):
    """Every mutant of `source`, in the order of the places."""
    found = []
    names = collections.Counter()

    def add(offset, old, new):
        begin = source.rfind("\n", 0, offset) + 1
        text = source[begin:].split("\n", 1)[0]
        column = offset - begin - (len(text) - len(text.lstrip()))
        # Known by its line's text, so that it stays known where lines above are added; of the same
        # lines by its number.
        name = f"{path}: {text.strip()} [{column}: {old} -> {new}]"
        names[name] += 1
        if names[name] > 1:
            name += f" #{names[name]}"
        found.append(Mutant(path, offset, old, new, source.count("\n", 0, offset) + 1, name))

    for token in TOKEN.finditer(source):
        kind, text, offset = token.lastgroup, token.group(), token.start()
        if kind == "operator":
            for new in OPERATORS[text.strip()]:
                add(offset + 1, text.strip(), new)
        elif kind == "number":
            for new in _other_numbers(text):
                add(offset, text, new)
        elif kind == "text":
            for new in _other_texts(text):
                add(offset, text, new)
        elif kind == "character" and text[1:-1].isalnum():
            add(offset, text, f"'{chr(ord(text[1]) + 1)}'")
        elif kind == "truth":
            add(offset, text, "false" if text == "true" else "true")
        elif kind == "not":
            add(offset, text, "")
    return found
