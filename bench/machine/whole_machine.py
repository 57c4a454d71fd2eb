#!/usr/bin/env python3
"""What a filtered machine costs: time from enrolment to filtering, latency of allowed pages, and the services at rest.

  whole_machine.py --build BUILD [--json FILE] [--requests N] [--rounds N] [--rest SECONDS]

The machine is the one of the tests: this one through an overlay, in a network of its own with an origin on a wire. Latency
is measured through the same proxy with and without the filter, in turns, and for a user who is not managed; over one
connection, but for the last row, where each request makes its own.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

here = os.path.dirname(os.path.abspath(__file__))
root = os.path.normpath(os.path.join(here, "..", ".."))
sys.path[:0] = [os.path.join(root, "tests", "services", "setup"), here]
import machine as tested  # noqa: E402
from fetch import fetch  # noqa: E402

KINDS = (("HTTP, 48 KiB", "http://pages.example/long", False),
         ("HTTP, 256 KiB", "http://pages.example/very-long", False),
         ("HTTP, 256 KiB, 1 Gbit/s", "http://pages.example/very-long?bytes-a-second=125000000", False),
         ("HTTP, 256 KiB, 100 Mbit/s", "http://pages.example/very-long?bytes-a-second=12500000", False),
         ("HTTPS, 48 KiB", "https://pages.example/long", False),
         ("HTTPS, 48 KiB, connecting", "https://pages.example/long", True))
WITHOUT, WITH, DIRECT = "proxy alone", "with Sifterra", "no proxy"
SQUID = "/etc/sifterra/squid.conf"


def filters(machine):
    """Whether what is to be refused is, and the rest not; None while the proxy answers nothing."""
    answers = [fetch(machine.uids[tested.FILTERED], f"http://pages.example/{page}", 0) for page in ("bad", "good")]
    return {("403 Forbidden", True): True, (True, True): False}.get(tuple(answer == [] or answer for answer in answers))


def times_of(user, url, count, connect):
    answer = fetch(user, url, count, connect)
    if not isinstance(answer, list):
        raise AssertionError(f"{url}: {answer}")
    return answer


def switch_filter(machine, configuration, on):
    """The same proxy with the same rules, asking the filter or not."""
    if filters(machine) is on:
        return  # reading the same rules again would only end connections
    with open(SQUID, "w", encoding="utf-8") as file:
        file.write(configuration if on else "".join(
            line + "\n" for line in configuration.replace("icap_enable on", "icap_enable off").splitlines()
            if not line.startswith(("icap_service ", "adaptation_"))))
    machine.units[tested.PROXY].send_to_all(1)
    tested.until(lambda: filters(machine) is on, "the proxy with its new rules", 60)


def quantile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def latency(machine, requests, rounds, only):
    kinds = [kind for kind in KINDS if only in kind[0]]
    with open(SQUID, encoding="utf-8") as file:
        configuration = file.read()
    times = {}
    for number in range(rounds):
        for variant in (WITH, WITHOUT) if number % 2 == 0 else (WITHOUT, WITH):
            switch_filter(machine, configuration, variant == WITH)
            for kind, url, connect in kinds:
                times.setdefault((kind, variant), []).extend(times_of(machine.uids[tested.FILTERED], url, requests, connect))
        for kind, url, connect in kinds:
            times.setdefault((kind, DIRECT), []).extend(times_of(machine.uids[tested.UNMANAGED], url, requests, connect))
    switch_filter(machine, configuration, True)
    rows = []
    print(f"\n{'allowed page':26} {'way':14} {'requests':>8} {'p50 ms':>8} {'p99 ms':>8} {'added p50':>10} {'added p99':>10}")
    for kind, _, _ in kinds:
        base = times[kind, WITHOUT]
        for variant in (DIRECT, WITHOUT, WITH):
            values = times[kind, variant]
            row = {"kind": kind, "way": variant, "requests": len(values), "p50_ms": statistics.median(values),
                   "p99_ms": quantile(values, .99)}
            row["added_p50_ms"] = row["p50_ms"] - statistics.median(base)
            row["added_p99_ms"] = row["p99_ms"] - quantile(base, .99)
            rows.append(row)
            print(f"{kind:26} {variant:14} {row['requests']:>8} {row['p50_ms']:>8.2f} {row['p99_ms']:>8.2f} "
                  f"{row['added_p50_ms']:>+10.2f} {row['added_p99_ms']:>+10.2f}", flush=True)
    return rows


def processes(group):
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if os.getpgid(int(pid)) == group:
                yield pid
        except ProcessLookupError:
            continue


def usage(group):
    """PSS in MiB, processor seconds, and how many processes."""
    pss = ticks = count = 0
    for pid in processes(group):
        with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
            pss += next(int(line.split()[1]) for line in file if line.startswith("Pss:"))
        with open(f"/proc/{pid}/stat", encoding="utf-8", errors="replace") as file:
            ticks += sum(map(int, file.read().rpartition(")")[2].split()[11:13]))
        count += 1
    return pss / 1024, ticks / os.sysconf("SC_CLK_TCK"), count


def rest(machine, seconds):
    groups = {name: unit.process.pid for name, unit in machine.units.items()}
    before = {name: usage(group) for name, group in groups.items()}
    time.sleep(seconds)  # nobody asks for anything: this is what is measured
    rows = []
    print(f"\n{'at rest':34} {'processes':>9} {'PSS MiB':>8} {'CPU ms a minute':>16}")
    for name, group in groups.items():
        pss, spent, count = usage(group)
        rows.append({"service": name, "processes": count, "pss_mib": pss,
                     "cpu_ms_per_minute": (spent - before[name][1]) * 1000 * 60 / seconds})
    rows.append({"service": "all", **{key: sum(row[key] for row in rows)
                                      for key in ("processes", "pss_mib", "cpu_ms_per_minute")}})
    for row in rows:
        print(f"{row['service']:34} {row['processes']:>9} {row['pss_mib']:>8.1f} {row['cpu_ms_per_minute']:>16.0f}", flush=True)
    return rows


def inside(options):
    """The bench itself, in namespaces of its own."""
    machine = tested.Machine(options.inside, options)
    machine.build()
    try:
        begin = time.perf_counter()
        machine.enrol()
        enrolled = time.perf_counter()
        machine.start()
        tested.until(lambda: filters(machine), "the filter", 60)
        filtering = time.perf_counter()
        print(f"two users enrolled in {enrolled - begin:.1f} s, and filtered {filtering - enrolled:.1f} s later")
        report = {"enrol_s": enrolled - begin, "start_to_filtering_s": filtering - enrolled,
                  "latency": latency(machine, options.requests, options.rounds, options.only), "rest": rest(machine, options.rest)}
    except BaseException:
        print(machine.outputs(), file=sys.stderr)
        raise
    finally:
        machine.stop()
    with open(options.report, "w", encoding="ascii") as file:
        json.dump(report, file, indent=1)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(root, "build", "release"))
    parser.add_argument("--json")
    parser.add_argument("--requests", type=int, default=200, help="in each round, of each kind, on each way")
    parser.add_argument("--rounds", type=int, default=4)
    parser.add_argument("--only", default="", help="rows of latency whose name contains this")
    parser.add_argument("--rest", type=int, default=30, help="seconds")
    parser.add_argument("--inside", help=argparse.SUPPRESS)
    parser.add_argument("--report", help=argparse.SUPPRESS)
    options = parser.parse_args()
    options.build, options.source = os.path.abspath(options.build), root
    programs = os.path.join(options.build, "bin")
    options.sifterra = os.path.join(programs, "sifterra")
    options.netfilterd = os.path.join(programs, "sifterra-netfilterd")
    options.override = os.path.join(programs, "sifterra-override")
    options.module = os.path.join(options.build, "lib", "srv_sifterra.so")
    options.packages = None
    if options.inside:
        inside(options)
        return
    if os.geteuid() != 0:
        print("machine: skipped, namespaces and an overlay need root")
        return
    with tempfile.TemporaryDirectory() as folder:
        report = os.path.join(options.build, "machine-bench.json")
        done = subprocess.run(["unshare", "--net", "--mount", sys.executable, os.path.abspath(__file__), "--inside", folder,
                               "--report", report, *sys.argv[1:]], check=False)
        if done.returncode != 0:
            sys.exit(done.returncode)
    if options.json:
        os.replace(report, options.json)


main()
