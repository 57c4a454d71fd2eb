"""A service manager in the small, for machines of a test: runs units as their files say, and starts again what ends.

It knows what Sifterra's units need of systemd.service(5): User, AmbientCapabilities, ExecStartPre, ExecStart, Restart, RestartSec and the directories
below /run, /var/lib and /var/log. Sandboxing is systemd's business and not tried here.
"""
import contextlib
import os
import pwd
import re
import shlex
import signal
import subprocess
import threading
import time

DIRECTORIES = {"RuntimeDirectory": "/run", "StateDirectory": "/var/lib", "LogsDirectory": "/var/log"}


class Unit:
    """A running unit. What it writes goes to one file, as to a journal."""

    def __init__(self, path, log):
        self.name = os.path.basename(path)
        self.settings = {}
        with open(path, encoding="utf-8") as file:
            for line in file:
                if re.match(r"\w+=", line):
                    key, value = line.strip().split("=", 1)
                    self.settings.setdefault(key, []).append(value)
        self.log_path = log
        self.log = open(log, "ab")
        self.starts = 0
        self.process = None
        self.wanted = threading.Event()
        self.thread = threading.Thread(target=self._keep, daemon=True)

    def _one(self, key, default=None):
        return self.settings.get(key, [default])[-1]

    def start(self):
        self.wanted.set()
        self.thread.start()

    def _keep(self):
        pause = float(self._one("RestartSec", "100ms").replace("ms", "")) / 1000
        while self.wanted.is_set():
            self._start_once()
            if self.process is not None:
                self.process.wait()
                self._end_rest()
            time.sleep(pause)  # as the unit asks

    def _start_once(self):
        account = pwd.getpwnam(self._one("User", "root"))
        for key, parent in DIRECTORIES.items():
            name = self._one(key)
            if name:
                path = os.path.join(parent, name)
                os.makedirs(path, exist_ok=True)
                os.chmod(path, int(self._one(key + "Mode", "0755"), 8))
                os.chown(path, account.pw_uid, account.pw_gid)
        options = {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": [], "stdout": self.log,
                   "stderr": self.log, "stdin": subprocess.DEVNULL, "umask": int(self._one("UMask", "0022"), 8)}
        capabilities = self._one("AmbientCapabilities")
        if capabilities:
            # Kept over the change of the account, which would else take them away.
            given = ",".join("+" + name.lower().removeprefix("cap_") for name in capabilities.split())
            keeping = ["setpriv", f"--reuid={account.pw_uid}", f"--regid={account.pw_gid}", "--clear-groups",
                       f"--inh-caps={given}", f"--ambient-caps={given}"]
            for key in ("user", "group", "extra_groups"):
                options.pop(key)
        else:
            keeping = []
        for command in self.settings.get("ExecStartPre", []):
            if subprocess.run(keeping + shlex.split(command), **options, check=False).returncode != 0:
                self.process = None
                return
        if self.wanted.is_set():
            self.process = subprocess.Popen(keeping + shlex.split(self._one("ExecStart")), start_new_session=True,
                                            **options)
            self.starts += 1

    def _end_rest(self):
        """What the main process leaves goes with it, as a control group does."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)

    def send(self, number):
        self.process.send_signal(number)

    def send_to_all(self, number):
        os.killpg(self.process.pid, number)

    def stop(self):
        self.wanted.clear()
        if self.process is not None and self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
        self.thread.join(10)
        self.log.close()

    def output(self):
        with open(self.log_path, encoding="utf-8", errors="replace") as file:
            return file.read()
