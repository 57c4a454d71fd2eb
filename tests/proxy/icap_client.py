"""An ICAP client that sends exactly what a test wants to send, and reads what comes back."""
import re
import socket
import threading


class Answer:
    """One ICAP response: its status and head, and the HTTP head and body inside."""

    def __init__(self, head):
        self.head = head
        self.status = int(head.split(b" ", 2)[1])
        self.continued = False
        self.http_head, self.http_status, self.body, self.original_from = b"", None, None, None
        self.is_request = False

    def icap_header(self, name):
        return header(self.head, name)

    def header(self, name):
        return header(self.http_head, name)

    def page(self, sent):
        """What the user sees after this answer about the body `sent`."""
        if self.status == 204:
            return sent
        if self.original_from is not None:
            return (self.body or b"") + sent[self.original_from:]
        return self.body

    @property
    def refused(self):
        return self.http_status == 403


def header(head, name):
    found = re.search(rb"(?im)^" + name.encode() + rb":[ \t]*([^\r\n]*)", head)
    return found.group(1).decode("latin-1").strip() if found else None


def chunk(data):
    return b"%x\r\n%s\r\n" % (len(data), data)


def http_request(url="http://www.example.com/page.html", method="GET", headers=()):
    host = url.split("/")[2] if "://" in url else url
    lines = [f"{method} {url} HTTP/1.1", f"Host: {host}"] + [f"{name}: {value}" for name, value in headers]
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")


def http_response(content_type="text/html; charset=utf-8", headers=(), status="200 OK", length=None):
    lines = [f"HTTP/1.1 {status}"]
    if content_type is not None:
        lines.append(f"Content-Type: {content_type}")
    if length is not None:
        lines.append(f"Content-Length: {length}")
    lines += [f"{name}: {value}" for name, value in headers]
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")


class IcapClient:
    def __init__(self, port, service="sifterra", timeout=60):
        self.port, self.service = port, service
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=timeout)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.file = self.socket.makefile("rb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.file.close()
        self.socket.close()

    # What is sent.

    def icap_head(self, method, parts, allow="204", preview=None, headers=()):
        lines = [f"{method} icap://127.0.0.1:{self.port}/{self.service} ICAP/1.0", f"Host: 127.0.0.1:{self.port}"]
        if allow:
            lines.append(f"Allow: {allow}")
        if preview is not None:
            lines.append(f"Preview: {preview}")
        lines += [f"{name}: {value}" for name, value in headers]
        if parts:
            lines.append("Encapsulated: " + parts)
        return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")

    def respmod_head(self, request, response, body=True, **options):
        parts = f"req-hdr=0, res-hdr={len(request)}, {'res-body' if body else 'null-body'}={len(request + response)}"
        return self.icap_head("RESPMOD", parts, **options) + request + response

    def send(self, data):
        self.socket.sendall(data)

    # What comes back.

    def read_head(self):
        lines = []
        while True:
            line = self.file.readline(1 << 20)
            if not line:
                raise ConnectionError("the server closed the connection")
            if line in (b"\r\n", b"\n"):
                if lines:
                    return b"".join(lines)
                continue
            lines.append(line)

    def read_body(self, answer, sink=None):
        parts = []
        while True:
            line = self.file.readline(1024)
            size, _, extension = line.strip().partition(b";")
            count = int(size, 16)
            if count == 0:
                original = re.search(rb"use-original-body=(\d+)", extension)
                if original:
                    answer.original_from = int(original.group(1))
                self.file.readline(1024)
                break
            left = count
            while left:
                data = self.file.read(min(left, 1 << 20))
                if not data:
                    raise ConnectionError("the body ends early")
                left -= len(data)
                (sink or parts.append)(data)
            self.file.readline(16)
        answer.body = b"".join(parts)

    def read_answer(self, sink=None):
        answer = Answer(self.read_head())
        if answer.status == 100:
            return answer
        encapsulated = answer.icap_header("Encapsulated") or ""
        if re.search("(res|req)-hdr", encapsulated):
            answer.http_head = self.read_head()
            first = answer.http_head.split(b" ", 2)
            if first[0].startswith(b"HTTP/"):
                answer.http_status = int(first[1])
            else:
                answer.is_request = True
        if re.search("(res|req)-body", encapsulated):
            self.read_body(answer, sink)
        return answer

    # Whole exchanges.

    def options(self):
        self.send(self.icap_head("OPTIONS", None, allow=None))
        return self.read_answer()

    def _send_chunks(self, data):
        try:
            for start in range(0, len(data), 1 << 16):
                self.send(chunk(data[start:start + (1 << 16)]))
            self.send(b"0\r\n\r\n")
        except OSError:
            pass  # it answered and wanted no more; the answer tells

    def respmod(self, body, request=None, response=None, preview=None, allow="204", headers=()):
        """Asks about a response. With a preview the rest goes only after "100 Continue"."""
        request = http_request() if request is None else request
        response = http_response(length=len(body)) if response is None else response
        head = self.respmod_head(request, response, allow=allow, preview=preview, headers=headers)
        if preview is None:
            rest = body
            self.send(head)
        else:
            shown, rest = body[:preview], body[preview:]
            self.send(head + (chunk(shown) if shown else b"") + (b"0\r\n\r\n" if rest else b"0; ieof\r\n\r\n"))
            answer = self.read_answer()
            if answer.status != 100:
                return answer
        # The server may answer while it is still being told: sent and read side by side.
        sender = threading.Thread(target=self._send_chunks, args=(rest,), daemon=True)
        sender.start()
        answer = self.read_answer()
        sender.join()
        answer.continued = preview is not None
        return answer

    def reqmod(self, url, method="GET", headers=(), icap_headers=(), allow="204"):
        request = http_request(url, method, headers)
        self.send(self.icap_head("REQMOD", f"req-hdr=0, null-body={len(request)}", allow=allow, headers=icap_headers)
                  + request)
        return self.read_answer()
