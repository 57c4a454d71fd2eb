#!/usr/bin/env python3
"""Renders the block pages: one layout, one file of texts per language, one folder of templates each.

    render.py OUTPUT

writes OUTPUT/<localization>.lproj/ with the six templates, the style and the script for each texts/<localization>.json,
and removes the folders of languages that are gone.
Templates are plain ASCII: other characters become references, so that a page reads well whatever charset
the refused response announced. The policy in each page names style and script by their hashes, so that a browser
runs and applies nothing else.
"""
import base64
import glob
import hashlib
import html
import json
import os
import re
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
# Name: the text of the heading, the picture, and the parts between heading and end.
ASK = ["ask_start", "ask_form"]
ASK_NETWORK = ["ask_start", "network", "ask_form"]
TEMPLATES = {
    "blockpage": ("title", "picture", ["intro", "address", *ASK]),
    "blockpage-net": ("title", "picture", ["intro", "address", *ASK_NETWORK]),
    "blockpage-wl": ("title_list", "picture_list", ["intro_list", "address", "sites", *ASK]),
    "blockpage-net-wl": ("title_list", "picture_list", ["intro_list", "address", "sites", *ASK_NETWORK]),
    "blockpage-nooverride": ("title", "picture", ["intro", "address", "no_override"]),
    "error": ("title_error", "picture_error", ["intro_error"]),
}
KEY = re.compile(r"@(\w+)@")
# What HTML gives a meaning. Style and script are inserted last: where an address names their markers, they
# land in its place and must be plain text there.
MARKUP = re.compile(r"[&<>\"']|_NO_LOC|[^\n -~]")


class Problem(Exception):
    pass


def read(*path):
    with open(os.path.join(HERE, *path), encoding="utf-8") as file:
        return file.read()


def read_plain(name):
    text = read("layout", name)
    if found := MARKUP.search(text):
        line = text.count("\n", 0, found.start()) + 1
        raise Problem(f"layout/{name}:{line}: {found.group()!r} may not stand here")
    return text


def read_texts(name, keys):
    texts = json.loads(read("texts", name))
    if wrong := sorted(set(texts) ^ keys):
        raise Problem(f"texts/{name}: missing or unknown: {', '.join(wrong)}")
    for key, text in texts.items():
        if not isinstance(text, str) or not text.strip() or "_NO_LOC" in text or "@" in text:
            raise Problem(f"texts/{name}: {key} is no text")
    if texts["direction"] not in ("ltr", "rtl") or not re.fullmatch(r"[a-z]{2,3}(-[A-Za-z0-9]{2,8})*", texts["language"]):
        raise Problem(f"texts/{name}: no language or direction")
    return {key: html.escape(text) for key, text in texts.items()}


def source_hash(text):
    """How a content security policy names the text of an element."""
    return "sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()


def fill(text, values):
    return KEY.sub(lambda match: values[match.group(1)], text)


class Renderer:
    def __init__(self):
        names = os.listdir(os.path.join(HERE, "layout"))
        self.parts = {name[:-len(".html.in")]: read("layout", name).rstrip("\n")
                      for name in names if name.endswith(".html.in")}
        self.style, self.script = read_plain("style.css"), read_plain("script.js")
        self.made = {"style_hash": source_hash(self.style), "script_hash": source_hash(self.script),
                     "heading": "", "picture": "", "content": ""}
        used = {key for part in self.parts.values() for key in KEY.findall(part)}
        headings = {heading for heading, _, _ in TEMPLATES.values()}
        self.keys = (used | headings) - set(self.made)

    def template(self, name, texts):
        heading, picture, parts = TEMPLATES[name]
        values = {**self.made, **texts, "heading": texts[heading], "picture": self.parts[picture]}
        values["content"] = "\n".join(fill(self.parts[part], values) for part in parts)
        page = fill(self.parts["page"], values) + "\n"
        return page.encode("ascii", "xmlcharrefreplace").decode("ascii")

    def localization(self, name):
        """File name to text, for texts/<name>.json."""
        texts = read_texts(f"{name}.json", self.keys)
        files = {f"{template}.html": self.template(template, texts) for template in TEMPLATES}
        return {**files, "blockpage_style.css": self.style, "blockpage_script.js": self.script}


def main():
    output = sys.argv[1]
    renderer = Renderer()
    localizations = sorted(name.removesuffix(".json") for name in os.listdir(os.path.join(HERE, "texts")))
    for folder in glob.glob(os.path.join(glob.escape(output), "*.lproj")):
        if os.path.basename(folder).removesuffix(".lproj") not in localizations:
            shutil.rmtree(folder)
    for localization in localizations:
        folder = os.path.join(output, f"{localization}.lproj")
        os.makedirs(folder, exist_ok=True)
        for file, text in renderer.localization(localization).items():
            with open(os.path.join(folder, file), "w", encoding="ascii", newline="\n") as target:
                target.write(text)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Problem as problem:
        sys.exit(f"render.py: {problem}")
