"""What the tests on a whole machine share: asking for pages as a user, and what an answer must be."""
import argparse
import contextlib
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

from machine import Machine
from origin import ORIGIN

SKIPPED = 77
PROGRAMS = ("c-icap", "squid", "curl", "openssl", "nft", "ip", "update-ca-certificates")


def program(name):
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")


class Answer:
    def __init__(self, done, head, body):
        self.failure = done.stderr.strip()
        lines = head.split("\r\n\r\n")
        last = [block for block in lines if block.startswith("HTTP/")]
        self.head = last[-1] if last else ""
        self.status = int(self.head.split()[1]) if self.head else 0
        self.body = body

    def header(self, name):
        for line in self.head.split("\r\n")[1:]:
            key, _, value = line.partition(":")
            if key.lower() == name.lower():
                return value.strip()
        return None


class Case(unittest.TestCase):
    machine = None

    def curl(self, user, url, *options, environment=None):
        uid = self.machine.uids[user]
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            os.chmod(folder, 0o777)
            head, body = os.path.join(folder, "head"), os.path.join(folder, "body")
            done = subprocess.run(["curl", "-sS", "--max-time", "30", "-D", head, "-o", body, *options, url],
                                  capture_output=True, text=True, check=False, user=uid, group=uid, extra_groups=[],
                                  env={"PATH": "/usr/bin:/bin", "HOME": "/", **(environment or {})})
            texts = []
            for path in (head, body):
                with contextlib.suppress(FileNotFoundError), open(path, "rb") as file:
                    texts.append(file.read())
                    continue
                texts.append(b"")
            return Answer(done, texts[0].decode("latin-1"), texts[1])

    def assert_blocked(self, answer, why=None):
        self.assertEqual(answer.status, 403, (why, answer.failure, answer.head, answer.body[:300]))
        self.assertIn(b"<html", answer.body)
        self.assertIsNone(answer.header("X-Origin"))
        self.assertIn(b"webcontentfilter", answer.body, why)

    def assert_same(self, answer, body):
        self.assertEqual(answer.status, 200, (answer.failure, answer.head, answer.body[:300]))
        self.assertTrue(answer.body == body)
        self.assertIsNotNone(answer.header("X-Origin"))

    def certificate_issuer(self, user, host):
        """Who signed what the user's programs are shown for a host."""
        done = subprocess.run(["openssl", "s_client", "-connect", f"{ORIGIN}:443", "-servername", host],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                              user=self.machine.uids[user], extra_groups=[])
        return next((line for line in done.stdout.split("\n") if line.startswith("issuer=")), done.stderr)

    def doctor(self):
        done = subprocess.run(["/usr/sbin/sifterra-setup", "doctor", "--faults"], capture_output=True, text=True, check=False)
        faults = [line[len("FAULT  "):] for line in done.stdout.split("\n") if line.startswith("FAULT  ")]
        self.assertEqual((done.returncode, done.stderr), (1 if faults else 0, ""), done.stdout)
        return faults


def as_user(uid, action):
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        answer = b"nothing"
        try:
            os.setgroups([])
            os.setgid(uid)
            os.setuid(uid)
            answer = action()
        except BaseException as error:
            answer = type(error).__name__.encode()
        finally:
            view = memoryview(answer)
            while view:
                view = view[os.write(writing, view):]
            os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as file:
        answer = file.read()
    os.waitpid(child, 0)
    return answer


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def run_tests():
    """Like unittest.main, on a machine that is made for it; ends as skipped by name where that cannot be."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--source", required=True)
    for name in ("--build", "--netfilterd", "--override", "--sifterra", "--module", "--packages", "--debs", "--browser", "--inside", "--only"):
        parser.add_argument(name)
    arguments = parser.parse_args()
    if not arguments.inside:
        if os.geteuid() != 0:
            skip("a whole machine needs root for network namespaces")
        for layer in (arguments.packages or "").split(":"):
            if layer and not os.path.isdir(layer):
                skip("packaging.Machine made no machine")
        for name in PROGRAMS:
            if not program(name):
                skip(f"a whole machine needs the program {name}")
        if not os.path.exists("/usr/lib/squid/security_file_certgen"):
            skip("a whole machine needs squid-openssl")
        with tempfile.TemporaryDirectory() as folder:
            probe = subprocess.run(["unshare", "--net", "--mount", "sh", "-e", "-c", f"""
nft add table inet probe
mount -t tmpfs tmpfs {folder}
mkdir {folder}/upper {folder}/work {folder}/all
mount -t overlay overlay -o lowerdir=/,upperdir={folder}/upper,workdir={folder}/work {folder}/all
"""], capture_output=True, text=True, check=False)
            if probe.returncode != 0:
                skip(f"a whole machine needs nftables and an overlay in namespaces: {probe.stderr.strip()}")
            done = subprocess.run(["unshare", "--net", "--mount", sys.executable, os.path.abspath(sys.argv[0]), "--inside",
                                   folder, *sys.argv[1:]], check=False)
        sys.exit(done.returncode)
    Case.machine = machine = Machine(arguments.inside, arguments)
    machine.build()
    result = None
    try:
        machine.enrol()
        machine.start()
        loader = unittest.TestLoader()
        loader.testNamePatterns = [f"*{arguments.only}*"] if arguments.only else None
        result = unittest.TextTestRunner(verbosity=2).run(loader.loadTestsFromModule(sys.modules["__main__"]))
    finally:
        if result is None or not result.wasSuccessful():
            print(machine.outputs())
        machine.stop()
    sys.exit(0 if result.wasSuccessful() else 1)
