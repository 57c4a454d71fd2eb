#!/usr/bin/env python3
"""On a whole machine: a closed page is opened for an administrator's password, and only then."""
import base64
import grp
import os
import pty
import pwd
import re
import select
import signal
import subprocess

from case import Case, run_tests
from machine import ADMINISTRATOR, FILTERED, LISTED, PASSWORD, run

SERVICE = "http://127.0.0.1:10011"
ASK = SERVICE + "/webcontentfilter.override.local"


class Override(Case):
    def ask(self, user, url):
        """The confirmation page, as a block page's form asks for it."""
        fields = [f"url={base64.b64encode(url.encode()).decode()}", f"title={base64.b64encode(b'Page').decode()}"]
        return self.curl(user, ASK, *(part for field in fields for part in ("--data-urlencode", field)))

    def token(self, user, url):
        return re.search(rb'name="token" value="([^"]+)"', self.ask(user, url).body).group(1).decode()

    def allow(self, user, token, password, name=ADMINISTRATOR):
        fields = [f"token={token}", f"name={name}", f"password={password}", "scope=site"]
        return self.curl(user, ASK + "/allow", "-H", "Origin: " + SERVICE,
                         *(part for field in fields for part in ("--data-urlencode", field)))

    def opens(self, user, url, page):
        closed = self.curl(user, url)
        self.assert_blocked(closed)
        self.assertIn(ASK.encode(), closed.body)  # where its form goes
        asked = self.ask(user, url)
        self.assertEqual(asked.status, 200, asked.body)
        self.assert_blocked(self.curl(user, url))
        token = re.search(rb'name="token" value="([^"]+)"', asked.body).group(1).decode()
        self.assertNotEqual(self.allow(user, token, "wrong").status, 303)
        self.assert_blocked(self.curl(user, url))
        token = self.token(user, url)
        allowed = self.allow(user, token, PASSWORD)
        self.assertEqual((allowed.status, allowed.header("Location")), (303, url), allowed.body)
        self.assert_same(self.curl(user, url), page)

    def test_a_page_that_the_filter_closed(self):
        self.opens(FILTERED, "https://pages.example/bad", self.machine.bad)
        self.assert_blocked(self.curl(LISTED, "https://pages.example/bad"))  # for whom it was not asked

    def test_who_opens_pages_can_do_nothing_else(self):
        account = pwd.getpwnam(ADMINISTRATOR)
        self.assertEqual((account.pw_shell, account.pw_dir), ("/usr/sbin/nologin", "/nonexistent"))
        self.assertLess(account.pw_uid, 1000)
        groups = {grp.getgrgid(number).gr_name for number in os.getgrouplist(ADMINISTRATOR, account.pw_gid)}
        self.assertEqual(groups, {"nogroup", "sifterra-approvers"})
        self.assertEqual(self.doctor(), [])

    def test_another_account_can_be_let_in_and_out(self):
        url = "https://pages.example/bad?another"
        hashed = run("openssl", "passwd", "-6", "another secret").strip()
        run("useradd", "--no-create-home", "--password", hashed, "father-of-the-test")
        try:
            self.assertEqual(self.machine.setup("approver", "father-of-the-test"), "father-of-the-test can open closed pages.\n")
            self.machine.setup("approver", "father-of-the-test", "--remove")
            self.assertNotIn("father-of-the-test", grp.getgrnam("sifterra-approvers").gr_mem)
            self.assertEqual(pwd.getpwnam("father-of-the-test").pw_shell, "/bin/sh")  # not made for it, so it stays
            token = self.token(FILTERED, url)
            self.assertNotEqual(self.allow(FILTERED, token, "another secret", "father-of-the-test").status, 303)
        finally:
            run("userdel", "father-of-the-test")
        with self.assertRaisesRegex(AssertionError, "father-of-the-test opens no pages \\(who does: mother-of-the-test\\)"):
            self.machine.setup("approver", "father-of-the-test", "--remove")
        with self.assertRaisesRegex(AssertionError, "whose password is asked for at a terminal, or read with --password-stdin"):
            self.machine.setup("approver", "father-of-the-test", stdin=subprocess.DEVNULL)

    def at_a_terminal(self, name, *answers):
        """Makes an approver as somebody at a terminal: what it said there, and its status. A number among the answers is a signal."""
        child, terminal = pty.fork()
        if child == 0:
            os.execl("/usr/sbin/sifterra-setup", "sifterra-setup", "approver", name)
        said, answers = "", list(answers)
        while select.select([terminal], [], [], 60)[0]:
            try:
                said += os.read(terminal, 1000).decode()
            except OSError:  # so a terminal tells that nobody is there any more
                break
            if answers and said.endswith((f"New password of {name}: ", "The same once more: ")):
                answer = answers.pop(0)
                if isinstance(answer, str):
                    os.write(terminal, answer.encode() + b"\n")
                else:
                    os.kill(child, answer)
        os.close(terminal)
        self.assertEqual(answers, [], said)
        return said.replace("\r\n", "\n"), os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])

    def opens_a_page(self, name, password):
        token = self.token(FILTERED, f"https://pages.example/bad?{name}")
        return self.allow(FILTERED, token, password, name).status == 303

    def test_a_password_is_asked_for_at_a_terminal(self):
        name, secret = "aunt-of-the-test", "s\u00e9cret: of the aunt"
        ask, again = f"New password of {name}: \n", "The same once more: \n"
        nothing = f"sifterra-setup: no password, so nothing was changed about {name}\n"
        try:
            for answers, said, status in (
                    (("one", "other", "", "one", "other"),
                     ask + again + "They are not the same.\n" + ask + "It is empty.\n" + ask + again + "They are not the same.\n" + nothing, 2),
                    (("\x04",), ask + nothing, 2),
                    (("one", signal.SIGINT), ask + again + "sifterra-setup: interrupted\n", 2)):
                self.assertEqual(self.at_a_terminal(name, *answers), (said, status))
                self.assertNotIn(name, [entry.pw_name for entry in pwd.getpwall()])
                self.assertNotIn(name, grp.getgrnam("sifterra-approvers").gr_mem)
            self.assertEqual(self.at_a_terminal(name, "one", secret, secret, secret),
                             (ask + again + "They are not the same.\n" + ask + again + f"{name} can open closed pages, and do nothing else.\n", 0))
            self.assertTrue(self.opens_a_page(name, secret))
            # Once more is another password; without one the old stays.
            self.assertEqual(self.at_a_terminal(name, "", "", "")[1], 2)
            self.assertTrue(self.opens_a_page(name, secret))
            self.assertEqual(self.at_a_terminal(name, "the next", "the next")[1], 0)
            self.assertFalse(self.opens_a_page(name, secret))
            self.assertTrue(self.opens_a_page(name, "the next"))
            self.assertEqual(self.machine.setup("approver", name, stdin=subprocess.DEVNULL),
                             f"{name} can open closed pages, and do nothing else.\n")
            self.assertTrue(self.opens_a_page(name, "the next"))
        finally:
            subprocess.run(["userdel", name], check=False, capture_output=True)

    def test_a_password_that_the_machines_rules_refuse_makes_no_approver(self):
        with open("/etc/pam.d/chpasswd", encoding="ascii") as file:
            rules = file.read()
        try:
            with open("/etc/pam.d/chpasswd", "w", encoding="ascii") as file:
                file.write("password requisite pam_deny.so\n" + rules)
            with self.assertRaisesRegex(AssertionError, "sifterra-setup: chpasswd: .+"):
                self.machine.setup("approver", "uncle-of-the-test", "--password-stdin", input="short\n")
        finally:
            with open("/etc/pam.d/chpasswd", "w", encoding="ascii") as file:
                file.write(rules)
        self.assertNotIn("uncle-of-the-test", [entry.pw_name for entry in pwd.getpwall()])

    def test_who_can_do_too_much_or_has_no_password_opens_nothing(self):
        for name, problem in (("root", "root can do too much for a password that is typed in a child's session: choose another name"),
                              ("sifterra-icap", "sifterra-icap can do too much for a password"),
                              ("daemon", "daemon has no password, and opens nothing without: passwd daemon")):
            with self.assertRaisesRegex(AssertionError, re.escape("sifterra-setup: " + problem)):
                self.machine.setup("approver", name)
            self.assertNotIn(name, grp.getgrnam("sifterra-approvers").gr_mem)
        for nothing in ("", "\n", "a\0b\n"):
            with self.assertRaisesRegex(AssertionError, "--password-stdin: expected a line with a password on standard input"):
                self.machine.setup("approver", "uncle-of-the-test", "--password-stdin", input=nothing)

    def test_a_site_that_is_not_on_the_list(self):
        self.opens(LISTED, "https://denied.example/good", self.machine.good)


if __name__ == "__main__":
    run_tests()
