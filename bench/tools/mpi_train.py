#!/usr/bin/env python3
"""Training by 1, 2 and 4 processes: pages a second and bytes that a step sums, on made pages; and from what a page
costs one process, what ten million would take."""
import argparse
import json
import os
import random
import re
import shutil
import subprocess
import tempfile

PAGES = 10_000_000
PROCESSES = 64


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


class Trainer:
    def __init__(self, program, mpirun, directory):
        self.program, self.mpirun, self.directory = program, mpirun, directory
        self.environment = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1")

    def run(self, processes, files):
        run = subprocess.run(
            [self.mpirun, "--oversubscribe", "--bind-to", "none", "--mca", "btl", "self,vader", "--mca", "pml", "ob1",
             "--mca", "oob_tcp_if_include", "lo", "--mca", "plm", "isolated", "-n", str(processes), self.program,
             "--traffic", "-o", os.path.join(self.directory, "map"), *files],
            stdout=subprocess.PIPE, env=self.environment, text=True, check=True)
        find = lambda pattern: float(re.search(pattern, run.stdout).group(1))
        row = {"processes": processes, "pages": int(find(r"read: (\d+) page")),
               "pages_per_second_read": find(r", (\d+) pages a second"),
               "processor_seconds_reading": find(r"a second; process 0: ([\d.]+) s"),
               "seconds_learning": find(r"learnt: ([\d.]+) s"),
               "processor_seconds_learning": find(r"learnt: .*process 0: ([\d.]+) s"),
               "steps": int(find(r"of these (\d+) steps")),
               "bytes_per_step": int(find(r"steps of (\d+) bytes")),
               "bytes_summed": int(find(r"times, (\d+) bytes")),
               "bytes_besides": int(find(r"sent besides: (\d+)"))}
        print("{processes} processes: {pages} pages, {pages_per_second_read:.0f} a second read, learnt in "
              "{seconds_learning:.1f} s, {steps} steps of {bytes_per_step} bytes".format(**row), flush=True)
        return row


def extrapolate(few, many):
    """What a page costs, and what all do, from two runs of one process: times of processors, which others do not slow."""
    pages = many["pages"] - few["pages"]
    reading = (many["processor_seconds_reading"] - few["processor_seconds_reading"]) / pages
    learning = (many["processor_seconds_learning"] - few["processor_seconds_learning"]) / pages
    fixed = max(many["processor_seconds_learning"] - learning * many["pages"], 0)
    share = PAGES / PROCESSES
    answer = {"milliseconds_reading_a_page": 1000 * reading, "milliseconds_learning_a_page": 1000 * learning,
              "seconds_whatever_the_pages": fixed, "processes": PROCESSES, "pages": PAGES,
              "minutes_reading": share * reading / 60, "minutes_learning": (share * learning + fixed) / 60,
              "gigabytes_summed_by_a_process": many["bytes_summed"] / 1e9}
    print("a page costs {milliseconds_reading_a_page:.2f} ms to read and {milliseconds_learning_a_page:.2f} ms to learn "
          "from, and a training {seconds_whatever_the_pages:.1f} s besides: {pages} pages take {processes} processes "
          "{minutes_reading:.1f} + {minutes_learning:.1f} minutes, and each sums "
          "{gigabytes_summed_by_a_process:.2f} GB".format(**answer))
    return answer


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--sifterra", required=True)
    parser.add_argument("--json")
    parser.add_argument("--pages", type=int, default=2000)
    parser.add_argument("files", nargs="*", help="pages to train on in place of made ones; the first file alone is the "
                        "smaller run")
    arguments = parser.parse_args()
    program = os.path.join(os.path.dirname(arguments.sifterra), "sifterra-train-mpi")
    mpirun = shutil.which("mpirun")
    if mpirun is None or not os.path.exists(program):
        print("no MPI: not measured")
        return
    with tempfile.TemporaryDirectory() as directory:
        trainer = Trainer(program, mpirun, directory)
        files = arguments.files or write_shards(directory, arguments.pages, 4)
        few = trainer.run(1, files[:max(len(files) // 4, 1)])
        rows = [trainer.run(processes, files) for processes in (1, 2, 4)]
        answer = extrapolate(few, rows[0])
    if arguments.json:
        with open(arguments.json, "w", encoding="utf-8") as out:
            json.dump({"runs": [few, *rows], "extrapolation": answer}, out, indent=1)


if __name__ == "__main__":
    main()
