#!/usr/bin/env python3
"""On a whole machine: a closed page is opened for an administrator's password, and only then."""
import base64
import re

from case import Case, run_tests
from machine import ADMINISTRATOR, FILTERED, LISTED, PASSWORD

SERVICE = "http://127.0.0.1:10011"
ASK = SERVICE + "/webcontentfilter.override.local"


class Override(Case):
    def ask(self, user, url):
        """The confirmation page, as a block page's form asks for it."""
        fields = [f"url={base64.b64encode(url.encode()).decode()}", f"title={base64.b64encode(b'Page').decode()}"]
        return self.curl(user, ASK, *(part for field in fields for part in ("--data-urlencode", field)))

    def allow(self, user, token, password):
        fields = [f"token={token}", f"name={ADMINISTRATOR}", f"password={password}", "scope=site"]
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
        token = re.search(rb'name="token" value="([^"]+)"', self.ask(user, url).body).group(1).decode()
        allowed = self.allow(user, token, PASSWORD)
        self.assertEqual((allowed.status, allowed.header("Location")), (303, url), allowed.body)
        self.assert_same(self.curl(user, url), page)

    def test_a_page_that_the_filter_closed(self):
        self.opens(FILTERED, "https://pages.example/bad", self.machine.bad)
        self.assert_blocked(self.curl(LISTED, "https://pages.example/bad"))  # for whom it was not asked

    def test_a_site_that_is_not_on_the_list(self):
        self.opens(LISTED, "https://denied.example/good", self.machine.good)


if __name__ == "__main__":
    run_tests()
