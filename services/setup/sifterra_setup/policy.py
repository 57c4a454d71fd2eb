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
        run = self._run("show", "--json", name)
        try:
            shown = json.loads(run.stdout)
        except ValueError:
            shown = None
        # A broken policy is shown, with a status that is not good.
        if isinstance(shown, dict) and "state" in shown and (run.returncode == 0 or shown["state"] == "broken"):
            return shown
        raise Fault(f"{self.program} policy show --json: {_reason(run)}")

    def set(self, name, allow_list_only):
        """One mode on, the other off."""
        run = self._run("set", name, "--restrict", "on", "--filter", "off" if allow_list_only else "on",
                        "--allow-list-only", "on" if allow_list_only else "off")
        if run.returncode != 0:
            raise Fault(f"{self.program} policy set: {_reason(run)}")

    def judges(self, page):
        """What keeps the command from judging a page; empty when it does."""
        try:
            run = subprocess.run([self.program, "check", "-"], input=page, capture_output=True, check=False)
        except OSError as error:
            return f"{self.program}: {error.strerror}"
        if run.returncode in (0, 1):
            return ""
        return run.stderr.decode(errors="replace").strip() or f"it ended with the status {run.returncode}"

    def _run(self, *arguments):
        root = ["--root", self.root.directory] if self.root.staged else []
        try:
            return subprocess.run([self.program, "policy", *root, *arguments], capture_output=True, text=True, check=False)
        except OSError as error:
            raise Fault(f"{self.program}: {error.strerror}: install sifterra or name the command with --sifterra") from None


def _reason(run):
    return "; ".join(run.stderr.split("\n")[:-1]) or f"it ended with the status {run.returncode} and said: {run.stdout[:80].strip() or 'nothing'}"


def mode(shown):
    """In a word what a policy does; empty when it does nothing."""
    if shown.get("state") != "read" or not shown.get("restrict"):
        return ""
    if shown.get("allow-list-only"):
        return "allow list only"
    return "filter" if shown.get("filter") else ""
