#!/usr/bin/env python3
"""Every source is as clang-format would write it (`./dev format` mends it)."""
import subprocess
import sys

from sources import files


def main():
    root = sys.argv[1]
    return subprocess.run(["clang-format-14", "--dry-run", "-Werror", *files(root)], cwd=root).returncode


if __name__ == "__main__":
    sys.exit(main())
