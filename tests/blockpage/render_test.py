#!/usr/bin/env python3
"""What the renderer of the block pages refuses, and that it makes the same pages each time."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = sys.argv.pop(1)


class Render(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.source = os.path.join(self.directory.name, "blockpage")
        self.output = os.path.join(self.directory.name, "output")
        shutil.copytree(SOURCE, self.source)

    def render(self):
        done = subprocess.run([sys.executable, "-B", os.path.join(self.source, "render.py"), self.output],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return done.returncode, done.stdout.strip()

    def change_texts(self, **changes):
        path = os.path.join(self.source, "texts", "de.json")
        with open(path, encoding="utf-8") as file:
            texts = json.load(file)
        for key, text in changes.items():
            if text is None:
                del texts[key]
            else:
                texts[key] = text
        with open(path, "w", encoding="utf-8") as file:
            json.dump(texts, file)

    def append(self, name, text):
        with open(os.path.join(self.source, "layout", name), "a", encoding="utf-8") as file:
            file.write(text)

    def read(self, *path):
        with open(os.path.join(self.output, *path), encoding="utf-8") as file:
            return file.read()

    def expect_problem(self, problem):
        code, text = self.render()
        self.assertEqual((code, text), (1, "render.py: " + problem))

    def test_makes_eight_files_per_language(self):
        self.assertEqual(self.render(), (0, ""))
        languages = sorted(name.removesuffix(".json") for name in os.listdir(os.path.join(self.source, "texts")))
        self.assertEqual(sorted(os.listdir(self.output)), [f"{language}.lproj" for language in languages])
        for language in languages:
            self.assertEqual(len(os.listdir(os.path.join(self.output, f"{language}.lproj"))), 8)

    def test_markup_in_a_text_is_escaped(self):
        self.change_texts(title='<b>"\'&\u00e4')
        self.assertEqual(self.render(), (0, ""))
        self.assertIn('<h1 id="heading">&lt;b&gt;&quot;&#x27;&amp;&#228;</h1>', self.read("de.lproj", "blockpage.html"))

    def test_a_language_that_is_gone_takes_its_folder_along(self):
        self.render()
        os.remove(os.path.join(self.source, "texts", "de.json"))
        self.render()
        self.assertNotIn("de.lproj", os.listdir(self.output))
        self.assertIn("English.lproj", os.listdir(self.output))

    def test_missing_and_unknown_texts_are_named(self):
        self.change_texts(title=None, titel="x")
        self.expect_problem("texts/de.json: missing or unknown: titel, title")

    def test_empty_texts_and_markers_are_refused(self):
        for text in ("", "  ", "X_NO_LOC", "@title@", 7):
            with self.subTest(text):
                self.change_texts(calm=text)
                self.expect_problem("texts/de.json: calm is no text")

    def test_language_and_direction_are_checked(self):
        for changes in ({"direction": "up"}, {"direction": "ltr", "language": 'de" x="'}):
            with self.subTest(changes):
                self.change_texts(**changes)
                self.expect_problem("texts/de.json: no language or direction")

    def test_style_and_script_hold_nothing_that_html_gives_a_meaning(self):
        for name, line in (("style.css", 'p::after { content: "x"; }'), ("script.js", "if (1 < 2) {}"),
                           ("script.js", "a && b;"), ("style.css", "a > b {}"), ("script.js", "'x'"),
                           ("script.js", "INCLUDE_CSS_FILE_NO_LOC"), ("style.css", "/* \u00e4 */")):
            with self.subTest(line):
                self.setUp()
                self.append(name, line + "\n")
                code, text = self.render()
                self.assertEqual(code, 1)
                self.assertRegex(text, rf"^render.py: layout/{name}:\d+: '.+' may not stand here$|" +
                                 rf'^render.py: layout/{name}:\d+: ".+" may not stand here$')


if __name__ == "__main__":
    unittest.main()
