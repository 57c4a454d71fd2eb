"""Chooses real pages of a corpus for the benchmark and lays them in a directory, one file each.

The corpus is a directory of gzipped JSON lines with `html`, `site`, `kind` and `label` (docs/testing.md: SIFTERRA_CORPUS).
"""
import glob
import gzip
import json
import os
import random
import re

SMALLEST, LARGEST = 5 * 1024, 500 * 1024
# So that no size drowns the others: at most this many of each span of sizes.
SPANS = ((5, 10, 60), (10, 20, 60), (20, 50, 60), (50, 100, 91), (100, 500, 60))
JOINED = 40


def _saved_pages(corpus):
    """Saved pages, as they were published; not those that were made of other texts."""
    for path in sorted(glob.glob(os.path.join(corpus, "*.jsonl.gz"))):
        with gzip.open(path, "rt", encoding="utf-8") as lines:
            for line in lines:
                page = json.loads(line)
                if page["kind"] == "real":
                    yield page["site"], page["html"].encode()


def _joined(pages_of_sites, chance):
    """Pages of 100 to 500 KiB, each of the bodies of one site's pages one after the other in the first one's frame."""
    made = []
    for site in sorted(pages_of_sites):
        pages = pages_of_sites[site]
        if sum(map(len, pages)) < 110 * 1024:
            continue
        target = chance.randint(100, 480) * 1024
        page, *more = pages
        end = page.lower().rfind(b"</body")
        head, tail = (page[:end], page[end:]) if end > 0 else (page, b"")
        for other in more:
            body = re.search(rb"<body[^>]*>(.*)</body", other, re.S | re.I)
            if body and len(head) + len(body.group(1)) + len(tail) < LARGEST:
                head += body.group(1)
            if len(head) > target:
                break
        if len(head) >= 100 * 1024:
            made.append(head + tail)
    return made


def write_pages(corpus, directory):
    """Writes DIRECTORY/real and DIRECTORY/joined; returns what is in each: {name: (pages, bytes, largest)}."""
    chance = random.Random(20)
    spans, sites = {span: [] for span in SPANS}, {}
    for site, page in _saved_pages(corpus):
        sites.setdefault(site, []).append(page)
        for span in SPANS:
            if span[0] * 1024 <= len(page) < span[1] * 1024:
                spans[span].append(page)
    real = []
    for span in SPANS:
        chance.shuffle(spans[span])
        real += spans[span][:span[2]]
    chance.shuffle(real)
    joined = _joined(sites, chance)
    chance.shuffle(joined)
    written = {}
    for name, pages in (("real", real), ("joined", joined[:JOINED])):
        folder = os.path.join(directory, name)
        os.makedirs(folder)
        for number, page in enumerate(pages):
            with open(os.path.join(folder, f"{number:05}.html"), "wb") as file:
                file.write(page)
        written[name] = (len(pages), sum(map(len, pages)), max(map(len, pages), default=0))
    return written
