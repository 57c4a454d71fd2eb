"""Users' policies, through the command `sifterra policy`: it alone knows the files."""
import json
import subprocess

from .layout import Fault


class Policy:
    def __init__(self, root, program):
        self.root = root
        self.program = program

    def show(self, name):
        """The policy as an object: state, restrict, filter, allow-list-only, ..."""
        text = self._run("show", "--json", name)
        try:
            return json.loads(text)
        except ValueError:
            raise Fault(f"{self.program} policy show --json: expected an object, found {text[:80]}") from None

    def set(self, name, allow_list_only):
        """One mode on, the other off."""
        self._run("set", name, "--restrict", "on", "--filter", "off" if allow_list_only else "on",
                  "--allow-list-only", "on" if allow_list_only else "off")

    def judges(self, page):
        """What keeps the command from judging a page; empty when it does."""
        try:
            run = subprocess.run([self.program, "check", "-"], input=page, capture_output=True, check=False)
        except OSError as error:
            return f"{self.program}: {error.strerror}"
        return "" if run.returncode in (0, 1) else run.stderr.decode(errors="replace").strip()

    def _run(self, *arguments):
        root = ["--root", self.root.directory] if self.root.staged else []
        try:
            run = subprocess.run([self.program, "policy", *root, *arguments], capture_output=True, text=True, check=False)
        except OSError as error:
            raise Fault(f"{self.program}: {error.strerror}: install sifterra or name the command with --sifterra") from None
        if run.returncode not in (0, 1) and not run.stdout:  # a broken policy is shown, and an error
            raise Fault(f"{self.program} policy {arguments[0]}: {run.stderr.strip()}")
        return run.stdout


def mode(shown):
    """In a word what a policy does; empty when it does nothing."""
    if shown.get("state") != "read" or not shown.get("restrict"):
        return ""
    if shown.get("allow-list-only"):
        return "allow list only"
    return "filter" if shown.get("filter") else ""
