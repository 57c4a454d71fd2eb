#!/usr/bin/env python3
"""Sources are plain ASCII without tabs, trailing blanks or missing line ends, and headers are read once."""
import os
import re
import sys

from sources import TEXT, files, finish

OTHERS = ["dev", ".ci/run", "CMakeLists.txt", "CMakePresets.json"]


def problems_of(root, path):
    with open(os.path.join(root, path), "rb") as source:
        data = source.read()
    for number, line in enumerate(data.split(b"\n"), 1):
        if any(byte > 126 for byte in line):
            yield f"{path}:{number}: not ASCII; escape it"
        if b"\t" in line or b"\r" in line:
            yield f"{path}:{number}: a tab or carriage return"
        if line.endswith(b" "):
            yield f"{path}:{number}: blanks at the end"
    if not data.endswith(b"\n"):
        yield f"{path}: no line end at the end"
    if path.endswith(".h") and not re.search(rb"^#pragma once$|^#ifndef \w+_H$", data, re.M):
        yield f"{path}: nothing keeps it from being read twice"


def main():
    root = sys.argv[1]
    paths = files(root, suffixes=TEXT) + OTHERS
    return finish("plain text", [problem for path in paths for problem in problems_of(root, path)])


if __name__ == "__main__":
    sys.exit(main())
