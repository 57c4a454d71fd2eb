#!/usr/bin/env python3
"""Writes the override service's texts and style as a C++ header, so that its pages depend on no file at run time."""
import argparse
import json
import pathlib

parser = argparse.ArgumentParser()
parser.add_argument("--texts", required=True, type=pathlib.Path)
parser.add_argument("--style", required=True, nargs=2, type=pathlib.Path, help="the block page's, and what is added")
parser.add_argument("--output", required=True, type=pathlib.Path)
arguments = parser.parse_args()

texts = {file.stem: json.loads(file.read_text(encoding="utf-8")) for file in sorted(arguments.texts.glob("*.json"))}
# Pure ASCII, cut into pieces: compilers limit the length of one literal.
everything = json.dumps(texts, sort_keys=True)
pieces = [everything[i:i + 2000] for i in range(0, len(everything), 2000)]


def literal(text):
    return 'R"TEXT(' + text + ')TEXT"'


header = ["// Made by embed.py; do not edit.", "#pragma once", "", "namespace sifterra::override_service {", "",
          "inline constexpr const char kOverrideTexts[] =", *("    " + literal(piece) for piece in pieces)]
header[-1] += ";"
for name, file in zip(("kBlockPageStyle", "kOverrideStyle"), arguments.style):
    header += ["", f"inline constexpr const char {name}[] = {literal(file.read_text(encoding='utf-8'))};"]
header += ["", "}  // namespace sifterra::override_service", ""]
arguments.output.parent.mkdir(parents=True, exist_ok=True)
arguments.output.write_text("\n".join(header), encoding="utf-8")
