#!/usr/bin/env python3
"""Two c-icap nodes behind one Squid with the shipped configuration: one dies under load, and no user notices."""
import http.client
import os
import subprocess
import threading
import unittest

import sifterra_service
from icap_client import IcapClient
from servers import CIcap, Squid
from world import ALLOWED, BUILD, REFUSED, World, bland_page, run_tests, squid_example

CLIENTS, TURNS = 6, 60
world = None
MOUNTS = None  # whether the policies are mounted read-only


def setUpModule():
    global world, MOUNTS
    MOUNTS = can_mount()
    world = Nodes()


def tearDownModule():
    world.stop()


def can_mount():
    return os.geteuid() == 0 and subprocess.run(
        ["unshare", "-m", "mount", "-t", "tmpfs", "none", "/mnt"], stderr=subprocess.DEVNULL).returncode == 0


class Node(CIcap):
    """c-icap with the policies on a file system that it cannot write to, where the kernel lets us mount one."""

    def configure(self):
        command = super().configure()
        if not MOUNTS:
            return command
        root = next(line.split()[1] for line in self.lines if line.startswith("sifterra.Root "))
        script = 'mount --bind "$0" "$0" && mount -o remount,bind,ro "$0" && exec "$@"'
        return ["unshare", "-m", "sh", "-c", script, root, *command]


class Nodes(World):
    """The policies are shared: both nodes read the same files, which only the administrator may write."""

    node = Node

    def __init__(self):
        super().__init__(squid=False)
        try:
            self.nodes = [self.icap]
            lines = sifterra_service.lines(BUILD, self.policies.root, self.directory, default_user="kid")
            self.nodes.append(self.add(Node(self.directory, name="c-icap-2", lines=lines).start()))
            addresses = {f"192.0.2.1{number}:1344": f"127.0.0.1:{node.port}"
                         for number, node in enumerate(self.nodes, 1)}
            self.squid = self.add(Squid(self.directory, lines=squid_example("scale/squid.conf", addresses)).start())
        except BaseException:
            self.stop()
            raise


class SharedPolicies(unittest.TestCase):
    def test_change_counts_on_both_nodes_which_cannot_write(self):
        if not MOUNTS:
            self.skipTest("skipped by name: a read-only mount needs root")
        for node in world.nodes:
            for path in ("", "Library/Managed Preferences/kid"):
                done = subprocess.run(["nsenter", "-m", "-t", str(node.process.pid), "touch",
                                       os.path.join(world.policies.root, path, "new")], stderr=subprocess.PIPE)
                self.assertIn(b"Read-only file system", done.stderr)
        for denied, refused in ((["http://shared.example/"], True), ([], False), (["http://shared.example/"], True)):
            world.policies.write("shared", restrictWeb=True, useContentFilter=True, filterBlacklist=denied)
            for node in world.nodes:
                with self.subTest(denied=denied, node=node.name), IcapClient(node.port) as icap:
                    answer = icap.reqmod("http://shared.example/", icap_headers=[("X-Client-Username", "shared")])
                    self.assertEqual(answer.refused, refused)


class TwoNodes(unittest.TestCase):
    def load(self, wrong, counted, pages):
        """One user: page after page over one connection to the proxy. A connection that Squid closes between two
        pages is opened again, as every browser does."""
        connection = http.client.HTTPConnection("127.0.0.1", world.squid.port, timeout=60)
        for turn in range(TURNS):
            path, refused, body = pages[turn % len(pages)]
            try:
                connection.request("GET", world.origin.address + path)
                answer = connection.getresponse()
                got = answer.read()
            except (http.client.HTTPException, OSError) as problem:
                wrong.append((path, repr(problem)))
                connection.close()
                continue
            if refused and (answer.status != 403 or b"pornstars" in got):
                wrong.append((path, answer.status))
            if not refused and (answer.status, got) != (200, body):
                wrong.append((path, answer.status, len(got)))
            counted.release()
        connection.close()

    def test_a_node_that_dies_under_load_loses_nothing_and_lets_nothing_through(self):
        pages = [("/a", False, ALLOWED), ("/b", True, REFUSED), ("/c", False, bland_page(20_000)),
                 ("/d", True, REFUSED + bland_page(9_000)), ("/e", False, os.urandom(30_000))]
        for path, refused, body in pages:
            world.origin.serve(path, body, content_type="image/png" if path == "/e" else "text/html")
        wrong, counted = [], threading.Semaphore(0)
        threads = [threading.Thread(target=self.load, args=(wrong, counted, pages)) for _ in range(CLIENTS)]
        for thread in threads:
            thread.start()
        for _ in range(CLIENTS * TURNS // 3):
            counted.acquire(timeout=30)
        shares = [node.access_log().count("RESPMOD") for node in world.nodes]
        self.assertGreater(min(shares), sum(shares) // 5, "the nodes share the load")
        world.nodes[0].kill()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])
        self.assertGreater(world.nodes[1].access_log().count("RESPMOD"), CLIENTS * TURNS // 3)


if __name__ == "__main__":
    run_tests()
