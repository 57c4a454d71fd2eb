#!/usr/bin/env python3
"""On a whole machine: pauses, removals, ends of services, and the doctor who looks after it."""
import json
import os
import signal
import socket
import subprocess
import time

from case import Case, as_user, run_tests
from machine import FILTERED, ICAP, LISTED, NETFILTER, OVERRIDE, PROXY, listens, until
from origin import STRANGER

NOBODYS = "192.0.2.1"  # an address that belongs to nobody


class Upkeep(Case):
    def test_what_ends_comes_back_and_nothing_passes_meanwhile(self):
        for name in (ICAP, PROXY, NETFILTER):
            with self.subTest(unit=name):
                unit = self.machine.units[name]
                starts = unit.starts
                unit.send(signal.SIGKILL)
                killed = time.monotonic()
                while True:
                    answer = self.curl(FILTERED, "https://pages.example/bad")
                    self.assertNotEqual(answer.body, self.machine.bad)
                    if unit.starts > starts and answer.status == 403:
                        break
                    self.assertLess(time.monotonic() - killed, 20, self.machine.outputs())
                self.assertLess(time.monotonic() - killed, 5)
                self.assert_same(self.curl(FILTERED, "https://pages.example/good"), self.machine.good)

    def test_the_override_service_comes_back_and_what_was_closed_stays_closed(self):
        unit = self.machine.units[OVERRIDE]
        page = "http://127.0.0.1:10011/webcontentfilter.override.local"
        starts = unit.starts
        unit.send(signal.SIGKILL)
        killed = time.monotonic()
        while True:
            self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad"))
            # A form without fields: it answers, and says that it is none.
            if unit.starts > starts and self.curl(FILTERED, page, "-X", "POST").status == 400:
                break
            self.assertLess(time.monotonic() - killed, 20, self.machine.outputs())
        self.assertLess(time.monotonic() - killed, 5)

    def test_nobody_plays_the_filter_while_it_is_away(self):
        uid, proxy = self.machine.uids[FILTERED], self.machine.units[PROXY]
        self.assertEqual(as_user(uid, lambda: socket.create_server(("127.0.0.1", 344)) and b"in"), b"PermissionError")
        os.rename("/etc/sifterra/squid.conf", "/etc/sifterra/away")
        proxy.send(signal.SIGKILL)
        until(lambda: not listens(10020), "the end of the proxy")
        impostor = os.fork()
        if impostor == 0:
            answer_everybody(uid, 10020)
        try:
            until(lambda: uid in listening_users(10020), "the impostor")
            self.assertEqual(self.curl(FILTERED, "http://pages.example/good", "--max-time", "2").status, 0)
            self.assertIn(f"{FILTERED}: the proxy listens at 127.0.0.1 port 10020: a program of the user number {uid} listens there, "
                          "in the place of sifterra-proxy", self.doctor())
        finally:
            os.kill(impostor, signal.SIGKILL)
            os.waitpid(impostor, 0)
            os.rename("/etc/sifterra/away", "/etc/sifterra/squid.conf")
        until(lambda: self.curl(FILTERED, "http://pages.example/good").status == 200, "the proxy")
        self.assertEqual(self.doctor(), [])

    def test_what_is_asked_for_is_logged_where_that_is_wanted(self):
        log = "/var/log/sifterra-icap/access.log"
        self.assertFalse(os.path.exists(log))
        for wanted in (True, False):
            self.set({"log-addresses": wanted})
            self.machine.units[ICAP].send(signal.SIGTERM)
            until(lambda: not listens(344), "the end of the filter")
            until(lambda: listens(344), "the filter")
            until(lambda: self.curl(FILTERED, f"https://pages.example/good?{wanted}").status == 200, "the page")
        with open(log, encoding="utf-8") as file:
            told = file.read()
        self.assertIn("pages.example/good?True", told)
        self.assertNotIn("False", told)

    def set(self, settings):
        with open("/etc/sifterra/machine.json", encoding="utf-8") as file:
            content = json.load(file)
        content["settings"].update(settings)
        with open("/etc/sifterra/machine.json", "w", encoding="utf-8") as file:
            json.dump(content, file)
        self.machine.setup("apply")

    def test_a_resolver_that_lies_gains_nothing_where_pages_have_to_be_secure(self):
        """The name of a site of the list, at an address of somebody else who has no certificate for it."""
        lie = "http://listed.example/bad"
        with open("/etc/hosts", encoding="utf-8") as file:
            hosts = file.read()
        proxy = self.machine.units[PROXY]
        try:
            with open("/etc/hosts", "a", encoding="utf-8") as file:
                file.write(f"{STRANGER} listed.example\n")
            proxy.send(signal.SIGHUP)
            # The one way around that is left otherwise.
            until(lambda: self.curl(LISTED, lie, "-4").body == self.machine.bad, "the lie")
            self.set({"secure-only": True})
            proxy.send(signal.SIGHUP)
            until(lambda: self.curl(LISTED, lie, "-4").status == 307, "the other configuration")
            answer = self.curl(LISTED, lie + "?a=b", "-4")
            self.assertEqual(answer.header("Location"), "https://listed.example/bad?a=b")
            answer = self.curl(LISTED, lie, "-4", "-L", "-k")
            self.assertNotEqual(answer.status, 200)
            self.assertNotIn(self.machine.bad[-300:], answer.body)
            self.assert_same(self.curl(FILTERED, "http://pages.example/good", "-L"), self.machine.good)
            self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-L"))
        finally:
            with open("/etc/hosts", "w", encoding="utf-8") as file:
                file.write(hosts)
            self.set({"secure-only": False})
            proxy.send(signal.SIGHUP)
        until(lambda: self.curl(FILTERED, "http://pages.example/good").status == 200, "the configuration from before")

    def test_who_has_no_policy_sees_nothing(self):
        path = f"/Library/Managed Preferences/{FILTERED}/com.vendrel.hearthguard.contentfilter.plist"
        os.rename(path, path + ".away")
        try:
            for scheme in ("http", "https"):
                self.assertEqual(self.curl(FILTERED, f"{scheme}://pages.example/good").status, 403)
        finally:
            os.rename(path + ".away", path)
        self.assert_same(self.curl(FILTERED, "https://pages.example/good"), self.machine.good)

    def test_a_pause_opens_for_its_time_and_ends_by_itself(self):
        self.machine.setup("pause", FILTERED, "--for", "1h")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == self.machine.bad, "the pause")
        self.assert_blocked(self.curl(LISTED, "https://pages.example/good"))
        self.assertEqual(self.doctor(), [])
        self.machine.setup("resume", FILTERED)
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        with open("/etc/sifterra/machine.json", encoding="utf-8") as file:
            content = json.load(file)
        end = int(time.time()) + 4
        content["users"][0]["paused-until"] = end
        with open("/etc/sifterra/machine.json", "w", encoding="utf-8") as file:
            json.dump(content, file)
        self.machine.setup("apply")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == self.machine.bad, "the pause")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        self.assertGreaterEqual(time.time(), end)
        self.assertEqual(self.doctor(), [])
        self.machine.setup("resume", FILTERED)

    def test_the_proxy_waits_for_the_filter_after_a_start(self):
        icap, proxy = self.machine.units[ICAP], self.machine.units[PROXY]
        os.rename("/etc/sifterra/c-icap.conf", "/etc/sifterra/away")
        icap.send(signal.SIGKILL)
        until(lambda: not listens(344), "the end of the filter")
        proxy.send(signal.SIGKILL)
        until(lambda: not listens(10020), "the end of the proxy")
        self.assertEqual(self.curl(FILTERED, "http://pages.example/good").status, 0)
        os.rename("/etc/sifterra/away", "/etc/sifterra/c-icap.conf")
        until(lambda: listens(344), "the filter")
        began = time.monotonic()
        until(lambda: self.curl(FILTERED, "http://pages.example/good").status == 200, "the first page")
        self.assertLess(time.monotonic() - began, 5)

    def test_the_doctor_finds_nothing_wrong_and_what_is_wrong(self):
        self.assertEqual(self.doctor(), [])
        icap = self.machine.units[ICAP]
        icap.send_to_all(signal.SIGSTOP)
        try:
            self.assertEqual(self.doctor(), ["the ICAP service answers at port 344: it does not answer"])
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

    def test_the_doctor_finds_what_hangs(self):
        # Without a way to it nobody's address tells nothing.
        self.machine.route(NOBODYS)
        try:
            self.assertEqual(self.doctor(), [])
            silent = [f"{name}: the web goes by the proxy: the proxy takes a connection and does not answer" for name in (FILTERED, LISTED)]
            for unit, faults in ((PROXY, silent), (OVERRIDE, ["the override service answers: it does not answer"])):
                self.machine.units[unit].send(signal.SIGSTOP)
                try:
                    self.assertEqual(self.doctor(), faults)
                finally:
                    self.machine.units[unit].send(signal.SIGCONT)
        finally:
            self.machine.route(NOBODYS, False)

    def test_the_doctor_finds_what_the_services_cannot_read_and_others_can_change(self):
        policies = "/Library/Managed Preferences"
        policy = f"{policies}/{FILTERED}/com.vendrel.hearthguard.contentfilter.plist"
        unread = f"{FILTERED}: policy (content filter): sifterra-icap cannot read it"
        others = f"{FILTERED}: policy: for root alone to change: others can change "
        rows = ((os.chmod, "/etc/sifterra/squid.conf", 0o600, 0o644,
                 ["sifterra-proxy: reads its files: it cannot read /etc/sifterra/squid.conf"]),
                (os.chmod, "/etc/sifterra/c-icap.conf", 0o600, 0o644,
                 ["sifterra-icap: reads its files: it cannot read /etc/sifterra/c-icap.conf"]),
                (os.chmod, policy, 0o600, 0o644, [unread]),
                (os.chmod, policies, 0o700, 0o755,
                 [unread, unread.replace(FILTERED, LISTED).replace("content filter", "allow list only")]),
                (os.chmod, policy, 0o666, 0o644, [others + policy]),
                (os.chmod, "/etc/sifterra", 0o777, 0o755,
                 ["/etc/sifterra: for root alone to change: others can change /etc/sifterra"]),
                (lambda path, uid: os.chown(path, uid, 0), os.path.dirname(policy), self.machine.uids[FILTERED], 0,
                 [others + os.path.dirname(policy)]))
        for change, path, bad, good, faults in rows:
            with self.subTest(path=path, bad=bad):
                change(path, bad)
                try:
                    found = self.doctor()
                finally:
                    change(path, good)
                self.assertEqual(found, faults)
        self.assertEqual(self.doctor(), [])

    def test_the_doctor_finds_what_was_taken_away(self):
        installed = (("/usr/share/sifterra/content_filter_map3", ["the map judges pages: the library's own map is missing or damaged"]),)
        for path, faults in (*(installed if self.machine.arguments.packages else ()),
                             ("/etc/pam.d/sifterra", ["/etc/pam.d/sifterra: it is missing"]),
                             ("/etc/c-icap/c-icap.magic", ["/etc/c-icap/c-icap.magic: it is missing"]),
                             ("/etc/sifterra/machine.json",
                              ["/etc/sifterra/machine.json: it is missing, though accounts were managed"])):
            os.rename(path, path + ".away")
            try:
                self.assertEqual(self.doctor(), faults)
            finally:
                os.rename(path + ".away", path)
        for path, name, fault in (("/etc/group", "sifterra", "group sifterra: there is none"),
                                  ("/etc/passwd", LISTED, f"{LISTED}: account: there is none of that name")):
            with open(path, encoding="utf-8") as file:
                lines = file.readlines()
            try:
                with open(path, "w", encoding="utf-8") as file:
                    file.writelines(line for line in lines if not line.startswith(name + ":"))
                self.assertEqual(self.doctor(), [fault])
            finally:
                with open(path, "w", encoding="utf-8") as file:
                    file.writelines(lines)
        self.assertEqual(self.doctor(), [])

    def test_users_may_look_who_is_filtered_and_change_nothing(self):
        for command, status, said in ((["show"], 0, ""),
                                      (["doctor"], 2, "sifterra-setup: only root can do that: sudo sifterra-setup doctor ...\n"),
                                      (["pause", FILTERED, "--for", "1h"], 2,
                                       "sifterra-setup: only root can do that: sudo sifterra-setup pause ...\n")):
            done = subprocess.run(["/usr/sbin/sifterra-setup", *command], user=self.machine.uids[FILTERED], extra_groups=[],
                                  capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr), (status, said))
            self.assertEqual(f"{FILTERED}: filtered, content filter, ports 10020 and 10021\n" in done.stdout, status == 0)

    def test_a_user_who_is_removed_is_free_and_the_other_is_not(self):
        self.machine.setup("remove", LISTED, "--keep-policies")
        try:
            self.machine.units[PROXY].send(signal.SIGHUP)
            until(lambda: self.curl(LISTED, "https://pages.example/bad").body == self.machine.bad, "the removal")
            self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad"))
        finally:
            self.machine.setup("enrol", LISTED)
            self.machine.units[PROXY].send(signal.SIGHUP)
        until(lambda: self.curl(LISTED, "https://pages.example/good").status == 403, "the enrolment")


def answer_everybody(uid, port):
    """A server that any request is fine to."""
    try:
        os.setgid(uid)
        os.setuid(uid)
        with socket.create_server(("127.0.0.1", port)) as server:
            while True:
                with server.accept()[0] as connection:
                    connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
    finally:
        os._exit(1)


def listening_users(port):
    with open("/proc/net/tcp", encoding="ascii") as file:
        rows = [line.split() for line in file][1:]
    return {int(row[7]) for row in rows if row[3] == "0A" and row[1].endswith(f":{port:04X}")}


if __name__ == "__main__":
    run_tests()
