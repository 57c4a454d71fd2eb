"""Users' policies, through the command `sifterra policy`: it alone knows the files."""
import json
import subprocess

from .layout import Fault


class Policy:
    def __init__(self, root, program, account=None):
        """`account`: the number of the user as whom the command runs, root's own where there is none."""
        self.root = root
        self.program = program
        self.options = {"user": account, "group": account, "extra_groups": [], "cwd": "/"} if account else {}

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
        return self._problem(1, "check", "-", input=page)

    def shows_block_pages(self, name):
        """What keeps a user's block page from being made; empty when nothing does."""
        return self._problem(0, "blockpage", "--user", name, "--url", "http://closed.invalid/")

    def _problem(self, highest, *arguments, **options):
        try:
            run = subprocess.run([self.program, *arguments], capture_output=True, check=False, **options, **self.options)
        except OSError as error:
            return f"{self.program}: {error.strerror}"
        if 0 <= run.returncode <= highest:
            return ""
        # The last line is for people, those before are the library's.
        said = run.stderr.decode(errors="replace").strip().split("\n")[-1]
        return said.removeprefix("sifterra: ") or f"it ended with the status {run.returncode}"

    def _run(self, *arguments):
        root = ["--root", self.root.directory] if self.root.staged else []
        try:
            return subprocess.run([self.program, "policy", *root, *arguments], capture_output=True, text=True, check=False,
                                  **self.options)
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
    return "content filter" if shown.get("filter") else ""
