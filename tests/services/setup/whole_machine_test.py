#!/usr/bin/env python3
"""The whole on one machine: an account is enrolled, and its web is filtered, from packet filter to block page.

The machine is this one, seen through an overlay that takes all changes, in a network of its own: a wire leads to an origin with
a name server, HTTP and HTTPS. `nobody` is filtered by content, `games` has a list of sites, `daemon` is not managed. The services run
as their units say, under a small supervisor. Exits with 77 where the kernel, the rights or a program for that are missing.
"""
import argparse
import contextlib
import http.server
import json
import os
import pwd
import shutil
import signal
import socket
import socketserver
import ssl
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from supervisor import Unit

SKIPPED = 77
CLIENT, ORIGIN, ELSEWHERE = "198.51.100.1", "198.51.100.2", "198.51.100.3"
CLIENT6, ORIGIN6 = "2001:db8:51::1", "2001:db8:51::2"
FILTERED, LISTED, UNMANAGED = "nobody", "games", "daemon"
NAMES = ("pages.example", "listed.example", "pinned.example", "dns.google", "denied.example")
UNITS = ("sifterra-icap.service", "sifterra-proxy.service", "sifterra-netfilterd.service", "sifterra-override.service")
PROGRAMS = ("c-icap", "squid", "curl", "openssl", "nft", "ip", "update-ca-certificates")


def run(*command, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.stdout}{done.stderr}")
    return done.stdout


def until(condition, what, seconds=20):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.05)
    raise AssertionError(f"{what}: not within {seconds} s")


def program(name):
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")


def example(name):
    with open(os.path.join(arguments.source, "examples", name), "rb") as file:
        return file.read()


# The origin, in a network namespace of its own.

