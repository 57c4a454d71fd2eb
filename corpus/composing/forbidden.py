"""The subjects that no line of the corpus may touch, as words by language.

A word matches whole, with a star at its end also what begins so; a dash stands for a blank. In languages written without
blanks it matches anywhere. English and Latin borrowings travel, so its list holds for every language, except where a word
means something else there.
"""
import functools
import pathlib
import re

# Written without blanks, or with endings glued on: found anywhere.
ANYWHERE = {"ja", "ko", "th", "zh"}
# English words that are ordinary words of these languages.
HARMLESS = {
    "da": {"dad"}, "de": {"kid"}, "es": {"dad"}, "hu": {"mom"}, "id": {"dad"}, "nl": {"kid"},
    "no": {"dad"}, "ro": {"dad"}, "sv": {"dad"}, "vi": {"dad"},
}


def _pattern(word, anywhere):
    beginning = word.endswith("*")
    body = re.escape(word.rstrip("*")).replace("\\-", "[ -]")
    if anywhere and not word.isascii():
        return body
    return rf"(?<!\w){body}" + (r"\w*" if beginning else r"(?!\w)")


@functools.lru_cache(maxsize=None)
def _lists():
    lines = pathlib.Path(__file__).with_name("forbidden.tsv").read_text("utf-8").split("\n")[1:]
    return {lang: words.split() for lang, words in (line.split("\t") for line in lines if line)}


@functools.lru_cache(maxsize=None)
def _expression(lang):
    lists = _lists()
    own = lang.split("-")[0]
    english = [word for word in lists["en"] if word not in HARMLESS.get(own, ())]
    parts = [_pattern(word, False) for word in english]
    if own != "en":
        parts += [_pattern(word, own in ANYWHERE) for word in lists.get(own, [])]
    return re.compile("|".join(parts), re.IGNORECASE)


def forbidden(lang, text):
    """The first word of the text that belongs to a forbidden subject, or None."""
    found = _expression(lang).search(text)
    return found.group(0) if found else None
