#!/usr/bin/env python3
"""How long `sifterra policy import` takes for 100,000 lines, against plistlib; in turn, medians.

The baseline is a child of the same Python that reads the same lines, drops the repeated ones, and writes them with
plistlib to a file, which it flushes: what a script in place of the command would do at the least. Each form of list is
imported into an empty file, and once into one that holds another 100,000 sites.
"""
import argparse
import json
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

LINES = 100_000
FILE = "Library/Managed Preferences/ann/com.vendrel.hearthguard.contentfilter.plist"
BASELINE = """
import os, plistlib, sys
with open(sys.argv[1]) as lines:
    sites = list(dict.fromkeys(line.split()[-1] for line in lines))
with open(sys.argv[2], "wb") as file:
    plistlib.dump({"filterBlacklist": sites}, file)
    file.flush()
    os.fsync(file.fileno())
"""


def domains(numbers, first):
    letters = "abcdefghijklmnopqrstuvwxyz"
    return ["".join(numbers.choices(letters, k=numbers.randint(4, 14))) + f"{first + i}.example" for i in range(LINES)]


def write_lists(directory):
    """The lists by name, the same on every run."""
    numbers = random.Random(11)
    names = domains(numbers, 0)
    forms = {
        "domains": names,
        "hosts": [f"0.0.0.0 {name}" for name in names],
        "squid": [f".{name}" for name in names],
        "squidguard": [f"{name}/path/{i % 97}" for i, name in enumerate(names)],
        "urls": [f"http://{name}/path?{i % 97}" for i, name in enumerate(names)],
        "before": domains(numbers, LINES),
    }
    paths = {}
    for form, lines in forms.items():
        paths[form] = os.path.join(directory, form)
        with open(paths[form], "w") as file:
            file.write("\n".join(lines) + "\n")
    return paths


def seconds(command):
    start = time.monotonic()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.monotonic() - start


class Import:
    """One import into a user's file; `before` is imported first, and not counted."""

    def __init__(self, sifterra, directory, before=None):
        self.command = [sifterra, "--root", directory, "policy", "import", "ann", "deny"]
        self.file = os.path.join(directory, FILE)
        self.before = before

    def seconds(self, path):
        if os.path.exists(self.file):
            os.remove(self.file)
        if self.before:
            seconds([*self.command, self.before])
        return seconds([*self.command, path])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sifterra", required=True)
    parser.add_argument("--json")
    parser.add_argument("--rounds", type=int, default=7)
    arguments = parser.parse_args()
    results = {}
    with tempfile.TemporaryDirectory() as directory:
        paths = write_lists(directory)
        before = paths.pop("before")
        cases = {form: (Import(arguments.sifterra, directory), path) for form, path in paths.items()}
        cases["domains, onto 100,000"] = (Import(arguments.sifterra, directory, before), paths["domains"])
        for case, (run, path) in cases.items():
            baseline = [sys.executable, "-c", BASELINE, path, os.path.join(directory, "baseline.plist")]
            pairs = [(run.seconds(path), seconds(baseline)) for _ in range(arguments.rounds)]
            own, other = (statistics.median(times) for times in zip(*pairs))
            results[case] = {"import_s": own, "plistlib_s": other, "ratio": statistics.median(a / b for a, b in pairs)}
            print(f"import {case}: {own:.2f} s, plistlib alone {other:.2f} s, ratio {results[case]['ratio']:.2f}, "
                  f"{LINES:,} lines, median of {arguments.rounds}")
    if arguments.json:
        with open(arguments.json, "w") as output:
            json.dump({"lines": LINES, "rounds": arguments.rounds, "cases": results}, output, indent=2)
    slowest = max(result["import_s"] for result in results.values())
    if slowest >= 2:
        sys.exit(f"an import took {slowest:.2f} s, and must stay below 2 s")


if __name__ == "__main__":
    main()
