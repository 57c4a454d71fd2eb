#!/usr/bin/env python3
"""sifterra-setup is killed at any point of its work: each file is the old one or the new one, and the next run mends the rest."""
import argparse
import json
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

KILLS = 500


class PowerLoss(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="setup.")
        self.addCleanup(shutil.rmtree, self.root)
        os.mkdir(self.root + "/etc")
        for name, text in (("passwd", "root:x:0:0::/root:/bin/sh\nsifterra-proxy:x:13:13::/bin:/bin/sh\nann:x:1001:1001::/:/bin/sh\n"),
                           ("group", "sifterra-proxy:x:13:\nann:x:1001:\n")):
            with open(f"{self.root}/etc/{name}", "w", encoding="ascii") as file:
                file.write(text)

    def command(self, *command):
        return [sys.executable, "-I", arguments.setup, command[0], "--root", self.root, "--sifterra", arguments.sifterra,
                *command[1:]]

    def read(self, name):
        with open(f"{self.root}/etc/sifterra/{name}", encoding="utf-8") as file:
            return file.read()

    def test_files_are_whole_after_a_kill_at_any_point(self):
        subprocess.run(self.command("enrol", "ann"), check=True, capture_output=True)
        whole = self.read("squid.conf")
        chance = random.Random(1)
        killed = between = 0
        for turn in range(KILLS):
            # Writes differ from turn to turn: the pause's end, and the port of the filter.
            machine = json.loads(self.read("machine.json"))
            port = 1000 + turn % 2
            machine["settings"] = {"icap-port": port}
            with open(self.root + "/machine", "w", encoding="utf-8") as file:
                json.dump(machine, file)
            os.rename(self.root + "/machine", self.root + "/etc/sifterra/machine.json")
            run = subprocess.Popen(self.command("pause", "ann", "--for", f"{turn + 10}m"), stdout=subprocess.DEVNULL)
            # The point at which the power goes: some milliseconds before or after the first file was written.
            first = self.root + "/etc/sifterra/machine.json"
            before = os.stat(first).st_ino
            while turn % 4 and run.poll() is None and os.stat(first).st_ino == before:
                pass
            time.sleep(chance.uniform(0, 0.015 if turn % 4 else 0.2))
            if run.poll() is None:
                run.send_signal(signal.SIGKILL)
            killed += run.wait() == -signal.SIGKILL
            self.assertEqual([user["name"] for user in json.loads(self.read("machine.json"))["users"]], ["ann"])
            self.assertEqual([user["name"] for user in json.loads(self.read("netfilterd.json"))["users"]], ["ann"])
            between += json.loads(self.read("machine.json"))["users"] != json.loads(self.read("netfilterd.json"))["users"]
            squid = self.read("squid.conf")
            self.assertIn(squid.replace(":1000/", ":344/").replace(":1001/", ":344/"), whole)
            self.assertTrue(squid.endswith('adaptation_meta X-Client-Username "ann" user0\n'))
        self.assertGreater(killed, KILLS // 4)
        self.assertGreater(between, 0)
        # What killed runs left behind goes with the next change of the same file that is a minute later.
        left = [os.path.join(folder, name) for folder, _, names in os.walk(self.root) for name in names if ".new-" in name]
        for path in left:
            os.utime(path, (0, 0))
        subprocess.run(self.command("apply"), check=True, capture_output=True)
        self.assertEqual([name for _, _, names in os.walk(self.root) for name in names if ".new-" in name], [])
        done = subprocess.run(self.command("doctor", "--faults"), capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)
        print(f"{killed} of {KILLS} runs were killed, {between} of them between two files; {len(left)} left a file behind")


parser = argparse.ArgumentParser()
parser.add_argument("--setup", required=True)
parser.add_argument("--sifterra", required=True)
arguments, rest = parser.parse_known_args()
unittest.main(argv=[sys.argv[0], "-v", *rest])
