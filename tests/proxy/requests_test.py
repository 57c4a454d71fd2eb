#!/usr/bin/env python3
"""Who asks, and what the lists say: requests, users, block pages, the log and the numbers, asked by ICAP itself."""
import base64
import os
import time
import unittest

from icap_client import IcapClient, http_request, http_response
from world import ALLOWED, REFUSED, World, block_page, run_tests

world = None


def setUpModule():
    global world
    world = World(squid=False)


def tearDownModule():
    world.stop()


class RequestTest(unittest.TestCase):
    def reqmod(self, url, user=None, **options):
        headers = [("X-Client-Username", user)] if user else []
        with IcapClient(world.icap.port) as icap:
            return icap.reqmod(url, icap_headers=headers, **options)

    def respmod(self, body, url="http://www.example.com/page.html", user=None, icap_headers=(), request_headers=(),
                method="GET", **options):
        headers = list(icap_headers) + ([("X-Client-Username", user)] if user else [])
        with IcapClient(world.icap.port) as icap:
            return icap.respmod(body, request=http_request(url, method, request_headers), headers=headers, **options)

    def assert_passes(self, answer):
        self.assertIn(answer.status, (200, 204))
        self.assertFalse(answer.refused, answer.http_head)

    def assert_refused(self, answer):
        self.assertEqual((answer.status, answer.http_status), (200, 403), answer.head)


class Lists(RequestTest):
    def test_denied_site_is_refused_before_it_is_fetched(self):
        self.assert_refused(self.reqmod("http://denied.example/page"))
        self.assert_refused(self.reqmod("http://www.denied.example/"))
        self.assert_passes(self.reqmod("http://other.example/page"))

    def test_allow_list_only(self):
        self.assert_refused(self.reqmod("http://other.example/", user="list"))
        self.assert_passes(self.reqmod("http://sites.example/games", user="list"))
        self.assert_refused(self.respmod(ALLOWED, url="http://other.example/", user="list"))
        self.assert_passes(self.respmod(REFUSED, url="http://sites.example/", user="list"))

    def test_trusted_site_is_not_judged(self):
        self.assert_passes(self.respmod(REFUSED, url="http://trusted.example/"))
        self.assert_refused(self.respmod(REFUSED, url="http://other.example/"))

    def test_secure_pages_pass_for_whom_they_always_do(self):
        self.assert_passes(self.reqmod("https://denied.example/", user="secure"))
        self.assert_refused(self.reqmod("http://denied.example/", user="secure"))
        self.assert_passes(self.respmod(REFUSED, url="https://other.example/", user="secure"))
        self.assert_refused(self.respmod(REFUSED, url="https://other.example/", user="kid"))

    def test_tunnels_are_judged_by_their_host(self):
        self.assert_refused(self.reqmod("denied.example:443", method="CONNECT"))
        self.assert_passes(self.reqmod("other.example:443", method="CONNECT"))
        self.assert_refused(self.reqmod("other.example:443", method="CONNECT", user="list"))
        self.assert_passes(self.reqmod("denied.example:443", method="CONNECT", user="secure"))

    def test_unrestricted_user_sees_all(self):
        world.policies.write("grown", restrictWeb=False)
        self.assert_passes(self.reqmod("http://denied.example/", user="grown"))
        self.assert_passes(self.respmod(REFUSED, user="grown"))


class Users(RequestTest):
    def test_forms_of_a_name(self):
        plain, coded = "list", lambda text: base64.b64encode(text.encode()).decode()
        for header, value in (("X-Client-Username", plain), ("X-Authenticated-User", plain),
                              ("X-Authenticated-User", coded("list")),
                              ("X-Authenticated-User", coded("Local://list")),
                              ("X-Authenticated-User", coded("LDAP://server/uid=list,ou=people,dc=example,dc=org")),
                              ("X-Authenticated-User", "WinNT://EXAMPLE/list"), ("X-Client-Username", "EXAMPLE\\list"),
                              ("X-Client-Username", "list@EXAMPLE.ORG")):
            with self.subTest(header=header, value=value), IcapClient(world.icap.port) as icap:
                self.assert_refused(icap.reqmod("http://other.example/", icap_headers=[(header, value)]))

    def test_policy_is_picked_up_without_a_restart(self):
        world.policies.write("new", restrictWeb=True, useContentFilter=True)
        self.assert_passes(self.reqmod("http://later.example/", user="new"))
        world.policies.write("new", restrictWeb=True, useContentFilter=True, filterBlacklist=["http://later.example/"])
        self.assert_refused(self.reqmod("http://later.example/", user="new"))
        world.policies.write("new", restrictWeb=False)
        self.assert_passes(self.reqmod("http://later.example/", user="new"))

    def test_broken_policy_leaves_the_last_good_one(self):
        world.policies.write("broken", restrictWeb=True, useContentFilter=True, filterBlacklist=["http://bad.example/"])
        self.assert_refused(self.reqmod("http://bad.example/", user="broken"))
        world.policies.write_bytes("broken", b"no property list")
        self.assert_refused(self.reqmod("http://bad.example/", user="broken"))
        self.assert_passes(self.reqmod("http://good.example/", user="broken"))

    def test_policy_that_never_read_refuses(self):
        world.policies.write_bytes("never", b"no property list")
        self.assert_refused(self.respmod(ALLOWED, user="never"))

    def test_hostile_names_end_nothing(self):
        for name in ("../../etc/passwd", ".", "..", "a/b", "x" * 5000, "LDAP://", "LDAP:///,,,===", "%00", "\xff\xfe",
                     "Zm9v=" * 50):
            with self.subTest(name=name[:20]):
                self.assertIn(self.respmod(ALLOWED, user=name).status, (200, 204))
        self.assert_refused(self.respmod(REFUSED))


