#!/usr/bin/env python3
"""What nobody should send: the service neither crashes nor hangs nor grows, and the next request is answered right."""
import random
import socket
import threading
import time
import unittest

from icap_client import IcapClient, chunk, http_request, http_response
from servers import processes, resident
from world import ALLOWED, REFUSED, World, bland_page, run_tests

world = None
children = None


def setUpModule():
    global world, children
    world = World(squid=False)
    with IcapClient(world.icap.port) as icap:
        icap.respmod(ALLOWED)  # the map is loaded
    children = processes(world.icap)


def tearDownModule():
    world.stop()


class Hostile(unittest.TestCase):
    def client(self, **options):
        return IcapClient(world.icap.port, **options)

    def tearDown(self):
        # Whatever happened: judged right afterwards, by the same processes.
        with self.client() as icap:
            self.assertTrue(icap.respmod(REFUSED, preview=1024).refused)
            self.assertFalse(icap.respmod(ALLOWED, preview=1024).refused)
        self.assertLessEqual(children, processes(world.icap), "a server process ended: " + world.icap.output())

    def raw(self, data, shut=True):
        """Everything that comes back for these bytes until the server closes or has nothing more to say."""
        with socket.create_connection(("127.0.0.1", world.icap.port), timeout=20) as connection:
            answer = b""
            try:
                connection.sendall(data)
                if shut:
                    connection.shutdown(socket.SHUT_WR)
                while len(answer) < 1 << 22:
                    part = connection.recv(1 << 16)
                    if not part:
                        break
                    answer += part
            except OSError:
                pass  # it closed on us: its right
            return answer

    def test_malformed_icap(self):
        # Left out: an Encapsulated header of some hundred parts. c-icap itself ends of it, with any service, and
        # starts another process (docs/icap.md: only proxies may reach the port).
        request, response = http_request(), http_response()
        whole = self.client().respmod_head(request, response)
        for data in (
                b"\r\n" * 50, b"\0" * 5000, b"GET / HTTP/1.1\r\nHost: a\r\n\r\n", b"RESPMOD\r\n\r\n", b"RESPMOD  ICAP/1.0\r\n\r\n",
                b"RESPMOD icap://h/sifterra ICAP/9.9\r\nEncapsulated: res-body=0\r\n\r\n",
                b"RESPMOD icap://h/sifterra ICAP/1.0\r\n\r\n",
                b"RESPMOD icap://h/sifterra ICAP/1.0\r\nEncapsulated: res-hdr=99999999, res-body=5\r\n\r\n",
                b"RESPMOD icap://h/sifterra ICAP/1.0\r\nEncapsulated: res-hdr=0, res-body=-5\r\n\r\n",
                b"RESPMOD icap://h/nothere ICAP/1.0\r\nEncapsulated: null-body=0\r\n\r\n",
                b"REQMOD icap://h/sifterra ICAP/1.0\r\nEncapsulated: req-hdr=0, null-body=3\r\n\r\nGET",
                b"DANCE icap://h/sifterra ICAP/1.0\r\n\r\n", whole.replace(b"res-body=", b"res-body=zz"),
                whole.replace(b"Allow: 204", b"Allow: 204\r\nPreview: 99999999999999999999"),
                whole.replace(b"Allow: 204", b"Preview: -1") + chunk(REFUSED) + b"0\r\n\r\n",
                whole + b"ZZZZ\r\nhello\r\n0\r\n\r\n", whole + b"ffffffffffffffffffff\r\nhello\r\n0\r\n\r\n",
                whole + b"-5\r\nhello\r\n0\r\n\r\n", whole + b"5\r\nhelloworld\r\n0\r\n\r\n", whole + b"5;" + b"x" * 70000 + b"\r\nhello\r\n"):
            with self.subTest(data=data[:60]):
                answer = self.raw(data)
                if answer:
                    self.assertTrue(answer.startswith(b"ICAP/1."), answer[:80])

    def test_random_bytes_in_a_good_request(self):
        chance = random.Random(7)
        good = self.client().respmod_head(http_request(), http_response(), preview=1024) + chunk(REFUSED[:1024]) + b"0\r\n\r\n"
        for _ in range(150):
            data = bytearray(good)
            for _ in range(chance.randint(1, 12)):
                at = chance.randrange(len(data))
                data[at:at + chance.randint(0, 3)] = bytes([chance.randrange(256)]) * chance.randint(0, 4)
            self.raw(bytes(data))

    def test_malformed_http_inside(self):
        for request, response in ((b"", b""), (b"\r\n\r\n", b"\r\n\r\n"), (b"GET\r\n\r\n", b"HTTP/1.1\r\n\r\n"),
                                  (http_request(), b"HTTP/1.1 abc OK\r\nContent-Type\r\n: html\r\n\r\n"),
                                  (b"\xff\xfe\x00" * 50 + b"\r\n\r\n", b"\x00" * 90 + b"\r\n\r\n"),
                                  (http_request("http://" + "a" * 60_000), http_response()),
                                  (http_request("http://[::1/%zz%00"), http_response("text/html; charset=" + "x" * 9000)),
                                  (http_request(), http_response("text/html;;;==;charset=\"\"")),
                                  (http_request(), http_response(length="-1"))):
            with self.subTest(request=request[:40], response=response[:40]):
                with self.client() as icap:
                    try:
                        icap.send(icap.respmod_head(request, response) + chunk(ALLOWED) + b"0\r\n\r\n")
                        self.assertTrue(icap.read_answer().head.startswith(b"ICAP/1."))
                    except ConnectionError:
                        pass  # refused to listen

    def test_header_floods(self):
        many = [(f"X-Flood-{i}", "v" * 20) for i in range(20_000)]
        long = [("X-Flood", "v" * 2_000_000)]
        for where in ("icap", "request", "response"):
            for flood in (many, long):
                with self.subTest(where=where, lines=len(flood)), self.client() as icap:
                    request = http_request(headers=flood if where == "request" else ())
                    response = http_response(headers=flood if where == "response" else ())
                    try:
                        icap.send(icap.respmod_head(request, response, headers=flood if where == "icap" else ())
                                  + chunk(ALLOWED) + b"0\r\n\r\n")
                        self.assertTrue(icap.read_answer().head.startswith(b"ICAP/1."))
                    except ConnectionError:
                        pass

    def test_long_header_lines(self):
        # How long a line may be is c-icap's to say; the proxy in front sends none longer than 64 KiB.
        for length in (10_000, 65_000, 1_000_000):
            with self.subTest(length=length):
                with self.client() as icap:
                    answer = icap.respmod(REFUSED, request=http_request(headers=[("Cookie", "c" * length)]))
                self.assertTrue(answer.refused)

    def test_slow_body_is_judged_like_a_fast_one(self):
        for page, refused in ((REFUSED, True), (bland_page(6000), False)):
            with self.subTest(refused=refused), self.client() as icap:
                icap.send(icap.respmod_head(http_request(), http_response()))
                for at in range(0, len(page), 40):
                    icap.send(chunk(page[at:at + 40]))
                    time.sleep(0.005)  # the trickle itself
                icap.send(b"0\r\n\r\n")
                self.assertEqual(icap.read_answer().refused, refused)

    def test_single_bytes_are_put_together(self):
        with self.client() as icap:
            for byte in icap.respmod_head(http_request(), http_response()) + chunk(REFUSED) + b"0\r\n\r\n":
                icap.send(bytes([byte]))
            self.assertTrue(icap.read_answer().refused)

    def test_slow_clients_do_not_keep_others_waiting(self):
        waiting = [self.client() for _ in range(5)]
        try:
            for icap in waiting:
                icap.send(icap.respmod_head(http_request(), http_response()) + chunk(ALLOWED[:200]))
            with self.client() as other:
                self.assertTrue(other.respmod(REFUSED).refused)
        finally:
            for icap in waiting:
                icap.close()

    def test_clients_that_go_away(self):
        page = bland_page(700_000)
        head = self.client().respmod_head(http_request(), http_response(), allow=None)
        stages = [head[:30], head, head + chunk(page[:1000]), head + chunk(page[:300_000]), head + b"ffff\r\nabc",
                  head + chunk(page) + b"0\r\n\r\n"]
        for stage in stages * 5:
            icap = self.client()
            icap.send(stage)
            icap.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")  # gone with a reset
            icap.close()

    def test_pipelined_requests_are_answered_in_their_order(self):
        with self.client() as icap:
            one = lambda page: icap.respmod_head(http_request(), http_response()) + chunk(page) + b"0\r\n\r\n"
            order = [REFUSED, ALLOWED, REFUSED, REFUSED, ALLOWED]
            icap.send(b"".join(map(one, order)))
            for page in order:
                self.assertEqual(icap.read_answer().refused, page is REFUSED)

    def test_one_connection_serves_many(self):
        with self.client() as icap:
            for turn in range(200):
                page = (REFUSED, ALLOWED)[turn % 2]
                self.assertEqual(icap.respmod(page, preview=(None, 0, 1024)[turn % 3]).refused, page is REFUSED)

    def test_many_at_once(self):
        wrong = []

        def ask():
            with self.client() as icap:
                for turn in range(40):
                    page = (REFUSED, ALLOWED)[turn % 2]
                    if icap.respmod(page, preview=1024).refused != (page is REFUSED):
                        wrong.append(turn)

        threads = [threading.Thread(target=ask) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])

    def test_two_gigabytes_stream_through_without_being_held(self):
        before = resident(world.icap)
        size, part = 2 << 30, bland_page(1 << 20)
        piece = chunk(part)
        got = 0

        def count(data):
            nonlocal got
            got += len(data)

        with self.client(timeout=120) as icap:
            icap.send(icap.respmod_head(http_request(), http_response(), allow=None))

            def send():
                for _ in range(size // len(part)):
                    icap.send(piece)
                icap.send(b"0\r\n\r\n")

            sender = threading.Thread(target=send, daemon=True)
            sender.start()
            answer = icap.read_answer(sink=count)
            sender.join()
        self.assertEqual((answer.http_status, got), (200, size))
        after = resident(world.icap)
        self.assertLess(after - before, 20)

    def test_two_gigabytes_of_something_else_are_not_even_asked_for(self):
        with self.client() as icap:
            icap.send(icap.respmod_head(http_request(), http_response("video/mp4", length=2 << 30), preview=1024)
                      + chunk(b"\x00\x00\x00\x18ftypmp42" + bytes(1012)) + b"0\r\n\r\n")
            self.assertEqual(icap.read_answer().status, 204)


if __name__ == "__main__":
    run_tests()
