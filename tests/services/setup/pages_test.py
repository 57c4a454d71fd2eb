#!/usr/bin/env python3
"""On a whole machine: what users see who are filtered, who have a list of sites, and who are not managed."""
import encodings.idna  # noqa: F401  loaded now: other accounts may not be able to read Python's files
import json
import socket
import ssl
import statistics
import time

from case import Case, as_user, run_tests
from machine import FILTERED, LISTED, UNMANAGED
from origin import ORIGIN


class Pages(Case):
    def test_a_refused_page_is_the_block_page(self):
        for scheme in ("http", "https"):
            for family in ("-4", "-6"):
                answer = self.curl(FILTERED, f"{scheme}://pages.example/bad", family)
                self.assert_blocked(answer, (scheme, family))
                self.assertNotIn(b"pornstars", answer.body)

    def test_an_allowed_page_arrives_byte_for_byte(self):
        for scheme in ("http", "https"):
            for family in ("-4", "-6"):
                with self.subTest(scheme=scheme, family=family):
                    self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/good", family), self.machine.good)
            self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/file"), self.machine.file)

    def test_a_page_longer_than_the_proxy_holds_arrives_from_a_near_server(self):
        for scheme in ("http", "https"):
            for _ in range(3):
                page = self.curl(UNMANAGED, f"{scheme}://pages.example/very-long").body
                self.assertGreater(len(page), 200 * 1024)
                self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/very-long"), page)
            refusal = self.curl(FILTERED, f"{scheme}://pages.example/very-long?status=403")  # the server's own
            self.assertEqual((refusal.status, refusal.body == page), (403, True))
            self.assertIsNotNone(refusal.header("X-Origin"))

    def test_a_long_page_waits_for_no_tick_of_the_proxy(self):
        times = []
        for _ in range(9):
            begin = time.monotonic()
            self.assertEqual(self.curl(FILTERED, "http://pages.example/very-long?bytes-a-second=12500000").status, 200)
            times.append(time.monotonic() - begin)
        self.assertLess(statistics.median(times), 0.7, times)  # the tick comes each second

    def test_a_page_ends_as_it_should_however_its_server_ends_it(self):
        for name in ("good", "long", "very-long"):
            page = self.curl(UNMANAGED, f"http://pages.example/{name}").body
            for scheme in ("http", "https"):
                for ending in ("length", "chunks", "close"):
                    for _ in range(3):
                        with self.subTest(name=name, scheme=scheme, ending=ending):
                            answer = self.curl(FILTERED, f"{scheme}://pages.example/{name}?ending={ending}")
                            self.assert_same(answer, page)
                            self.assertEqual(answer.failure, "")  # curl tells a missing last chunk

    def test_a_listed_site_is_refused_before_it_is_asked(self):
        for scheme in ("http", "https"):
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://denied.example/good"), scheme)

    def test_users_are_told_apart(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(LISTED, f"{scheme}://listed.example/bad"), self.machine.bad)
            self.assert_blocked(self.curl(LISTED, f"{scheme}://pages.example/good"), scheme)
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://listed.example/bad"), scheme)

    def test_events_arrive_as_they_come(self):
        def listen(port, name):
            with socket.create_connection((ORIGIN, port), 20) as plain:
                connection = plain
                if port == 443:
                    connection = ssl._create_unverified_context().wrap_socket(plain, server_hostname="pages.example")
                connection.sendall(b"GET /events/" + name + b" HTTP/1.1\r\nHost: pages.example\r\n"
                                   b"Accept: text/event-stream\r\nConnection: close\r\n\r\n")
                got = b""
                while b"data: first" not in got:  # the others are not sent yet
                    piece = connection.recv(4096)
                    if not piece:
                        return got
                    got += piece
                with socket.create_connection((ORIGIN, 80), 20) as other:
                    other.sendall(b"GET /more-events/" + name + b" HTTP/1.1\r\nHost: pages.example\r\n\r\n")
                    other.recv(4096)
                    while piece := connection.recv(4096):
                        got += piece
                return got
        for scheme, port in (("http", 80), ("https", 443)):
            got = as_user(self.machine.uids[FILTERED], lambda port=port, scheme=scheme: listen(port, scheme.encode()))
            self.assertIn(b"data: more", got, (scheme, got[-300:]))
            # A window is shown no page by that name, whatever it says it listens to.
            for accept in ("text/html,*/*", "*/*, text/event-stream"):
                self.assert_blocked(self.curl(FILTERED, f"{scheme}://pages.example/events/{scheme}", "-H", f"Accept: {accept}",
                                              "-H", "Sec-Fetch-Dest: document"), (scheme, accept))

    def test_who_is_not_managed_is_untouched(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://pages.example/bad"), self.machine.bad)
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://dns.google/good"), self.machine.good)
        self.assertIn("Web of the test", self.certificate_issuer(UNMANAGED, "pages.example"))
        self.assert_same(self.curl(UNMANAGED, "http://pages.example:8080/bad"), self.machine.bad)

    def test_the_site_learns_nothing_of_the_proxy_nor_of_the_user(self):
        for scheme in ("http", "https"):
            direct = json.loads(self.curl(UNMANAGED, f"{scheme}://pages.example/headers").body)
            proxied = json.loads(self.curl(FILTERED, f"{scheme}://pages.example/headers").body)
            proxied.pop("Cache-Control", None)
            proxied.pop("Connection", None)
            self.assertEqual(proxied, direct)

    def test_secure_pages_are_opened_by_the_machines_authority_but_for_passed_sites(self):
        self.assertIn("Sifterra on ", self.certificate_issuer(FILTERED, "pages.example"))
        self.assertIn("Web of the test", self.certificate_issuer(FILTERED, "pinned.example"))
        self.assert_same(self.curl(FILTERED, "https://pinned.example/bad"), self.machine.bad)
        self.assert_blocked(self.curl(FILTERED, "http://pinned.example/bad"))


if __name__ == "__main__":
    run_tests()
