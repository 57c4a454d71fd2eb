#!/usr/bin/env python3
"""Through Squid with the shipped configuration, by curl: what a user behind the proxy gets."""
import gzip
import os
import socket
import subprocess
import threading
import time
import unittest

from icap_client import header
from servers import resident
from world import ALLOWED, REFUSED, RUSSIAN_REFUSED, World, bland_page, run_tests

world = None


def setUpModule():
    global world
    world = World()


def tearDownModule():
    world.stop()


class SquidTest(unittest.TestCase):
    def serve(self, body, path="/page.html", **options):
        return world.origin.address + world.origin.serve(path, body, **options)

    def assert_identical(self, body, *options, **served):
        status, _, got = world.curl(self.serve(body, **served), *options)
        self.assertEqual(status, 200)
        self.assertTrue(got == body, f"{len(got)} bytes came of {len(body)}")

    def assert_block_page(self, answer):
        status, head, body = answer
        self.assertEqual(status, 403, head)
        self.assertIn(b"<html", body)
        self.assertIn("no-store", header(head, "Cache-Control") or "")
        self.assertTrue(header(head, "Content-Type").startswith("text/html"))
        for name in ("ETag", "Last-Modified", "Content-Encoding"):
            self.assertIsNone(header(head, name))


class Pages(SquidTest):
    def test_allowed_pages_arrive_byte_for_byte(self):
        for length in (1, 1500, 1024, 4096, 32768, 32769, 70_000, 262_144, 1_000_000):
            body = ALLOWED if length == 1 else bland_page(length)
            with self.subTest(length=length):
                self.assert_identical(body)

    def test_other_things_arrive_byte_for_byte(self):
        for kind in ("image/png", "application/octet-stream", "video/mp4", None):
            with self.subTest(kind=kind):
                self.assert_identical(os.urandom(400_000), content_type=kind)

    def test_refused_page_is_the_block_page(self):
        for kind in ("text/html", "application/xhtml+xml", "text/plain", None):
            with self.subTest(kind=kind):
                answer = world.curl(self.serve(REFUSED, content_type=kind, headers=[("ETag", '"x"')]))
                self.assert_block_page(answer)
                self.assertNotIn(b"pornstars", answer[2])

    def test_packed_pages(self):
        packers = {"gzip": gzip.compress,
                   "br": lambda data: subprocess.run(["brotli", "-c"], input=data, stdout=subprocess.PIPE).stdout}
        for coding, pack in packers.items():
            options = {"headers": [("Content-Encoding", coding)]}
            with self.subTest(coding=coding):
                self.assert_block_page(world.curl(self.serve(pack(REFUSED), **options)))
                self.assert_identical(pack(bland_page(400_000)), **options)

    def test_charsets(self):
        page = RUSSIAN_REFUSED.replace('<meta charset="utf-8">', "")
        for charset in ("windows-1251", "koi8-r", "utf-16"):
            kind = f"text/html; charset={charset}" if charset != "utf-16" else "text/html"
            with self.subTest(charset=charset):
                self.assert_block_page(world.curl(self.serve(page.encode(charset, "ignore"), content_type=kind)))

    def test_chunked_pages(self):
        def chunked(page, size):
            def answer(request):
                request.begin_chunks()
                for at in range(0, len(page), size):
                    request.chunk(page[at:at + size])
                request.chunk(b"")
            return answer

        big = bland_page(500_000)
        for page, size in ((REFUSED, 10), (REFUSED, 1000), (ALLOWED, 7), (big, 30_000)):
            world.origin.pages["/chunked"] = chunked(page, size)
            with self.subTest(length=len(page), size=size):
                answer = world.curl(world.origin.address + "/chunked")
                if page is REFUSED:
                    self.assert_block_page(answer)
                else:
                    self.assertEqual((answer[0], answer[2] == page), (200, True))

    def test_trickling_page(self):
        def trickle(page):
            def answer(request):
                request.begin_chunks()
                for at in range(0, len(page), 100):
                    request.chunk(page[at:at + 100])
                    time.sleep(0.01)  # the trickle itself
                request.chunk(b"")
            return answer

        world.origin.pages["/slow"] = trickle(REFUSED)
        self.assert_block_page(world.curl(world.origin.address + "/slow"))
        world.origin.pages["/slow"] = trickle(ALLOWED)
        status, _, body = world.curl(world.origin.address + "/slow")
        self.assertEqual((status, body), (200, ALLOWED))

    def test_events_arrive_as_they_come(self):
        more = threading.Event()

        def events(request):
            request.begin_chunks(content_type="text/event-stream")
            request.chunk(b"data: first\n\n")
            more.wait(30)
            request.chunk(REFUSED)
            request.chunk(b"")

        world.origin.pages["/events"] = events
        host = world.origin.address[len("http://"):]
        with socket.create_connection(("127.0.0.1", world.squid.port), timeout=20) as connection:
            connection.sendall(f"GET {world.origin.address}/events HTTP/1.1\r\nHost: {host}\r\n"
                               "Accept: text/event-stream\r\nConnection: close\r\n\r\n".encode())
            got = b""
            while b"first" not in got:  # before the rest is sent
                piece = connection.recv(4096)
                self.assertTrue(piece, got)
                got += piece
            more.set()
        # A window is shown no page by that name.
        status, _, body = world.curl(world.origin.address + "/events", "-H", "Accept: text/html,*/*", "-H",
                                     "Sec-Fetch-Dest: document")
        self.assertEqual(status, 403)
        self.assertNotIn(b"pornstars", body)

    def test_origin_that_breaks_off(self):
        def broken(request):
            request.send_response(200)
            request.send_header("Content-Type", "text/html")
            request.send_header("Content-Length", "50000")
            request.end_headers()
            request.wfile.write(REFUSED)
            request.wfile.flush()
            request.connection.shutdown(socket.SHUT_RDWR)

        world.origin.pages["/broken"] = broken
        _, _, body = world.curl(world.origin.address + "/broken")
        self.assertNotIn(b"pornstars", body)

    def test_malformed_answers_of_the_origin(self):
        for raw in (b"garbage\r\n\r\n" + REFUSED, b"HTTP/1.1 200\r\n\r\n" + REFUSED,
                    b"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" + REFUSED,
                    b"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Type: image/png\r\n\r\n" + REFUSED,
                    b"HTTP/1.0 200 OK\n\n" + REFUSED, REFUSED):
            def answer(request, raw=raw):
                request.close_connection = True
                request.wfile.write(raw)

            world.origin.pages["/raw"] = answer
            with self.subTest(raw=raw[:40]):
                _, _, body = world.curl(world.origin.address + "/raw")
                self.assertNotIn(b"pornstars", body)

    def test_many_headers_of_the_origin(self):
        self.assert_block_page(world.curl(self.serve(REFUSED, headers=[(f"X-{i}", "v" * 50) for i in range(300)])))

    def test_head_requests(self):
        # There is no body to judge; the lists decide all the same.
        status, head, body = world.curl(self.serve(REFUSED), "--head")
        self.assertEqual((status, body), (200, head + b"\r\n\r\n"))  # curl prints the head in the body's place
        self.assertEqual(header(head, "Content-Length"), str(len(REFUSED)))
        status, head, _ = world.curl("http://www.denied.example/", "--head")
        self.assertEqual(status, 403)
        self.assertIn("no-store", header(head, "Cache-Control") or "")

    def test_big_download_streams(self):
        body = bland_page(40 << 20)
        before = resident(world.icap)
        self.assert_identical(body, path="/big")
        self.assertLess(resident(world.icap) - before, 20)

    def test_origin_faster_than_the_filter_does_not_get_stuck(self):
        page = bland_page(1_000_000)
        for status in (200, 403):  # a refusal of the server's own is a page like others
            def at_once(request, status=status):
                request.send_response(status)
                request.send_header("Content-Type", "text/html")
                request.send_header("Content-Length", str(len(page)))
                request.end_headers()
                request.wfile.write(page)

            world.origin.pages["/fast"] = at_once
            with self.subTest(status=status):
                got, _, body = world.curl(world.origin.address + "/fast")
                self.assertEqual((got, body == page), (status, True))

    def test_client_that_goes_away(self):
        url = self.serve(bland_page(2_000_000), path="/leave")
        for _ in range(5):
            with socket.create_connection(("127.0.0.1", world.squid.port)) as connection:
                connection.sendall(f"GET {url} HTTP/1.1\r\nHost: x\r\n\r\n".encode())
                connection.recv(1000)
        self.assert_block_page(world.curl(self.serve(REFUSED)))
        self.assertTrue(world.alive())

    def test_many_clients_at_once(self):
        world.origin.serve("/bad", REFUSED)
        world.origin.serve("/good", ALLOWED)
        wrong = []

        def ask():
            for turn in range(10):
                path, status = (("/bad", "403"), ("/good", "200"))[turn % 2]
                done = subprocess.run(["curl", "-s", "-o", "/dev/null", "-w", "%{http_code}", "-x",
                                       f"http://127.0.0.1:{world.squid.port}", world.origin.address + path],
                                      stdout=subprocess.PIPE, text=True)
                if done.stdout != status:
                    wrong.append((path, done.stdout))

        threads = [threading.Thread(target=ask) for _ in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])


