#!/usr/bin/env python3
"""The check of the override service's texts fails where it must: each row spoils one file of a small good tree.

    override_texts_test.py CHECK    path of check_texts.py
"""
import json
import os
import subprocess
import sys
import tempfile

ENGLISH = {"language": "en", "direction": "ltr", "title": "Closed", "who": "{user} asks:", "locked": "In {minutes} min.",
           "scope_site": "All of {site}"}
HEBREW = {**ENGLISH, "language": "he", "direction": "rtl"}
GOOD = {
    "blockpage/texts/English.json": {"language": "en", "direction": "ltr", "intro": "A page"},
    "blockpage/texts/he.json": {"language": "he", "direction": "rtl", "intro": "A page"},
    "override/texts/English.json": ENGLISH,
    "override/texts/he.json": HEBREW,
}
HE, EN = "override/texts/he.json", "override/texts/English.json"


def without(texts, key):
    return {other: text for other, text in texts.items() if other != key}


# The file, what it holds instead (None: it is gone, bytes: as they stand), and a line of the output.
ROWS = (
    (HE, None, "he.json: missing, the block page has this language"),
    ("override/texts/de.json", {**ENGLISH, "language": "de"}, "de.json: the block page has no such language"),
    ("blockpage/texts/he.json", None, "he.json: the block page has no such language"),
    (EN, None, "English.json: nothing to compare the other languages with"),
    (HE, without(HEBREW, "title"), "he.json: title: missing"),
    (HE, without(HEBREW, "direction"), "he.json: direction: missing"),
    (HE, {**HEBREW, "tittle": "Closed"}, "he.json: tittle: not in English.json"),
    (HE, {**HEBREW, "title": ""}, "he.json: title: expected a text that is not empty"),
    (HE, {**HEBREW, "title": " \u00a0"}, "he.json: title: expected a text that is not empty"),
    (HE, {**HEBREW, "title": 7}, "he.json: title: expected a text that is not empty"),
    (HE, {**HEBREW, "title": "Closed "}, "he.json: title: blanks at an end"),
    (HE, {**HEBREW, "title": "<b>Closed"}, "he.json: title: '<' may not stand in a text"),
    (HE, {**HEBREW, "title": "Two\nlines"}, "he.json: title: '\\n' may not stand in a text"),
    (HE, {**HEBREW, "who": "Someone asks:"}, "he.json: who: expected {user}, found none"),
    (HE, {**HEBREW, "who": "{user}, {user} asks:"}, "he.json: who: expected {user}, found {user} {user}"),
    (HE, {**HEBREW, "who": "{User} asks:"}, "he.json: who: expected {user}, found {User}"),
    (HE, {**HEBREW, "title": "{site} closed"}, "he.json: title: expected no placeholder, found {site}"),
    (HE, {**HEBREW, "who": "{user} asks {:"}, "he.json: who: a brace without its partner"),
    (HE, {**HEBREW, "direction": "ltr"}, "he.json: direction: expected 'rtl' as on the block page, found 'ltr'"),
    (HE, {**HEBREW, "language": "iw"}, "he.json: language: expected 'he' as on the block page, found 'iw'"),
    (HE, b'{"title": "a", "title": "b"}', "he.json: title: stands there twice"),
    (HE, b'["title"]', "he.json: expected an object of texts"),
    (HE, b'{"title": ', "he.json: Expecting value"),
    (HE, b'{"title": "\xff"}', "he.json: 'utf-8' codec can't decode"),
    (EN, {**ENGLISH, "who": "{name} asks:"}, "English.json: who: expected each of {user} {site} {minutes} at most once"),
    (EN, {**ENGLISH, "who": "{user} {user}"}, "English.json: who: expected each of {user} {site} {minutes} at most once"),
)


def write(root, tree):
    for folder in ("override/texts", "blockpage/texts"):
        os.makedirs(os.path.join(root, folder))
    for path, texts in tree.items():
        if texts is None:
            continue
        data = texts if isinstance(texts, bytes) else json.dumps(texts, ensure_ascii=False).encode()
        with open(os.path.join(root, path), "wb") as file:
            file.write(data)


def run(check, *arguments):
    done = subprocess.run([sys.executable, "-B", check, *arguments], capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


def run_on(check, tree):
    with tempfile.TemporaryDirectory() as root:
        write(root, tree)
        return run(check, root)


def main():
    check = sys.argv[1]
    failures = []
    status, output = run_on(check, GOOD)
    if status != 0 or output != "texts of the override service: 0 problems\n":
        failures.append(f"the good tree: {status}: {output}")
    for path, texts, expected in ROWS:
        status, output = run_on(check, {**GOOD, path: texts})
        if status != 1 or not any(line.startswith(expected) for line in output.splitlines()):
            failures.append(f"{path}: expected '{expected}', found {status}: {output}")
    with tempfile.TemporaryDirectory() as empty:
        if (status := run(check, empty)[0]) != 2:
            failures.append(f"a folder without texts: expected status 2, found {status}")
    if (status := run(check, "one", "two")[0]) != 2:
        failures.append(f"two folders: expected status 2, found {status}")
    print("\n".join(failures) or "every wrong text is found")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
