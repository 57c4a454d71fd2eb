#!/usr/bin/env python3
"""sifterra-setup on machines that are staged below a directory: which files it makes, and what it says."""
import argparse
import base64
import json
import os
import plistlib
import re
import shutil
import ssl
import stat
import subprocess
import sys
import tempfile
import time
import unittest

PASSWD = """root:x:0:0:root:/root:/bin/bash
sifterra-proxy:x:13:13::/:/usr/sbin/nologin
sifterra-icap:x:102:105::/var/run/c-icap:/usr/sbin/nologin
ann:x:1001:1001::/home/ann:/bin/bash
ben:x:1002:1002::/home/ben:/bin/bash
carl:x:1003:1003::/home/carl:/bin/bash
mother:x:1004:1004::/home/mother:/bin/bash
"""
RELAYS = [1080, 1344, 3128, 4444, 8118, 8123, 8888, 9040, 9050, 9051, 9150]
GROUP = "root:x:0:\nsifterra-approvers:x:106:mother\nsifterra-proxy:x:13:\nann:x:1001:\nben:x:1002:\ncarl:x:1003:\nsudo:x:27:carl\n"


class Staged(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="setup.")
        self.addCleanup(shutil.rmtree, self.root)
        os.chmod(self.root, 0o755)
        self.put("/etc/passwd", PASSWD)
        self.put("/etc/group", GROUP)
        self.put("/etc/hostname", "kitchen\n")

    def path(self, path):
        return self.root + path

    def put(self, path, text):
        os.makedirs(os.path.dirname(self.path(path)), exist_ok=True)
        with open(self.path(path), "w", encoding="utf-8") as file:
            file.write(text)

    def text(self, path):
        with open(self.path(path), encoding="utf-8") as file:
            return file.read()

    def json(self, path):
        return json.loads(self.text(path))

    def files(self):
        return {os.path.join(folder, name)[len(self.root):] for folder, _, names in os.walk(self.root) for name in names}

    def run_setup(self, command, *more):
        return subprocess.run([sys.executable, arguments.setup, command, "--root", self.root, "--sifterra",
                               arguments.sifterra, *more], capture_output=True, text=True, check=False)

    def done(self, *command):
        run = self.run_setup(*command)
        self.assertEqual((run.returncode, run.stderr), (0, ""), command)
        return run.stdout

    def refused(self, *command):
        run = self.run_setup(*command)
        self.assertEqual((run.returncode, run.stdout), (2, ""), command)
        self.assertEqual(run.stderr.count("\n"), 1)
        return run.stderr

    def policy(self, name):
        with open(self.path(f"/Library/Managed Preferences/{name}/com.vendrel.hearthguard.contentfilter.plist"), "rb") as file:
            return plistlib.load(file)

    def openssl(self, *options):
        return subprocess.run(["openssl", "x509", "-in", self.path("/etc/sifterra/ca.pem"), "-noout", *options], check=True,
                              capture_output=True, text=True).stdout