class Lists(SquidTest):
    def test_denied_site_is_refused_and_never_fetched(self):
        world.origin.serve("/denied", ALLOWED)
        before = len(world.origin.requests)
        for _ in range(10):
            self.assert_block_page(world.curl("http://www.denied.example/denied"))
        self.assertEqual(len(world.origin.requests), before)

    def test_refusals_come_from_the_first_second_on(self):
        other = World()
        try:
            for _ in range(5):
                self.assert_block_page(other.curl("http://www.denied.example/", "--max-time", "20"))
        finally:
            other.stop()

    def test_squid_finds_no_fault_with_the_shipped_rules(self):
        world.origin.serve("/page", ALLOWED)
        world.curl(world.origin.address + "/page")
        world.curl("http://www.denied.example/")
        with open(os.path.join(world.squid.directory, "cache.log"), errors="replace") as log:
            self.assertEqual([line for line in log if "ACL" in line or "ERROR" in line or "FATAL" in line], [])

    def test_users_have_policies_of_their_own(self):
        world.origin.serve("/any", REFUSED)
        url = "http://sites.example/any"
        self.assert_block_page(world.curl(url))
        status, _, body = world.curl(url, user="list")
        self.assertEqual((status, body), (200, REFUSED))
        self.assert_block_page(world.curl("http://elsewhere.example/any", user="list"))

    def test_tunnel_to_a_denied_host_is_refused(self):
        done = subprocess.run(["curl", "-s", "-o", "/dev/null", "-w", "%{http_connect}", "-x",
                               f"http://127.0.0.1:{world.squid.port}", "https://www.denied.example/"],
                              stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.stdout, "403")


class Failures(SquidTest):
    def test_nothing_passes_without_the_service(self):
        other = World()
        try:
            url = other.origin.address + other.origin.serve("/page", REFUSED)
            self.assertEqual(other.curl(url)[0], 403)
            other.icap.kill()
            for page in (REFUSED, ALLOWED):
                other.origin.serve("/page", page)
                status, _, body = other.curl(url)
                self.assertNotEqual(status, 200)
                self.assertNotIn(page[100:400], body)
        finally:
            other.stop()


if __name__ == "__main__":
    run_tests()
