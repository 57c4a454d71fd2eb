#!/usr/bin/env python3
"""Training by 1, 2 and 4 processes: pages a second and bytes that a step sums, on made pages."""
import argparse
import json
import os
import random
import re
import shutil
import subprocess
import tempfile


def write_shards(directory, pages, shards):
    """Pages of 200 words out of 30,000, a fifth of them of the page's category; the same on every run."""
    numbers = random.Random(11)
    syllables = [c + v for c in "bdfgklmnprstvz" for v in "aeiou"]
    words = sorted({"".join(numbers.choice(syllables) for _ in range(numbers.randint(2, 5))) for _ in range(40000)})[:30000]
    numbers.shuffle(words)
    files = []
    for s in range(shards):
        files.append(os.path.join(directory, f"shard-{s}.jsonl"))
        with open(files[-1], "w", encoding="utf-8") as shard:
            for p in range(pages // shards):
                label = 1 + (p + s) % 2
                text = [words[int(len(words) * numbers.random() ** 3)] for _ in range(160)]
                text += [words[-300 * label + numbers.randrange(300)] for _ in range(40)]
                page = {"html": f"<title>{' '.join(text[:6])}</title><p>{' '.join(text)}", "label": label,
                        "site": f"s{s}.{p // 3}"}
                shard.write(json.dumps(page) + "\n")
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--sifterra", required=True)
    parser.add_argument("--json")
    parser.add_argument("--pages", type=int, default=4000)
    parser.add_argument("files", nargs="*", help="pages to train on in place of made ones")
    arguments = parser.parse_args()
    program = os.path.join(os.path.dirname(arguments.sifterra), "sifterra-train-mpi")
    mpirun = shutil.which("mpirun")
    if mpirun is None or not os.path.exists(program):
        print("no MPI: not measured")
        return
    environment = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")
    rows = []
    with tempfile.TemporaryDirectory() as directory:
        files = arguments.files or write_shards(directory, arguments.pages, 4)
        for processes in (1, 2, 4):
            run = subprocess.run(
                [mpirun, "--oversubscribe", "--bind-to", "none", "--mca", "btl", "self,vader", "--mca", "pml", "ob1",
                 "--mca", "oob_tcp_if_include", "lo", "--mca", "plm", "isolated", "-n", str(processes), program,
                 "--traffic", "-o", os.path.join(directory, "map"), *files],
                stdout=subprocess.PIPE, env=environment, text=True, check=True)
            find = lambda pattern: float(re.search(pattern, run.stdout).group(1))
            rows.append({"processes": processes, "pages": int(find(r"read: (\d+) page")),
                         "pages_per_second_read": find(r", (\d+) pages a second"),
                         "seconds_learning": find(r"learnt: ([\d.]+) s"),
                         "steps": int(find(r"of these (\d+) steps")),
                         "bytes_per_step": int(find(r"steps of (\d+) bytes")),
                         "bytes_summed": int(find(r"times, (\d+) bytes")),
                         "bytes_besides": int(find(r"sent besides: (\d+)"))})
            print("{processes} processes: {pages} pages, {pages_per_second_read:.0f} a second read, learnt in "
                  "{seconds_learning:.1f} s, {steps} steps of {bytes_per_step} bytes".format(**rows[-1]), flush=True)
    if arguments.json:
        with open(arguments.json, "w", encoding="utf-8") as out:
            json.dump(rows, out, indent=1)


if __name__ == "__main__":
    main()
