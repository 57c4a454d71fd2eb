#!/usr/bin/env python3
"""No line of the lent pages has got into the project's own corpus."""
import gzip
import html
import json
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77
# Shorter ones ("Add to cart") stand on half of the web.
LEAST_WORDS, LEAST_CHARACTERS = 7, 30


def own_lines():
    for path in sorted((ROOT / "corpus" / "pages").glob("*.jsonl")):
        for line in path.read_text("utf-8").splitlines():
            page = json.loads(line)
            for text in (page["description"], *page["paragraphs"]):
                yield from ((path.name, sentence) for sentence in re.split(r"(?<=[.!?])\s+|(?<=[\u3002\uff01\uff1f])", text))
    for path in sorted((ROOT / "corpus" / "fragments").glob("*.tsv")):
        for line in path.read_text("utf-8").splitlines()[1:]:
            yield path.name, line.split("\t")[0]


def long_enough(text):
    return text.count(" ") >= LEAST_WORDS or len(text) >= LEAST_CHARACTERS and " " not in text


def key(text):
    return " ".join(text.split()).casefold().rstrip(".!?\u3002")


def main():
    folder = os.environ.get("SIFTERRA_CORPUS")
    if not folder:
        print("skipped: SIFTERRA_CORPUS is not set, so there are no lent pages to compare with")
        return SKIPPED
    wanted = {key(text): name for name, text in own_lines() if long_enough(text)}
    problems = set()
    for path in sorted(pathlib.Path(folder).glob("*.jsonl.gz")):
        with gzip.open(path, "rt", encoding="utf-8") as lines:
            for line in lines:
                text = html.unescape(re.sub(r"<[^>]*>", "\n", json.loads(line)["html"]))
                for piece in re.split(r"\n|(?<=[.!?])\s+|(?<=[\u3002\uff01\uff1f])", text):
                    if key(piece) in wanted:
                        problems.add(f"{wanted[key(piece)]}: stands in {path.name}: {piece.strip()!r}")
    for problem in sorted(problems):
        print(problem)
    print(f"lent lines: {len(problems)} problems in {len(wanted)} lines compared")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
