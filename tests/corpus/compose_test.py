#!/usr/bin/env python3
"""What corpus/compose.py promises: the same bytes, whole pages in the right shape, nothing out of lent pages."""
import gzip
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPOSE = ROOT / "corpus" / "compose.py"
MEMBERS = {"id", "site", "lang", "label", "group", "kind", "topic", "origin", "html"}
sys.path.insert(0, str(ROOT / "corpus"))

from composing.chance import Chance  # noqa: E402  after the path is set
from composing.forbidden import forbidden  # noqa: E402
from composing.languages import LANGUAGES  # noqa: E402


def compose(*options, **environment):
    """The bytes that the program writes to standard output."""
    run = subprocess.run([sys.executable, str(COMPOSE), *options], capture_output=True, check=True,
                         env={**os.environ, "SIFTERRA_CORPUS": "", **environment})
    return run.stdout


def pages_of(data):
    return [json.loads(line) for line in data.decode("utf-8").splitlines()]


def lent_pages(folder):
    """A small corpus as SIFTERRA_CORPUS names one, with a validation file that must stay unread."""
    for name, text in (("benign", "Pieces of training"), ("benign_validation", "Pieces of validation")):
        with gzip.open(pathlib.Path(folder) / f"{name}.jsonl.gz", "wt", encoding="utf-8") as file:
            for at in range(50):
                html = f"<title>No piece</title><p>{text} number {at} here</p><p>my sister and her horse</p>"
                file.write(json.dumps({"lang": "en", "label": 1, "html": html}) + "\n")


