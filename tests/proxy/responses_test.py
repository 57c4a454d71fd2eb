#!/usr/bin/env python3
"""What the service says about responses, asked by ICAP itself: bodies, previews, codings, charsets, hostile bytes."""
import gzip
import html
import os
import re
import subprocess
import time
import unittest
import zlib

from icap_client import IcapClient, chunk, http_request, http_response
from servers import resident
from world import ALLOWED, REFUSED, RUSSIAN_REFUSED, World, bland_page, library_refuses, run_tests

world = None


def setUpModule():
    global world
    world = World(squid=False)


def tearDownModule():
    world.stop()


def client(**options):
    return IcapClient(world.icap.port, **options)


def deflate(data, bits):
    packer = zlib.compressobj(wbits=bits)
    return packer.compress(data) + packer.flush()


def packed_by(command, data):
    return subprocess.run(command, input=data, stdout=subprocess.PIPE, check=True).stdout


class ResponseTest(unittest.TestCase):
    def ask(self, body, **options):
        with client() as icap:
            return icap.respmod(body, **options)

    def assert_allowed(self, body, **options):
        answer = self.ask(body, **options)
        self.assertIn(answer.status, (200, 204, 206))
        self.assertFalse(answer.refused, answer.http_head)
        self.assertTrue(answer.page(body) == body, "the page is not what was sent, byte for byte")
        return answer

    def assert_refused(self, body, **options):
        answer = self.ask(body, **options)
        self.assertEqual((answer.status, answer.http_status), (200, 403), answer.head)
        return answer


class Options(ResponseTest):
    def test_service_names_its_methods_preview_and_shortcuts(self):
        with client() as icap:
            answer = icap.options()
        self.assertEqual(answer.status, 200)
        self.assertTrue(answer.icap_header("ISTag"))
        self.assertEqual({part.strip() for part in answer.icap_header("Methods").split(",")}, {"RESPMOD", "REQMOD"})
        self.assertIn("204", answer.icap_header("Allow"))
        self.assertEqual(answer.icap_header("Preview"), "32768")
        self.assertEqual(answer.icap_header("Transfer-Preview"), "*")

    def test_a_proxy_that_waits_for_no_preview_is_offered_none(self):
        for service, offered in (("sifterra?preview=off", False), ("sifterra?preview=of", True), ("sifterra?", True)):
            with client() as icap, self.subTest(service=service):
                icap.service = service
                answer = icap.options()
                self.assertEqual(answer.status, 200)
                self.assertEqual(answer.icap_header("Allow"), "204, 206")
                self.assertEqual(answer.head.count(b"Preview:"), 2 if offered else 0)
        with client() as icap:
            icap.service = "sifterra?preview=off"
            self.assertTrue(icap.respmod(REFUSED).refused)
            self.assertEqual(icap.respmod(ALLOWED).page(ALLOWED), ALLOWED)


class Previews(ResponseTest):
    SIZES = (0, 1024, 4096)

    def test_every_preview_size_gives_the_same_verdicts(self):
        long_refused = bland_page(1500).replace(b"</body>", b"") + REFUSED * 4
        for preview in self.SIZES:
            for page in (ALLOWED, bland_page(30_000)):
                with self.subTest(preview=preview, length=len(page)):
                    self.assert_allowed(page, preview=preview)
            for page in (REFUSED, REFUSED * 6, long_refused):
                with self.subTest(preview=preview, length=len(page), refused=True):
                    self.assert_refused(page, preview=preview)
        for page, refused in ((ALLOWED, False), (REFUSED, True), (long_refused, True)):
            self.assertEqual(library_refuses(page), refused)

    def test_body_that_ends_at_the_preview_is_judged_without_more(self):
        for page in (ALLOWED, REFUSED):
            with self.subTest(length=len(page)), client() as icap:
                answer = icap.respmod(page, preview=len(page))  # ends with ieof
                self.assertFalse(answer.continued)
                self.assertEqual(answer.refused, page is REFUSED)

    def test_body_that_ends_at_the_preview_without_saying_so_is_judged_all_the_same(self):
        for page in (ALLOWED, REFUSED):
            with self.subTest(length=len(page)), client() as icap:
                icap.send(icap.respmod_head(http_request(), http_response(), preview=len(page)) + chunk(page)
                          + b"0\r\n\r\n")
                answer = icap.read_answer()
                if answer.status == 100:
                    icap.send(b"0\r\n\r\n")
                    answer = icap.read_answer()
                self.assertEqual(answer.refused, page is REFUSED)

    def test_empty_body_passes(self):
        for preview in (None, 0, 1024):
            with self.subTest(preview=preview):
                self.assert_allowed(b"", preview=preview)

    def test_response_without_a_body_passes(self):
        with client() as icap:
            icap.send(icap.respmod_head(http_request(), http_response(status="304 Not Modified"), body=False))
            self.assertIn(icap.read_answer().status, (200, 204))

    def test_what_is_no_page_passes_from_the_preview(self):
        picture = b"\x89PNG\r\n\x1a\n" + os.urandom(200_000)
        for preview in (1024, 4096):
            with self.subTest(preview=preview):
                answer = self.assert_allowed(picture, response=http_response("image/png"), preview=preview)
                self.assertEqual(answer.status, 204)
                self.assertFalse(answer.continued)

    def test_without_shortcuts_the_page_comes_back_byte_for_byte(self):
        for page in (ALLOWED, bland_page(700_000), os.urandom(100_000)):
            for preview in (None, 1024):
                with self.subTest(length=len(page), preview=preview):
                    self.assertEqual(self.assert_allowed(page, preview=preview, allow=None).status, 200)

    def test_long_page_comes_back_whole_whether_read_fast_or_slowly(self):
        # Just past the limit the end of the body comes while much of the answer still waits to be read.
        for length in (262_145, 290_000, 330_000, 400_000):
            page = bland_page(length)
            for _ in range(15):
                self.assertEqual(self.assert_allowed(page).status, 200)

    def test_rest_of_the_original_may_be_offered(self):
        for preview in (None, 1024):
            with self.subTest(preview=preview):
                self.assert_allowed(bland_page(700_000), preview=preview, allow="204, 206")
                self.assert_refused(REFUSED * 3, preview=preview, allow="204, 206")


