#!/usr/bin/env python3
"""The program reads what corpus/compose.py writes: read_test.py SIFTERRA MAP"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

COMPOSE = pathlib.Path(__file__).resolve().parents[2] / "corpus" / "compose.py"


def main():
    command, judging = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        pages = os.path.join(folder, "own.jsonl.gz")
        subprocess.run([sys.executable, str(COMPOSE), "--pages-per-language", "4", "--background", "", "-o", pages], check=True)
        run = subprocess.run([command, "evaluate", "--json", "--map", judging, pages], capture_output=True, text=True, check=False)
    if run.returncode != 0:
        print(run.stderr)
        return 1
    told = json.loads(run.stdout)
    print(json.dumps({name: value for name, value in told.items() if not isinstance(value, (list, dict))}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
