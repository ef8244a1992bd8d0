#!/usr/bin/env python3
"""Checks the site that scripts/make_site.sh made: every page is in the navigation, every link,
picture and place within a page exists, and no page makes a browser ask another host.

    check_site.py FOLDER
"""
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

TOP = Path(__file__).resolve().parent.parent


class Page(HTMLParser):
    """Places of a page, where its links lead, and what a browser loads for it."""

    def __init__(self, path):
        super().__init__()
        self.places, self.links, self.loaded = set(), [], []
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        of = dict(attributes)
        self.places |= {of[name] for name in ("id", "name") if of.get(name)}
        if tag == "a" and of.get("href"):
            self.links.append(of["href"])
        elif tag == "link" and of.get("href") and of.get("rel") != "canonical":
            self.loaded.append(of["href"])
        elif of.get("src"):
            self.loaded.append(of["src"])


def faults(site):
    pages = {path: Page(path) for path in site.rglob("*.html")}
    for path, page in pages.items():
        for target in page.links + page.loaded:
            parts = urlsplit(target)
            if parts.scheme or parts.netloc:
                if target in page.loaded and parts.scheme != "data":
                    yield f"{path.relative_to(site)}: loads {target}"
                continue
            start = site if parts.path.startswith("/") else path.parent
            goal = (start / unquote(parts.path).lstrip("/")).resolve() if parts.path else path
            if goal.is_dir():
                goal /= "index.html"
            if not goal.exists():
                yield f"{path.relative_to(site)}: there is no {target}"
            elif parts.fragment and goal in pages and unquote(parts.fragment) not in pages[goal].places:
                yield f"{path.relative_to(site)}: there is no {target}"
    for path in site.rglob("*.css"):
        if "url(http" in path.read_text().replace('"', "").replace("'", "").replace("(//", "(http"):
            yield f"{path.relative_to(site)}: loads from another host"
    navigation = (TOP / "mkdocs.yml").read_text()
    for path in sorted((TOP / "docs").rglob("*.md")):
        if str(path.relative_to(TOP)) not in navigation:
            yield f"mkdocs.yml: give {path.relative_to(TOP)} a line under nav"


def main():
    found = list(faults(Path(sys.argv[1]).resolve()))
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