class Enrol(Staged):
    def test_the_first_user_makes_every_file(self):
        before = self.files()
        self.assertEqual(self.done("enrol", "ann"), "ann is filtered (content filter).\n")
        made = self.files() - before
        preferences = "/Library/Managed Preferences/ann/"
        self.assertEqual({path for path in made if not path.endswith(".lock")}, {
            "/etc/sifterra/machine.json", "/etc/sifterra/netfilterd.json", "/etc/sifterra/squid.conf",
            "/etc/sifterra/c-icap.conf", "/etc/sifterra/pass-sites.txt", "/etc/sifterra/websocket-sites.txt", "/etc/sifterra/ca.pem",
            "/etc/sifterra/ca-key.pem", "/usr/local/share/ca-certificates/sifterra.crt",
            "/etc/chromium/policies/managed/sifterra.json", "/etc/opt/chrome/policies/managed/sifterra.json",
            "/etc/firefox/policies/policies.json",
            preferences + "com.vendrel.hearthguard.contentfilter.plist"})

    def test_users_have_ports_of_their_own(self):
        self.done("enrol", "ann")
        self.done("enrol", "ben", "--allow-list-only")
        self.assertEqual(self.json("/etc/sifterra/machine.json"), {"users": [
            {"name": "ann", "http-port": 10020, "https-port": 10021},
            {"name": "ben", "http-port": 10022, "https-port": 10023}], "settings": {}})
        self.assertEqual(self.json("/etc/sifterra/netfilterd.json"), {
            "users": [{"name": "ann", "http-port": 10020, "https-port": 10021},
                      {"name": "ben", "http-port": 10022, "https-port": 10023}],
            "proxy-user": "sifterra-proxy", "filter-https": True, "closed-local-ports": RELAYS + [344, 10013],
            "guarded-local-ports": [10011]})
        squid = self.text("/etc/sifterra/squid.conf")
        for line in ("http_port 127.0.0.1:10020 intercept name=user0-http4", "http_port [::1]:10022 intercept name=user1-http6",
                     "acl user1 myportname user1-http4 user1-http6 user1-https4 user1-https6",
                     'adaptation_meta X-Client-Username "ann" user0', 'adaptation_meta X-Client-Username "ben" user1'):
            self.assertIn("\n" + line + "\n", squid)
        self.assertRegex(squid, r"\nhttps_port \[::1\]:10023 intercept ssl-bump [^\n]* name=user1-https6\n")

    def test_the_proxy_takes_a_page_as_a_whole_before_its_reader_does(self):
        self.done("enrol", "ann")
        squid = self.text("/etc/sifterra/squid.conf")
        self.assertIn("\nread_ahead_gap 1 MB\n", squid)  # less, and ends of pages get lost
        self.assertIn("\nreply_header_max_size 32 KB\n", squid)

    def test_modes_are_what_was_asked_for(self):
        self.done("enrol", "ann", "--filter")
        self.assertTrue(self.policy("ann")["useContentFilter"] and self.policy("ann")["restrictWeb"])
        self.assertEqual(self.done("enrol", "ann", "--allow-list-only"), "ann is filtered (allow list only).\n")
        self.assertTrue(self.policy("ann")["whitelistEnabled"])
        self.assertFalse(self.policy("ann")["useContentFilter"])

    def test_enrolling_again_changes_nothing(self):
        self.done("enrol", "ann", "--allow-list-only")
        before = {path: self.identity(path) for path in self.files()}
        self.assertEqual(self.done("enrol", "ann"), "ann is filtered (allow list only).\n")
        self.assertEqual({path: self.identity(path) for path in self.files()}, before)

    def identity(self, path):
        status = os.stat(self.path(path))
        return status.st_ino, status.st_mtime_ns

    def test_nothing_passes_by_the_filter_in_the_proxys_configuration(self):
        self.done("enrol", "ann")
        squid = self.text("/etc/sifterra/squid.conf")
        services = re.findall(r"^icap_service .*$", squid, re.M)
        self.assertEqual([line.split()[1] for line in services], ["sifterra_request", "sifterra_page", "sifterra_response"])
        # Whatever is no page by its type goes to the last one, but for events that a script listens to.
        self.assertEqual(re.findall(r"^adaptation_access +(.*)$", re.sub(" +", " ", squid), re.M),
                         ["sifterra_request deny tunnel", "sifterra_page deny tunnel", "sifterra_response deny tunnel",
                          "sifterra_page allow page mark_received", "sifterra_page deny all",
                          "sifterra_response deny events listens", "sifterra_request allow all",
                          "sifterra_response allow mark_received"])
        for line in services:
            self.assertIn("bypass=off", line)
            self.assertIn("icap://127.0.0.1:344/sifterra", line)
        for port in re.findall(r"^https?_port (\S+)", squid, re.M):
            self.assertRegex(port, r"^(127\.0\.0\.1|\[::1\]):\d+$")
        # What the access rules and the rules for secure pages are, in their order.
        self.assertEqual(re.findall(r"^http_access (.*)$", squid, re.M),
                         ["deny manager", "deny closed", "deny plain tunnel", "deny opened tunnel", "deny to_localhost",
                          "deny dns_host", "deny dns_question", "deny !web !tunnel", "allow plain", "allow secure", "deny all"])
        self.assertEqual(re.findall(r"^ssl_bump (.*)$", squid, re.M),
                         ["peek hello", "terminate dns_name", "splice passed", "bump mark_opened"])
        icap = self.text("/etc/sifterra/c-icap.conf")
        self.assertIn("\nPort 127.0.0.1:344\n", icap)
        self.assertIn("\nsifterra.UnknownUser closed\n", icap)
        self.assertIn("\nAccessLog /dev/null\n", icap)
        self.assertIn("\nsifterra.BrokenPolicy closed\n", icap)

    def test_an_account_that_cannot_be_managed_is_refused(self):
        for name, problem in (("nobody-here", 'there is no account "nobody-here": make it first (adduser nobody-here)'),
                              ("root", "root cannot be managed"),
                              ("sifterra-proxy", "sifterra-proxy runs the filter and cannot be managed"),
                              ("sifterra-icap", "sifterra-icap runs the filter and cannot be managed"),
                              ("mother", "mother opens closed pages and cannot be managed: sifterra-setup approver mother --remove"),
                              ('a"b', "expected an account's name of letters, digits, and . _ -, found a\"b"),
                              ("", "expected an account's name of letters, digits, and . _ -, found nothing"),
                              ("ann@school", "expected an account's name of letters, digits, and . _ -, found ann@school")):
            before = self.files()
            self.assertEqual(self.refused("enrol", name), f"sifterra-setup: {problem}\n")
            self.assertEqual(self.files(), before)

    def test_an_administrator_is_enrolled_with_a_warning(self):
        run = self.run_setup("enrol", "carl")
        self.assertEqual(run.returncode, 0)
        self.assertEqual(run.stderr, "sifterra-setup: carl is in the group sudo and can turn the filter off: "
                                     "deluser carl sudo\n")


    def test_every_group_that_gives_power_over_the_machine_is_warned_of(self):
        for group in ("incus", "incus-admin", "vboxusers", "libvirt", "docker", "lxd", "kvm", "disk", "staff", "input"):
            self.put("/etc/group", GROUP + f"{group}:x:999:ann\n")
            self.assertIn(f"ann is in the group {group} and can turn the filter off", self.run_setup("enrol", "ann").stderr)

    def test_who_enrols_learns_that_nobody_opens_pages_yet(self):
        self.put("/etc/group", GROUP.replace("106:mother", "106:"))
        self.assertEqual(self.done("enrol", "ann"), "ann is filtered (content filter).\nNobody can open closed pages yet: sifterra-setup "
                                                    "approver NAME makes an account for that alone.\n")

    def test_a_policy_that_cannot_be_written_or_read_is_no_enrolment(self):
        program = self.path("/sifterra")
        for script, problem in (("echo half; exit 1", "policy show --json: it ended with the status 1 and said: half"),
                                ("echo '{}'", "policy show --json: it ended with the status 0 and said: {}"),
                                ("echo broken >&2; exit 2", "policy show --json: broken"),
                                ("kill -9 $$", "policy show --json: it ended with the status -9 and said: nothing"),
                                ('case "$*" in *show*) echo \'{"state": "absent"}\';; *) echo 1 changed; exit 1;; esac',
                                 "policy set: it ended with the status 1 and said: 1 changed")):
            self.put("/sifterra", "#!/bin/sh\n" + script + "\n")
            os.chmod(program, 0o755)
            run = subprocess.run([sys.executable, arguments.setup, "enrol", "--root", self.root, "--sifterra", program, "ann"],
                                 capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stdout, run.stderr), (2, "", f"sifterra-setup: {program} {problem}\n"))
            self.assertFalse(os.path.exists(self.path("/etc/sifterra/machine.json")))

    def test_accounts_are_not_made_on_a_staged_machine(self):
        self.assertEqual(self.refused("approver", "mother"),
                         "sifterra-setup: accounts are made on the running machine alone: leave --root out\n")
        self.done("enrol", "ann")
        self.assertEqual(self.refused("approver", "ann"), "sifterra-setup: ann is managed and cannot open pages\n")


