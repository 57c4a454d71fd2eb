#!/usr/bin/env python3
"""The whole on one machine: accounts are enrolled, and their web is filtered, from packet filter to block page.

`nobody` is filtered by content, `games` has a list of sites, `daemon` is not managed. Exits with 77 where the kernel, the rights or a
program for that are missing.
"""
import argparse
import contextlib
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from machine import (FILTERED, ICAP, LISTED, NETFILTER, PROXY, UNMANAGED, Machine, listens, run, until)
from origin import ELSEWHERE, ORIGIN, ORIGIN6

SKIPPED = 77
PROGRAMS = ("c-icap", "squid", "curl", "openssl", "nft", "ip", "update-ca-certificates")


def program(name):
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")


def example(name):
    with open(os.path.join(arguments.source, "examples", name), "rb") as file:
        return file.read()


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


class Whole(unittest.TestCase):
    def curl(self, user, url, *options):
        uid = machine.uids[user]
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            os.chmod(folder, 0o777)
            head, body = os.path.join(folder, "head"), os.path.join(folder, "body")
            done = subprocess.run(["curl", "-sS", "--max-time", "30", "-D", head, "-o", body, *options, url],
                                  capture_output=True, text=True, check=False, user=uid, group=uid, extra_groups=[],
                                  env={"PATH": "/usr/bin:/bin", "HOME": "/"})
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
                              user=machine.uids[user], extra_groups=[])
        return next((line for line in done.stdout.split("\n") if line.startswith("issuer=")), done.stderr)

    def test_a_refused_page_is_the_block_page(self):
        for scheme in ("http", "https"):
            for family in ("-4", "-6"):
                answer = self.curl(FILTERED, f"{scheme}://pages.example/bad", family)
                self.assert_blocked(answer, (scheme, family))
                self.assertNotIn(b"pornstars", answer.body)

    def test_an_allowed_page_arrives_byte_for_byte(self):
        for scheme in ("http", "https"):
            for family in ("-4", "-6"):
                with self.subTest(scheme=scheme, family=family):
                    self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/good", family), GOOD)
            self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/file"), machine.file)

    def test_a_listed_site_is_refused_before_it_is_asked(self):
        for scheme in ("http", "https"):
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://denied.example/good"), scheme)

    def test_users_are_told_apart(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(LISTED, f"{scheme}://listed.example/bad"), BAD)
            self.assert_blocked(self.curl(LISTED, f"{scheme}://pages.example/good"), scheme)
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://listed.example/bad"), scheme)

    def test_who_is_not_managed_is_untouched(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://pages.example/bad"), BAD)
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://dns.google/good"), GOOD)
        self.assertIn("Web of the test", self.certificate_issuer(UNMANAGED, "pages.example"))
        self.assert_same(self.curl(UNMANAGED, "http://pages.example:8080/bad"), BAD)

    def test_the_site_learns_nothing_of_the_proxy_nor_of_the_user(self):
        for scheme in ("http", "https"):
            direct = json.loads(self.curl(UNMANAGED, f"{scheme}://pages.example/headers").body)
            proxied = json.loads(self.curl(FILTERED, f"{scheme}://pages.example/headers").body)
            proxied.pop("Cache-Control", None)
            proxied.pop("Connection", None)
            self.assertEqual(proxied, direct)

    def test_secure_pages_are_opened_by_the_machines_authority_but_for_passed_sites(self):
        self.assertIn("Sifterra on ", self.certificate_issuer(FILTERED, "pages.example"))
        self.assertIn("Web of the test", self.certificate_issuer(FILTERED, "pinned.example"))
        self.assert_same(self.curl(FILTERED, "https://pinned.example/bad"), BAD)
        self.assert_blocked(self.curl(FILTERED, "http://pinned.example/bad"))

    def test_an_address_without_a_name_is_no_way_around(self):
        for address in (ORIGIN, f"[{ORIGIN6}]"):
            self.assert_blocked(self.curl(FILTERED, f"http://{address}/bad"), address)
            # The proxy takes no certificate for an address.
            self.assertEqual(self.curl(FILTERED, f"https://{address}/bad", "-k").status, 503)
        self.assertIn("curl: (7) ", self.curl(FILTERED, "http://pages.example:8080/bad").failure)

    def test_another_sites_name_is_no_way_around(self):
        # A site of the list, or a passed one, is named, and another is asked.
        for user, url in ((LISTED, "http://listed.example/bad"), (LISTED, "https://listed.example/bad"),
                          (FILTERED, "https://pinned.example/bad")):
            answer = self.curl(user, url, "-k", "--connect-to", f"::{ELSEWHERE}:")
            self.assertNotEqual(answer.body, BAD, url)
            self.assertIsNone(answer.header("X-Origin"), url)

    def test_a_tunnel_through_the_proxy_is_no_way_around(self):
        with_connect = self.curl(FILTERED, "https://pages.example/bad", "--proxy", f"http://{ORIGIN}:80")
        self.assertNotEqual(with_connect.body, BAD)
        for port in (10012, 10013, 10020, 10021, 10022, 10023):
            self.assertIn("curl: (7) ", self.curl(FILTERED, "http://pages.example/bad", "--proxy",
                                               f"http://127.0.0.1:{port}").failure, port)
        # Who is not managed gains nothing by them either.
        self.assertNotEqual(self.curl(UNMANAGED, "http://pages.example/bad", "--proxy", "http://127.0.0.1:10013").status, 200)

    def test_a_changed_environment_is_no_way_around(self):
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Client-Username: daemon"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "--noproxy", "*"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Authenticated-User: ZGFlbW9u"))

    def test_names_over_https_are_refused(self):
        self.assertNotEqual(self.curl(FILTERED, "https://dns.google/good").status, 200)
        self.assertEqual(self.curl(FILTERED, "http://dns.google/good").status, 403)
        # A resolver that nobody knows, by what it says and hears.
        self.assertEqual(self.curl(FILTERED, "https://pages.example/dns-query?dns=AAAB").status, 403)
        self.assertEqual(self.curl(FILTERED, "https://pages.example/good", "-H", "Content-Type: application/dns-message",
                                   "--data-binary", "abc").status, 403)

    def test_what_ends_comes_back_and_nothing_passes_meanwhile(self):
        for name in (ICAP, PROXY, NETFILTER):
            with self.subTest(unit=name):
                unit = machine.units[name]
                starts = unit.starts
                unit.send(signal.SIGKILL)
                killed = time.monotonic()
                while True:
                    answer = self.curl(FILTERED, "https://pages.example/bad")
                    self.assertNotEqual(answer.body, BAD)
                    if unit.starts > starts and answer.status == 403:
                        break
                    self.assertLess(time.monotonic() - killed, 20, machine.outputs())
                self.assertLess(time.monotonic() - killed, 5)
                self.assert_same(self.curl(FILTERED, "https://pages.example/good"), GOOD)

    def test_who_has_no_policy_sees_nothing(self):
        path = f"/Library/Managed Preferences/{FILTERED}/com.vendrel.hearthguard.contentfilter.plist"
        os.rename(path, path + ".away")
        try:
            for scheme in ("http", "https"):
                self.assertEqual(self.curl(FILTERED, f"{scheme}://pages.example/good").status, 403)
        finally:
            os.rename(path + ".away", path)
        self.assert_same(self.curl(FILTERED, "https://pages.example/good"), GOOD)

    def test_a_pause_opens_for_its_time_and_ends_by_itself(self):
        machine.setup("pause", FILTERED, "--for", "1h")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == BAD, "the pause")
        self.assert_blocked(self.curl(LISTED, "https://pages.example/good"))
        self.assertEqual(self.doctor(), [])
        machine.setup("resume", FILTERED)
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        with open("/etc/sifterra/machine.json", encoding="utf-8") as file:
            content = json.load(file)
        end = int(time.time()) + 4
        content["users"][0]["paused-until"] = end
        with open("/etc/sifterra/machine.json", "w", encoding="utf-8") as file:
            json.dump(content, file)
        machine.setup("apply")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == BAD, "the pause")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        self.assertGreaterEqual(time.time(), end)
        self.assertEqual(self.doctor(), [])
        machine.setup("resume", FILTERED)

    def test_the_proxy_waits_for_the_filter_after_a_start(self):
        icap, proxy = machine.units[ICAP], machine.units[PROXY]
        os.rename("/etc/sifterra/c-icap.conf", "/etc/sifterra/away")
        icap.send(signal.SIGKILL)
        until(lambda: not listens(10012), "the end of the filter")
        proxy.send(signal.SIGKILL)
        until(lambda: not listens(10020), "the end of the proxy")
        self.assertEqual(self.curl(FILTERED, "http://pages.example/good").status, 0)
        os.rename("/etc/sifterra/away", "/etc/sifterra/c-icap.conf")
        until(lambda: listens(10012), "the filter")
        began = time.monotonic()
        until(lambda: self.curl(FILTERED, "http://pages.example/good").status == 200, "the first page")
        self.assertLess(time.monotonic() - began, 5)

    def doctor(self):
        done = subprocess.run(["/usr/sbin/sifterra-setup", "doctor", "--faults"], capture_output=True, text=True, check=False)
        faults = [line[len("FAULT  "):] for line in done.stdout.split("\n") if line.startswith("FAULT  ")]
        self.assertEqual((done.returncode, done.stderr), (1 if faults else 0, ""), done.stdout)
        return faults

    def test_the_doctor_finds_nothing_wrong_and_what_is_wrong(self):
        self.assertEqual(self.doctor(), [])
        icap = machine.units[ICAP]
        icap.send_to_all(signal.SIGSTOP)
        try:
            self.assertEqual(self.doctor(), ["the ICAP service answers at port 10012: it does not answer"])
        finally:
            icap.send_to_all(signal.SIGCONT)
        os.rename("/etc/ssl/certs/ca-certificates.crt", "/etc/ssl/certs/away")
        os.rename("/usr/bin/c-icap", "/usr/bin/away")
        try:
            self.assertEqual(self.doctor(), ["/usr/bin/c-icap: it is missing",
                                             "/usr/local/share/ca-certificates/sifterra.crt: the system trusts it: it does not"])
        finally:
            os.rename("/etc/ssl/certs/away", "/etc/ssl/certs/ca-certificates.crt")
            os.rename("/usr/bin/away", "/usr/bin/c-icap")
        self.assertEqual(self.doctor(), [])

    def test_a_user_who_is_removed_is_free_and_the_other_is_not(self):
        machine.setup("remove", LISTED, "--keep-policies")
        try:
            machine.units[PROXY].send(signal.SIGHUP)
            until(lambda: self.curl(LISTED, "https://pages.example/bad").body == BAD, "the removal")
            self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad"))
        finally:
            machine.setup("enrol", LISTED)
            machine.units[PROXY].send(signal.SIGHUP)
        until(lambda: self.curl(LISTED, "https://pages.example/good").status == 403, "the enrolment")


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def main():
    if not arguments.inside:
        if os.geteuid() != 0:
            skip("setup.WholeMachine needs root for network namespaces")
        for name in PROGRAMS:
            if not program(name):
                skip(f"setup.WholeMachine needs the program {name}")
        if not os.path.exists("/usr/lib/squid/security_file_certgen"):
            skip("setup.WholeMachine needs squid-openssl")
        with tempfile.TemporaryDirectory() as folder:
            probe = subprocess.run(["unshare", "--net", "--mount", "sh", "-e", "-c", f"""
nft add table inet probe
mount -t tmpfs tmpfs {folder}
mkdir {folder}/upper {folder}/work {folder}/all
mount -t overlay overlay -o lowerdir=/,upperdir={folder}/upper,workdir={folder}/work {folder}/all
"""], capture_output=True, text=True, check=False)
            if probe.returncode != 0:
                skip(f"setup.WholeMachine needs nftables and an overlay in namespaces: {probe.stderr.strip()}")
            done = subprocess.run(["unshare", "--net", "--mount", sys.executable, os.path.abspath(__file__), "--inside",
                                   folder, *sys.argv[1:]], check=False)
        sys.exit(done.returncode)
    globals()["machine"] = Machine(arguments.inside, arguments)
    globals()["GOOD"], globals()["BAD"] = example("garden-diary.html"), example("adult-video-site.html")
    machine.build()
    try:
        machine.enrol()
        machine.start()
        suite = unittest.defaultTestLoader.loadTestsFromTestCase(Whole)
        if arguments.only:
            suite = unittest.TestSuite(Whole(name) for name in arguments.only.split(","))
        result = unittest.TextTestRunner(verbosity=2).run(suite)
        if not result.wasSuccessful():
            print(machine.outputs())
    except AssertionError:
        print(machine.outputs())
        raise
    finally:
        machine.stop()
    sys.exit(0 if result.wasSuccessful() else 1)


parser = argparse.ArgumentParser()
parser.add_argument("--build", required=True)
parser.add_argument("--source", required=True)
for name in ("netfilterd", "override", "sifterra", "module", "inside", "only"):
    parser.add_argument("--" + name)
arguments = parser.parse_args()
main()