class Kinds(ResponseTest):
    def test_pages_are_judged_whatever_their_type_says(self):
        for kind in ("text/html", "TEXT/HTML; charset=utf-8", "application/xhtml+xml", "text/plain", None, "", "garbage",
                     "application/octet-stream"):
            for preview in (None, 1024):
                with self.subTest(kind=kind, preview=preview):
                    self.assert_refused(REFUSED, response=http_response(kind), preview=preview)
                    self.assert_allowed(ALLOWED, response=http_response(kind), preview=preview)

    def test_texts_of_xml_are_read(self):
        body = REFUSED.decode().partition("<body>")[2].rpartition("</body>")[0]
        words = re.sub(r"<[^>]*>|&[^;]*;", " ", body)
        root = '<html xmlns="http://www.w3.org/1999/xhtml"><head><title>x</title></head><body><p>'
        for page in (f"{root}<![CDATA[{words}]]></p></body></html>",
                     f'<!DOCTYPE html [<!ENTITY x "{words.replace(chr(34), " ")}">]>{root}&x;</p></body></html>',
                     f"<svg xmlns='http://www.w3.org/2000/svg'><text><![CDATA[{words}]]></text></svg>",
                     f"<rss><channel><description><![CDATA[{words}]]></description></channel></rss>"):
            for kind in ("application/xhtml+xml", "image/svg+xml", "text/xml"):
                with self.subTest(page=page[:60], kind=kind):
                    self.assert_refused(page.encode(), response=http_response(kind))

    def test_xhtml_is_judged(self):
        page = b'<?xml version="1.0" encoding="utf-8"?>\n<html xmlns="http://www.w3.org/1999/xhtml">' + REFUSED
        self.assert_refused(page, response=http_response("application/xhtml+xml"))

    def test_pictures_scripts_and_archives_pass(self):
        bodies = {"image/jpeg": b"\xff\xd8\xff\xe0\x00\x10JFIF" + os.urandom(3000),
                  "text/css": b"body { color: red }\n" * 100, "application/javascript": b"var a = 1;\n" * 200,
                  "application/zip": b"PK\x03\x04" + os.urandom(5000), "video/mp4": b"\x00\x00\x00\x18ftypmp42" * 300}
        for kind, body in bodies.items():
            with self.subTest(kind=kind):
                self.assert_allowed(body, response=http_response(kind), preview=1024)


