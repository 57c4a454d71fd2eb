#!/usr/bin/env python3
"""What filtering costs a proxy: Sifterra's ICAP service beside an echo, the bare parse of the same bytes, and another filter.

  icap.py --build BUILD [--json FILE] [--seconds N] [--parallel 1,2,4,8] [--soak REQUESTS] [--only NAME]

Real pages come from the directory SIFTERRA_CORPUS. Each row is one server, freshly started, asked over persistent
connections by BUILD/benchmarks/IcapLoad; processor time and memory are those of the server's processes.
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "..", "tests", "proxy"))
sys.path.insert(0, here)
import e2guardian  # noqa: E402
import pages  # noqa: E402
import sifterra_service  # noqa: E402
from policies import Policies  # noqa: E402
from servers import CIcap, program  # noqa: E402

THREADS = 8  # of c-icap: as many as the most connections that ask at once


class Bench:
    def __init__(self, arguments, directory):
        self.arguments, self.directory, self.rows = arguments, directory, []
        self.load = os.path.join(arguments.build, "benchmarks", "IcapLoad")

    def servers(self):
        """(name, service path, what starts it, further arguments of the load)."""
        yield "echo", "echo", lambda: CIcap(self.fresh(), threads=THREADS, lines=["Service echo srv_echo.so"]), []
        for name, settings in (("sifterra, whole pages", {}), ("sifterra, first 32 KiB", {"limit": 32 * 1024})):
            yield (name, "sifterra", lambda settings=settings: self.sifterra(settings), [])
        if e2guardian.available():
            # It wants the header that its own answer to the request carried, and offers no preview.
            yield ("e2guardian", "response", lambda: e2guardian.E2Guardian(self.fresh(), "e2guardian"),
                   ["--header", "X-ICAP-E2G:-,G,0,0,0,"])

    def sifterra(self, settings):
        folder = self.fresh()
        root = os.path.join(folder, "root")
        Policies(root).write("kid", restrictWeb=True, useContentFilter=True)
        return CIcap(folder, threads=THREADS, lines=sifterra_service.lines(
            self.arguments.build, root, folder, default_user="kid", **settings))

    def fresh(self):
        return tempfile.mkdtemp(dir=self.directory)

    def measure(self, name, service, start, more, which, parallel, **limits):
        server = start().start()
        try:
            command = [self.load, "--port", str(server.port), "--service", service, "--pages",
                       os.path.join(self.directory, which), "--server-pid", str(server.process.pid), "--parallel",
                       str(parallel), *more]
            for key, value in limits.items():
                command += [f"--{key}", str(value)]
            done = subprocess.run(command, stdout=subprocess.PIPE, text=True)
            if done.returncode != 0:
                sys.exit(f"{name}: the load failed\n{server.output()}")
            row = {"server": name, "pages_of": which, **json.loads(done.stdout)}
            self.rows.append(row)
            return row
        finally:
            server.stop()


def heading(which, described):
    count, size, largest = described
    kind = "saved pages" if which == "real" else "pages made of several pages of one site (marked: not real ones)"
    print(f"\n{count} {kind}, {size / count / 1024:.1f} KiB on average, {largest / 1024:.0f} KiB at most")
    print(f"{'server':24} {'conn.':>5} {'pages/s':>8} {'p50 ms':>7} {'p99 ms':>7} {'CPU ms':>7} {'parse ms':>8} "
          f"{'ratio':>6} {'pages/CPU s':>11} {'PSS MiB':>8} {'RSS MiB':>8} {'refused':>7} {'failed':>6}", flush=True)


def line(row):
    memory = row["memory"][-1]
    print(f"{row['server']:24} {row['parallel']:>5} {row['pages_per_second']:>8.0f} {row['p50_ms']:>7.2f} "
          f"{row['p99_ms']:>7.2f} {row['cpu_ms_per_page']:>7.3f} {row['parse_ms_per_page']:>8.3f} {row['ratio']:>6.2f} "
          f"{row['pages_per_cpu_second']:>11.0f} {memory['pss_mib']:>8.1f} {memory['rss_mib']:>8.1f} "
          f"{row['refused']:>7} {row['failed']:>6}", flush=True)


def compare(rows):
    """Pages per processor second beside the other filter's, over the same pages and connections."""
    others = {(row["pages_of"], row["parallel"]): row["pages_per_cpu_second"] for row in rows
              if row["server"] == "e2guardian"}
    for row in rows:
        other = others.get((row["pages_of"], row["parallel"]))
        if other and row["server"].startswith("sifterra"):
            row["times_e2guardian"] = row["pages_per_cpu_second"] / other
            print(f"{row['server']}, {row['pages_of']} pages, {row['parallel']} connections: "
                  f"{row['times_e2guardian']:.1f} times e2guardian's pages per processor second")


def soak(bench, requests, count):
    """Memory while one server answers many requests."""
    chosen = [entry for entry in bench.servers() if entry[0] == "sifterra, whole pages"]
    for name, service, start, more in chosen:
        passes = -(-requests // count)
        row = bench.measure(name + ", soak", service, start, more + ["--no-parse"], "real", 4, passes=passes,
                            seconds=bench.arguments.soak_seconds)
        print(f"\n{name}, memory over {row['requests']} requests:")
        for sample in row["memory"]:
            print(f"  after {sample['requests']:>7}: PSS {sample['pss_mib']:.1f} MiB, RSS {sample['rss_mib']:.1f} MiB "
                  f"in {sample['processes']} processes")


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(here, "..", "..", "build", "release"))
    parser.add_argument("--json")
    parser.add_argument("--parallel", default="1,2,4,8")
    parser.add_argument("--passes", type=int, default=20, help="over all pages, in each row")
    parser.add_argument("--seconds", type=int, default=6, help="that a row takes at most, about")
    parser.add_argument("--soak", type=int, default=200_000, help="requests; 0: none")
    parser.add_argument("--soak-seconds", type=int, default=300)
    parser.add_argument("--only", default="", help="rows whose server's name contains this")
    return parser.parse_args()


def main():
    options = arguments()
    options.build = os.path.abspath(options.build)
    corpus = os.environ.get("SIFTERRA_CORPUS")
    if not corpus:
        print("icap: skipped, SIFTERRA_CORPUS names no directory of real pages")
        return
    if not program("c-icap"):
        sys.exit("icap: c-icap is missing: packaging/apt-packages.txt")
    if not e2guardian.available():
        print(f"e2guardian: skipped, {e2guardian.MISSING}")
    directory = tempfile.mkdtemp(prefix="sifterra-icap-bench-")
    os.chmod(directory, 0o755)  # a server that becomes its own user reads here
    try:
        described = pages.write_pages(corpus, directory)
        bench = Bench(options, directory)
        for which in ("real", "joined"):
            heading(which, described[which])
            for name, service, start, more in bench.servers():
                if options.only not in name:
                    continue
                for parallel in map(int, options.parallel.split(",") if which == "real" else ["4"]):
                    line(bench.measure(name, service, start, more, which, parallel, passes=options.passes,
                                       seconds=options.seconds))
        print()
        compare(bench.rows)
        if options.soak and options.only in "sifterra, soak":
            soak(bench, options.soak, described["real"][0])
    finally:
        shutil.rmtree(directory, ignore_errors=True)
    if options.json:
        with open(options.json, "w") as file:
            json.dump({"rows": bench.rows, "pages": described}, file, indent=1)


main()