class BlockPages(RequestTest):
    def test_is_the_librarys_without_override(self):
        url = "http://www.example.com/films?a=1&b='x'"
        answer = self.respmod(REFUSED, url=url)
        self.assert_refused(answer)
        self.assertIn(b"www.example.com/films", answer.body)
        self.assertNotIn(b"127.0.0.1", answer.body)
        self.assertNotIn(b"NO_LOC", answer.body)
        self.assertEqual(answer.header("Content-Length"), str(len(answer.body)))
        self.assertIn("no-store", answer.header("Cache-Control"))
        self.assertTrue(answer.header("Content-Type").startswith("text/html"))

    def test_language_is_the_browsers_where_the_user_has_none(self):
        pages = {}
        for language in ("en", "de", "fr;q=0.8, ru;q=0.9"):
            answer = self.respmod(REFUSED, request_headers=[("Accept-Language", language)])
            pages[language] = answer.body
        self.assertEqual(len(set(pages.values())), 3)
        self.assertIn(b'lang="de"', pages["de"])
        self.assertIn(b'lang="ru"', pages["fr;q=0.8, ru;q=0.9"])

    def test_shows_no_sites_where_nobody_can_be_asked(self):
        # The page without the override form is the same for both modes.
        self.assertNotIn(b"Sites for children", self.reqmod("http://other.example/", user="list").body)

    def test_with_an_override_address_the_form_leads_there_and_the_sites_are_shown(self):
        address = "http://192.0.2.9:10011/webcontentfilter.override.local"
        other = World(squid=False, OverrideAddress=address)
        try:
            with IcapClient(other.icap.port) as icap:
                answer = icap.reqmod("http://other.example/", icap_headers=[("X-Client-Username", "list")])
            self.assertIn(b"Sites for children", answer.body)
            self.assertIn(address.encode(), answer.body)
        finally:
            other.stop()

    def test_refused_head_has_no_body(self):
        answer = self.reqmod("http://denied.example/", method="HEAD")
        self.assert_refused(answer)
        self.assertFalse(answer.body)

    def test_what_is_no_page_gets_an_empty_body_of_its_type(self):
        for url, accept, kind in (("http://denied.example/a.png", "image/avif,image/webp,*/*", "image/"),
                                  ("http://denied.example/a.js", "*/*", "javascript"),
                                  ("http://denied.example/a.css", "text/css,*/*;q=0.1", "text/css")):
            with self.subTest(url=url):
                answer = self.reqmod(url, headers=[("Accept", accept)])
                self.assert_refused(answer)
                self.assertNotIn(b"<html", answer.body or b"")
                self.assertIn(kind, answer.header("Content-Type"))

    def test_is_what_the_command_makes(self):
        url = "http://denied.example/page"
        answer = self.reqmod(url, headers=[("Accept-Language", "en")])
        made = block_page(world, "kid", url)
        title = lambda page: page.partition(b"<title>")[2].partition(b"</title>")[0]
        self.assertEqual(title(answer.body), title(made))


class Numbers(RequestTest):
    def log(self, mark):
        """The lines of the service's log that hold `mark`; they are written once the answer is out."""
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline:
            with open(os.path.join(world.directory, "sifterra.log"), errors="replace") as file:
                lines = [line for line in file.read().split("\n")[:-1] if mark in line]
            if lines:
                return lines
            time.sleep(0.02)
        return []

    def test_log_tells_user_verdict_and_score(self):
        self.respmod(REFUSED, user="logged1")
        self.respmod(ALLOWED, user="logged2")
        world.policies.write("logged3", restrictWeb=True, useContentFilter=True, filterBlacklist=["http://no.example/"])
        self.reqmod("http://no.example/", user="logged3")
        for user, wanted in (("logged1", "verdict=refused evidence=0 "), ("logged2", "verdict=allowed evidence=0 "),
                             ("logged3", "verdict=refused evidence=8 ")):
            with self.subTest(user=user):
                lines = self.log(f'user="{user}"')
                self.assertEqual(len(lines), 1)
                self.assertIn(wanted, lines[0])

    def test_address_that_cannot_be_read_is_in_no_log(self):
        other = World(squid=False, LibraryLog=None)  # as it is without a word about it
        try:
            with IcapClient(other.icap.port) as icap:
                for url in ("http://[secret-address/", "http://a b/secret-address", "http://x:y/secret-address"):
                    icap.reqmod(url)
            self.assertNotIn("secret-address", other.icap.output())
        finally:
            other.stop()

    def test_address_is_private(self):
        self.respmod(REFUSED, url="http://secret-address.example/very-private", user="private")
        for line in self.log('user="private"'):
            self.assertNotIn("secret-address", line)


if __name__ == "__main__":
    run_tests()
