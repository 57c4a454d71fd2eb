#!/usr/bin/env python3
"""What corpus/check.py finds: each fault in a small corpus of its own."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "corpus" / "check.py"
HEADERS = {"vocabulary": "phrase\tkind\n", "fragments": "text\tkind\n", "pages": ""}
PAGE = {"title": "Wine", "description": "A shop.", "topic": "age-gate-wine", "paragraphs": ["word " * 60 + "end.", "word " * 60 + "end."]}


def check(files, *options):
    """(exit status, what was said) for a corpus of these files: name -> text below the header."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = pathlib.Path(folder) / name
            path.parent.mkdir(exist_ok=True)
            data = text if isinstance(text, bytes) else (HEADERS[path.parent.name] + text).encode("utf-8")
            path.write_bytes(data)
        run = subprocess.run([sys.executable, str(CHECK), "--root", folder, *options], capture_output=True, text=True,
                             check=False, env={**os.environ, "PYTHONIOENCODING": "utf-8"})
        return run.returncode, run.stdout.replace(folder + os.sep, "")


def page(**changes):
    return json.dumps({**PAGE, **changes}) + "\n"


class Checking(unittest.TestCase):
    def test_a_sound_corpus_has_no_problems(self):
        status, said = check({"vocabulary/en.tsv": "Porn videos\tcat\n", "fragments/en.tsv": "Home\tmenu\n", "pages/en.jsonl": page()})
        self.assertEqual(status, 0, said)
        self.assertTrue(said.endswith("corpus: 0 problems\n"), said)
        self.assertIn("en                1         1     1\n", said)

    def test_each_fault_is_told_with_its_place(self):
        rows = (
            ("vocabulary/en.tsv", "Porn videos\tcat\n\n", "vocabulary/en.tsv:3: an empty line"),
            ("vocabulary/en.tsv", "Porn videos\tcat\nporn VIDEOS\tmenu\n", "vocabulary/en.tsv:3: stands in line 2 already: 'porn VIDEOS'"),
            ("vocabulary/en.tsv", "Porn videos\tvideo\n", "vocabulary/en.tsv:2: expected text, tab and one of act cam cat escort menu notice shop"),
            ("vocabulary/en.tsv", "Porn videos\n", "vocabulary/en.tsv:2: expected text, tab"),
            ("vocabulary/en.tsv", " Porn\tcat\n", "vocabulary/en.tsv:2: blanks at the ends or doubled: ' Porn'"),
            ("vocabulary/en.tsv", "X\tcat\n", "vocabulary/en.tsv:2: 1 characters; 2 to 90 are expected"),
            ("vocabulary/en.tsv", "Teens\tcat\n", "vocabulary/en.tsv:2: forbidden subject ('Teens'): 'Teens'"),
            ("vocabulary/en.tsv", "Porn\tcat", "vocabulary/en.tsv: no line end at the end"),
            ("vocabulary/fr.tsv", "Femmes mu\u0302res\tcat\n", "vocabulary/fr.tsv:2: not NFC"),
            ("vocabulary/en.tsv", "Porn\x0b\tcat\n", "vocabulary/en.tsv:2: a control character"),
            ("vocabulary/en.tsv", b"phrase\tkind\n\xff\tcat\n", "vocabulary/en.tsv: not UTF-8"),
            ("vocabulary/en.tsv", b"words\nPorn\tcat\n", "vocabulary/en.tsv:1: 'words' where 'phrase\\tkind' was expected"),
            ("vocabulary/xx.tsv", "Porn\tcat\n", "vocabulary/xx.tsv: no language of the corpus"),
            ("vocabulary/ru.tsv", "Porn videos\tcat\n", "ru: only 0 of 1 lines are in its own script"),
            ("fragments/en.tsv", "My sister sings\tcaption\n", "fragments/en.tsv:2: forbidden subject ('sister')"),
            ("pages/en.jsonl", "{\n", "pages/en.jsonl:1: no JSON object"),
            ("pages/en.jsonl", '{"title": "Wine"}\n', "pages/en.jsonl:1: has title; expected title description topic paragraphs"),
            ("pages/en.jsonl", page(topic="cooking"), "pages/en.jsonl:1: unknown topic 'cooking'"),
            ("pages/en.jsonl", page() + page(), "pages/en.jsonl:2: a second page of that title: 'Wine'"),
            ("pages/en.jsonl", page(paragraphs=["Too short.", "Really."]), "pages/en.jsonl:1: 3 words or characters in 2 paragraphs"),
            ("pages/en.jsonl", page(description="See www.example.com"), "pages/en.jsonl:1: a link, address or telephone number"),
        )
        for name, text, told in rows:
            with self.subTest(told):
                status, said = check({name: text})
                self.assertEqual(status, 1)
                self.assertIn(told, said)

    def test_notices_may_name_who_must_stay_out(self):
        status, said = check({"vocabulary/en.tsv": "Keep away from minors\tnotice\n"})
        self.assertEqual(status, 0, said)

    def test_a_long_line_of_another_language_is_found(self):
        line = "videos porno gratis en casa\tcat\n"
        status, said = check({"vocabulary/es.tsv": line, "vocabulary/fr.tsv": line})
        self.assertEqual(status, 1)
        self.assertIn("fr: shares a line with es: 'videos porno gratis en casa'", said)

    def test_related_languages_may_share_lines(self):
        line = "videos porno gratis em casa\tcat\n"
        status, said = check({"vocabulary/es.tsv": line, "vocabulary/pt.tsv": line})
        self.assertEqual(status, 0, said)

    def test_counts_are_asked_for_only_when_wanted(self):
        status, said = check({"vocabulary/en.tsv": "Porn\tcat\n"}, "--counts")
        self.assertEqual(status, 1)
        for told in ("en: 1 of 300 vocabulary", "zh: 0 of 40 fragments", "pl: 0 of 15 pages"):
            self.assertIn(told, said)


if __name__ == "__main__":
    unittest.main()
