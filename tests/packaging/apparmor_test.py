#!/usr/bin/env python3
"""AppArmor's parser takes every profile. Nothing is loaded into a kernel."""
import argparse
import os

from tools import need, run


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--profiles", required=True)
    folder = parser.parse_args().profiles
    need("apparmor_parser")
    names = sorted(os.listdir(folder))
    assert names == ["sifterra-icap", "sifterra-netfilterd", "sifterra-override", "sifterra-proxy"], names
    for name in names:
        path = os.path.join(folder, name)
        run("apparmor_parser", "--skip-kernel-load", "--skip-cache", "--skip-read-cache", path)
        with open(path, encoding="ascii") as file:
            text = file.read()
        assert f"profile {name} " in text and f"include if exists <local/{name}>" in text, name


main()
