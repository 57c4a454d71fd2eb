#!/usr/bin/env python3
"""On a whole machine: a closed page is opened for an administrator's password, and only then."""
import base64
import grp
import os
import pwd
import re
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

    def test_a_site_that_is_not_on_the_list(self):
        self.opens(LISTED, "https://denied.example/good", self.machine.good)


if __name__ == "__main__":
    run_tests()
