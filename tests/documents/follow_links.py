#!/usr/bin/env python3
"""Follows every link within the pages, and says which lead nowhere.

follow_links.py ROOT          the Markdown pages below ROOT
follow_links.py --html ROOT   the generated pages below ROOT

A link leads somewhere when its file is there and, where it names an anchor, the file has it. Links to
other places of the web are not followed.
"""

import html.parser
import pathlib
import re
import sys
import urllib.parse

ELSEWHERE = re.compile(r"[a-z][a-z0-9+.-]*:|//", re.IGNORECASE)
NOT_OURS = {"build", ".git"}


class HtmlPage(html.parser.HTMLParser):
    """The links of a generated page, and the anchors that others may link to. A link that stayed
    Markdown leads nowhere: it is kept as it is written."""

    def __init__(self, text):
        super().__init__()
        self.links = []
        self.anchors = set()
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if value and (name == "id" or (name == "name" and tag == "a")):
                self.anchors.add(value)
            elif value and name in ("href", "src"):
                self.links.append(value)

    def handle_data(self, data):
        self.links += re.findall(r"\[[^]]+\]\([^)\s]+\)", data)


class SearchIndex:
    """The same of a script that holds what the search of the generated pages finds."""

    def __init__(self, text):
        self.anchors = set()
        self.links = re.findall(r"'(\.\./[^']*)'", text)


class MarkdownPage:
    """The same of a page in Markdown, whose headings are its anchors."""

    def __init__(self, text):
        prose = re.sub(r"^( *)(```|~~~).*?^\1\2$", "", text, flags=re.MULTILINE | re.DOTALL)
        self.anchors = set(re.findall(r'<a (?:name|id)="([^"]+)"', prose))
        for heading in re.findall(r"^#+ +(.*?) *#*$", prose, re.MULTILINE):
            self.anchors.add(self.free(anchor_of(heading)))
        self.links = re.findall(r"\[[^]]*\]\(<?([^)>\s]+)>?[^)]*\)", re.sub(r"`[^`\n]*`", "", prose))
        self.links += re.findall(r"^ *\[[^]]+\]: +(\S+)", prose, re.MULTILINE)

    def free(self, anchor):
        """The second heading of a name gets -1 behind it, and so on."""
        number, name = 0, anchor
        while name in self.anchors:
            number += 1
            name = f"{anchor}-{number}"
        return name


def anchor_of(heading):
    words = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading).lower()
    return re.sub(r"[^\w\- ]", "", words).replace(" ", "-")


def pages_below(root, kinds):
    """The pages by their paths; `kinds` has how each kind of file is read."""
    pages = {}
    for pattern, read in kinds.items():
        files = [file for file in root.rglob(pattern) if not NOT_OURS & {*file.relative_to(root).parts}]
        if not files:
            sys.exit(f"{root} has no page {pattern}")
        pages.update((file, read(file.read_text())) for file in sorted(files))
    return pages


def dead_links(pages):
    """(page, link, reason) of every link that leads nowhere."""
    followed = 0
    for file, page in pages.items():
        for link in page.links:
            if ELSEWHERE.match(link):
                continue
            followed += 1
            path, _, anchor = link.partition("#")
            target = (file.parent / urllib.parse.unquote(path)).resolve() if path else file
            if not target.exists():
                yield file, link, "no such file"
            elif anchor and target in pages and urllib.parse.unquote(anchor) not in pages[target].anchors:
                yield file, link, "no such anchor"
    print(f"followed {followed} links of {len(pages)} pages")


def main():
    generated = sys.argv[1] == "--html"
    root = pathlib.Path(sys.argv[-1]).resolve()
    kinds = {"*.html": HtmlPage, "search/*.js": SearchIndex} if generated else {"*.md": MarkdownPage}
    dead = list(dead_links(pages_below(root, kinds)))
    for file, link, reason in dead:
        print(f"{file.relative_to(root)}: {link}: {reason}")
    return 1 if dead else 0


sys.exit(main())
