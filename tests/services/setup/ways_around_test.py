#!/usr/bin/env python3
"""On a whole machine: what a managed user may try, and what comes of it."""
from case import Case, run_tests
from machine import FILTERED, LISTED, UNMANAGED
from origin import ELSEWHERE, ORIGIN, ORIGIN6


class WaysAround(Case):
    def test_an_address_without_a_name_is_no_way_around(self):
        for address in (ORIGIN, f"[{ORIGIN6}]"):
            self.assert_blocked(self.curl(FILTERED, f"http://{address}/bad"), address)
            # The proxy takes no certificate for an address.
            self.assertEqual(self.curl(FILTERED, f"https://{address}/bad", "-k").status, 503)
        self.assertIn("curl: (7) ", self.curl(FILTERED, "http://pages.example:8080/bad").failure)

    def test_another_sites_name_is_no_way_around(self):
        # A site of the list, or a passed one, is named, and another is asked.
        for user, url in ((LISTED, "http://listed.example/bad"), (LISTED, "https://listed.example/bad"),
                          (FILTERED, "https://pinned.example/bad")):
            answer = self.curl(user, url, "-k", "--connect-to", f"::{ELSEWHERE}:")
            self.assertNotEqual(answer.body, self.machine.bad, url)
            self.assertIsNone(answer.header("X-Origin"), url)

    def test_a_tunnel_through_the_proxy_is_no_way_around(self):
        with_connect = self.curl(FILTERED, "https://pages.example/bad", "--proxy", f"http://{ORIGIN}:80")
        self.assertNotEqual(with_connect.body, self.machine.bad)
        for port in (10012, 10013, 10020, 10021, 10022, 10023):
            self.assertIn("curl: (7) ", self.curl(FILTERED, "http://pages.example/bad", "--proxy",
                                               f"http://127.0.0.1:{port}").failure, port)
        # Who is not managed gains nothing by them either.
        self.assertNotEqual(self.curl(UNMANAGED, "http://pages.example/bad", "--proxy", "http://127.0.0.1:10013").status, 200)

    def test_a_changed_environment_is_no_way_around(self):
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Client-Username: daemon"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "--noproxy", "*"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Authenticated-User: ZGFlbW9u"))

    def test_names_over_https_are_refused(self):
        self.assertNotEqual(self.curl(FILTERED, "https://dns.google/good").status, 200)
        self.assertEqual(self.curl(FILTERED, "http://dns.google/good").status, 403)
        # A resolver that nobody knows, by what it says and hears.
        self.assertEqual(self.curl(FILTERED, "https://pages.example/dns-query?dns=AAAB").status, 403)
        self.assertEqual(self.curl(FILTERED, "https://pages.example/good", "-H", "Content-Type: application/dns-message",
                                   "--data-binary", "abc").status, 403)


if __name__ == "__main__":
    run_tests()
