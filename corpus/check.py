#!/usr/bin/env python3
"""Checks the corpus in this folder and prints how much of it there is.

Every line is looked at: form (UTF-8, NFC, no blanks at the ends, lengths), known kinds, duplicates, forbidden
subjects, lines that stand in the wrong language's file. With --counts, also whether each language has enough.
"""
import argparse
import json
import pathlib
import re
import sys
import unicodedata

from composing.forbidden import forbidden
from composing.languages import LANGUAGES, OWN_SCRIPT, PAGE_LANGUAGES, RELATED

VOCABULARY_KINDS = {"cat", "act", "shop", "escort", "cam", "notice", "menu"}
FRAGMENT_KINDS = {"menu", "notice", "caption", "line", "shop", "tag", "soft"}
TOPICS = {"health", "sex-education", "pregnancy", "contraception", "breastfeeding", "menstruation", "art", "museum",
          "law", "industry-news", "parental-controls", "lingerie", "swimwear", "dating", "relationships", "lgbt",
          "age-gate-wine", "age-gate-games", "film", "literature", "massage", "statistics", "religion", "linguistics"}
LEAST_VOCABULARY, LEAST_FRAGMENTS, LEAST_PAGES = 300, 40, 15
# Written without blanks: characters instead of words.
PAGE_LENGTH, PAGE_LENGTH_IN_CHARACTERS = (100, 280), (220, 800)
UNSPACED = {"ja", "zh", "th"}


def read_lines(path, problems):
    """(number, line) of a file, its form checked."""
    try:
        text = path.read_bytes().decode("utf-8")
    except UnicodeDecodeError as error:
        problems.append(f"{path}: not UTF-8: {error}")
        return
    if not text.endswith("\n"):
        problems.append(f"{path}: no line end at the end")
    for number, line in enumerate(text.removesuffix("\n").split("\n"), 1):
        where = f"{path}:{number}"
        if not line.strip():
            problems.append(f"{where}: an empty line")
            continue
        if "\r" in line or any(unicodedata.category(c) == "Cc" and c != "\t" for c in line):
            problems.append(f"{where}: a control character")
        if unicodedata.normalize("NFC", line) != line:
            problems.append(f"{where}: not NFC")
        yield number, line


def check_table(path, lang, header, kinds, longest, problems):
    """The texts of a TSV file, checked."""
    texts = {}
    for number, line in read_lines(path, problems):
        where = f"{path}:{number}"
        if number == 1:
            if line != header:
                problems.append(f"{where}: {line!r} where {header!r} was expected")
            continue
        fields = line.split("\t")
        if len(fields) != 2 or fields[1] not in kinds:
            problems.append(f"{where}: expected text, tab and one of {' '.join(sorted(kinds))}: {line!r}")
            continue
        text, kind = fields
        if text != text.strip() or "  " in text:
            problems.append(f"{where}: blanks at the ends or doubled: {text!r}")
        if not 1 < len(text) <= longest:
            problems.append(f"{where}: {len(text)} characters; 2 to {longest} are expected: {text!r}")
        folded = text.casefold()
        if folded in texts:
            problems.append(f"{where}: stands in line {texts[folded][0]} already: {text!r}")
        texts[folded] = (number, text)
        word = forbidden(lang, text) if kind != "notice" else None
        if word:
            problems.append(f"{where}: forbidden subject ({word!r}): {text!r}")
    return {text for _, text in texts.values()}


def check_pages(path, lang, problems):
    """The titles of the pages in the file, checked."""
    titles = set()
    for number, line in read_lines(path, problems):
        where = f"{path}:{number}"
        try:
            page = json.loads(line)
        except ValueError as error:
            problems.append(f"{where}: no JSON object: {error}")
            continue
        if set(page) != {"title", "description", "topic", "paragraphs"}:
            problems.append(f"{where}: has {' '.join(sorted(page))}; expected title description topic paragraphs")
            continue
        if page["topic"] not in TOPICS:
            problems.append(f"{where}: unknown topic {page['topic']!r}")
        if page["title"] in titles:
            problems.append(f"{where}: a second page of that title: {page['title']!r}")
        titles.add(page["title"])
        if re.search(r"https?:|www\.|@\w|\+?\d[\d ()/-]{8,}\d", line):
            problems.append(f"{where}: a link, address or telephone number")
        text = " ".join(page["paragraphs"])
        length = len(text) if lang in UNSPACED else len(text.split())
        least, most = PAGE_LENGTH_IN_CHARACTERS if lang in UNSPACED else PAGE_LENGTH
        if not least <= length <= most or len(page["paragraphs"]) < 2:
            problems.append(f"{where}: {length} words or characters in {len(page['paragraphs'])} paragraphs; "
                            f"expected {least} to {most} in at least two")
    return titles


def check_scripts(tables, problems):
    """Files that hold lines of another language: by script, and by long lines that two languages share.

    English terms are met everywhere, so those only must not be many.
    """
    for lang, texts in tables.items():
        if lang in OWN_SCRIPT and texts:
            own = sum(bool(re.search(OWN_SCRIPT[lang], text)) for text in texts)
            if own < .75 * len(texts):
                problems.append(f"{lang}: only {own} of {len(texts)} lines are in its own script")
        english = len(texts & tables.get("en", set())) if lang != "en" else 0
        if english > .25 * len(texts):
            problems.append(f"{lang}: {english} of {len(texts)} lines are English ones")
    known_english = {text.casefold() for text in tables.get("en", ())}
    first = {}
    for lang in sorted(tables):
        for text in sorted(tables[lang]):
            if text.count(" ") < 3 or text.casefold() in known_english:
                continue
            for other in first.get(text.casefold(), []):
                if frozenset((lang, other)) not in RELATED:
                    problems.append(f"{lang}: shares a line with {other}: {text!r}")
            first.setdefault(text.casefold(), []).append(lang)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=pathlib.Path, default=pathlib.Path(__file__).parent, help="the folder to check")
    parser.add_argument("--counts", action="store_true", help="also ask for enough lines in every language")
    options = parser.parse_args()
    problems = []
    tables = {"vocabulary": {}, "fragments": {}}
    pages = {}
    for name, header, kinds, longest in (("vocabulary", "phrase\tkind", VOCABULARY_KINDS, 90),
                                         ("fragments", "text\tkind", FRAGMENT_KINDS, 220)):
        for path in sorted((options.root / name).glob("*.tsv")):
            if path.stem not in LANGUAGES and path.stem != "zh-hant":
                problems.append(f"{path}: no language of the corpus")
            tables[name][path.stem] = check_table(path, path.stem, header, kinds, longest, problems)
        check_scripts(tables[name], problems)
    for path in sorted((options.root / "pages").glob("*.jsonl")):
        pages[path.stem] = check_pages(path, path.stem, problems)

    print("lang     vocabulary fragments pages")
    for lang in [*LANGUAGES, "zh-hant"]:
        have = [len(tables["vocabulary"].get(lang, ())), len(tables["fragments"].get(lang, ())),
                len(pages.get(lang, ()))]
        least = [LEAST_VOCABULARY, LEAST_FRAGMENTS, LEAST_PAGES if lang in PAGE_LANGUAGES else 0]
        print(f"{lang:8} {have[0]:10} {have[1]:9} {have[2]:5}")
        if options.counts and lang != "zh-hant":
            for name, count, enough in zip(("vocabulary", "fragments", "pages"), have, least):
                if count < enough:
                    problems.append(f"{lang}: {count} of {enough} {name}")
    for problem in problems:
        print(problem)
    print(f"corpus: {len(problems)} problem{'' if len(problems) == 1 else 's'}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
