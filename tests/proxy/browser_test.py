#!/usr/bin/env python3
"""What Chromium shows behind the proxy. Argument: the directory where tests/browser installed its driver."""
import base64
import json
import os
import subprocess
import sys
import unittest

from servers import program
from world import ALLOWED, REFUSED, World, run_tests

# One pixel.
PICTURE = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==")
directory = None


class Browser(unittest.TestCase):
    def test_allowed_page_works_and_refused_page_is_the_block_page(self):
        world = World()
        try:
            parts = b'<img src="/a.png"><script src="/a.js"></script><img src="http://www.denied.example/b.png"></body>'
            world.origin.serve("/good", ALLOWED.replace(b"</body>", parts))
            world.origin.serve("/bad", REFUSED)
            world.origin.serve("/a.png", PICTURE, content_type="image/png")
            world.origin.serve("/b.png", PICTURE, content_type="image/png")
            world.origin.serve("/a.js", b"window.scriptRan = true;", content_type="text/javascript")
            done = subprocess.run(["node", os.path.join(os.path.dirname(os.path.abspath(__file__)), "browser_pages.mjs"),
                                   directory, f"http://127.0.0.1:{world.squid.port}", world.origin.address + "/good",
                                   world.origin.address + "/bad", "http://www.denied.example/"],
                                  stdout=subprocess.PIPE, check=True)
        finally:
            world.stop()
        good, bad, denied = json.loads(done.stdout)
        self.assertEqual((good["status"], good["scripts"]), (200, True))
        self.assertIn("runner beans", good["text"])
        # The diary's own picture is not there; ours is; the one of a denied site came as nothing.
        self.assertEqual(good["pictures"][1], 1)
        self.assertEqual(good["pictures"][-1], 0)
        for page in (bad, denied):
            self.assertEqual((page["status"], page["language"]), (403, "de"))
            self.assertNotIn("pornstars", page["text"])
        self.assertIn("denied.example", denied["text"])


if __name__ == "__main__":
    directory = sys.argv.pop(1)
    if not program("node") or not program("chromium"):
        print("skipped by name: node or chromium is missing: packaging/apt-packages.txt")
        sys.exit(77)
    run_tests()
