#!/usr/bin/env python3
"""On a whole machine: Chromium as the managed user, with the policies that the enrolment wrote."""
import os
import subprocess
import tempfile

from case import Case, program, run_tests, skip
from machine import FILTERED, UNMANAGED


class Browser(Case):
    def dom(self, user, url):
        """What Chromium shows. Without its sandbox: where the test runs namespaces may be forbidden to users."""
        uid = self.machine.uids[user]
        with tempfile.TemporaryDirectory(dir="/tmp") as home:
            os.chown(home, uid, uid)
            done = subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--dump-dom",
                                   "--timeout=20000", f"--user-data-dir={home}/profile", url],
                                  capture_output=True, text=True, check=False, user=uid, group=uid, extra_groups=[],
                                  timeout=100, env={"PATH": "/usr/bin:/bin", "HOME": home, "TMPDIR": home})
        return done.stdout or done.stderr[-1000:]

    def test_it_shows_the_block_page_and_allowed_pages_without_a_word_about_certificates(self):
        for scheme in ("http", "https"):
            blocked = self.dom(FILTERED, f"{scheme}://pages.example/bad")
            self.assertIn("webcontentfilter", blocked, scheme)
            self.assertNotIn("pornstars", blocked)
            self.assertIn("<title>", blocked)
            shown = self.dom(FILTERED, f"{scheme}://pages.example/good")
            self.assertIn(self.title(self.machine.good), shown, scheme)
        self.assertNotIn("webcontentfilter", self.dom(UNMANAGED, "http://pages.example/bad"))

    def title(self, page):
        text = page.decode()
        return text[text.index("<title>"):text.index("</title>")]


if __name__ == "__main__":
    if not program("chromium"):
        skip("setup.Browser needs the program chromium")
    run_tests()
