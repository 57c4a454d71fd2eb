#!/usr/bin/env python3
"""On a whole machine: Chromium as the managed user, with the policies that the enrolment wrote.

The browser and what drives it are those of the machine around, since packages bring none: in the network of the tested machine, with its
names, its certificates and its browsers' policies.
"""
import contextlib
import json
import os
import signal
import subprocess
import tempfile
import threading

from case import Case, program, run_tests, skip
from machine import ADMINISTRATOR, FILTERED, PASSWORD, UNMANAGED

NODE = program("node")
# Without the browser's sandbox: where the test runs namespaces may be forbidden to users.
CHROMIUM = ("chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage")


class Browser(Case):
    @classmethod
    def setUpClass(cls):
        cls.machine.show_outside("/etc/chromium", "/etc/ssl", "/etc/resolv.conf")

    @contextlib.contextmanager
    def chromium(self, user, *more):
        """Chromium of the user, with a home that lies at the same path here and outside."""
        uid = self.machine.uids[user]
        before, options = self.machine.outside(user)
        with tempfile.TemporaryDirectory(dir=self.machine.folder, ignore_cleanup_errors=True) as home:
            os.chown(home, uid, uid)
            browser = subprocess.Popen([*before, *CHROMIUM, f"--user-data-dir={home}/profile", *more], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True, start_new_session=True, **options,
                                       env={"PATH": "/usr/bin:/bin:/usr/sbin", "HOME": home, "TMPDIR": home})
            try:
                yield browser
            finally:
                with contextlib.suppress(ProcessLookupError):
                    os.killpg(browser.pid, signal.SIGKILL)
                browser.wait()

    def dom(self, user, url):
        """What Chromium shows."""
        with self.chromium(user, "--dump-dom", "--timeout=20000", url) as browser:
            output, errors = browser.communicate(timeout=100)
        return output or errors[-1000:]

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
        modules = self.machine.arguments.browser or ""
        if not NODE or not os.path.isdir(self.machine.path_outside(modules + "/node_modules")):
            self.skipTest("Browser needs node, and what browser.Install puts into the build, for this one")
        url = "https://pages.example/asked?from=its-block-page"
        script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "override_chain.mjs")
        before, options = self.machine.outside()
        with self.running(FILTERED) as endpoint:
            done = subprocess.run([*before, NODE, script, modules, endpoint, url, ADMINISTRATOR, PASSWORD], **options,
                                  capture_output=True, text=True, check=False, timeout=120)
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
        """Chromium of the user, where it is told what to do."""
        with self.chromium(user, "--remote-debugging-port=0", "about:blank") as browser:
            for line in browser.stderr:
                if line.startswith("DevTools listening on "):
                    break
            threading.Thread(target=browser.stderr.read, daemon=True).start()
            yield line.removeprefix("DevTools listening on ").strip()

    def title(self, page):
        text = page.decode()
        return text[text.index("<title>"):text.index("</title>")]


if __name__ == "__main__":
    if not program("chromium"):
        skip("Browser needs the program chromium")
    run_tests()
