#!/usr/bin/env python3
"""The web of a test: one origin with HTTP, HTTPS and a name server that finds every name there. Runs in a network of its own."""
import argparse
import collections
import http.server
import json
import os
import re
import socket
import socketserver
import ssl
import struct
import sys
import threading
import urllib.parse

SO_MAX_PACING_RATE = 47  # of socket(7); Python has no name for it
UNPACED = 2**32 - 1
ORIGIN, ELSEWHERE, ORIGIN6 = "198.51.100.2", "198.51.100.3", "2001:db8:51::2"
STRANGER = "198.51.100.4"  # whose certificate nobody signed


class Page(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    pages = {}
    held = collections.defaultdict(threading.Event)  # what is sent when somebody asks for it

    def do_GET(self):
        what, _, name = self.path[1:].partition("/")
        if what == "events":
            return self.tell_events(name)
        if what == "more-events":
            self.held[name].set()
        wanted = dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(self.path).query))
        rate = int(wanted.get("bytes-a-second", UNPACED))  # the connection may have had another request before
        self.connection.setsockopt(socket.SOL_SOCKET, SO_MAX_PACING_RATE, struct.pack("I", rate))
        if self.path == "/socket" and self.headers.get("Upgrade", "").lower() == "websocket":
            return self.talk()
        body, kind = self.pages.get(self.path.split("?")[0], (b"nothing here", "text/plain"))
        if self.path == "/headers":
            body, kind = json.dumps(dict(self.headers)).encode(), "text/plain"
        status = int(wanted.get("status", "200"))
        parts = [slice(int(first), int(last) + 1) for first, last in re.findall(r"(\d+)-(\d+)", self.headers.get("Range", ""))]
        if parts and "ranges" in wanted:
            status, whole = 206, body
            if len(parts) > 1:
                body = b"".join(b"--x\r\nContent-Type: %s\r\n\r\n%s\r\n" % (kind.encode(), whole[part]) for part in parts) + b"--x--"
                kind = "multipart/byteranges; boundary=x"
            else:
                body = whole[parts[0]]
        self.send_response(status)
        if status == 206 and len(parts) == 1:
            self.send_header("Content-Range", f"bytes {parts[0].start}-{parts[0].start + len(body) - 1}/{len(whole)}")
        self.send_header("Content-Type", wanted.get("type", kind))
        self.send_header("X-Origin", self.server.server_address[0])
        ending = wanted.get("ending", "length")
        if ending == "length":
            self.send_header("Content-Length", str(len(body)))
        elif ending == "chunks":
            self.send_header("Transfer-Encoding", "chunked")
            body = b"".join(b"%x\r\n%s\r\n" % (len(chunk), chunk) for chunk in chunks(body))
        else:  # its end is the connection's
            self.send_header("Connection", "close")
            self.close_connection = True
        self.end_headers()
        self.wfile.write(body)

    def tell_events(self, name):
        """One at once, the others when /more-events/NAME is asked for."""
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(b"data: first\n\n")
        self.held[name].wait(30)
        self.wfile.write(b"data: more\n\n" + self.pages["/bad"][0])
        self.close_connection = True

    def talk(self):
        """Switches to a protocol in which everything comes back."""
        self.send_response(101)
        self.send_header("Upgrade", "websocket")
        self.send_header("Connection", "Upgrade")
        self.end_headers()
        while data := self.connection.recv(1000):
            self.connection.sendall(b"you said " + data)
        self.close_connection = True

    def do_POST(self):
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.do_GET()

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, host, port, certificate=None):
        self.address_family = socket.AF_INET6 if ":" in host else socket.AF_INET
        super().__init__((host, port), Page)
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate)
            self.socket = context.wrap_socket(self.socket, server_side=True, do_handshake_on_connect=False)

    def handle_error(self, *_):
        pass


class Names(socketserver.BaseRequestHandler):
    """Answers every question for an address with the origin's; unknown.example lies elsewhere."""

    def handle(self):
        question, reply = self.request
        end = 12
        labels = []
        while question[end]:
            labels.append(question[end + 1:end + 1 + question[end]].decode())
            end += question[end] + 1
        kind = struct.unpack_from("!H", question, end + 1)[0]
        address = {1: socket.inet_pton(socket.AF_INET, ORIGIN),
                   28: socket.inet_pton(socket.AF_INET6, ORIGIN6)}.get(kind)
        answer = b"" if address is None else b"\xc0\x0c" + struct.pack("!HHIH", kind, 1, 60, len(address)) + address
        head = question[:2] + b"\x81\x80" + struct.pack("!HHHH", 1, 1 if answer else 0, 0, 0)
        reply.sendto(head + question[12:end + 5] + answer, self.client_address)


def chunks(body, size=16000):
    """The pieces of a chunked body, the empty one at its end among them."""
    return [body[at:at + size] for at in range(0, len(body), size)] + [b""]


def long_page(page, size):
    """The same page with its body again and again, of about this size."""
    start, end = page.index(b"<body>") + len(b"<body>"), page.index(b"</body>")
    return page[:start] + page[start:end] * (size // (end - start)) + page[end:]


def main():
    parser = argparse.ArgumentParser()
    for name in ("--examples", "--certificate", "--stranger", "--file"):
        parser.add_argument(name, required=True)
    arguments = parser.parse_args()

    def page(name):
        with open(os.path.join(arguments.examples, name), "rb") as file:
            return file.read()

    Page.pages = {"/good": (page("garden-diary.html"), "text/html"), "/bad": (page("adult-video-site.html"), "text/html"),
                  "/asked": (page("adult-video-site.html"), "text/html"),
                  "/long": (long_page(page("garden-diary.html"), 48 * 1024), "text/html"),
                  "/very-long": (long_page(page("garden-diary.html"), 256 * 1024), "text/html"),
                  "/file": (os.urandom(300_000), "application/octet-stream"),
                  "/dns-query": (b"\0" * 40, "application/dns-message")}
    with open(arguments.file, "wb") as file:
        file.write(Page.pages["/file"][0])
    for host in (ORIGIN, ORIGIN6, ELSEWHERE, STRANGER):
        secure = arguments.stranger if host == STRANGER else arguments.certificate
        for port, certificate in ((80, None), (443, secure), (8080, None)):
            threading.Thread(target=Server(host, port, certificate).serve_forever, daemon=True).start()
        if ":" not in host:
            threading.Thread(target=socketserver.ThreadingUDPServer((host, 53), Names).serve_forever, daemon=True).start()
    print("ready", flush=True)
    sys.stdin.read()


if __name__ == "__main__":
    main()
