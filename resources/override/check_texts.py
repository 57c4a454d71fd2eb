#!/usr/bin/env python3
"""Checks the texts of the override service: every language of the block page, each with the same keys and placeholders.

    check_texts.py [RESOURCES]

RESOURCES is the folder that holds override/ and blockpage/, by default the one above this file. A child who met the
block page in one language must meet the service in the same one, so the two lists of files have to agree.
Exit status: 0 all is well, 1 something is wrong, 2 wrong use or a folder that cannot be read.
"""
import json
import os
import re
import sys

MODEL = "English.json"
# The service fills these and nothing else; it escapes the text, so markup would be seen as it stands.
PLACEHOLDER = re.compile(r"\{[^{}]*\}")
NOT_TEXT = re.compile(r"[<>&\x00-\x1f\x7f]")
# What the placeholders of the model have to be, so that a slip there does not spread to every language.
KNOWN = ("{user}", "{site}", "{minutes}")


def pairs_once(pairs):
    """A key given twice would hide the first of its texts."""
    texts = dict(pairs)
    for key, _ in pairs:
        if sum(key == other for other, _ in pairs) > 1:
            raise ValueError(f"{key}: stands there twice")
    return texts


def read(path):
    """The texts of a file; ValueError says what is wrong with it."""
    with open(path, encoding="utf-8") as file:
        texts = json.load(file, object_pairs_hook=pairs_once)
    if not isinstance(texts, dict):
        raise ValueError("expected an object of texts")
    return texts


def placeholders(text):
    return sorted(PLACEHOLDER.findall(text))


def text_problems(name, key, text, model):
    """What is wrong with one text, compared with the text of the same key in the model, if that has one."""
    if not isinstance(text, str) or not text.strip():
        yield f"{name}: {key}: expected a text that is not empty"
        return
    if text != text.strip():
        yield f"{name}: {key}: blanks at an end"
    if found := NOT_TEXT.search(text):
        yield f"{name}: {key}: {found.group()!r} may not stand in a text"
    if re.search(r"[{}]", PLACEHOLDER.sub("", text)):
        yield f"{name}: {key}: a brace without its partner"
    expected = placeholders(model) if isinstance(model, str) else placeholders(text)
    if placeholders(text) != expected:
        yield f"{name}: {key}: expected {' '.join(expected) or 'no placeholder'}, found {' '.join(placeholders(text)) or 'none'}"


def file_problems(name, texts, model, page):
    """What is wrong with one file; page: the block page's file of the same language."""
    for key in sorted(model.keys() - texts.keys()):
        yield f"{name}: {key}: missing"
    for key in sorted(texts.keys() - model.keys()):
        yield f"{name}: {key}: not in {MODEL}"
    for key in ("language", "direction"):
        if key in texts and texts[key] != page.get(key):
            yield f"{name}: {key}: expected {page.get(key)!r} as on the block page, found {texts[key]!r}"
    for key in sorted(texts.keys() & model.keys() - {"language", "direction"}):
        yield from text_problems(name, key, texts[key], model[key])


def model_problems(model):
    for key, text in model.items():
        for placeholder in placeholders(text) if isinstance(text, str) else []:
            if placeholder not in KNOWN or text.count(placeholder) != 1:
                yield f"{MODEL}: {key}: expected each of {' '.join(KNOWN)} at most once, found {placeholder}"


def json_names(folder):
    return {name for name in os.listdir(folder) if not name.startswith(".")}


def problems(resources):
    """Every problem of the texts below the folder, one line each."""
    ours, pages = (os.path.join(resources, name, "texts") for name in ("override", "blockpage"))
    names, expected = json_names(ours), json_names(pages)
    for name in sorted(expected - names):
        yield f"{name}: missing, the block page has this language"
    for name in sorted(names - expected):
        yield f"{name}: the block page has no such language"
    texts = {}
    for name in sorted(names & expected):
        try:
            texts[name] = read(os.path.join(ours, name)), read(os.path.join(pages, name))
        except ValueError as problem:  # bad UTF-8 and bad JSON are ValueErrors, too
            yield f"{name}: {problem}"
    if MODEL not in texts:
        yield f"{MODEL}: nothing to compare the other languages with"
        return
    model = texts[MODEL][0]
    yield from model_problems(model)
    for name, (own, page) in texts.items():
        yield from file_problems(name, own, model, page)


def main(arguments):
    if len(arguments) > 1:
        print("check_texts.py: expected at most one folder", file=sys.stderr)
        return 2
    resources = arguments[0] if arguments else os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    try:
        found = list(problems(resources))
    except OSError as problem:
        print(f"check_texts.py: {problem}", file=sys.stderr)
        return 2
    for line in found:
        print(line)
    print(f"texts of the override service: {len(found)} problem{'' if len(found) == 1 else 's'}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