class Authority(Staged):
    def test_it_can_name_servers_and_nothing_else(self):
        self.done("enrol", "ann")
        extensions = self.openssl("-ext", "basicConstraints,keyUsage,extendedKeyUsage,nameConstraints", "-subject")
        self.assertIn("X509v3 Basic Constraints: critical\n    CA:TRUE, pathlen:0\n", extensions)
        self.assertIn("X509v3 Key Usage: critical\n    Certificate Sign, CRL Sign\n", extensions)
        self.assertIn("X509v3 Extended Key Usage: \n    TLS Web Server Authentication\n", extensions)
        self.assertIn("X509v3 Name Constraints: critical\n", extensions)
        self.assertIn("DNS:localhost", extensions)
        self.assertIn("subject=CN = Sifterra on kitchen, O = Sifterra", extensions)

    def test_the_key_is_for_the_proxy_alone(self):
        self.done("enrol", "ann")
        status = os.stat(self.path("/etc/sifterra/ca-key.pem"))
        self.assertEqual(stat.S_IMODE(status.st_mode), 0o400)
        if os.geteuid() == 0:
            self.assertEqual((status.st_uid, status.st_gid), (13, 13))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("/etc/sifterra/ca.pem")).st_mode), 0o644)

    def test_every_machine_has_its_own_and_keeps_it(self):
        self.done("enrol", "ann")
        first = self.text("/etc/sifterra/ca.pem")
        self.done("enrol", "ben")
        self.assertEqual(self.text("/etc/sifterra/ca.pem"), first)
        self.assertEqual(self.text("/usr/local/share/ca-certificates/sifterra.crt"), first)
        other = Staged()
        other.setUp()
        try:
            other.done("enrol", "ann")
            self.assertNotEqual(other.text("/etc/sifterra/ca.pem"), first)
        finally:
            other.doCleanups()


