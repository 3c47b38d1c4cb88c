"""Checks every link and picture of a folder of HTML pages that leads into that folder: the file is there, and so is the
place in it that the link names. Exits 1 and names what is broken."""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.places = [], set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.append(value)
            elif name in ("id", "name") and value:
                self.places.add(value)


site = Path(sys.argv[1]).resolve()
pages = {path: Page(path) for path in site.rglob("*.html")}
checked, broken = 0, []
for path, page in pages.items():
    for link in page.links:
        parts = urlsplit(link)
        if parts.scheme or parts.netloc:
            continue
        checked += 1
        target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
        place = unquote(parts.fragment)
        if not target.exists():
            broken.append(f"{path.name}: {link}: no such file")
        elif place and target in pages and place not in pages[target].places:
            broken.append(f"{path.name}: {link}: no such place")
print(f"site: {len(pages)} pages, {checked} links, {len(broken)} broken", *broken, sep="\n")
sys.exit(1 if broken or not checked else 0)
