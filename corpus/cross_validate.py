#!/usr/bin/env python3
"""How many pages of one kind a map finds on sites that it never saw, when there are too few to set any aside.

The adult pages of the kind (training and validation files together) are parted by site into folds. For each fold a map is
trained with everything but the pages of the fold's sites, and judges them at its own operating point. All of
them are judged once, each by a map that knows nothing of its site. The legitimate validation pages are judged by every one
of the maps, so that nothing is found at their expense unseen.

    python3 corpus/cross_validate.py --sifterra build/release/bin/sifterra --corpus DIR [--work DIR] [-- TRAIN OPTIONS]

Training pages are the files that the shipped map is made of, in the same order, and the pages of the kind out of the validation
file; the other validation pages teach nothing. Exit status: 0 done, 2 an error.
"""
import argparse
import gzip
import hashlib
import json
import math
import os
import pathlib
import subprocess
import sys
import tempfile

COMPOSE = pathlib.Path(__file__).resolve().parent / "compose.py"
TRAINING = ("benign", "hard_benign", "adult")  # in this order, then the composed pages
LEGITIMATE = ("benign_validation", "hard_benign_validation")
ADULT = 2
SHOWN_WORDS = 4


def lines_of(path):
    """The lines of a file of pages, each with what it says."""
    with gzip.open(path, "rt", encoding="utf-8") as file:
        for line in file:
            yield line, json.loads(line)


def wilson(found, count):
    """The 95% interval of a share."""
    if not count:
        return 0.0, 1.0
    z = 1.959964
    share, square = found / count, z * z / count
    half = z * math.sqrt(share * (1 - share) / count + square / count / 4)
    return max(0.0, (share + square / 2 - half) / (1 + square)), min(1.0, (share + square / 2 + half) / (1 + square))


def parted(pages, folds):
    """Sites by fold: the site with most pages first, always into the fold that has the fewest."""
    counts = {}
    for page in pages:
        counts[page["site"]] = counts.get(page["site"], 0) + 1
    parts, sizes = [set() for _ in range(folds)], [0] * folds
    # Of equal sites the order is that of a hash, so that the alphabet decides nothing.
    for site in sorted(counts, key=lambda name: (-counts[name], hashlib.sha256(name.encode("utf-8")).digest())):
        fold = sizes.index(min(sizes))
        parts[fold].add(site)
        sizes[fold] += counts[site]
    return [part for part in parts if part]