class Browsers(Staged):
    FIREFOX = "/etc/firefox/policies/policies.json"

    def test_all_users_browsers_trust_the_authority_and_keep_no_approvers_password(self):
        self.done("enrol", "ann")
        der = ssl.PEM_cert_to_DER_cert(self.text("/etc/sifterra/ca.pem"))
        for path in ("/etc/chromium/policies/managed/sifterra.json", "/etc/opt/chrome/policies/managed/sifterra.json"):
            self.assertEqual(self.json(path), {"CACertificates": [base64.b64encode(der).decode()],
                                               "PasswordManagerBlocklist": ["http://127.0.0.1:10011"]})
        self.assertEqual(self.json(self.FIREFOX), {"policies": {"Certificates": {"Install": ["/etc/sifterra/ca.pem"]},
                                                                "PasswordManagerExceptions": ["http://127.0.0.1:10011"]}})

    def detours(self, told):
        self.put("/etc/sifterra/machine.json", json.dumps({**self.machine(), "settings": {"browser-detours": told}}))

    def machine(self):
        try:
            return self.json("/etc/sifterra/machine.json")
        except FileNotFoundError:
            return {}

    def test_they_are_told_to_take_no_detours_where_that_is_wished(self):
        self.detours(True)
        self.done("enrol", "ann")
        der = ssl.PEM_cert_to_DER_cert(self.text("/etc/sifterra/ca.pem"))
        expected = {"QuicAllowed": False, "DnsOverHttpsMode": "off", "EncryptedClientHelloEnabled": False,
                    "CACertificates": [base64.b64encode(der).decode()], "PasswordManagerBlocklist": ["http://127.0.0.1:10011"]}
        self.assertEqual(self.json("/etc/chromium/policies/managed/sifterra.json"), expected)
        self.assertEqual(self.json("/etc/opt/chrome/policies/managed/sifterra.json"), expected)
        policies = self.json(self.FIREFOX)["policies"]
        self.assertEqual(policies["DNSOverHTTPS"], {"Enabled": False, "Locked": True})
        self.assertEqual(policies["Certificates"], {"Install": ["/etc/sifterra/ca.pem"]})
        self.assertEqual(policies["Preferences"]["network.http.http3.enable"], {"Value": False, "Status": "locked"})

    def test_policies_of_others_stay_and_come_back(self):
        theirs = {"policies": {"DisableTelemetry": True, "DNSOverHTTPS": {"Enabled": True},
                               "Certificates": {"Install": ["/etc/school.pem"]},
                               "PasswordManagerExceptions": ["https://school.example"],
                               "Preferences": {"browser.startup.page": {"Value": 1}}}, "more": 1}
        self.put(self.FIREFOX, json.dumps(theirs))
        self.detours(True)
        self.done("enrol", "ann")
        now = self.json(self.FIREFOX)
        self.assertEqual(now["policies"]["DNSOverHTTPS"], {"Enabled": False, "Locked": True})
        self.assertTrue(now["policies"]["DisableTelemetry"])
        self.assertEqual(now["policies"]["Certificates"]["Install"], ["/etc/school.pem", "/etc/sifterra/ca.pem"])
        self.assertEqual(now["policies"]["Preferences"]["browser.startup.page"], {"Value": 1})
        self.done("enrol", "ben")  # ours is not taken for theirs
        self.detours(False)
        self.done("apply")
        self.assertEqual(self.json(self.FIREFOX)["policies"], {
            **theirs["policies"], "Certificates": {"Install": ["/etc/school.pem", "/etc/sifterra/ca.pem"]},
            "PasswordManagerExceptions": ["https://school.example", "http://127.0.0.1:10011"]})
        self.detours(True)
        self.done("apply")
        self.done("remove", "--everything")
        self.assertEqual(self.json(self.FIREFOX), theirs)

    def test_a_file_that_is_no_policy_is_left_alone(self):
        self.put(self.FIREFOX, "{ half")
        self.assertIn("policies.json: not JSON: ", self.refused("enrol", "ann"))
        self.assertEqual(self.text(self.FIREFOX), "{ half")
        for policies in ("[]", '{"Certificates": []}', '{"Certificates": {"Install": {}}}', '{"PasswordManagerExceptions": "x"}'):
            self.put(self.FIREFOX, '{"policies": %s}' % policies)
            self.assertIn("policies.json: expected the policies of Firefox", self.refused("enrol", "ann"))
        self.assertFalse(os.path.exists(self.path("/etc/sifterra")))

    def test_they_can_be_turned_off(self):
        self.put("/etc/sifterra/machine.json", '{"settings": {"browser-policies": false}}')
        self.done("enrol", "ann")
        self.assertFalse(os.path.exists(self.path("/etc/chromium")))
        self.assertFalse(os.path.exists(self.path("/etc/firefox")))


class Pauses(Staged):
    def setUp(self):
        super().setUp()
        self.done("enrol", "ann")
        self.done("enrol", "ben")

    def until(self):
        users = self.json("/etc/sifterra/netfilterd.json")["users"]
        return [user.get("paused-until") for user in users]

    def test_a_pause_has_an_end(self):
        now = time.time()
        self.assertRegex(self.done("pause", "ann", "--for", "1h30m"),
                         r"^ann is not filtered until \d{4}-\d\d-\d\d \d\d:\d\d\.\n$")
        first, second = self.until()
        self.assertLess(abs(first - now - 5400), 30)
        self.assertIsNone(second)
        self.assertIn("ann: paused until ", self.done("show"))

    def test_a_pause_until_a_time_of_day_ends_at_the_next_one(self):
        now = time.time()
        self.done("pause", "ann", "--until", "18:30")
        until = self.until()[0]
        self.assertTrue(now < until <= now + 25 * 3600)
        self.assertEqual(time.strftime("%H:%M", time.localtime(until)), "18:30")
        day = time.strftime("%Y-%m-%d", time.localtime(now + 2 * 86400))
        self.done("pause", "ann", "--until", f"{day} 08:15")
        self.assertEqual(time.strftime("%Y-%m-%d %H:%M", time.localtime(self.until()[0])), f"{day} 08:15")

    def test_resume_ends_it(self):
        self.done("pause", "ann", "--for", "1h")
        self.assertEqual(self.done("resume", "ann"), "ann is filtered.\n")
        self.assertEqual(self.until(), [None, None])

    def test_a_pause_that_is_over_is_not_told_any_more(self):
        machine = self.json("/etc/sifterra/machine.json")
        machine["users"][0]["paused-until"] = 1000
        self.put("/etc/sifterra/machine.json", json.dumps(machine))
        self.done("apply")
        self.assertEqual(self.until(), [None, None])
        self.assertIn("ann: filtered, ", self.done("show"))

    def test_ends_that_are_none_are_refused(self):
        for option, text, problem in (
                ("--for", "1", "--for: expected a time like 45m, 2h, 1h30m or 1d, found 1"),
                ("--for", "", "--for: expected a time like 45m, 2h, 1h30m or 1d, found nothing"),
                ("--for", "999999d" * 4, "--for: expected at most 31 days; to stop for good: sifterra-setup remove"),
                ("--until", "", "--until: expected a time like 18:30 or 2026-12-24 18:30, found nothing"),
                ("--until", "0001-01-01", "--until: expected a time like 18:30 or 2026-12-24 18:30, found 0001-01-01"),
                ("--for", "0m", "--for: expected a time to come, found "),
                ("--for", "40d", "to stop for good: sifterra-setup remove"),
                ("--until", "25:00", "--until: expected a time like 18:30 or 2026-12-24 18:30, found 25:00"),
                ("--until", "2001-01-01 10:00", "--until: expected a time to come, found 2001-01-01 10:00")):
            self.assertIn(problem, self.refused("pause", "ann", option, text))
        self.assertEqual(self.refused("pause", "carl", "--for", "1h"),
                         "sifterra-setup: carl is not managed (managed: ann, ben)\n")
        self.assertEqual(self.until(), [None, None])


