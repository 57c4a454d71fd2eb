#!/usr/bin/env python3
"""An upgrade while accounts are managed and the services run: at no time is anything open that was closed, and afterwards all is new.

A small stand-in for systemctl hands what the packages' scripts ask of the service manager to the supervisor that runs the units here.
"""
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../services/setup"))
from case import Case, run_tests  # noqa: E402 (the path comes first)
from machine import FILTERED, ICAP, LISTED, NETFILTER, OVERRIDE, PROXY, until  # noqa: E402
from tools import PACKAGES, newer, packages, run  # noqa: E402

NEWER = "0.1.0+next"
QUESTIONS = "/run/systemctl"
SYSTEMCTL = """#!/usr/bin/python3
import json, socket, sys
with socket.socket(socket.AF_UNIX) as one:
    one.connect("%s")
    one.sendall(json.dumps(sys.argv[1:]).encode())
    one.shutdown(socket.SHUT_WR)
    said, status = json.loads(one.makefile().read())
print(said)
sys.exit(status)
""" % QUESTIONS


class Manager:
    """Answers systemctl. Sockets and paths are always there: the daemons open their own where nobody hands them one."""

    def __init__(self, units):
        self.units = units
        self.asked = []
        os.makedirs("/run/systemd/system", exist_ok=True)
        with open("/usr/local/sbin/systemctl", "w", encoding="ascii") as file:
            file.write(SYSTEMCTL)
        os.chmod("/usr/local/sbin/systemctl", 0o755)
        self.listening = socket.socket(socket.AF_UNIX)
        self.listening.bind(QUESTIONS)
        self.listening.listen()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            with self.listening.accept()[0] as one, one.makefile("rw") as file:
                words = [word for word in json.loads(file.read()) if not word.startswith("-")]
                self.asked.append(words)
                file.write(json.dumps(self._answer(words[0], [self.units[name] for name in words[1:] if name in self.units])))

    def _answer(self, verb, units):
        if verb in ("restart", "try-restart", "reload-or-restart"):
            for unit in units:
                starts = unit.starts
                process = unit.process
                process.send_signal(getattr(signal, unit.settings.get("KillSignal", ["SIGTERM"])[-1]))
                try:
                    process.wait(90)  # as systemd does
                except subprocess.TimeoutExpired:
                    process.kill()
                until(lambda unit=unit, starts=starts: unit.starts > starts, f"the restart of {unit.name}", 60)
        elif verb == "reload":
            for unit in units:
                unit.send(signal.SIGHUP)
        elif verb not in ("is-active", "is-enabled", "daemon-reload", "enable", "start"):
            return f"{verb}: not to be expected in an upgrade", 1
        return {"is-active": "active", "is-enabled": "enabled"}.get(verb, ""), 0


class Upgrade(Case):
    PATHS = ("/etc/sifterra/machine.json", "/etc/sifterra/ca.pem", "/etc/sifterra/ca-key.pem", "/etc/sifterra/pass-sites.txt",
             *(f"/Library/Managed Preferences/{name}/com.vendrel.hearthguard.contentfilter.plist" for name in (FILTERED, LISTED)))

    @classmethod
    def setUpClass(cls):
        cls.manager = Manager(cls.machine.units)
        os.environ["PATH"] = "/usr/local/sbin:" + os.environ["PATH"]

    def kept(self):
        found = {}
        for path in self.PATHS:
            with open(path, "rb") as file:
                found[path] = file.read(), os.stat(path).st_mode, os.stat(path).st_uid
        return found

    def pages(self):
        """Whether the good pages came; what must be closed is."""
        bad, unlisted = self.curl(FILTERED, "https://pages.example/bad"), self.curl(LISTED, "http://pages.example/good")
        for answer in (bad, self.curl(FILTERED, "http://pages.example/bad"), unlisted):
            self.assertNotIn(answer.body, (self.machine.bad, self.machine.good))
        answers = (self.curl(FILTERED, "https://pages.example/good"), self.curl(LISTED, "http://listed.example/good"))
        return all(answer.body == self.machine.good for answer in answers)

    def test_nothing_opens_meanwhile_and_all_is_new_afterwards(self):
        units = self.machine.units
        debs = {}
        for name, path in packages(self.machine.path_outside(self.machine.arguments.debs)).items():
            debs[name] = shutil.copy(path, "/tmp")
        changes = {"sifterra-machine": {"/usr/share/sifterra/setup/templates/squid.conf": "# of the next version\n"}}
        files = newer(debs, NEWER, changes)
        before, starts = self.kept(), {name: unit.starts for name, unit in units.items()}
        self.assertTrue(self.pages())
        with open("/tmp/log", "w", encoding="utf-8") as log:
            dpkg = subprocess.Popen(["dpkg", "--force-confdef", "--force-confold", "--install", *files.values()], stdout=log, stderr=log,
                                    env={"PATH": "/usr/local/sbin:/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive",
                                         "LC_ALL": "C.UTF-8", "HOME": "/root"})
            asked, served, away = 0, 0, 0.0
            while dpkg.poll() is None:
                began = time.monotonic()
                good = self.pages()
                asked, served = asked + 1, served + good
                away += 0 if good else time.monotonic() - began
        with open("/tmp/log", encoding="utf-8") as log:
            said = log.read()
        self.assertEqual(dpkg.returncode, 0, said)
        until(self.pages, "the good pages", 30)
        print(f"asked {asked} times meanwhile, {served} times with every good page, without for {away:.1f} s")
        self.assertGreater(asked, 0)
        self.assertLess(away, 30)
        lines = run("dpkg-query", "-W", "-f", "${Package} ${db:Status-Status} ${Version}\n", *PACKAGES).splitlines()
        self.assertEqual(sorted(lines), sorted(f"{name} installed {NEWER}" for name in PACKAGES), said)
        self.assertEqual(self.kept(), before)
        for name in (ICAP, PROXY, NETFILTER, OVERRIDE):
            self.assertGreater(units[name].starts, starts[name], (name, self.manager.asked))
            program = os.readlink(f"/proc/{units[name].process.pid}/exe")
            self.assertNotIn("deleted", program)
        with open("/etc/sifterra/squid.conf", encoding="utf-8") as file:
            self.assertTrue(file.read().endswith("# of the next version\n"))
        self.assertEqual(self.doctor(), [])

    def test_services_start_anew_when_the_programs_that_they_run_were_replaced(self):
        starts = self.machine.units[PROXY].starts
        for program in ("/usr/sbin/squid", "/usr/bin/c-icap"):
            run("dpkg-trigger", "--no-await", "--by-package=dpkg", program)
        self.manager.asked.clear()
        run("dpkg", "--triggers-only", "--pending")
        self.assertEqual(self.manager.asked, [["try-restart", ICAP, PROXY]])
        self.assertGreater(self.machine.units[PROXY].starts, starts)
        until(self.pages, "the good pages", 30)


if __name__ == "__main__":
    run_tests()