def run(command, good=(0,), **options):
    """The output of a program; one that fails ends everything."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, **options)
    if done.returncode not in good:
        sys.stderr.write(done.stderr)
        fail(f"{command[0]} {command[1]} failed with {done.returncode}")
    return done.stdout


def fail(message):
    print(f"cross_validate.py: {message}", file=sys.stderr)
    raise SystemExit(2)


def write_training_files(options, folder, sites):
    """The training files without the pages of some sites; those that hold none stand for themselves."""
    names = []
    for name in TRAINING:
        kept, left_out = [], 0
        for line, page in lines_of(options.corpus / f"{name}.jsonl.gz"):
            if page["site"] in sites:
                left_out += 1
            else:
                kept.append(line)
        if name == "adult":
            kept += [line for line, page in lines_of(options.corpus / "adult_validation.jsonl.gz")
                     if page["kind"] == options.kind and page["site"] not in sites]
        elif not left_out:
            names.append(options.corpus / f"{name}.jsonl.gz")
            continue
        names.append(folder / f"{name}.jsonl")
        names[-1].write_text("".join(kept), encoding="utf-8")
    return names


def judged(options, chart, pages):
    """Each page with its verdict, and what made it."""
    text = "".join(json.dumps({"html": page["html"], "url": ""}) + "\n" for page in pages)
    output = run([options.sifterra, "check", "--json", "--explain", "--map", chart, "jsonl:-"], good=(0, 1), input=text)
    verdicts = [json.loads(line) for line in output.splitlines()]
    if len(verdicts) != len(pages):
        fail(f"{len(pages)} pages and {len(verdicts)} verdicts")
    return [{"id": page["id"], "site": page["site"], "lang": page["lang"], "origin": page["origin"], **verdict}
            for page, verdict in zip(pages, verdicts)]


def measure(options, folder, composed, sites, pages):
    """What one fold's map makes of the fold's pages and of the legitimate ones."""
    folder.mkdir(parents=True, exist_ok=True)
    chart = folder / "map"
    if not (options.keep and chart.exists()):
        names = write_training_files(options, folder, sites)
        run([options.sifterra, "train", "-o", chart, *options.train, *names, composed])
    report = json.loads(run([options.sifterra, "evaluate", "--json", "--map", chart,
                             *(options.corpus / f"{name}.jsonl.gz" for name in LEGITIMATE)]))
    groups = report["groups"]["group"]
    return {"sites": sorted(sites), "pages": judged(options, chart, [page for page in pages if page["site"] in sites]),
            "legitimate": {name: [groups[name]["falsePositives"], groups[name]["legitimate"]] for name in sorted(groups)}}


def why(page):
    """In a line, what a verdict came of."""
    explanation = page.get("explanation")
    if not explanation:
        return page["message"]
    def words(which):
        shown = [f"{word['word'] or word['meaning'] or '(every page)'} {word['points']:+.1f}" for word in explanation[which]]
        return ", ".join(shown[:SHOWN_WORDS]) or "nothing"
    return (f"{explanation['decided']['name']} {explanation['decided']['points']:+.1f} "
            f"(needs {explanation['threshold']:+.1f}); for: {words('for')}; against: {words('against')}")


def share(found, count):
    low, high = wilson(found, count)
    return f"{found} of {count} ({found / count:.3f}, 95% interval {low:.3f} to {high:.3f})" if count else "0 of 0"


def report(kind, folds, print_line):
    pages = [page for fold in folds for page in fold["pages"]]
    found = sum(page["restricted"] for page in pages)
    sites = {site: [page for page in pages if page["site"] == site] for fold in folds for site in fold["sites"]}
    for number, fold in enumerate(folds, 1):
        legitimate = ", ".join(f"{wrong} of {count} {name}" for name, (wrong, count) in fold["legitimate"].items())
        print_line(f"fold {number}: {sum(page['restricted'] for page in fold['pages'])} of {len(fold['pages'])} found, "
                   f"{len(fold['sites'])} sites; restricted by mistake: {legitimate}")
    if len(sites) <= 40:
        for site, own in sites.items():
            print_line(f"  {site}: {sum(page['restricted'] for page in own)} of {len(own)}")
    print_line(f"recall, {kind}: {share(found, len(pages))}")
    average = sum(sum(page["restricted"] for page in own) / len(own) for own in sites.values()) / len(sites)
    print_line(f"recall, each site the same: {average:.3f} of {len(sites)} sites")
    for name in folds[0]["legitimate"]:
        wrong = [fold["legitimate"][name] for fold in folds]
        print_line(f"false positives, {name}: {sum(part[0] for part in wrong) / len(wrong):.1f} of {wrong[0][1]} on average")
    missed = [page for page in pages if not page["restricted"]]
    print_line(f"missed: {len(missed)}")
    for page in missed:
        print_line(f"  {page['id']} {page['lang']} {page['site']} ({page['origin'].split()[-1]})\n    {why(page)}")
    return {"kind": kind, "found": found, "pages": len(pages), "interval": wilson(found, len(pages)), "bySite": average,
            "folds": folds}


def parse_arguments(arguments):
    own, train = arguments, []
    if "--" in arguments:
        at = arguments.index("--")
        own, train = arguments[:at], arguments[at + 1:]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--sifterra", required=True, metavar="FILE", help="the command")
    parser.add_argument("--corpus", default=os.environ.get("SIFTERRA_CORPUS", ""), metavar="DIR",
                        help="folder of real pages (default SIFTERRA_CORPUS)")
    parser.add_argument("--kind", default="real", help="of the pages that are looked for (default real)")
    parser.add_argument("--folds", type=int, default=5, metavar="K", help="default 5")
    parser.add_argument("--only", type=int, metavar="N", help="this fold alone, from 1")
    parser.add_argument("--composed", metavar="FILE", help="composed pages (default: what compose.py makes)")
    parser.add_argument("--work", metavar="DIR", help="where maps and files stay (default: nowhere)")
    parser.add_argument("--keep", action="store_true", help="use the maps that an earlier run left in --work")
    parser.add_argument("--json", metavar="FILE", help="also write all verdicts with their explanations")
    options = parser.parse_args(own)
    options.train = train
    options.corpus = pathlib.Path(options.corpus)
    if not options.corpus.parts or not (options.corpus / "adult.jsonl.gz").exists():
        parser.error("no folder of real pages: name it by --corpus or SIFTERRA_CORPUS")
    if options.folds < 2:
        parser.error("--folds takes 2 or more")
    return options


def cross_validate(options, folder):
    pages = [page for name in ("adult", "adult_validation")
             for _, page in lines_of(options.corpus / f"{name}.jsonl.gz")
             if page["kind"] == options.kind and page["label"] == ADULT]
    parts = parted(pages, options.folds)
    if len(parts) < 2:
        fail(f"the pages of kind \"{options.kind}\" are not of two sites or more")
    if options.only is not None and not 1 <= options.only <= len(parts):
        fail(f"--only takes 1 to {len(parts)}")
    composed = options.composed
    if not composed:
        composed = folder / "composed.jsonl.gz"
        if not (options.keep and composed.exists()):
            run([sys.executable, COMPOSE, "--background", options.corpus, "-o", composed])
    numbers = range(len(parts)) if options.only is None else [options.only - 1]
    result = report(options.kind,
                    [measure(options, folder / f"fold-{number + 1}", composed, parts[number], pages) for number in numbers],
                    print)
    if options.json:
        pathlib.Path(options.json).write_text(json.dumps(result, ensure_ascii=False, indent=1) + "\n", encoding="utf-8")


def main(arguments):
    options = parse_arguments(arguments)
    if options.work:
        pathlib.Path(options.work).mkdir(parents=True, exist_ok=True)
        cross_validate(options, pathlib.Path(options.work))
    else:
        with tempfile.TemporaryDirectory() as folder:
            cross_validate(options, pathlib.Path(folder))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