class Remove(Staged):
    def test_one_user_goes_and_the_others_keep_their_ports(self):
        self.done("enrol", "ann")
        self.done("enrol", "ben")
        self.assertEqual(self.done("remove", "ann"), "ann is not filtered any more.\n")
        self.assertEqual([user["name"] for user in self.json("/etc/sifterra/netfilterd.json")["users"]], ["ben"])
        squid = self.text("/etc/sifterra/squid.conf")
        self.assertNotIn("10020", squid)
        self.assertIn("http_port 127.0.0.1:10022 intercept name=user0-http4", squid)
        self.assertFalse(os.path.exists(self.path("/Library/Managed Preferences/ann")))
        self.run_setup("enrol", "carl")  # with a warning
        self.assertEqual(self.json("/etc/sifterra/machine.json")["users"][1]["http-port"], 10020)

    def test_a_policy_can_stay(self):
        self.done("enrol", "ann")
        self.done("remove", "ann", "--keep-policies")
        self.assertTrue(self.policy("ann")["useContentFilter"])

    def test_everything_leaves_nothing(self):
        before = self.files()
        self.done("enrol", "ann")
        self.done("enrol", "ben")
        self.assertEqual(self.done("remove", "--everything"), "Nothing is filtered any more.\n")
        self.assertEqual(self.files(), before)
        for folder in ("/etc/sifterra", "/var/lib/sifterra", "/Library", "/etc/firefox", "/etc/chromium", "/etc/opt/chrome"):
            self.assertFalse(os.path.exists(self.path(folder)), folder)
        self.assertTrue(os.path.exists(self.path("/etc/opt")))  # belongs to the system

    def test_what_killed_programs_left_goes_with_the_next_write_that_is_a_minute_later(self):
        self.done("enrol", "ann")
        before = self.files()
        old = ["/etc/sifterra/squid.conf.new-ab_cdef0", "/etc/sifterra/ca-key.pem.new-abcdefgh",
               "/etc/chromium/policies/managed/sifterra.json.new-12345678"]
        kept = ["/etc/sifterra/machine.json.new-recent00", "/etc/sifterra/squid.conf.new-", "/etc/sifterra/squid.conf.new-long_letters",
                "/etc/sifterra/my-squid.conf.new-abcdefgh"]
        for path in old + kept:
            self.put(path, "half")
            if "recent" not in path:
                os.utime(self.path(path), (0, 0))
        os.symlink("/etc/passwd", self.path("/etc/sifterra/c-icap.conf.new-abcdefgh"))
        self.done("apply")  # also where the file itself stays as it is
        self.assertEqual(self.files() - before, {*kept, "/etc/sifterra/c-icap.conf.new-abcdefgh"})

    def test_everything_takes_what_killed_programs_left_along(self):
        before = self.files()
        self.done("enrol", "ann")
        for path in ("/etc/chromium/policies/managed/sifterra.json.new-12345678", "/etc/sifterra/ca-key.pem.new-abcdefgh",
                     "/var/lib/sifterra/override-attempts.json.new-aBc123", "/var/lib/sifterra/netfilterd.rules.new-aBc123"):
            self.put(path, "half")
        self.done("remove", "--everything")
        self.assertEqual(self.files(), before)

    def test_a_suspended_filter_comes_back_as_it_was(self):
        self.put("/etc/firefox/policies/policies.json", '{"policies": {"DisableTelemetry": true}}')
        before = self.files()
        self.done("enrol", "ann", "--allow-list-only")
        enrolled = {path: self.text(path) for path in self.files()}
        self.assertEqual(self.done("suspend"), "Nothing is filtered until sifterra-setup apply.\n")
        left = self.files() - before
        self.assertEqual({path for path in left if not path.startswith(("/etc/sifterra/", "/var/lib/sifterra/", "/Library/"))},
                         set())
        self.assertEqual(self.json("/etc/firefox/policies/policies.json"), {"policies": {"DisableTelemetry": True}})
        self.done("suspend")  # once more does no harm
        self.done("apply")
        self.assertEqual({path: self.text(path) for path in self.files()}, enrolled)

    def test_everything_also_where_machine_json_is_broken(self):
        self.done("enrol", "ann")
        self.put("/etc/sifterra/machine.json", "{")
        run = self.run_setup("remove", "--everything")
        self.assertEqual(run.returncode, 2)
        self.assertIn("whose policies to take away is not known", run.stderr)
        self.assertFalse(os.path.exists(self.path("/etc/sifterra")))

    def test_mistakes_are_refused(self):
        self.assertEqual(self.refused("remove"), "sifterra-setup: expected the name of a managed user, or --everything\n")
        self.assertEqual(self.refused("remove", "ann"), "sifterra-setup: ann is not managed (managed: nobody)\n")


