#!/usr/bin/env python3
"""On a whole machine: what a managed user may try, and what comes of it."""
import encodings.idna  # noqa: F401  loaded now: other accounts may not be able to read Python's files
import socket
import ssl

from case import Case, as_user, run_tests
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
        for port in (344, 10013, 10020, 10021, 10022, 10023):
            self.assertIn("curl: (7) ", self.curl(FILTERED, "http://pages.example/bad", "--proxy",
                                               f"http://127.0.0.1:{port}").failure, port)
        # Who is not managed gains nothing by them either.
        self.assertNotEqual(self.curl(UNMANAGED, "http://pages.example/bad", "--proxy", "http://127.0.0.1:10013").status, 200)

    def test_a_changed_environment_is_no_way_around(self):
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Client-Username: daemon"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "--noproxy", "*"))
        self.assert_blocked(self.curl(FILTERED, "http://pages.example/bad", "-H", "X-Authenticated-User: ZGFlbW9u"))

        # What a program is told by its environment, and by files of its own.
        elsewhere = f"pages.example:80:{ELSEWHERE}"
        for environment in ({"http_proxy": f"http://{ORIGIN}:8080"}, {"http_proxy": f"socks5h://{ORIGIN}:1080"},
                            {"ALL_PROXY": "socks5://127.0.0.1:9050"}, {"http_proxy": f"http://127.0.0.1:{344}"}):
            answer = self.curl(FILTERED, "http://pages.example/bad", environment=environment)
            self.assertIn("curl: (", answer.failure, environment)
            self.assertEqual(answer.body, b"", environment)
        for environment in ({"HTTPS_PROXY": ""}, {"NO_PROXY": "*"}, {"SSL_CERT_FILE": "/etc/ssl/certs/ca-certificates.crt"},
                            {"HOSTALIASES": "/etc/hosts"}):
            self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad", environment=environment), environment)
        self.assertNotEqual(self.curl(FILTERED, "http://pages.example/bad", "--resolve", elsewhere).body, self.machine.bad)

    def test_a_page_in_parts_is_no_way_around(self):
        length = len(self.machine.bad)
        for scheme in ("http", "https"):
            url = f"{scheme}://pages.example/bad?ranges=yes"
            parts = [f"{first}-{min(first + 199, length - 1)}" for first in range(0, length, 200)]
            for part in (*parts, "0-199,200-399", ",".join(parts)):
                self.assertEqual(self.curl(UNMANAGED, url, "-r", part).status, 206)
                self.assert_blocked(self.curl(FILTERED, url, "-r", part), part)
            # Downloads and films go on where they broke off.
            file = f"{scheme}://pages.example/file?ranges=yes"
            self.assertEqual(self.curl(FILTERED, file, "-r", "100000-199999").body, self.machine.file[100000:200000])

    def test_a_type_that_lies_is_no_way_around(self):
        for scheme in ("http", "https"):
            for kind in ("image/png", "text/css", "application/octet-stream", "video/mp4", "x/y", "application/json", "font/woff2"):
                self.assert_blocked(self.curl(FILTERED, f"{scheme}://pages.example/bad?type={kind}"), kind)
            # A page of another site, in a wrapping that browsers open.
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://pages.example/good?type=application/signed-exchange;v=b3"))

    def test_what_is_said_twice_is_heard_once(self):
        """A request in which two sites are named is one for the site that it was judged as."""
        def talk_with(request):
            def talk(connection):
                connection.sendall(request.encode().replace(b"\n", b"\r\n") + b"Connection: close\r\n\r\n")
                return everything(connection)
            return talk
        for request in ("GET http://listed.example/headers HTTP/1.1\nHost: pages.example\n",
                        "GET /headers HTTP/1.1\nHost: listed.example\nHost: pages.example\n"):
            answer = self.talk(LISTED, 80, talk_with(request))
            self.assertIn(b'"Host": "listed.example"', answer, request)
            self.assertNotIn(b"pages.example", answer, request)
        for request in ("GET http://pages.example/good HTTP/1.1\nHost: listed.example\n",
                        "GET /good HTTP/1.1\nHost: pages.example\nHost: listed.example\n",
                        "GET /good HTTP/1.1\nHost: listed.example@pages.example\n",
                        "GET /good HTTP/1.1\nHost: listed.example, pages.example\n",
                        "GET /good HTTP/1.1\nHost: listed.example\n pages.example\n",
                        "GET /good HTTP/1.0\n"):
            answer = self.talk(LISTED, 80, talk_with(request))
            self.assertIn(b"webcontentfilter", answer, request)
            self.assertNotIn(b"X-Origin", answer, request)
        for request in (b"GET /bad\r\n", b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n\0\0\0\4\0\0\0\0\0",
                        b"GET gopher://pages.example:80/bad HTTP/1.1\r\nHost: pages.example\r\n\r\n",
                        b"GET /good HTTP/1.1\r\nHost: pages.example\r\n\r\nGET /bad HTTP/1.1\r\nHost: pages.example\r\n\r\n",
                        b"POST /good HTTP/1.1\r\nHost: pages.example\r\nContent-Length: 57\r\nTransfer-Encoding: chunked\r\n\r\n"
                        b"0\r\n\r\nGET /bad HTTP/1.1\r\nHost: pages.example\r\nA: aaa\r\n\r\n"):
            def talk(connection, request=request):
                connection.sendall(request)
                return everything(connection)
            self.assertNotIn(self.machine.bad[-500:], self.talk(FILTERED, 80, talk), request)

    def test_names_over_https_are_refused(self):
        self.assertNotEqual(self.curl(FILTERED, "https://dns.google/good").status, 200)
        self.assertEqual(self.curl(FILTERED, "http://dns.google/good").status, 403)
        # A resolver that nobody knows, by what it says and hears.
        self.assertEqual(self.curl(FILTERED, "https://pages.example/dns-query?dns=AAAB").status, 403)
        self.assertEqual(self.curl(FILTERED, "https://pages.example/good", "-H", "Content-Type: application/dns-message",
                                   "--data-binary", "abc").status, 403)

    def test_a_tunnel_inside_a_secure_connection_is_no_way_around(self):
        def talk(connection):
            context = ssl._create_unverified_context()
            with context.wrap_socket(connection, server_hostname="pages.example") as secure:
                secure.sendall(b"CONNECT pages.example:80 HTTP/1.1\r\nHost: pages.example:80\r\n\r\n")
                secure.sendall(b"GET /bad HTTP/1.1\r\nHost: pages.example\r\n\r\n")
                return everything(secure)
        answer = self.talk(FILTERED, 443, talk)
        self.assertNotIn(self.machine.bad[-500:], answer)
        self.assertNotIn(b"X-Origin", answer)

    def test_a_tunnel_to_a_secure_port_inside_a_secure_connection_is_no_way_around(self):
        def talk(connection):
            context = ssl._create_unverified_context()
            with context.wrap_socket(connection, server_hostname="pages.example") as outer:
                outer.sendall(b"CONNECT pages.example:443 HTTP/1.1\r\nHost: pages.example:443\r\n\r\n")
                head = outer.recv(100_000)
                if b" 200 " not in head.split(b"\r\n")[0]:
                    return head
                # The proxy would hand on what it takes for a stranger's bytes.
                coming, going = ssl.MemoryBIO(), ssl.MemoryBIO()
                inner = context.wrap_bio(coming, going, server_hostname="pages.example")
                question, answer = b"GET /bad HTTP/1.1\r\nHost: pages.example\r\nConnection: close\r\n\r\n", b""
                outer.settimeout(3)
                while True:
                    try:
                        if question:
                            inner.write(question)
                            question = b""
                        answer += inner.read(100_000) or b"end"
                    except ssl.SSLWantReadError:
                        outer.sendall(going.read())
                        coming.write(outer.recv(100_000))
                    except OSError:
                        return b"inside: " + answer
        answer = self.talk(FILTERED, 443, talk)
        self.assertTrue(answer.startswith(b"HTTP/1.1 403 "), answer[:300])

    def test_websockets_are_for_the_sites_of_the_list(self):
        def talk_with(host, secure):
            def talk(connection):
                if secure:
                    connection = ssl._create_unverified_context().wrap_socket(connection, server_hostname=host)
                connection.sendall(b"GET /socket HTTP/1.1\r\nHost: " + host.encode() + b"\r\nUpgrade: websocket\r\n"
                                   b"Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                                   b"Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n")
                head = connection.recv(100_000)
                connection.sendall(b"anything")
                return head + everything(connection)
            return talk
        for secure in (False, True):
            port = 443 if secure else 80
            self.assertIn(b"you said anything", self.talk(UNMANAGED, port, talk_with("pages.example", secure)))
            self.assertIn(b"you said anything", self.talk(LISTED, port, talk_with("listed.example", secure)))
            answer = self.talk(FILTERED, port, talk_with("pages.example", secure))
            self.assertTrue(answer.startswith(b"HTTP/1.1 "), answer)
            self.assertNotIn(b"HTTP/1.1 101", answer)
            self.assertNotIn(b"you said", answer)

    def test_what_is_no_http_does_not_pass(self):
        def talk(connection):
            connection.sendall(b"SSH-2.0-OpenSSH_9.2p1\r\n\r\n")
            return everything(connection)
        self.assertIn(b"Error code explanation", self.talk(UNMANAGED, 80, talk))  # the origin's own answer
        for port in (80, 443):
            self.assertNotIn(b"Error code explanation", self.talk(FILTERED, port, talk))

    def test_a_secure_connection_that_names_no_site_is_judged_or_refused(self):
        def talk(connection):
            context = ssl._create_unverified_context()
            with context.wrap_socket(connection) as secure:
                secure.sendall(b"GET /bad HTTP/1.1\r\nHost: pages.example\r\nConnection: close\r\n\r\n")
                return everything(secure)
        self.assertIn(self.machine.bad[-500:], self.talk(UNMANAGED, 443, talk))
        self.assertNotIn(self.machine.bad[-500:], self.talk(FILTERED, 443, talk))

    def test_other_doors_are_closed(self):
        for port in (22, 465, 587, 853, 993, 995, 5222, 8080, 8443):
            self.assertEqual(self.talk(FILTERED, port, lambda connection: b"in"), b"ConnectionRefusedError")
        for port in (443, 853):  # QUIC, and names over it
            self.assertIn(self.datagram(FILTERED, port), (b"ConnectionRefusedError", b"PermissionError"))

    def test_names_are_asked_of_the_machines_resolver_alone(self):
        question = b"\0\7\1\0\0\1\0\0\0\0\0\0\5pages\7example\0\0\1\0\1"
        for host in (ORIGIN, ELSEWHERE):
            self.assertIn(socket.inet_aton(ORIGIN), self.datagram(UNMANAGED, 53, host, question))
        self.assertIn(socket.inet_aton(ORIGIN), self.datagram(FILTERED, 53, ORIGIN, question))
        self.assertIn(self.datagram(FILTERED, 53, ELSEWHERE, question), (b"ConnectionRefusedError", b"PermissionError"))

    def talk(self, user, port, action):
        """What the action returns over a connection of the user to the origin, or the failure's name."""
        def whole():
            with socket.create_connection((ORIGIN, port), 10) as connection:
                return action(connection)
        return as_user(self.machine.uids[user], whole)

    def datagram(self, user, port, host=ORIGIN, question=b"?"):
        def whole():
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as one:
                one.settimeout(10)
                one.connect((host, port))
                one.send(question)
                return one.recv(100)
        return as_user(self.machine.uids[user], whole)


def everything(connection):
    """What comes until the other end closes or has no more to say."""
    connection.settimeout(3)
    data = b""
    try:
        while part := connection.recv(100_000):
            data += part
    except OSError:
        pass
    return data


if __name__ == "__main__":
    run_tests()
