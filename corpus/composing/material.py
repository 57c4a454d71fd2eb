"""What pages are composed of: the files of the corpus, and pieces of legitimate pages as background."""
import gzip
import html
import json
import pathlib
import re

from .forbidden import forbidden

CORPUS = pathlib.Path(__file__).resolve().parent.parent
# Legitimate training pages only: a validation page must not be seen in training, not even in pieces.
BACKGROUND_FILES = ("benign.jsonl.gz",)
_MOST_PIECES = 3000  # per language
_SKIPPED = re.compile(r"<(script|style|title|noscript)\b.*?</\1\s*>|<!--.*?-->", re.S | re.I)
_TAG = re.compile(r"<[^>]*>")
_UNSPACED = {"ja", "th", "zh"}


def _table(folder, lang):
    path = CORPUS / folder / f"{lang}.tsv"
    kinds = {}
    if path.exists():
        for line in path.read_text("utf-8").rstrip("\n").split("\n")[1:]:
            text, kind = line.split("\t")
            kinds.setdefault(kind, []).append(text)
    return kinds


def vocabulary(lang):
    """Phrases of adult sites, by kind."""
    return _table("vocabulary", lang)


def fragments(lang):
    """Harmless short texts, by kind."""
    kinds = _table("fragments", lang) or _table("fragments", lang.split("-")[0]) or _table("fragments", "en")
    for name, neutral, soft in _rows("tags.tsv"):
        if name == lang:
            kinds["tag"] = kinds.get("tag", []) + neutral.split("|")
            kinds["soft"] = kinds.get("soft", []) + soft.split("|")
    return kinds


def _rows(name):
    for line in pathlib.Path(__file__).with_name(name).read_text("utf-8").rstrip("\n").split("\n")[1:]:
        yield line.split("\t")


def labels(lang):
    """Words beside figures: age, height and so on."""
    for name, names in _rows("labels.tsv"):
        if name == lang:
            return names.split("|")
    return labels("en")


def pages(lang):
    """The legitimate pages near the border, in the order of their file."""
    path = CORPUS / "pages" / f"{lang}.jsonl"
    return [json.loads(line) for line in path.read_text("utf-8").rstrip("\n").split("\n")] if path.exists() else []


def _pieces(lang, page):
    for piece in _TAG.sub("\n", _SKIPPED.sub("\n", page)).split("\n"):
        piece = " ".join(html.unescape(piece).split())
        long = len(piece) // 3 if lang in _UNSPACED else piece.count(" ") + 1
        if 2 <= long <= 22 and len(piece) <= 160 and "@" not in piece and \
                2 * sum(c.isalpha() or c > "\u02ff" for c in piece) > len(piece):
            yield piece


def background(folder):
    """Pieces of legitimate training pages by language; at most some thousands each, from as many pages as there are."""
    found = {}
    for name in BACKGROUND_FILES:
        with gzip.open(pathlib.Path(folder) / name, "rt", encoding="utf-8", newline="\n") as lines:
            for line in lines:
                page = json.loads(line)
                lang = page["lang"]
                pieces = found.setdefault(lang, {})
                if page["label"] != 1 or len(pieces) >= _MOST_PIECES:
                    continue
                for piece in list(dict.fromkeys(_pieces(lang, page["html"])))[:12]:
                    if not forbidden(lang, piece):
                        pieces[piece] = None
    return {lang: list(pieces) for lang, pieces in found.items()}
