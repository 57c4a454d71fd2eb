#!/usr/bin/env python3
"""On a whole machine: after everything was removed it is as it was."""
import os
import subprocess

from case import Case, run_tests
from machine import FILTERED, LISTED


class Removal(Case):
    def test_nothing_is_left(self):
        before = self.machine.before
        self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad"))
        for unit in self.machine.units.values():
            unit.stop()
        with open("/var/lib/sifterra/netfilterd-state.json", "w", encoding="ascii") as file:
            file.write("{}")  # as when a program set something through the control socket
        self.assertEqual(self.curl(FILTERED, "http://pages.example/good").status, 0)  # the rules stay: closed
        self.assertEqual(self.machine.setup("remove", "--everything"), "Nothing is filtered any more.\n")
        for scheme in ("http", "https"):
            for user in (FILTERED, LISTED):
                self.assert_same(self.curl(user, f"{scheme}://pages.example/bad"), self.machine.bad)
        tables = subprocess.run(["nft", "list", "tables"], capture_output=True, text=True, check=True).stdout
        self.assertNotIn("sifterra", tables)
        self.assertEqual(os.listdir("/var/lib/sifterra"), [])
        after = self.machine.tree()
        # Folders that the overlay copied to put something in are no difference, nor are links that are made anew.
        certificates = "/etc/ssl/certs"
        links = {path for path in after if os.path.dirname(path) == certificates and os.path.islink(path)}
        self.assertEqual([path for path in links if "sifterra" in path or "sifterra" in after[path]], [])
        self.assertEqual({path for path in links if not os.path.exists(path)}, set())
        changed = {path for path in before.keys() | after.keys()
                   if before.get(path) != after.get(path) and (before.get(path) or after.get(path))}
        java = "/etc/ssl/certs/java/cacerts"  # holds the day of each certificate
        self.assertNotIn(b"sifterra", after.get(java, b""))
        backups = {f"/etc/{name}-" for name in ("passwd", "shadow", "group", "gshadow")}  # useradd's own
        self.assertEqual(changed - links - {java} - backups, set())


if __name__ == "__main__":
    run_tests()