class MachineFile(Staged):
    ROWS = (
        ("{", "not JSON: "),
        ("[]", "the file: expected an object, found []"),
        ('{"user": []}', "the file: no such key: user"),
        ('{"users": 1}', "users: expected a list, found 1"),
        ('{"users": [{"name": "a b"}]}', 'users[0].name: expected an account\'s name, found "a b"'),
        ('{"users": [{"name": "ann@school"}]}', 'users[0].name: expected an account\'s name, found "ann@school"'),
        ('{"users": [{"name": "ann", "http-port": 0}]}', "users[0].http-port: expected a port from 1 to 65535, found 0"),
        ('{"users": [{"name": "ann", "http-port": 9, "https-port": 9}]}',
         "users[0].https-port: port 9 is taken by users[0].http-port"),
        ('{"users": [{"name": "ann", "http-port": 10011, "https-port": 9}]}',
         "users[0].http-port: port 10011 is taken by the override service"),
        ('{"users": [{"name": "ann", "http-port": 8, "https-port": 9}, {"name": "ann"}]}',
         'users[1].name: "ann" is listed twice'),
        ('{"users": [{"name": "ann", "http-port": 8, "https-port": 9, "paused-until": "now"}]}',
         'users[0].paused-until: expected seconds since 1970, found "now"'),
        ('{"settings": {"filter-http": true}}', "settings: no such key: filter-http"),
        ('{"settings": {"filter-https": 1}}', "settings.filter-https: expected true or false, found 1"),
        ('{"settings": {"secure-only": "yes"}}', 'settings.secure-only: expected true or false, found "yes"'),
        ('{"settings": {"resolvers": []}}', "settings.resolvers: expected a list of at least one address, found []"),
        ('{"settings": {"resolvers": ["192.0.2.53", "dns.example"]}}',
         'settings.resolvers: expected a list of at least one address, found ["192.0.2.53", "dns.example"]'),
        ('{"settings": {"resolvers": ["192.0.2.53; }"]}}', "settings.resolvers: expected a list of at least one address"),
        ('{"settings": {"icap-port": 1024}}', "settings.icap-port: expected a port from 1 to 1023, found 1024"),
        ('{"settings": {"tcp-ports": [443]}}', "settings.tcp-ports: expected a list of ports without 80, 443 and 853, which are the filter's, found [443]"),
        ('{"settings": {"closed-port": 344}}', "settings.closed-port: port 344 is taken by settings.icap-port"),
        ('{"settings": {"closed-port": 10011}}', "settings.closed-port: port 10011 is taken by the override service"),
    )

    def test_a_mistake_is_told_with_its_key_and_changes_nothing(self):
        for text, problem in self.ROWS:
            self.put("/etc/sifterra/machine.json", text)
            before = self.files()
            told = self.refused("apply")
            self.assertIn("/etc/sifterra/machine.json: " + problem, told)
            self.assertEqual(self.files() - before - {"/var/lib/sifterra/setup.lock"}, set())

    def test_settings_reach_the_files(self):
        self.put("/etc/sifterra/machine.json", json.dumps({"settings": {
            "icap-port": 401, "closed-port": 4002, "first-port": 4000, "filter-https": False, "verify-hosts": False,
            "log-addresses": True, "tcp-ports": [22], "udp-ports": []}}))
        self.done("enrol", "ann")
        netfilter = self.json("/etc/sifterra/netfilterd.json")
        self.assertEqual(netfilter["users"], [{"name": "ann", "http-port": 4000, "https-port": 4001}])
        self.assertEqual((netfilter["filter-https"], netfilter["tcp-ports"], netfilter["udp-ports"]), (False, [22], []))
        self.assertEqual(netfilter["closed-local-ports"], RELAYS + [401, 4002])
        self.assertIn("\nhost_verify_strict off\n", self.text("/etc/sifterra/squid.conf"))
        self.assertIn("\nPort 127.0.0.1:401\n", self.text("/etc/sifterra/c-icap.conf"))
        self.assertIn("\nAccessLog /var/log/sifterra-icap/access.log sifterra\n", self.text("/etc/sifterra/c-icap.conf"))
        # The service's own directives are known from where it is loaded.
        self.assertRegex(self.text("/etc/sifterra/c-icap.conf"), "(?s)\nService sifterra .*\nsifterra.LogURL on\n")

    def test_names_are_asked_of_the_resolvers_that_the_administrator_names(self):
        self.done("enrol", "ann")
        self.assertNotIn("resolvers", self.json("/etc/sifterra/netfilterd.json"))
        self.assertNotIn("dns_nameservers", self.text("/etc/sifterra/squid.conf"))
        self.put("/etc/sifterra/machine.json", json.dumps({**self.json("/etc/sifterra/machine.json"), "settings": {"resolvers": ["192.0.2.53", "2001:db8::53"]}}))
        self.done("apply")
        self.assertEqual(self.json("/etc/sifterra/netfilterd.json")["resolvers"], ["192.0.2.53", "2001:db8::53"])
        self.assertIn("\ndns_nameservers 192.0.2.53 2001:db8::53\n", self.text("/etc/sifterra/squid.conf"))

    def test_plain_pages_are_refused_where_the_administrator_says_so(self):
        self.done("enrol", "ann")
        self.assertIn("\nhttp_access allow plain\n", self.text("/etc/sifterra/squid.conf"))
        self.put("/etc/sifterra/machine.json", json.dumps({**self.json("/etc/sifterra/machine.json"), "settings": {"secure-only": True}}))
        self.done("apply")
        self.assertIn("\nhttp_access deny plain\ndeny_info 307:https://%H%R plain\n", self.text("/etc/sifterra/squid.conf"))
        self.assertNotIn("\nhttp_access allow plain\n", self.text("/etc/sifterra/squid.conf"))

    def test_a_list_of_passed_sites_that_the_proxy_cannot_read_is_refused(self):
        self.put("/etc/sifterra/pass-sites.txt", "# mine\n.example.com\n\nhttps://bank.example/\n")
        self.assertIn("/etc/sifterra/pass-sites.txt:4: expected a host name, a dot in front for the hosts below, "
                      "found https://bank.example/", self.refused("enrol", "ann"))
        self.put("/etc/sifterra/pass-sites.txt", "# mine\n.example.com\nbank.example\n")
        self.done("enrol", "ann")
        self.assertEqual(self.text("/etc/sifterra/pass-sites.txt"), "# mine\n.example.com\nbank.example\n")
        self.put("/etc/sifterra/websocket-sites.txt", "chat.example\n*.chat.example\n")
        self.assertIn("/etc/sifterra/websocket-sites.txt:2: expected a host name", self.refused("apply"))

    def test_no_site_is_passed_or_may_use_websockets_by_default(self):
        self.done("enrol", "ann")
        for name in ("pass-sites.txt", "websocket-sites.txt"):
            lines = self.text("/etc/sifterra/" + name).splitlines()
            self.assertEqual([line for line in lines if not line.startswith("#")], [])


