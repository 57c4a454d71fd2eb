#!/usr/bin/env python3
"""Composes pages out of this folder, one JSON object a line, as `sifterra train` and `sifterra evaluate` read them.

Adult pages (label 2): the vocabulary in the layouts of such sites, mixed with fragments. Legitimate ones (label 1): the
fragments alone in the same layouts, and the written pages near the border in several layouts each. Every page names its site;
a site keeps to its part of the words. The same options, files and background give the same bytes, whatever the version of Python.

With a folder of real pages (--background, or the environment's SIFTERRA_CORPUS) pieces of its legitimate training pages stand among
the fragments; its validation pages are never read.
"""
import argparse
import gzip
import hashlib
import json
import os
import sys

from composing import hard, layouts, material
from composing.chance import Chance
from composing.languages import LANGUAGES
from composing.site import Site
from composing.voice import AdultVoice, QuietVoice, Voice, profile
from composing import markup

PAGES_PER_SITE = 4
# English sites are met in every language.
ENGLISH_SHARE = 3
LEAST_HITS = 4
# Pages that hardly say what they are, to those that do.
QUIET_SHARE = (3, 10)
LEAST_QUIET_HITS = 3
QUIET_THEMES = {"escort": 5, "shop": 4, "cat": 3, "cam": 1}
THEMES = {"cat": 10, "act": 4, "cam": 3, "escort": 6, "shop": 6}
# A shop shows its goods and a listing its services, however little else tells what they are.
SHOWN = {"shop": ("shop", "tag"), "escort": ("tag",)}


def record(site, group, kind, topic, origin, html):
    told = {"site": site.name, "lang": site.lang, "label": 2 if group == "adult" else 1, "group": group,
            "kind": kind, "topic": topic, "origin": origin, "html": html}
    name = hashlib.sha256("\0".join((site.name, origin, html)).encode("utf-8")).hexdigest()[:11]
    return {"id": "o" + name, **told}


def adult_page(site, chance, pieces):
    """A page with enough adult phrases to be told as one, by density if it must be."""
    theme = chance.weighted(THEMES)
    layout = chance.weighted(layouts.THEMES[theme])
    name, density = profile(chance)
    for place in SHOWN.get(theme, ()):
        density[place] = max(density[place], chance.part(.4, .9))
    while True:
        voice = AdultVoice(Chance(chance.bits()), site, density, theme, pieces)
        html = markup.page(voice, site.lang, layout(voice), bare=voice.chance.yes(.12))
        if voice.hits >= LEAST_HITS:
            return record(site, "adult", "composed", layout.__name__, f"composed {name}", html)
        density = {place: min(1, level + .1) for place, level in density.items()}


def quiet_page(site, chance, pieces):
    """An adult page that hardly says so: questions, rates, a person's page, an article, with one name of what is offered."""
    theme = chance.weighted(QUIET_THEMES)
    layout = chance.weighted(layouts.QUIET)
    while True:
        voice = QuietVoice(Chance(chance.bits()), site, theme, pieces)
        html = markup.page(voice, site.lang, layout(voice), bare=voice.chance.yes(.3))
        if voice.hits >= LEAST_QUIET_HITS:
            return record(site, "adult", "composed", layout.__name__, "composed quiet", html)


def plain_page(site, chance, pieces):
    theme = chance.weighted(THEMES)
    return plain_page_in(chance.weighted(layouts.THEMES[theme]), site, chance, pieces)


def plain_quiet_page(site, chance, pieces):
    return plain_page_in(chance.weighted(layouts.QUIET), site, chance, pieces)


def plain_page_in(layout, site, chance, pieces):
    voice = Voice(chance, site.brand, site.plain, site.labels, pieces)
    html = markup.page(voice, site.lang, layout(voice), bare=chance.yes(.12))
    return record(site, "benign", "composed", layout.__name__, "composed plain", html)


def hard_pages(seed, lang, pieces, ways):
    for number, page in enumerate(material.pages(lang)):
        site = Site(seed, lang, "hard", number)
        chance = Chance(seed, "hard", lang, page["title"])
        for way in chance.some(hard.WAYS, ways):
            voice = HardVoice(chance, site, page, pieces)
            html = markup.page(voice, lang, way(voice, page), bare=chance.yes(.1))
            yield record(site, "hard_benign", "composed", page["topic"], f"written {way.__name__}", html)


class HardVoice(Voice):
    """The head tells what the page is about; the rest is plain."""

    def __init__(self, chance, site, page, pieces):
        super().__init__(chance, site.brand, site.plain, site.labels, pieces)
        self._page = page

    def title(self):
        return self._page["title"] if self.chance.yes(.5) else f"{self._page['title']} | {self.brand}"

    def say(self, place, kind=None):
        return self._page["description"] if place == "description" else super().say(place, kind)


def pages(options):
    background = material.background(options.background) if options.background else {}
    for lang in options.languages:
        pieces = background.get(lang, ())
        amount = options.pages_per_language * (ENGLISH_SHARE if lang == "en" else 1)
        quiet = amount * QUIET_SHARE[0] // QUIET_SHARE[1]
        for group, make, number in (("adult", adult_page, amount), ("plain", plain_page, amount * 5 // 6),
                                    ("quiet", quiet_page, quiet), ("calm", plain_quiet_page, quiet)):
            for at in range(number):
                site = Site(options.seed, lang, group, at // PAGES_PER_SITE)
                yield make(site, Chance(options.seed, "page", lang, group, at), pieces)
        yield from hard_pages(options.seed, lang, pieces, options.layouts_per_written_page)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", type=int, default=1, help="another number, other pages (default 1)")
    parser.add_argument("--pages-per-language", type=int, default=105, metavar="N",
                        help="adult pages; three tenths as many quiet ones, five sixths and three tenths as many plain ones; "
                             "English has three times as many (default 105)")
    parser.add_argument("--layouts-per-written-page", type=int, default=3, metavar="N", help="1 to 4 (default 3)")
    parser.add_argument("--languages", default=",".join(LANGUAGES), help="comma-separated (default all)")
    parser.add_argument("--background", default=os.environ.get("SIFTERRA_CORPUS") or None, metavar="DIR",
                        help="folder of real pages (default SIFTERRA_CORPUS; empty: none)")
    parser.add_argument("-o", "--output", metavar="FILE", help="where to write; .gz is compressed (default standard output)")
    options = parser.parse_args()
    options.languages = [lang for lang in options.languages.split(",") if lang]
    for lang in options.languages:
        if lang not in LANGUAGES:
            parser.error(f"{lang!r} is no language of the corpus; expected some of {','.join(LANGUAGES)}")
    if options.pages_per_language < 0 or not 0 <= options.layouts_per_written_page <= len(hard.WAYS):
        parser.error(f"expected at least 0 pages and 0 to {len(hard.WAYS)} layouts")
    if options.background:
        missing = [name for name in material.BACKGROUND_FILES
                   if not os.path.isfile(os.path.join(options.background, name))]
        if missing:
            parser.error(f"{options.background} has no {missing[0]}")
    return options


def main():
    options = parse_arguments()
    lines = ((json.dumps(page, ensure_ascii=False) + "\n").encode("utf-8") for page in pages(options))
    if not options.output:
        sys.stdout.buffer.writelines(lines)
    elif options.output.endswith(".gz"):
        # Neither name nor time go into the file: the same pages are the same bytes.
        with open(options.output, "wb") as file, gzip.GzipFile("", "wb", 6, file, 0) as packed:
            packed.writelines(lines)
    else:
        with open(options.output, "wb") as file:
            file.writelines(lines)
    return 0


if __name__ == "__main__":
    sys.exit(main())
