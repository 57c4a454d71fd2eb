#!/usr/bin/env python3
"""Each public header compiles alone with include/ only: the C header as C11 and C++17, the others as C++20."""
import argparse
import os
import subprocess
import sys

from sources import files, finish

WARNINGS = ["-Wall", "-Wextra", "-pedantic", "-Werror", "-fsyntax-only"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--root", required=True)
    parser.add_argument("--cc", required=True)
    parser.add_argument("--cxx", required=True)
    arguments = parser.parse_args()
    include = os.path.join(arguments.root, "include")
    compilations = [(arguments.cc, "c", "c11", "sifterra/sifterra.h"),
                    (arguments.cxx, "c++", "c++17", "sifterra/sifterra.h")]
    for path in files(arguments.root, ("include",), (".h",)):
        compilations.append((arguments.cxx, "c++", "c++20", os.path.relpath(path, "include")))
    problems = []
    for compiler, language, standard, header in compilations:
        run = subprocess.run([compiler, f"-std={standard}", *WARNINGS, "-I", include, "-x", language, "-"],
                             input=f'#include "{header}"\n#include "{header}"\n', text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if run.returncode != 0:
            problems.append(f"{header} as {standard}:\n{run.stdout}")
    return finish(f"public headers ({len(compilations)} compilations)", problems)


if __name__ == "__main__":
    sys.exit(main())
