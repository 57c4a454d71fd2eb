#!/usr/bin/env python3
"""corpus/cross_validate.py on a made-up corpus of a few hundred pages: cross_validate_test.py SIFTERRA"""
import gzip
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = ROOT / "corpus" / "cross_validate.py"
sys.path.insert(0, str(PROGRAM.parent))

import cross_validate  # noqa: E402  after the path is set

SHARED = "welcome contact today more page about with this our all your news home here from read".split()
FIRST = "garden river bicycle bakery library museum forest school weather recipe train violin bridge harbour".split()
SECOND = "pistol casino jackpot roulette wager poker betting bonus slots dealer odds stakes blackjack payout".split()
SIFTERRA = ""


def page(label, site, number, kind="wrapped", group=None, words=None):
    numbers = random.Random(f"{label} {site} {number}")
    words = words or (FIRST, SECOND)[label - 1]
    text = " ".join(numbers.choice(SHARED if at % 2 else words) for at in range(40))
    return {"id": f"{site}-{number}", "site": site, "lang": "en", "label": label, "group": group or ("benign", "adult")[label - 1],
            "kind": kind, "topic": "", "origin": f"made-up {number}.html", "html": f"<title>{text[:20]}</title><p>{text}</p>"}


def several(label, prefix, sites, pages, **more):
    return [page(label, f"{prefix}{site}", number, **more) for site in range(sites) for number in range(pages)]


class Folder:
    """A corpus as --corpus names one."""

    def __init__(self, real, validation):
        self.kept = tempfile.TemporaryDirectory()
        self.path = pathlib.Path(self.kept.name)
        self.write("benign", several(1, "good", 60, 2) + [page(1, "real0", 7)])
        self.write("hard_benign", several(1, "hard", 10, 2, group="hard_benign"))
        self.write("adult", several(2, "bad", 40, 2) + real)
        self.write("benign_validation", several(1, "other", 10, 2))
        self.write("hard_benign_validation", several(1, "difficult", 5, 2, group="hard_benign"))
        self.write("adult_validation", several(2, "worse", 5, 2) + validation)
        self.write("composed", several(2, "made", 5, 2, kind="composed") + several(1, "plain", 5, 2, kind="composed"))

    def write(self, name, pages):
        with gzip.open(self.path / f"{name}.jsonl.gz", "wt", encoding="utf-8") as file:
            file.writelines(json.dumps(one) + "\n" for one in pages)

    def run(self, *options, corpus=None):
        command = [sys.executable, str(PROGRAM), "--sifterra", SIFTERRA, "--corpus", str(corpus or self.path),
                   "--composed", str(self.path / "composed.jsonl.gz"), "--work", str(self.path / "work"), *options]
        return subprocess.run(command, capture_output=True, text=True, check=False, env={**os.environ, "SIFTERRA_CORPUS": ""})


class ByHand(unittest.TestCase):
    def test_the_interval_of_a_share(self):
        for found, count, low, high in ((13, 17, .527, .904), (0, 10, 0, .278), (10, 10, .722, 1), (0, 0, 0, 1)):
            with self.subTest(found=found, count=count):
                got = cross_validate.wilson(found, count)
                self.assertAlmostEqual(got[0], low, 3)
                self.assertAlmostEqual(got[1], high, 3)

    def test_a_site_is_never_parted_and_folds_are_of_like_size(self):
        pages = [{"site": f"s{site}"} for site, count in enumerate((9, 5, 5, 4, 3, 2, 1, 1)) for _ in range(count)]
        parts = cross_validate.parted(pages, 3)
        self.assertEqual(sorted(site for part in parts for site in part), [f"s{site}" for site in range(8)])
        self.assertEqual(sorted(sum(page["site"] in part for page in pages) for part in parts), [10, 10, 10])
        self.assertEqual(parts, cross_validate.parted(pages[::-1], 3))

    def test_there_are_no_more_folds_than_sites(self):
        self.assertEqual(len(cross_validate.parted([{"site": "a"}, {"site": "b"}], 5)), 2)