class Doctor(Staged):
    def setUp(self):
        super().setUp()
        self.done("enrol", "ann")

    def faults(self):
        run = self.run_setup("doctor", "--faults")
        lines = run.stdout.split("\n")
        faults = [line[len("FAULT  "):] for line in lines if line.startswith("FAULT  ")]
        self.assertEqual((run.returncode, run.stderr), (1 if faults else 0, ""))
        self.assertEqual(len([line for line in lines if line.startswith("       mend it: ")]), len(faults))
        return faults

    def test_a_sound_machine_has_no_fault(self):
        self.assertEqual(self.faults(), [])
        self.assertTrue(self.done("doctor").endswith("16 looked at, 0 faults\n"))
        self.done("pause", "ann", "--for", "1h")
        self.assertEqual(self.faults(), [])

    def test_each_fault_is_found_and_mended_as_told(self):
        for path in ("netfilterd.json", "squid.conf", "c-icap.conf"):
            self.put("/etc/sifterra/" + path, "other")
            self.assertEqual(self.faults(), [f"/etc/sifterra/{path}: it is not what machine.json makes"])
            os.unlink(self.path("/etc/sifterra/" + path))
            self.assertEqual(self.faults(), [f"/etc/sifterra/{path}: it is missing"])
            self.done("apply")
        self.put("/etc/chromium/policies/managed/sifterra.json", "{}")
        self.put("/etc/firefox/policies/policies.json", "{}")
        self.assertEqual(self.faults(), ["/etc/chromium/policies/managed/sifterra.json: it is not what it should be",
                                         "/etc/firefox/policies/policies.json: it lacks what Firefox must know"])
        self.done("apply")
        self.assertEqual(self.faults(), [])

    def test_faults_of_the_authority(self):
        os.chmod(self.path("/etc/sifterra/ca-key.pem"), 0o444)
        self.put("/usr/local/share/ca-certificates/sifterra.crt", "")
        self.assertEqual(self.faults(), [
            "/etc/sifterra/ca-key.pem: for the proxy alone: others may read it, or the proxy may not",
            "/usr/local/share/ca-certificates/sifterra.crt: the system trusts it: it does not"])
        self.done("apply")
        self.assertEqual(self.faults(), [])
        key = subprocess.run(["openssl", "genpkey", "-algorithm", "RSA"], check=True, capture_output=True, text=True)
        self.put("/etc/sifterra/ca-key.pem", key.stdout)
        self.assertIn("/etc/sifterra/ca-key.pem: belongs to the certificate: it does not", self.faults())
        for name in ("ca.pem", "ca-key.pem"):
            os.unlink(self.path("/etc/sifterra/" + name))
        self.assertEqual(self.faults()[:1], ["/etc/sifterra/ca.pem: there is no authority"])
        self.done("apply")
        self.assertEqual(self.faults(), [])

    def test_faults_of_users(self):
        preferences = "/Library/Managed Preferences/ann/com.vendrel.hearthguard.contentfilter.plist"
        self.put(preferences, "half a list")
        self.assertRegex(self.faults()[0], r"^ann: policy \(none\): it cannot be read: ")
        os.unlink(self.path(preferences))
        self.assertEqual(self.faults(), ["ann: policy (none): there is none"])
        self.put("/etc/group", GROUP.replace("carl\n", "carl,ann\n"))
        self.assertIn("ann: account: member of sudo, which can turn the filter off", self.faults())
        self.put("/etc/passwd", PASSWD.replace("ann:", "eve:"))
        self.assertIn("ann: account: there is none of that name", self.faults())

    def test_a_fault_of_the_resolvers(self):
        self.put("/etc/sifterra/machine.json", json.dumps({**self.json("/etc/sifterra/machine.json"),
                                                           "settings": {"resolvers": ["192.0.2.1", "2001:db8::1"]}}))
        self.done("apply")
        for sound in ("nameserver 192.0.2.1\nnameserver 2001:db8::1\n", "# none\nnameserver 127.0.0.53\noptions edns0\n", "nameserver ::1\n", ""):
            self.put("/etc/resolv.conf", sound)
            self.assertEqual(self.faults(), [])
        self.put("/etc/resolv.conf", "nameserver 192.0.2.1\nnameserver 192.0.2.9\n")
        self.assertEqual(self.faults(), ["the resolvers of /etc/resolv.conf: \"resolvers\" lacks 192.0.2.9: managed users find no names there"])

    def test_faults_of_those_who_open_pages(self):
        self.put("/etc/group", GROUP.replace("106:mother", "106:"))
        self.assertIn("ok     nobody can open closed pages (sifterra-setup approver NAME)\n", self.done("doctor"))
        self.put("/etc/group", GROUP.replace("sudo:x:27:", "sudo:x:27:mother,"))
        self.assertEqual(self.faults(), ["mother: opens closed pages: member of sudo as well: a child's program that sees the "
                                         "password can do all of that"])
        self.put("/etc/group", GROUP.replace("106:mother", "106:mother,eve"))
        self.assertEqual(self.faults(), ["eve: opens closed pages: there is no account of that name"])
        for secret in ("!", "*", ""):
            self.put("/etc/shadow", f"mother:{secret}:19000::::::\n")
            self.assertIn("mother: opens closed pages: has no password, and opens nothing without", self.faults())
        self.put("/etc/shadow", "mother:$6$salt$hash:19000::::::\n")
        self.put("/etc/group", GROUP.replace("106:mother", "106:ann"))
        self.assertEqual(self.faults(), ["ann: account: member of sifterra-approvers, which can turn the filter off",
                                         "ann: opens closed pages: is managed"])

    def test_a_broken_file_of_truth(self):
        self.put("/etc/sifterra/machine.json", '{"users": 1}')
        self.assertEqual(self.faults(), ["/etc/sifterra/machine.json: users: expected a list, found 1"])

    def test_a_lost_file_of_truth_opens_nothing_and_can_be_begun_anew(self):
        os.unlink(self.path("/etc/sifterra/machine.json"))
        self.assertEqual(self.faults(), ["/etc/sifterra/machine.json: it is missing, though accounts were managed"])
        anew = "bring it back, or begin anew with sifterra-setup remove --everything --keep-policies"
        self.assertIn(f"       mend it: {anew}\n", self.run_setup("doctor").stdout)
        for command in (["apply"], ["show"], ["enrol", "ben"]):
            self.assertTrue(self.refused(*command).endswith(f"it is missing, though accounts were managed: {anew}\n"))
        self.assertIn("ann", self.text("/etc/sifterra/squid.conf"))
        self.assertEqual(self.run_setup("remove", "--everything", "--keep-policies").stdout, "Nothing is filtered any more.\n")
        self.done("enrol", "ann")
        self.assertEqual(self.faults(), [])

    def test_a_machine_on_which_nobody_is_managed_has_no_fault(self):
        nobody = "ok     nobody is managed (sifterra-setup enrol NAME)\n1 looked at, 0 faults\n"
        self.done("remove", "--everything")
        self.assertEqual(self.done("doctor"), nobody)
        self.done("enrol", "ann")
        self.done("remove", "ann")  # the services' files stay
        self.assertEqual(self.faults(), [])