class Codings(ResponseTest):
    def codings(self):
        yield "gzip", gzip.compress
        yield "x-gzip", gzip.compress
        yield "deflate", lambda data: deflate(data, 15)
        yield "deflate", lambda data: deflate(data, -15)
        yield "br", lambda data: packed_by(["brotli", "-c"], data)
        yield "zstd", lambda data: packed_by(["zstd", "-q", "-c"], data)

    def test_packed_pages_are_unpacked_to_judge_and_come_back_packed(self):
        for name, pack in self.codings():
            for preview in (None, 64, 4096):
                response = http_response(headers=[("Content-Encoding", name)])
                with self.subTest(coding=name, preview=preview):
                    self.assert_refused(pack(REFUSED), response=response, preview=preview)
                    self.assert_allowed(pack(ALLOWED), response=response, preview=preview)
                    self.assert_allowed(pack(bland_page(900_000)), response=response, preview=preview, allow=None)

    def test_refusal_does_not_carry_the_coding_of_the_page(self):
        answer = self.assert_refused(gzip.compress(REFUSED), response=http_response(
            headers=[("Content-Encoding", "gzip"), ("ETag", '"a"'), ("Last-Modified", "Sat, 21 Nov 2026 12:00:00 GMT")]))
        for name in ("Content-Encoding", "ETag", "Last-Modified"):
            self.assertIsNone(answer.header(name))

    def test_bomb_is_judged_on_what_fits(self):
        bomb = packed_by(["sh", "-c", "head -c 2000000000 /dev/zero | gzip -1"], b"")
        before = time.monotonic()
        self.ask(bomb, response=http_response(headers=[("Content-Encoding", "gzip")]), preview=1024)
        self.assertLess(time.monotonic() - before, 20)
        self.assertLess(resident(world.icap), 150)

    def test_broken_packing_ends_nothing(self):
        packed = gzip.compress(REFUSED * 10)
        for broken in (packed[:-9], packed[:40], b"\x1f\x8b" + os.urandom(500), b"no gzip at all " * 20, packed[5:]):
            with self.subTest(length=len(broken)):
                answer = self.ask(broken, response=http_response(headers=[("Content-Encoding", "gzip")]))
                self.assertIn(answer.status, (200, 204))
        self.assert_refused(REFUSED)


class Texts(ResponseTest):
    def test_charsets_are_read(self):
        page = RUSSIAN_REFUSED.replace('<meta charset="utf-8">', "")
        for charset in ("windows-1251", "koi8-r", "iso-8859-5", "utf-8"):
            with self.subTest(charset=charset):
                body = page.encode(charset, "ignore")
                self.assert_refused(body, response=http_response(f"text/html; charset={charset}"))
        body = RUSSIAN_REFUSED.replace("utf-8", "windows-1251", 1).encode("windows-1251", "ignore")
        self.assert_refused(body, response=http_response("text/html"))  # the page says it itself

    def test_utf16_is_read(self):
        for page, refused in ((RUSSIAN_REFUSED, True), (REFUSED.decode(), True), (ALLOWED.decode(), False)):
            page = page.replace('<meta charset="utf-8">', "")
            for codec, mark in (("utf-16-le", b"\xff\xfe"), ("utf-16-be", b"\xfe\xff")):
                body = mark + page.encode(codec)
                for preview in (None, 0, 1024, 1025):
                    with self.subTest(codec=codec, refused=refused, preview=preview):
                        answer = self.ask(body, response=http_response("text/html"), preview=preview)
                        self.assertEqual(answer.refused, refused)
            with self.subTest("charset of the response", refused=refused):
                body = page.encode("utf-16-le")
                self.assertEqual(self.ask(body, response=http_response("text/html; charset=utf-16le")).refused, refused)

    def test_numeric_references_are_read(self):
        head, _, rest = REFUSED.decode().partition("<body>")
        words = lambda text: "".join(f"&#{ord(c)};" if c.isalpha() else c for c in text)
        visible = html.unescape("Free porn videos, hardcore sex movies and nude pornstars, live sex cams xxx. ") * 10
        for spelt in (words(visible), "".join(f"&#x{ord(c):x};" for c in visible)):
            page = f"<html><head><title>{words('Free porn videos')}</title></head><body><p>{spelt}</p></body></html>".encode()
            with self.subTest(length=len(page)):
                self.assertTrue(library_refuses(page))
                self.assert_refused(page)

    def test_words_with_tags_and_soft_hyphens_inside_are_read(self):
        for infix in ("<b></b>", "&shy;", "\u00ad", "<!-- -->", "\u200b"):
            text = REFUSED.decode().replace("porn", f"po{infix}rn").replace("sex", f"s{infix}ex")
            page = text.encode()
            with self.subTest(infix=infix.encode("unicode_escape")):
                self.assertTrue(library_refuses(page))
                self.assert_refused(page)

    def test_text_at_the_end_counts_within_the_limit_only(self):
        # By default the first 256 KiB of text are judged.
        adult = REFUSED.partition(b"<body>")[2].rpartition(b"</body>")[0] * 30
        near = bland_page(200_000, last=adult)
        far = bland_page(300_000 + len(adult), last=adult)
        self.assertTrue(library_refuses(far))
        self.assertFalse(library_refuses(far[:256 * 1024]))
        for preview in (None, 1024):
            with self.subTest(preview=preview):
                self.assert_refused(near, preview=preview)
                self.assert_allowed(far, preview=preview)

    def test_limit_is_an_administrators_choice(self):
        adult = REFUSED.partition(b"<body>")[2].rpartition(b"</body>")[0] * 120
        page = bland_page(300_000 + len(adult), last=adult)
        other = World(squid=False, limit=1024 * 1024)
        try:
            with IcapClient(other.icap.port) as icap:
                self.assertTrue(icap.respmod(page).refused)
        finally:
            other.stop()


if __name__ == "__main__":
    run_tests()