class Composing(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.few = compose("--pages-per-language", "8")

    def test_two_runs_give_the_same_bytes(self):
        self.assertEqual(self.few, compose("--pages-per-language", "8", PYTHONHASHSEED="77"))

    def test_packed_files_hold_the_same_bytes_twice_and_the_same_pages(self):
        with tempfile.TemporaryDirectory() as folder:
            names = [os.path.join(folder, name) for name in ("a.jsonl.gz", "b.jsonl.gz")]
            for name in names:
                compose("--pages-per-language", "8", "-o", name)
            packed = [pathlib.Path(name).read_bytes() for name in names]
        self.assertEqual(packed[0], packed[1])
        self.assertEqual(gzip.decompress(packed[0]), self.few)

    def test_another_seed_gives_other_pages(self):
        self.assertNotEqual(self.few, compose("--pages-per-language", "8", "--seed", "2"))

    def test_choices_do_not_depend_on_the_version_of_python(self):
        chance = Chance(1, "fixed")
        self.assertEqual([chance.between(0, 999) for _ in range(6)], FIXED)

    def test_every_page_has_the_members_that_training_reads(self):
        for page in pages_of(self.few):
            self.assertEqual(set(page), MEMBERS)
            self.assertEqual(page["label"], 2 if page["group"] == "adult" else 1)
            self.assertIn(page["group"], ("adult", "benign", "hard_benign"))
            self.assertIn(page["lang"], LANGUAGES)
            self.assertTrue(page["html"].startswith("<!DOCTYPE html>"))
            self.assertTrue(page["html"].endswith("</html>\n"))

    def test_pages_have_names_of_their_own(self):
        pages = pages_of(self.few)
        self.assertEqual(len({page["id"] for page in pages}), len(pages))

    def test_a_site_has_one_label_and_one_language(self):
        sites = {}
        for page in pages_of(self.few):
            sites.setdefault(page["site"], set()).add((page["label"], page["lang"]))
        self.assertTrue(all(len(kinds) == 1 for kinds in sites.values()))
        self.assertGreaterEqual(len(sites), 4 * len(LANGUAGES))

    def test_there_are_as_many_pages_as_asked_for(self):
        pages = pages_of(self.few)
        adult = [page["lang"] for page in pages if page["label"] == 2 and page["origin"] != "composed quiet"]
        self.assertEqual({lang: adult.count(lang) for lang in LANGUAGES},
                         {lang: 24 if lang == "en" else 8 for lang in LANGUAGES})

    def test_three_tenths_as_many_more_hardly_say_what_they_are(self):
        quiet = [page for page in pages_of(self.few) if page["origin"] == "composed quiet"]
        counts = {lang: sum(page["lang"] == lang for page in quiet) for lang in LANGUAGES}
        self.assertEqual(counts, {lang: 7 if lang == "en" else 2 for lang in LANGUAGES})
        self.assertEqual({page["label"] for page in quiet}, {2})
        self.assertLessEqual({page["topic"] for page in quiet}, {"article", "terms", "person", "blog", "gate"})

    def test_a_quiet_page_names_few_things_and_names_them_again(self):
        words = {line.split("\t")[0].lower() for line in
                 (ROOT / "corpus" / "vocabulary" / "en.tsv").read_text("utf-8").splitlines()[1:]}
        pages = pages_of(compose("--languages", "en", "--pages-per-language", "60"))
        quiet = [page["html"].lower() for page in pages if page["origin"] == "composed quiet"]
        rich = [page["html"].lower() for page in pages if page["origin"] == "composed rich"]
        # As many different phrases as stand in a page, however often.
        named = [sum(word in html for word in words) for html in quiet]
        self.assertLess(max(named), 20)
        self.assertLess(sorted(named)[len(named) // 2], 6)
        self.assertGreater(sorted(sum(word in html for word in words) for html in rich)[len(rich) // 2], 15)
        self.assertTrue(all(sum(html.count(word) for word in words) >= 3 for html in quiet))

    def test_both_labels_come_in_the_same_layouts(self):
        pages = pages_of(compose("--languages", "en", "--pages-per-language", "100"))
        layouts = {group: {page["topic"] for page in pages if page["group"] == group} for group in ("adult", "benign")}
        self.assertEqual(layouts["adult"], layouts["benign"])
        self.assertGreaterEqual(len(layouts["adult"]), 14)

    def test_only_the_languages_asked_for(self):
        pages = pages_of(compose("--languages", "tr,ja", "--pages-per-language", "4"))
        self.assertEqual({page["lang"] for page in pages}, {"tr", "ja"})

    def test_the_background_is_training_pages_without_forbidden_lines(self):
        with tempfile.TemporaryDirectory() as folder:
            lent_pages(folder)
            text = compose("--languages", "en", "--pages-per-language", "8", "--background", folder).decode()
            same = compose("--languages", "en", "--pages-per-language", "8", SIFTERRA_CORPUS=folder).decode()
        self.assertIn("Pieces of training", text)
        self.assertNotIn("Pieces of validation", text)
        self.assertNotIn("No piece", text)
        self.assertNotIn("horse", text)
        self.assertEqual(text, same)

    def test_mistakes_of_the_command_line_are_told(self):
        for options, told in ((["--languages", "xx"], "'xx' is no language"),
                              (["--background", "/nowhere"], "/nowhere has no benign.jsonl.gz"),
                              (["--layouts-per-written-page", "9"], "0 to 4 layouts"),
                              (["--pages-per-language", "-1"], "at least 0 pages")):
            with self.subTest(options):
                run = subprocess.run([sys.executable, str(COMPOSE), *options], capture_output=True, text=True,
                                     check=False, env={**os.environ, "SIFTERRA_CORPUS": ""})
                self.assertEqual(run.returncode, 2)
                self.assertIn(told, run.stderr)


class ForbiddenSubjects(unittest.TestCase):
    def test_are_found_as_words_in_each_language(self):
        for lang, text in (("en", "my sister"), ("en", "Teens only"), ("de", "Schwester und Bruder"),
                           ("fr", "teen videos"), ("es", "ni\u00f1as"), ("ru", "\u0448\u043a\u043e\u043b\u044c\u043d\u0438\u0446\u0430"), ("ja", "\u4eba\u59bb\u3068\u5973\u5b50\u9ad8\u751f"),
                           ("zh-hant", "\u4e82\u502b\u5f71\u7247"), ("th", "\u0e04\u0e25\u0e34\u0e1b\u0e19\u0e31\u0e01\u0e40\u0e23\u0e35\u0e22\u0e19")):
            with self.subTest(text):
                self.assertIsNotNone(forbidden(lang, text))

    def test_leave_like_words_alone(self):
        for lang, text in (("en", "Doggystyle"), ("en", "Camgirls"), ("en", "Steps"), ("de", "Blondine"),
                           ("it", "Porno amatoriale"), ("id", "Cowok dan cewek")):
            with self.subTest(text):
                self.assertIsNone(forbidden(lang, text))


FIXED = [376, 397, 461, 957, 276, 790]

if __name__ == "__main__":
    unittest.main()