class Page(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    pages = {}

    def do_GET(self):
        body, kind = self.pages.get(self.path.split("?")[0], (b"nothing here", "text/plain"))
        if self.path == "/headers":
            body, kind = json.dumps(dict(self.headers)).encode(), "text/plain"
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.send_header("X-Origin", self.server.server_address[0])
        self.end_headers()
        self.wfile.write(body)

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


def serve_origin():
    Page.pages = {"/good": (example("garden-diary.html"), "text/html"), "/bad": (example("adult-video-site.html"), "text/html"),
                  "/file": (os.urandom(300_000), "application/octet-stream"),
                  "/dns-query": (b"\0" * 40, "application/dns-message")}
    with open(arguments.file, "wb") as file:
        file.write(Page.pages["/file"][0])
    for host in (ORIGIN, ORIGIN6, ELSEWHERE):
        for port, certificate in ((80, None), (443, arguments.certificate), (8080, None)):
            threading.Thread(target=Server(host, port, certificate).serve_forever, daemon=True).start()
        if ":" not in host:
            threading.Thread(target=socketserver.ThreadingUDPServer((host, 53), Names).serve_forever, daemon=True).start()
    print("ready", flush=True)
    sys.stdin.read()


# The machine.

class Machine:
    def __init__(self, folder):
        self.folder = folder
        self.units = {}
        self.uids = {name: pwd.getpwnam(name).pw_uid for name in (FILTERED, LISTED, UNMANAGED)}

    def build(self):
        """This process's network becomes the machine's, and an overlay its files."""
        run("mount", "-t", "tmpfs", "tmpfs", self.folder)
        os.chmod(self.folder, 0o755)
        self._make_origin_certificate()
        os.makedirs("/run/netns", exist_ok=True)
        run("mount", "-t", "tmpfs", "tmpfs", "/run/netns")
        run("ip", "netns", "add", arguments.origin)
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", arguments.origin)
        run("ip", "-n", arguments.origin, "link", "set", "lo", "up")
        for command, addresses in ((["ip"], (CLIENT, CLIENT6)), (["ip", "-n", arguments.origin], (ORIGIN, ELSEWHERE, ORIGIN6))):
            for address in addresses:
                six = [f"{address}/64", "dev", "wire", "nodad"] if ":" in address else [f"{address}/24", "dev", "wire"]
                run(*command, "address", "add", *six)
            run(*command, "link", "set", "wire", "up")
        origin = subprocess.Popen(
            ["ip", "netns", "exec", arguments.origin, sys.executable, os.path.abspath(__file__), "--serve-origin",
             "--build", arguments.build, "--source", arguments.source, "--certificate", self.path("origin.pem"),
             "--file", self.path("file")], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert origin.stdout.readline() == "ready\n", "the origin did not start"
        self.origin = origin
        with open(self.path("file"), "rb") as file:
            self.file = file.read()
        self._enter_overlay()
        self._install()

    def path(self, name):
        return os.path.join(self.folder, name)

    def _make_origin_certificate(self):
        """An authority that the machine trusts as it trusts the web's, and a server's certificate of it."""
        names = ",".join([f"DNS:{name}" for name in NAMES] + [f"IP:{ORIGIN}", f"IP:{ORIGIN6}"])
        run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=Web of the test",
            "-keyout", self.path("web.key"), "-out", self.path("web.pem"))
        run("openssl", "req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=origin", "-keyout", self.path("origin.key"),
            "-out", self.path("origin.csr"))
        with open(self.path("origin.ext"), "w", encoding="ascii") as file:
            file.write(f"subjectAltName={names}\n")
        run("openssl", "x509", "-req", "-in", self.path("origin.csr"), "-CA", self.path("web.pem"), "-CAkey",
            self.path("web.key"), "-days", "2", "-extfile", self.path("origin.ext"), "-out", self.path("origin.crt"))
        with open(self.path("origin.pem"), "wb") as whole:
            for part in ("origin.key", "origin.crt"):
                with open(self.path(part), "rb") as file:
                    whole.write(file.read())

    def _enter_overlay(self):
        for name in ("upper", "work", "machine"):
            os.mkdir(self.path(name))
        machine = self.path("machine")
        run("mount", "-t", "overlay", "overlay", "-o",
            f"lowerdir=/,upperdir={self.path('upper')},workdir={self.path('work')}", machine)
        for folder in ("/proc", "/dev", "/sys", arguments.build, arguments.source, self.folder):
            os.makedirs(machine + folder, exist_ok=True)
            run("mount", "--rbind" if folder != self.folder else "--bind", folder, machine + folder)
        for folder in ("/run", "/var/log", "/var/lib/sifterra"):
            os.makedirs(machine + folder, exist_ok=True)
            run("mount", "-t", "tmpfs", "tmpfs", machine + folder)
        os.chroot(machine)
        os.chdir("/")
        for path in ("/etc/resolv.conf",):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(path)
        with open("/etc/resolv.conf", "w", encoding="ascii") as file:
            file.write(f"nameserver {ORIGIN}\n")

    def _install(self):
        """What the packages would put where, from the build."""
        shutil.rmtree("/etc/sifterra", ignore_errors=True)
        shutil.copytree(os.path.join(arguments.source, "services/setup"), "/usr/share/sifterra/setup", dirs_exist_ok=True)
        shutil.copy(os.path.join(arguments.source, "services/setup/sifterra-setup"), "/usr/sbin/sifterra-setup")
        modules = f"/usr/lib/{sys.implementation._multiarch}/c_icap"
        for built, target in ((arguments.netfilterd, "/usr/sbin/sifterra-netfilterd"),
                              (arguments.override, "/usr/sbin/sifterra-override"),
                              (arguments.sifterra, "/usr/bin/sifterra"),
                              (arguments.module, modules + "/srv_sifterra.so")):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(target)
            os.symlink(os.path.realpath(built), target)
        shutil.copy(self.path("web.pem"), "/usr/local/share/ca-certificates/web-of-the-test.crt")
        run("update-ca-certificates")
        shutil.copy(os.path.join(arguments.source, "packaging/pam/sifterra"), "/etc/pam.d/sifterra")
        os.makedirs("/run/sifterra", exist_ok=True)

    def setup(self, *command):
        return run("/usr/sbin/sifterra-setup", *command)

    def enrol(self):
        self.setup("enrol", FILTERED, "--filter")
        self.setup("enrol", LISTED, "--allow-list-only")
        run("sifterra", "policy", "add", FILTERED, "deny", "http://denied.example")
        run("sifterra", "policy", "add", LISTED, "sites", "http://listed.example/")
        with open("/etc/sifterra/pass-sites.txt", "a", encoding="ascii") as file:
            file.write("pinned.example\n")
        self.setup("apply")

    def start(self):
        for name in UNITS:
            unit = Unit(os.path.join(arguments.source, "packaging/systemd", name), self.path(name + ".log"))
            self.units[name] = unit
            unit.start()
        until(lambda: all(map(listens, (10011, 10012, 10013, 10020, 10022))), "the services", 60)
        until(lambda: "filtering" in self.units[UNITS[2]].output(), "the rules", 60)

    def stop(self):
        for unit in self.units.values():
            unit.stop()
        self.origin.stdin.close()
        self.origin.wait()

    def outputs(self):
        return "".join(f"--- {unit.name}\n{unit.output()[-4000:]}" for unit in self.units.values())


def listens(port):
    with socket.socket() as one:
        one.settimeout(2)
        return one.connect_ex(("127.0.0.1", port)) == 0


class Answer:
    def __init__(self, done, head, body):
        self.failure = done.stderr.strip()
        lines = head.split("\r\n\r\n")
        last = [block for block in lines if block.startswith("HTTP/")]
        self.head = last[-1] if last else ""
        self.status = int(self.head.split()[1]) if self.head else 0
        self.body = body

    def header(self, name):
        for line in self.head.split("\r\n")[1:]:
            key, _, value = line.partition(":")
            if key.lower() == name.lower():
                return value.strip()
        return None


class Whole(unittest.TestCase):
    def curl(self, user, url, *options):
        uid = machine.uids[user]
        with tempfile.TemporaryDirectory(dir="/tmp") as folder:
            os.chmod(folder, 0o777)
            head, body = os.path.join(folder, "head"), os.path.join(folder, "body")
            done = subprocess.run(["curl", "-sS", "--max-time", "30", "-D", head, "-o", body, *options, url],
                                  capture_output=True, text=True, check=False, user=uid, group=uid, extra_groups=[],
                                  env={"PATH": "/usr/bin:/bin", "HOME": "/"})
            texts = []
            for path in (head, body):
                with contextlib.suppress(FileNotFoundError), open(path, "rb") as file:
                    texts.append(file.read())
                    continue
                texts.append(b"")
            return Answer(done, texts[0].decode("latin-1"), texts[1])

    def assert_blocked(self, answer, why=None):
        self.assertEqual(answer.status, 403, (why, answer.failure, answer.head, answer.body[:300]))
        self.assertIn(b"<html", answer.body)
        self.assertIsNone(answer.header("X-Origin"))
        self.assertIn(b"webcontentfilter", answer.body, why)

    def assert_same(self, answer, body):
        self.assertEqual(answer.status, 200, (answer.failure, answer.head, answer.body[:300]))
        self.assertTrue(answer.body == body)
        self.assertIsNotNone(answer.header("X-Origin"))

    def certificate_issuer(self, user, host):
        """Who signed what the user's programs are shown for a host."""
        done = subprocess.run(["openssl", "s_client", "-connect", f"{ORIGIN}:443", "-servername", host],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
                              user=machine.uids[user], extra_groups=[])
        return next((line for line in done.stdout.split("\n") if line.startswith("issuer=")), done.stderr)

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
                    self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/good", family), GOOD)
            self.assert_same(self.curl(FILTERED, f"{scheme}://pages.example/file"), machine.file)

    def test_a_listed_site_is_refused_before_it_is_asked(self):
        for scheme in ("http", "https"):
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://denied.example/good"), scheme)

    def test_users_are_told_apart(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(LISTED, f"{scheme}://listed.example/bad"), BAD)
            self.assert_blocked(self.curl(LISTED, f"{scheme}://pages.example/good"), scheme)
            self.assert_blocked(self.curl(FILTERED, f"{scheme}://listed.example/bad"), scheme)

    def test_who_is_not_managed_is_untouched(self):
        for scheme in ("http", "https"):
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://pages.example/bad"), BAD)
            self.assert_same(self.curl(UNMANAGED, f"{scheme}://dns.google/good"), GOOD)
        self.assertIn("Web of the test", self.certificate_issuer(UNMANAGED, "pages.example"))
        self.assert_same(self.curl(UNMANAGED, "http://pages.example:8080/bad"), BAD)

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
        self.assert_same(self.curl(FILTERED, "https://pinned.example/bad"), BAD)
        self.assert_blocked(self.curl(FILTERED, "http://pinned.example/bad"))

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
            self.assertNotEqual(answer.body, BAD, url)
            self.assertIsNone(answer.header("X-Origin"), url)

    def test_a_tunnel_through_the_proxy_is_no_way_around(self):
        with_connect = self.curl(FILTERED, "https://pages.example/bad", "--proxy", f"http://{ORIGIN}:80")
        self.assertNotEqual(with_connect.body, BAD)
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

    def test_what_ends_comes_back_and_nothing_passes_meanwhile(self):
        for name in UNITS[:3]:
            with self.subTest(unit=name):
                unit = machine.units[name]
                starts = unit.starts
                unit.send(signal.SIGKILL)
                killed = time.monotonic()
                while True:
                    answer = self.curl(FILTERED, "https://pages.example/bad")
                    self.assertNotEqual(answer.body, BAD)
                    if unit.starts > starts and answer.status == 403:
                        break
                    self.assertLess(time.monotonic() - killed, 20, machine.outputs())
                self.assertLess(time.monotonic() - killed, 5)
                self.assert_same(self.curl(FILTERED, "https://pages.example/good"), GOOD)

    def test_who_has_no_policy_sees_nothing(self):
        path = f"/Library/Managed Preferences/{FILTERED}/com.vendrel.hearthguard.contentfilter.plist"
        os.rename(path, path + ".away")
        try:
            for scheme in ("http", "https"):
                self.assertEqual(self.curl(FILTERED, f"{scheme}://pages.example/good").status, 403)
        finally:
            os.rename(path + ".away", path)
        self.assert_same(self.curl(FILTERED, "https://pages.example/good"), GOOD)

    def test_a_pause_opens_for_its_time_and_ends_by_itself(self):
        machine.setup("pause", FILTERED, "--for", "1h")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == BAD, "the pause")
        self.assert_blocked(self.curl(LISTED, "https://pages.example/good"))
        self.assertEqual(self.doctor(), [])
        machine.setup("resume", FILTERED)
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        with open("/etc/sifterra/machine.json", encoding="utf-8") as file:
            content = json.load(file)
        end = int(time.time()) + 4
        content["users"][0]["paused-until"] = end
        with open("/etc/sifterra/machine.json", "w", encoding="utf-8") as file:
            json.dump(content, file)
        machine.setup("apply")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").body == BAD, "the pause")
        until(lambda: self.curl(FILTERED, "https://pages.example/bad").status == 403, "the end of it")
        self.assertGreaterEqual(time.time(), end)
        self.assertEqual(self.doctor(), [])
        machine.setup("resume", FILTERED)

    def test_the_proxy_waits_for_the_filter_after_a_start(self):
        icap, proxy = machine.units[UNITS[0]], machine.units[UNITS[1]]
        os.rename("/etc/sifterra/c-icap.conf", "/etc/sifterra/away")
        icap.send(signal.SIGKILL)
        until(lambda: not listens(10012), "the end of the filter")
        proxy.send(signal.SIGKILL)
        until(lambda: not listens(10020), "the end of the proxy")
        self.assertEqual(self.curl(FILTERED, "http://pages.example/good").status, 0)
        os.rename("/etc/sifterra/away", "/etc/sifterra/c-icap.conf")
        until(lambda: listens(10012), "the filter")
        began = time.monotonic()
        until(lambda: self.curl(FILTERED, "http://pages.example/good").status == 200, "the first page")
        self.assertLess(time.monotonic() - began, 5)

    def doctor(self):
        done = subprocess.run(["/usr/sbin/sifterra-setup", "doctor", "--faults"], capture_output=True, text=True, check=False)
        faults = [line[len("FAULT  "):] for line in done.stdout.split("\n") if line.startswith("FAULT  ")]
        self.assertEqual((done.returncode, done.stderr), (1 if faults else 0, ""), done.stdout)
        return faults

    def test_the_doctor_finds_nothing_wrong_and_what_is_wrong(self):
        self.assertEqual(self.doctor(), [])
        icap = machine.units[UNITS[0]]
        icap.send_to_all(signal.SIGSTOP)
        try:
            self.assertEqual(self.doctor(), ["the ICAP service answers at port 10012: it does not answer"])
        finally:
            icap.send_to_all(signal.SIGCONT)
        os.rename("/etc/ssl/certs/ca-certificates.crt", "/etc/ssl/certs/away")
        os.rename("/usr/bin/c-icap", "/usr/bin/away")
        try:
            self.assertEqual(self.doctor(), ["/usr/bin/c-icap: it is missing",
                                             "/usr/local/share/ca-certificates/sifterra.crt: the system trusts it: it does not"])
        finally:
            os.rename("/etc/ssl/certs/away", "/etc/ssl/certs/ca-certificates.crt")
            os.rename("/usr/bin/away", "/usr/bin/c-icap")
        self.assertEqual(self.doctor(), [])

    def test_a_user_who_is_removed_is_free_and_the_other_is_not(self):
        machine.setup("remove", LISTED, "--keep-policies")
        try:
            machine.units[UNITS[1]].send(signal.SIGHUP)
            until(lambda: self.curl(LISTED, "https://pages.example/bad").body == BAD, "the removal")
            self.assert_blocked(self.curl(FILTERED, "https://pages.example/bad"))
        finally:
            machine.setup("enrol", LISTED)
            machine.units[UNITS[1]].send(signal.SIGHUP)
        until(lambda: self.curl(LISTED, "https://pages.example/good").status == 403, "the enrolment")


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def main():
    if arguments.serve_origin:
        return serve_origin()
    if not arguments.inside:
        if os.geteuid() != 0:
            skip("setup.WholeMachine needs root for network namespaces")
        for name in PROGRAMS:
            if not program(name):
                skip(f"setup.WholeMachine needs the program {name}")
        if not os.path.exists("/usr/lib/squid/security_file_certgen"):
            skip("setup.WholeMachine needs squid-openssl")
        with tempfile.TemporaryDirectory() as folder:
            probe = subprocess.run(["unshare", "--net", "--mount", "sh", "-e", "-c", f"""
nft add table inet probe
mount -t tmpfs tmpfs {folder}
mkdir {folder}/upper {folder}/work {folder}/all
mount -t overlay overlay -o lowerdir=/,upperdir={folder}/upper,workdir={folder}/work {folder}/all
"""], capture_output=True, text=True, check=False)
            if probe.returncode != 0:
                skip(f"setup.WholeMachine needs nftables and an overlay in namespaces: {probe.stderr.strip()}")
            done = subprocess.run(["unshare", "--net", "--mount", sys.executable, os.path.abspath(__file__), "--inside",
                                   folder, *sys.argv[1:]], check=False)
        sys.exit(done.returncode)
    globals()["machine"] = Machine(arguments.inside)
    globals()["GOOD"], globals()["BAD"] = example("garden-diary.html"), example("adult-video-site.html")
    machine.build()
    try:
        machine.enrol()
        machine.start()
        suite = unittest.defaultTestLoader.loadTestsFromTestCase(Whole)
        if arguments.only:
            suite = unittest.TestSuite(Whole(name) for name in arguments.only.split(","))
        result = unittest.TextTestRunner(verbosity=2).run(suite)
        if not result.wasSuccessful():
            print(machine.outputs())
    except AssertionError:
        print(machine.outputs())
        raise
    finally:
        machine.stop()
    sys.exit(0 if result.wasSuccessful() else 1)


parser = argparse.ArgumentParser()
parser.add_argument("--build", required=True)
parser.add_argument("--source", required=True)
for name in ("netfilterd", "override", "sifterra", "module", "certificate", "file", "inside", "only"):
    parser.add_argument("--" + name)
parser.add_argument("--serve-origin", action="store_true")
parser.add_argument("--origin", default=f"origin{os.getpid()}")
arguments = parser.parse_args()
main()