class EndToEnd(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # One page of the adult sites speaks like the others' pages: it will be missed.
        cls.folder = Folder(several(2, "real", 3, 3, kind="real"),
                            [page(2, "real3", 0, kind="real", words=FIRST), page(2, "real2", 9, kind="real")])
        cls.addClassCleanup(cls.folder.kept.cleanup)
        cls.result = cls.folder.run("--folds", "3", "--json", str(cls.folder.path / "out.json"), "--", "-j", "2")
        if cls.result.returncode == 0:
            cls.told = json.loads((cls.folder.path / "out.json").read_text(encoding="utf-8"))

    def setUp(self):
        self.assertEqual(self.result.returncode, 0, self.result.stderr)

    def sites_taught(self, fold, name):
        path = self.folder.path / "work" / f"fold-{fold}" / f"{name}.jsonl"
        return {json.loads(line)["site"] for line in path.read_text(encoding="utf-8").splitlines()}

    def test_each_page_of_the_kind_is_judged_once(self):
        judged = sorted(one["id"] for fold in self.told["folds"] for one in fold["pages"])
        self.assertEqual(judged, sorted([f"real{site}-{number}" for site in range(3) for number in range(3)] +
                                        ["real2-9", "real3-0"]))
        self.assertEqual(self.told["pages"], 11)

    def test_no_map_was_taught_by_the_sites_that_it_judges(self):
        for number, fold in enumerate(self.told["folds"], 1):
            taught = self.sites_taught(number, "adult")
            self.assertFalse(taught & set(fold["sites"]))
            # All others teach, those of the validation file too; its other kinds do not.
            self.assertEqual({site for site in taught if site.startswith("real")},
                             {f"real{site}" for site in range(4)} - set(fold["sites"]))
            self.assertFalse({site for site in taught if site.startswith("worse")})

    def test_legitimate_pages_of_such_a_site_do_not_teach_either(self):
        for number, fold in enumerate(self.told["folds"], 1):
            if "real0" in fold["sites"]:
                self.assertNotIn("real0", self.sites_taught(number, "benign"))
            else:
                self.assertFalse((self.folder.path / "work" / f"fold-{number}" / "benign.jsonl").exists())

    def test_what_is_missed_is_told_with_its_words(self):
        self.assertEqual(self.told["found"], 10)
        self.assertIn("recall, real: 10 of 11 (0.909, 95% interval 0.623 to 0.984)\n", self.result.stdout)
        self.assertIn("recall, each site the same: 0.750 of 4 sites\n", self.result.stdout)
        self.assertIn("missed: 1\n  real3-0 en real3 (0.html)\n    ", self.result.stdout)
        self.assertRegex(self.result.stdout, r"    \S.* \(needs \+0\.5\); for: .*; against: .*\n$")

    def test_the_price_is_told_too(self):
        self.assertIn("false positives, benign: 0.0 of 20 on average\n", self.result.stdout)
        self.assertIn("false positives, hard_benign: 0.0 of 10 on average\n", self.result.stdout)

    def test_maps_are_used_again_when_asked_for(self):
        again = self.folder.run("--folds", "3", "--keep", "--only", "2")
        self.assertEqual(again.returncode, 0, again.stderr)
        fold = self.told["folds"][1]
        self.assertIn(f"recall, real: {sum(one['restricted'] for one in fold['pages'])} of {len(fold['pages'])} ", again.stdout)


class Mistakes(unittest.TestCase):
    def refused(self, run, message):
        self.assertEqual(run.returncode, 2)
        self.assertIn(message, run.stderr)

    def test_they_are_told(self):
        folder = Folder([page(2, "real0", 0, kind="real")], [])
        self.addCleanup(folder.kept.cleanup)
        self.refused(folder.run(corpus="/nowhere"), "no folder of real pages: name it by --corpus or SIFTERRA_CORPUS")
        self.refused(folder.run("--folds", "1"), "--folds takes 2 or more")
        self.refused(folder.run(), 'the pages of kind "real" are not of two sites or more')
        self.refused(folder.run("--kind", "none"), 'the pages of kind "none" are not of two sites or more')
        self.refused(folder.run("--kind", "wrapped", "--only", "6"), "--only takes 1 to 5")
        self.refused(folder.run("--kind", "wrapped", "--folds", "2", "--", "--rank", "1"), "train failed with")


if __name__ == "__main__":
    SIFTERRA = sys.argv.pop(1)
    unittest.main()
