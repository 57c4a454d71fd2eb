#!/usr/bin/env python3
"""Runs clang-tidy over the sources that the build tree compiles: src/ and tools/, with --all also the tests."""
import argparse
import concurrent.futures
import json
import os
import subprocess
import sys

from sources import finish


def sources(build, root, folders):
    with open(os.path.join(build, "compile_commands.json")) as database:
        paths = {os.path.relpath(entry["file"], root) for entry in json.load(database)}
    return sorted(path for path in paths if path.startswith(folders) and path.endswith((".cpp", ".c")))


# Over the option parser's headers, which every command includes, this check takes longer than all others together.
SLOW_IN_TOOLS = "--checks=-performance-unnecessary-value-param"


def lint(build, root, path, thorough):
    spared = [SLOW_IN_TOOLS] if path.startswith("tools/") and not thorough else []
    run = subprocess.run(["clang-tidy-14", "--quiet", "-p", build, "--warnings-as-errors=*", *spared, path],
                         cwd=root, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return "" if run.returncode == 0 else run.stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--root", default=os.getcwd())
    parser.add_argument("--all", action="store_true")
    arguments = parser.parse_args()
    folders = ("src/", "tools/", "services/") + (("tests/", "fuzz/", "bench/") if arguments.all else ())
    paths = sources(arguments.build, arguments.root, folders)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = pool.map(lambda path: lint(os.path.abspath(arguments.build), arguments.root, path, arguments.all),
                           paths)
        return finish(f"lint of {len(paths)} sources", [result for result in results if result])


if __name__ == "__main__":
    sys.exit(main())
