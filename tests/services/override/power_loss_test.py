#!/usr/bin/env python3
"""The override service is killed at any point of its writing: the policy is the old one or the new one, and nothing else of it changed."""
import os
import plistlib
import random
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from whole_service_test import ANN, ASK, arguments, as_user, main, plain, post

KILLS = 500
OTHER = {"restrictWeb": True, "useContentFilter": True, "other": [1, {"kept": b"bytes"}]}


def open_page(url):
    """All of it in one process of ann's: the answer's status, or why there is none."""
    try:
        page = post(ASK, {"url": plain(url), "title": plain("A page")})[2]
        token = re.search('name="token" value="([0-9a-f]{32})"', page).group(1)
        return post(ASK + "/allow", {"token": token, "name": "mother", "password": "secret", "scope": "site"})[0]
    except Exception as error:  # the service was killed
        return type(error).__name__


class PowerLoss(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="override.")
        self.addCleanup(shutil.rmtree, self.root)
        self.folder = os.path.join(self.root, "Library/Managed Preferences/ann")
        self.path = os.path.join(self.folder, "com.vendrel.hearthguard.contentfilter.plist")
        os.makedirs(self.folder)
        with open(self.path, "wb") as file:
            # Long, so that writing it takes its time.
            plistlib.dump({**OTHER, "filterWhitelist": [f"https://site{n}.example/" for n in range(2000)]}, file)

    def start(self):
        service = subprocess.Popen([arguments.service, "--root", self.root, "--state-directory", self.root, "--authenticator",
                                    "/bin/true"], stderr=subprocess.PIPE, text=True)
        while "listening" not in (line := service.stderr.readline()):
            self.assertIsNone(service.poll(), line)
        return service

    def sites(self):
        with open(self.path, "rb") as file:
            policy = plistlib.load(file)
        sites = policy.pop("filterWhitelist")
        self.assertEqual(policy, OTHER)
        return sites

    def test_the_policy_is_whole_after_a_kill_at_any_point(self):
        chance = random.Random(1)
        killed = written = between = attempts_left = 0
        sites = self.sites()
        for turn in range(KILLS):
            url = f"https://asked{turn}.example/"
            service = self.start()
            asking = threading.Thread(target=as_user, args=(ANN, (open_page, url)))
            asking.start()
            # The point at which the power goes: when a new file has appeared beside the old one, or at any other.
            before, end = set(os.listdir(self.folder)), time.monotonic() + 5
            while turn % 4 and asking.is_alive() and set(os.listdir(self.folder)) <= before and time.monotonic() < end:
                pass
            time.sleep(chance.uniform(0, 0.004 if turn % 4 else 0.15))
            service.send_signal(signal.SIGKILL)
            asking.join()
            killed += service.wait() == -signal.SIGKILL
            service.stderr.close()
            now = self.sites()
            self.assertIn(now, (sites, [*sites, url]))
            written += now != sites
            between += bool(set(os.listdir(self.folder)) - before)
            sites = now
        self.assertEqual(killed, KILLS)
        self.assertGreater(written, 0)
        self.assertLess(written, KILLS)
        # What a killed writer left behind is in nobody's way, and gone with the next change; beside the list of wrong passwords
        # with the next that is a minute later.
        for entry in os.scandir(self.root):
            if ".new-" in entry.name:
                attempts_left += 1
                os.utime(entry, (0, 0))
        service = self.start()
        self.assertEqual(as_user(ANN, (open_page, "https://last.example/")), 303)
        service.terminate()
        self.assertEqual(service.wait(), 0)
        service.stderr.close()
        self.assertEqual(self.sites(), [*sites, "https://last.example/"])
        self.assertEqual(sorted(os.listdir(self.folder)), [f".{os.path.basename(self.path)}.lock", os.path.basename(self.path)])
        self.assertEqual(sorted(os.listdir(self.root)), ["Library", "override-attempts.json"])
        print(f"{killed} kills: {written} times the new policy stood, {between} times the writer left something beside it, "
              f"{attempts_left} times something beside the list of wrong passwords")


if __name__ == "__main__":
    main(PowerLoss)
