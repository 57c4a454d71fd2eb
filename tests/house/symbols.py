#!/usr/bin/env python3
"""Compares what the shared library shows with packaging/symbols.txt, the package's symbols, the linker's map and sifterra.h.

With --update, writes packaging/symbols.txt anew and adds what is new to the package's; read the difference before you commit it.
"""
import argparse
import re
import subprocess
import sys

from sources import finish


def exported(library):
    run = subprocess.run(["nm", "-D", "-C", "--defined-only", library], check=True, text=True, stdout=subprocess.PIPE)
    names = (line.split(maxsplit=2) for line in run.stdout.splitlines())
    # The version itself is an absolute symbol; @@ separates it from the others' names. Weak functions are copies of
    # templates, which come and go with the optimiser.
    return {name.split("@@")[0] for _, kind, name in names if kind not in "AW"}


def difference(what, found, wanted):
    return [f"{what}: unexpected {name}" for name in sorted(found - wanted)] + \
           [f"{what}: missing {name}" for name in sorted(wanted - found)]


# Of the package's symbols: the name, as C or as C++, and the version that it came with. What is optional is not looked at.
PACKAGED = re.compile(r' (?:\(c\+\+\)"([^"]+)|(\w+))@SIFTERRA_1"? \S+$')


def packaged(folder, symbols=None):
    """The names in libsifterra1.symbols; given what the library shows, those are added that are missing."""
    path = f"{folder}/libsifterra1.symbols"
    with open(path) as lines:
        text = lines.read()
    names = {match.group(1) or match.group(2) for match in map(PACKAGED.match, text.splitlines()) if match}
    names.discard("SIFTERRA_1")
    if symbols:
        with open(f"{folder}/changelog") as lines:
            version = re.search(r"\((.+?)\)", lines.readline()).group(1)
        with open(path, "a") as output:
            for name in sorted(symbols - names):
                quoted = name if re.fullmatch(r"\w+", name) else f'(c++)"{name}'
                output.write(f" {quoted}@SIFTERRA_1{'' if quoted == name else chr(34)} {version}\n")
        return packaged(folder)
    return names


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", required=True)
    parser.add_argument("--library", required=True)
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()
    symbols = exported(arguments.library)
    path = f"{arguments.root}/packaging/symbols.txt"
    if arguments.update:
        with open(path, "w") as output:
            output.write("\n".join(sorted(symbols)) + "\n")
    with open(path) as lines:
        problems = difference("symbols.txt", symbols, set(lines.read().splitlines()))
    problems += difference("libsifterra1.symbols", symbols,
                           packaged(f"{arguments.root}/packaging/debian", arguments.update and symbols))
    c_symbols = {name for name in symbols if re.fullmatch(r"\w+", name)}
    with open(f"{arguments.root}/packaging/sifterra.map") as source:
        problems += difference("sifterra.map", c_symbols, set(re.findall(r"^    (\w+);", source.read(), re.M)))
    with open(f"{arguments.root}/include/sifterra/sifterra.h") as source:
        text = re.sub(r"/\*.*?\*/", "", source.read(), flags=re.S)
    declared = set(re.findall(r"^WF_EXPORT [^;]*?(\w+)(?:\([^;]*\))?;", text, re.M))
    problems += difference("sifterra.h", c_symbols, declared)
    return finish(f"{len(symbols)} symbols", problems)


if __name__ == "__main__":
    sys.exit(main())
