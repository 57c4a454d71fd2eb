#!/usr/bin/env python3
"""The manual page and the completions tell of the same commands and options as sifterra-setup --help."""
import argparse
import functools
import os
import re
import subprocess
import sys
import unittest

# Every command takes them, and the manual tells of them once.
EVERYWHERE = {"--help", "--root", "--sifterra"}


@functools.lru_cache
def help_of(*command):
    return subprocess.run([sys.executable, arguments.setup, *command, "--help"], capture_output=True, text=True, check=True).stdout


def commands():
    text = help_of()
    return re.findall(r"^    (\w+) ", text[text.index("COMMAND\n"):], re.M)


def options_of(command):
    return set(re.findall(r"--[a-z][a-z-]*", help_of(command)))


def read(*path):
    with open(os.path.join(arguments.source, *path), encoding="utf-8") as file:
        return file.read()


def bash(*words):
    """What bash would offer after these words."""
    script = f"""source {arguments.source}/packaging/completions/sifterra-setup.bash
COMP_WORDS=(sifterra-setup "$@") COMP_CWORD=$#
_sifterra_setup
printf '%s\\n' "${{COMPREPLY[@]}}"
"""
    run = subprocess.run(["bash", "-c", script, "bash", *words], capture_output=True, text=True, check=True)
    return set(run.stdout.split())


class Documentation(unittest.TestCase):
    def test_help_names_the_commands(self):
        self.assertEqual(sorted(commands()),
                         ["apply", "approver", "doctor", "enrol", "pause", "remove", "resume", "show", "suspend", "wait"])

    def test_bash_offers_commands_and_their_options(self):
        self.assertEqual(bash(""), {*commands(), "--help"})
        self.assertEqual(bash("re"), {"resume", "remove"})
        for command in commands():
            with self.subTest(command=command):
                self.assertEqual(bash(command, "-"), options_of(command))
                self.assertEqual(bash("--root", "/", command, "-"), options_of(command))
        self.assertIn("root", bash("enrol", "roo"))

    def test_zsh_and_fish_name_them_all(self):
        zsh, fish = read("packaging/completions/_sifterra-setup"), read("packaging/completions/sifterra-setup.fish")
        for command in commands():
            self.assertIn(f"'{command}:", zsh)
            self.assertRegex(fish, rf"-a {command} -d ")
            for option in options_of(command):
                self.assertIn(option + "[" if option != "--help" else "--help", zsh, command)
                self.assertIn(f" -l {option[2:]} ", fish, command)

    def test_the_manual_page_names_them_all(self):
        page = read("docs/man/sifterra-setup.8").replace("\\-", "-")
        for command in commands():
            self.assertRegex(page, rf"(?m)^\\fB{command}\\fR")
            for option in options_of(command) - {"--help"}:
                self.assertIn(f"\\fB{option}\\fR", page, command)
        self.assertTrue(EVERYWHERE <= options_of("apply"))


parser = argparse.ArgumentParser()
parser.add_argument("--setup", required=True)
parser.add_argument("--source", required=True)
arguments, rest = parser.parse_known_args()
unittest.main(argv=[sys.argv[0], "-v", *rest])
