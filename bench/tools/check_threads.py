#!/usr/bin/env python3
"""How much faster `sifterra check -j 2` is than `-j 1`, on 2,000 pages; the two in turn, medians."""
import argparse
import json
import os
import random
import statistics
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def write_pages(directory, count):
    """Pages of 2 to 60 KiB from the paragraphs of the example pages, the same on every run."""
    numbers = random.Random(7)
    examples = os.path.join(HERE, "..", "..", "examples")
    paragraphs = []
    for name in sorted(os.listdir(examples)):
        if name.endswith(".html"):
            with open(os.path.join(examples, name), encoding="utf-8", errors="replace") as page:
                paragraphs += [part.split("</p>")[0] for part in page.read().split("<p>")[1:]]
    for i in range(count):
        body = []
        for _ in range(numbers.randint(4, 120)):
            body.append(f'<p class="t">{numbers.choice(paragraphs)} <a href="/{numbers.randrange(10**6)}.html">more</a></p>')
        with open(os.path.join(directory, f"page-{i:04}.html"), "w", encoding="utf-8") as page:
            page.write(f'<html><head><meta charset="utf-8"><title>Page {i}</title></head><body>{"".join(body)}</body></html>')


def seconds(sifterra, directory, threads):
    start = time.monotonic()
    run = subprocess.run([sifterra, "check", "-j", str(threads), directory], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL)
    elapsed = time.monotonic() - start
    if run.returncode > 1:
        raise SystemExit(f"sifterra check failed with {run.returncode}")
    return elapsed, run.stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--sifterra", required=True)
    parser.add_argument("--json")
    parser.add_argument("--pages", type=int, default=2000)
    parser.add_argument("--rounds", type=int, default=7)
    arguments = parser.parse_args()
    times = {1: [], 2: []}
    with tempfile.TemporaryDirectory() as directory:
        write_pages(directory, arguments.pages)
        outputs = {seconds(arguments.sifterra, directory, threads)[1] for threads in times}  # warms the file cache
        for _ in range(arguments.rounds):
            for threads in times:
                elapsed, output = seconds(arguments.sifterra, directory, threads)
                times[threads].append(elapsed)
                outputs.add(output)
    if len(outputs) != 1:
        raise SystemExit("the output depends on the number of threads")
    one, two = statistics.median(times[1]), statistics.median(times[2])
    ratio = statistics.median(a / b for a, b in zip(times[1], times[2]))
    print(f"{arguments.pages} pages: -j 1 {one:.2f} s, -j 2 {two:.2f} s, {ratio:.2f} times as fast "
          f"(medians of {arguments.rounds})")
    if arguments.json:
        with open(arguments.json, "w") as output:
            json.dump({"pages": arguments.pages, "rounds": arguments.rounds, "j1_s": one, "j2_s": two,
                       "speedup": ratio}, output, indent=2)


if __name__ == "__main__":
    main()