class Show(Staged):
    def test_nobody_and_somebody(self):
        self.assertEqual(self.done("show"), "Nobody is managed.\n")
        self.done("enrol", "ann")
        self.assertEqual(self.done("show"), "ann: filtered, content filter, ports 10020 and 10021\n")
        shown = json.loads(self.done("show", "--json"))
        self.assertEqual(shown["users"], [{"name": "ann", "http-port": 10020, "https-port": 10021, "paused": False,
                                           "mode": "content filter"}])

    def test_a_mistake_on_the_command_line_exits_with_2(self):
        for command in ([], ["no-such"], ["enrol"], ["pause", "ann"]):
            run = subprocess.run([sys.executable, arguments.setup, *command], capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertIn("usage: sifterra-setup", run.stderr)
        # The usage of the command that was meant; nothing is guessed from the beginning of an option.
        for command, told in ((["enrol", "ann", "ben"], "error: unrecognized arguments: ben"),
                              (["remove", "--every"], "error: unrecognized arguments: --every"),
                              (["approver", "mum", "--remove", "--password-stdin"],
                               "error: argument --password-stdin: not allowed with argument --remove")):
            run = subprocess.run([sys.executable, arguments.setup, *command], capture_output=True, text=True, check=False)
            self.assertEqual((run.returncode, run.stdout), (2, ""))
            self.assertTrue(run.stderr.startswith(f"usage: sifterra-setup {command[0]} "), run.stderr)
            self.assertIn(told, run.stderr)
        self.assertEqual(self.run_setup("show", "--root", "/nowhere").stderr,
                         "sifterra-setup: --root: expected a directory, found /nowhere\n")


parser = argparse.ArgumentParser()
parser.add_argument("--setup", required=True)
parser.add_argument("--sifterra", required=True)
arguments, rest = parser.parse_known_args()
unittest.main(argv=[sys.argv[0], "-v", *rest])
