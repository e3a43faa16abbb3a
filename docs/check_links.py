#!/usr/bin/env python3
"""Checks the links of a built site: every local file and every anchor that a page names is there, and nothing is
loaded from elsewhere.

Usage: check_links.py DIRECTORY
"""

import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """The anchors of a page and what it links to."""

    def __init__(self, path):
        super().__init__()
        self.anchors = {"", "top"}
        self.links = []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name == "id" or (name == "name" and tag == "a"):
                self.anchors.add(value)
            elif (name in ("href", "src") or (tag, name) == ("object", "data")) and value is not None:
                loaded = name != "href" or tag == "link"
                self.links.append((value, loaded, self.getpos()[0]))

    handle_startendtag = handle_starttag


def broken_links(directory):
    pages = {path.resolve(): Page(path) for path in sorted(directory.rglob("*.html"))}
    for path, page in pages.items():
        for link, loaded, line in page.links:
            where = f"{path.relative_to(directory.resolve())}:{line}: {link}"
            url = urllib.parse.urlsplit(link)
            if url.scheme or url.netloc:
                if loaded and url.scheme != "javascript":
                    yield f"{where} is loaded from elsewhere"
                continue
            target = (path.parent / urllib.parse.unquote(url.path)).resolve() if url.path else path
            if not target.is_file():
                yield f"{where} leads to no file"
            elif target in pages and urllib.parse.unquote(url.fragment) not in pages[target].anchors:
                yield f"{where} leads to no anchor"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    directory = pathlib.Path(sys.argv[1])
    if not (directory / "index.html").is_file():
        sys.exit(f"{directory} holds no index.html")
    broken = list(broken_links(directory))
    print("\n".join(broken), end="\n" if broken else "")
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
