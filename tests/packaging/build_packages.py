#!/usr/bin/env python3
"""Makes the five packages of the tree that the preset `package` builds. Its compiler commands are the release tree's, so that with
ccache little is compiled twice; `./dev package` compiles hardened instead.
"""
import argparse
import os
import re

from tools import PACKAGES, need, packages, run


def first(pattern, path):
    with open(path, encoding="utf-8") as file:
        return re.search(pattern, file.read()).group(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("source", "output"):
        parser.add_argument(f"--{name}", required=True)
    arguments = parser.parse_args()
    need("dh", "dh_apparmor", "dpkg-buildpackage")
    versions = [first(r"project\(sifterra VERSION ([0-9.]+)", os.path.join(arguments.source, "CMakeLists.txt")),
                first(r"^sifterra \(([^)]+)\)", os.path.join(arguments.source, "packaging/debian/changelog"))]
    assert versions[0] == versions[1], f"the packages' changelog is of another version than the project: {versions}"
    os.environ.setdefault("CCACHE_BASEDIR", arguments.source)
    os.environ.setdefault("CCACHE_NOHASHDIR", "1")
    run("cmake", "--preset", "package", cwd=arguments.source)
    run("cmake", "--build", "--preset", "package", cwd=arguments.source)
    # Symbols for debuggers are nobody's here, and packages that are installed once need not be small.
    environment = {**os.environ, "DEB_BUILD_OPTIONS": "parallel=2 noautodbgsym", "DPKG_DEB_COMPRESSOR_TYPE": "gzip",
                   "DPKG_DEB_COMPRESSOR_LEVEL": "1"}
    output = run(os.path.join(arguments.source, "packaging/debian-packages.sh"), arguments.output,
                 os.path.join(arguments.source, "build/package"), env=environment)
    assert sorted(packages(arguments.output)) == sorted(PACKAGES), output
    print("\n".join(output.splitlines()[-len(PACKAGES):]))


main()
