#!/usr/bin/env python3
"""On a whole machine: Chromium as the managed user, with the policies that the enrolment wrote."""
import contextlib
import json
import os
import signal
import subprocess
import tempfile
import threading

from case import Case, program, run_tests, skip
from machine import ADMINISTRATOR, FILTERED, PASSWORD, UNMANAGED


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

    def test_a_block_page_leads_to_the_password_and_from_there_to_the_page(self):
        modules = os.path.join(self.machine.arguments.build or "", "browser")
        if not program("node") or not os.path.isdir(os.path.join(modules, "node_modules")):
            self.skipTest("setup.Browser needs node, and what browser.Install puts into the build, for this one")
        url = "https://pages.example/asked?from=its-block-page"
        with self.running(FILTERED) as endpoint:
            done = subprocess.run(["node", os.path.join(os.path.dirname(os.path.abspath(__file__)), "override_chain.mjs"), modules,
                                   endpoint, url, ADMINISTRATOR, PASSWORD], capture_output=True, text=True, check=False, timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr)
        closed, asked, wrong, closed_again, asked_again, opened = json.loads(done.stdout)
        self.assertEqual((closed["url"], closed["status"]), (url, 403))
        self.assertEqual(asked["url"], "http://127.0.0.1:10011/webcontentfilter.override.local")
        self.assertIn(FILTERED, asked["text"])
        self.assertIn(url, asked["text"])
        self.assertEqual((wrong["url"], wrong["status"]), (asked["url"] + "/allow", 403))
        self.assertEqual((closed_again["status"], asked_again["url"]), (403, asked["url"]))
        self.assertEqual((opened["url"], opened["status"]), (url, 200))
        self.assertIn(f"<title>{opened['title']}</title>".encode(), self.machine.bad)

    @contextlib.contextmanager
    def running(self, user):
        """Chromium of the user; where it is told what to do."""
        uid = self.machine.uids[user]
        with tempfile.TemporaryDirectory(dir="/tmp", ignore_cleanup_errors=True) as home:
            os.chown(home, uid, uid)
            browser = subprocess.Popen(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--remote-debugging-port=0",
                                        f"--user-data-dir={home}/profile", "about:blank"], stdout=subprocess.DEVNULL,
                                       stderr=subprocess.PIPE, text=True, user=uid, group=uid, extra_groups=[], cwd=home,
                                       env={"PATH": "/usr/bin:/bin", "HOME": home, "TMPDIR": home}, start_new_session=True)
            try:
                for line in browser.stderr:
                    if line.startswith("DevTools listening on "):
                        break
                threading.Thread(target=browser.stderr.read, daemon=True).start()
                yield line.removeprefix("DevTools listening on ").strip()
            finally:
                os.killpg(browser.pid, signal.SIGKILL)
                browser.wait()

    def title(self, page):
        text = page.decode()
        return text[text.index("<title>"):text.index("</title>")]


if __name__ == "__main__":
    if not program("chromium"):
        skip("setup.Browser needs the program chromium")
    run_tests()
