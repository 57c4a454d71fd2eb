#!/usr/bin/env python3
"""Debian's own checker of packages has nothing to say, and no override keeps it from saying it."""
import argparse
import os

from tools import need, packages, run


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--packages", required=True)
    parser.add_argument("--source", required=True)
    arguments = parser.parse_args()
    need("lintian", "dpkg-deb", "dh", "dh_apparmor")
    debian = os.path.join(arguments.source, "packaging/debian")
    overrides = [name for name in os.listdir(debian) if "lintian-overrides" in name]
    assert not overrides, overrides
    output = run("lintian", "--allow-root", "--fail-on", "error,warning", *packages(arguments.packages).values())
    assert not output, output


main()
