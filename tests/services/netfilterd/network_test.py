#!/usr/bin/env python3
"""The daemon's rules in a real kernel: a client and an origin in network namespaces of the test's own.

Runs itself again in a new network and mount namespace. `nobody` is the managed user, `daemon` is not managed, and `proxy`
runs the proxy. Exits with 77 where the kernel or the rights for that are missing.
"""
import argparse
import contextlib
import errno
import json
import os
import pwd
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

SKIPPED = 77
CLIENT, ORIGIN = "198.51.100.1", "198.51.100.2"
CLIENT6, ORIGIN6 = "2001:db8:51::1", "2001:db8:51::2"
MANAGED, UNMANAGED, PROXY = "nobody", "daemon", "proxy"
LENT = 165536  # a user number that is lent to the managed user
HTTP, HTTPS = 3129, 3130
CONTROL = "com.vendrel.nke.webcontentfilter"
SO_ORIGINAL_DST = 80
REFUSED = ("EPERM", "ECONNREFUSED")
PORTS_THAT_CARRY_ANYTHING = (465, 587, 993, 995)


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def until(condition, what, seconds=10):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.02)
    raise AssertionError(f"{what}: not within {seconds} s")


def server(answer, addresses, kind=socket.SOCK_STREAM, uid=None, transparent=False):
    """A process that answers each connection or datagram at the addresses with one line."""
    ready, started = os.pipe()
    pid = os.fork()
    if pid == 0:
        try:
            sockets = []
            if uid is not None:
                os.setgid(uid)
                os.setuid(uid)
            for host, port in addresses:
                one = socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, kind)
                one.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                if ":" in host:
                    one.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
                one.bind((host, port))
                if kind == socket.SOCK_STREAM:
                    one.listen(64)
                sockets.append(one)
            os.write(started, b"+")
            import select
            while True:
                for one in select.select(sockets, [], [])[0]:
                    if kind == socket.SOCK_DGRAM:
                        _, sender = one.recvfrom(100)
                        one.sendto(answer.encode(), sender)
                        continue
                    connection, _ = one.accept()
                    text = answer
                    if transparent and one.family == socket.AF_INET:
                        raw = connection.getsockopt(socket.SOL_IP, SO_ORIGINAL_DST, 16)
                        port, address = struct.unpack("!2xH4s8x", raw)
                        text += f" for {socket.inet_ntoa(address)}:{port}"
                    with contextlib.suppress(OSError):
                        connection.sendall(text.encode())
                    connection.close()
        finally:
            os._exit(1)
    os.close(started)
    assert os.read(ready, 1) == b"+", "a server did not start"
    os.close(ready)
    return pid


def stop(pid):
    with contextlib.suppress(ProcessLookupError):
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)


def as_user(uid, action):
    """The action's answer when a process of that user makes it; the name of the error when it fails."""
    reading, writing = os.pipe()
    pid = os.fork()
    if pid == 0:
        answer = ""
        try:
            os.setgroups([])
            os.setgid(uid)
            os.setuid(uid)
            answer = action()
        except OSError as error:
            answer = errno.errorcode.get(error.errno, str(error))
        except Exception as error:  # whatever it is: this process must not go on as a second test
            answer = repr(error)
        finally:
            os.write(writing, answer.encode())
            os._exit(0)
    os.close(writing)
    with os.fdopen(reading) as answer:
        text = answer.read()
    os.waitpid(pid, 0)
    return text


def asked(host, port, kind=socket.SOCK_STREAM):
    def action():
        with socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, kind) as one:
            one.settimeout(2)
            one.connect((host, port))
            if kind == socket.SOCK_DGRAM:
                one.send(b"?")
            return one.recv(100).decode()
    return action


class Network(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="netfilterd.")
        self.addCleanup(shutil.rmtree, self.folder)
        self.uids = {name: pwd.getpwnam(name).pw_uid for name in (MANAGED, UNMANAGED, PROXY)}
        os.mkdir(self.path("state"))
        self.processes = []
        self.addCleanup(self.end)
        self.log = open(os.path.join(self.folder, "log"), "w+", encoding="utf-8")
        self.addCleanup(self.log.close)
        with open(self.path("subuid"), "w", encoding="ascii") as file:
            file.write(f"{MANAGED}:{LENT}:10\n")
        with open(self.path("resolv.conf"), "w", encoding="ascii") as file:
            file.write(f"nameserver {ORIGIN}\n")
        self.configure()
        self.proxy = self.serve("the proxy", [("127.0.0.1", HTTP), ("127.0.0.1", HTTPS), ("::", HTTP), ("::", HTTPS)],
                                uid=self.uids[PROXY], transparent=True)

    def end(self):
        for pid in self.processes:
            stop(pid)
        subprocess.run([arguments.daemon, "--remove"], check=True)

    def serve(self, *positional, **options):
        pid = server(*positional, **options)
        self.processes.append(pid)
        return pid

    def path(self, name):
        return os.path.join(self.folder, name)

    def configure(self, **more):
        new = {"users": [{"name": MANAGED, "http-port": HTTP, "https-port": HTTPS}], "proxy-user": PROXY, **more}
        with open(self.path("new.json"), "w", encoding="utf-8") as file:
            json.dump(new, file)
        os.rename(self.path("new.json"), self.path("netfilterd.json"))

    def start(self):
        starts = self.logged().count("filtering ")
        daemon = subprocess.Popen(
            [arguments.daemon, "--config", self.path("netfilterd.json"), "--state-directory", self.path("state"),
             "--socket", self.path(CONTROL), "--subuid", self.path("subuid"),
             "--resolv-conf", self.path("resolv.conf")], stderr=self.log)
        self.addCleanup(self.finish, daemon)
        until(lambda: os.path.exists(self.path(CONTROL)) and
              self.logged(daemon).count("filtering ") > starts, "the daemon's start")
        return daemon

    def logged(self, daemon=None):
        if daemon is not None and daemon.poll() is not None:
            raise AssertionError(f"the daemon ended: {self.logged()}")
        with open(self.log.name, encoding="utf-8") as file:
            return file.read()

    def finish(self, daemon, how=signal.SIGKILL):
        if daemon.poll() is None:
            daemon.send_signal(how)
        daemon.wait()
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.path(CONTROL))
        return daemon.returncode

    def ask(self, user, host, port, kind=socket.SOCK_STREAM):
        uid = self.uids.get(user, user)
        return as_user(uid, asked(host, port, kind))

    def assert_filtered(self):
        self.assertEqual(self.ask(MANAGED, ORIGIN, 80), f"the proxy for {ORIGIN}:80")

    def assert_open(self):
        self.assertEqual(self.ask(MANAGED, ORIGIN, 80), "the origin")

    def set_option(self, option, value):
        """The status that the daemon answers."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as one:
            one.settimeout(5)
            one.connect(self.path(CONTROL))
            one.send(struct.pack("<4sHHIII", b"WFQ1", 2, 0, 1, option, len(value)) + value)
            return struct.unpack_from("<I", one.recv(300), 12)[0]

    def test_a_managed_users_web_goes_to_the_proxy_and_nobody_elses(self):
        self.start()
        self.assertEqual(self.ask(MANAGED, ORIGIN, 80), f"the proxy for {ORIGIN}:80")
        self.assertEqual(self.ask(MANAGED, ORIGIN, 443), f"the proxy for {ORIGIN}:443")
        self.assertEqual(self.ask(MANAGED, ORIGIN6, 80), "the proxy")
        self.assertEqual(self.ask(MANAGED, ORIGIN6, 443), "the proxy")
        for user in (UNMANAGED, PROXY, 0):
            for port in (80, 443, 853, 8080):
                self.assertEqual(self.ask(user, ORIGIN, port), "the origin", (user, port))
                self.assertEqual(self.ask(user, ORIGIN6, port), "the origin", (user, port))
            self.assertEqual(self.ask(user, ORIGIN, 443, socket.SOCK_DGRAM), "the origin")

    def test_ways_around_are_refused_at_once(self):
        self.start()
        before = time.monotonic()
        for host in (ORIGIN, ORIGIN6):
            # Datagrams: the call that sends fails, or the answer does.
            self.assertIn(self.ask(MANAGED, host, 443, socket.SOCK_DGRAM), REFUSED)  # QUIC
            self.assertEqual(self.ask(MANAGED, host, 853), "ECONNREFUSED")  # names over TLS
            self.assertIn(self.ask(MANAGED, host, 853, socket.SOCK_DGRAM), REFUSED)
            self.assertEqual(self.ask(MANAGED, host, 8080), "ECONNREFUSED")  # a page at another port
            for port in PORTS_THAT_CARRY_ANYTHING:
                self.assertEqual(self.ask(MANAGED, host, port), "ECONNREFUSED")
            self.assertIn(self.ask(MANAGED, host, 123, socket.SOCK_DGRAM), REFUSED)
        self.assertLess(time.monotonic() - before, 5)

    def test_echoes_carry_nothing(self):
        def ping(host):
            def action():
                six = ":" in host
                kind = (socket.AF_INET6, socket.IPPROTO_ICMPV6) if six else (socket.AF_INET, socket.IPPROTO_ICMP)
                with socket.socket(kind[0], socket.SOCK_DGRAM, kind[1]) as one:
                    one.settimeout(2)
                    one.connect((host, 0))
                    one.send(bytes([128 if six else 8, 0, 0, 0, 0, 1, 0, 1]) + b"anything" * 500)
                    return f"{len(one.recv(70000))} bytes"
            return action
        with open("/proc/sys/net/ipv4/ping_group_range", "w", encoding="ascii") as file:
            file.write("0 2147483647\n")  # as systemd has it
        self.start()
        for host in (ORIGIN, ORIGIN6):
            self.assertIn(as_user(self.uids[MANAGED], ping(host)), REFUSED, host)
            self.assertEqual(as_user(self.uids[UNMANAGED], ping(host)), "4008 bytes", host)
        for host in ("127.0.0.1", "::1", CLIENT):
            self.assertEqual(as_user(self.uids[MANAGED], ping(host)), "4008 bytes", host)

    def test_other_kinds_of_sockets_are_no_way_around(self):
        self.start()

        def opened(family, kind, protocol, address):
            def action():
                with socket.socket(family, kind, protocol) as one:
                    one.settimeout(2)
                    one.connect(address)
                    if kind == socket.SOCK_DGRAM:
                        one.send(b"?")
                    return one.recv(100).decode()
            return action
        unknown = ("EPROTONOSUPPORT", "ESOCKTNOSUPPORT", "EAFNOSUPPORT", "EPERM")
        multipath, sctp, light, dccp, raw = 262, 132, 136, 33, 255
        answer = as_user(self.uids[MANAGED], opened(socket.AF_INET, socket.SOCK_STREAM, multipath, (ORIGIN, 80)))
        self.assertIn(answer, (f"the proxy for {ORIGIN}:80", "the proxy", *unknown))
        mapped = as_user(self.uids[MANAGED], opened(socket.AF_INET6, socket.SOCK_STREAM, 0, (f"::ffff:{ORIGIN}", 80)))
        self.assertEqual(mapped, f"the proxy for {ORIGIN}:80")
        for kind, protocol, address in (
                (socket.SOCK_STREAM, multipath, (ORIGIN, 8080)), (socket.SOCK_STREAM, sctp, (ORIGIN, 80)),
                (socket.SOCK_DGRAM, light, (ORIGIN, 80)), (6, dccp, (ORIGIN, 80)), (socket.SOCK_RAW, raw, (ORIGIN, 0))):
            answer = as_user(self.uids[MANAGED], opened(socket.AF_INET, kind, protocol, address))
            self.assertIn(answer, (*REFUSED, *unknown), (kind, protocol))
        for host in (f"::ffff:{ORIGIN}", ORIGIN6):
            answer = as_user(self.uids[MANAGED], opened(socket.AF_INET6, socket.SOCK_STREAM, 0, (host, 8080)))
            self.assertEqual(answer, "ECONNREFUSED", host)

    def test_a_connection_from_before_ends(self):
        self.configure(users=[])
        self.start()
        taking = ("import socket, sys; s = socket.create_server((sys.argv[1], 8443)); print('ready', flush=True); c = s.accept()[0]\n"
                  "try: print(b''.join(iter(lambda: c.recv(100), b'')).decode())\nexcept OSError: print('broken')")
        uid = self.uids[MANAGED]
        taker = subprocess.Popen(["ip", "netns", "exec", arguments.origin, sys.executable, "-c", taking, ORIGIN],
                                 stdout=subprocess.PIPE, text=True)
        self.assertEqual(taker.stdout.readline(), "ready\n")
        opened, told, ended = os.pipe(), os.pipe(), os.pipe()

        def give():
            with socket.socket() as one, socket.socket(type=socket.SOCK_DGRAM) as other:
                one.connect((ORIGIN, 8443))
                one.send(b"before")
                other.connect((ORIGIN, 123))
                other.send(b"?")
                other.recv(100)
                os.write(opened[1], b"+")
                os.read(told[0], 1)
                names = []
                for each in (one, other):
                    each.settimeout(5)
                    try:
                        each.send(b"after")
                        names.append(repr(each.recv(100)))
                    except OSError as error:
                        names.append(type(error).__name__)
                return " ".join(names)
        child = os.fork()
        if child == 0:
            os.write(ended[1], as_user(uid, give).encode())
            os._exit(0)
        os.close(opened[1])
        os.close(ended[1])
        self.assertEqual(os.read(opened[0], 1), b"+", "the connections were not made")
        self.configure()
        until(lambda: self.ask(MANAGED, ORIGIN, 80).startswith("the proxy"), "the rules")
        os.write(told[1], b"+")
        os.waitpid(child, 0)
        failures = os.read(ended[0], 1000).decode().split()
        for pipe in (opened[0], *told, ended[0]):
            os.close(pipe)
        self.assertEqual(len(failures), 2, failures)
        for failure in failures:
            self.assertIn(failure, ("ConnectionResetError", "PermissionError", "ConnectionRefusedError", "BrokenPipeError"))
        self.finish_taker(taker)

    def finish_taker(self, taker):
        """Nothing that was said after the rules came has reached it."""
        try:
            told = taker.communicate(timeout=1)[0]
        except subprocess.TimeoutExpired:  # it still waits: not even the end arrived
            taker.kill()
            told = taker.communicate()[0]
        self.assertNotIn("after", told)

    def test_names_are_asked_of_the_machines_resolvers_alone(self):
        self.start()
        for kind in (socket.SOCK_DGRAM, socket.SOCK_STREAM):
            self.assertEqual(self.ask(MANAGED, ORIGIN, 53, kind), "the origin")
            self.assertIn(self.ask(MANAGED, ORIGIN6, 53, kind), REFUSED)
            self.assertEqual(self.ask(UNMANAGED, ORIGIN6, 53, kind), "the origin")
        with open(self.path("new.conf"), "w", encoding="ascii") as file:
            file.write(f"nameserver {ORIGIN6}\n")
        os.rename(self.path("new.conf"), self.path("resolv.conf"))  # another network
        until(lambda: self.ask(MANAGED, ORIGIN6, 53, socket.SOCK_DGRAM) == "the origin", "the new resolver")
        self.assertIn(self.ask(MANAGED, ORIGIN, 53, socket.SOCK_DGRAM), REFUSED)
        self.configure(resolvers=[ORIGIN])
        until(lambda: self.ask(MANAGED, ORIGIN, 53, socket.SOCK_DGRAM) == "the origin", "the configured resolver")
        self.assertIn(self.ask(MANAGED, ORIGIN6, 53, socket.SOCK_DGRAM), REFUSED)

    def test_ports_are_open_where_the_administrator_says_so(self):
        self.configure(**{"tcp-ports": [993], "udp-ports": [123]})
        self.start()
        self.assertEqual(self.ask(MANAGED, ORIGIN, 993), "the origin")
        self.assertEqual(self.ask(MANAGED, ORIGIN, 123, socket.SOCK_DGRAM), "the origin")
        self.assertEqual(self.ask(MANAGED, ORIGIN, 465), "ECONNREFUSED")

    def test_numbers_that_cannot_be_read_leave_the_rules_as_they_are(self):
        daemon = self.start()
        os.unlink(self.path("subuid"))
        os.mkdir(self.path("subuid"))
        self.configure(users=[])
        problem = f"cannot read {self.path('subuid')}: it is no file; the rules stay as they are"
        until(lambda: problem in self.logged(daemon), "a line about the numbers")
        self.assertEqual(self.ask(LENT, ORIGIN, 80), f"the proxy for {ORIGIN}:80")
        self.finish(daemon)
        self.start()  # also over a restart
        self.assertEqual(self.ask(LENT, ORIGIN, 80), f"the proxy for {ORIGIN}:80")
        os.rmdir(self.path("subuid"))  # none are lent: no fault
        until(lambda: self.ask(MANAGED, ORIGIN, 80) == "the origin", "the configuration")
        self.assertEqual(self.logged().count(problem), 2)

    def test_an_account_that_vanishes_stays_filtered_over_a_restart(self):
        number = 45001
        with open("/etc/passwd", encoding="utf-8") as file:
            accounts = file.read()
        self.accounts(accounts + f"late:x:{number}:{number}::/:/bin/sh\n")
        self.addCleanup(subprocess.run, ["umount", "/etc/passwd"], check=True)
        self.configure(users=[{"name": "late", "http-port": HTTP, "https-port": HTTPS}])
        daemon = self.start()
        self.assertEqual(self.ask(number, ORIGIN, 80), f"the proxy for {ORIGIN}:80")
        self.finish(daemon)
        with open(self.path("passwd"), "w", encoding="utf-8") as file:
            file.write(accounts)
        self.start()
        self.assertIn(f'users[0].name: there is no account "late"; its last number, {number}, stays filtered', self.logged())
        self.assertEqual(self.ask(number, ORIGIN, 80), f"the proxy for {ORIGIN}:80")

    def accounts(self, text):
        """In place of the machine's."""
        with open(self.path("passwd"), "w", encoding="utf-8") as file:
            file.write(text)
        run("mount", "--bind", self.path("passwd"), "/etc/passwd")

    def test_what_a_closed_socket_still_has_to_send_arrives(self):
        self.start()
        script = ("import socket, sys; s = socket.create_server((sys.argv[1], 8443)); print('ready', flush=True);"
                  "c = s.accept()[0]; n = 0; d = b'+'\nwhile d:\n d = c.recv(65536); n += len(d)\nprint(n)")
        taker = subprocess.Popen(["ip", "netns", "exec", arguments.origin, sys.executable, "-c", script, ORIGIN],
                                 stdout=subprocess.PIPE, text=True)
        self.assertEqual(taker.stdout.readline(), "ready\n")

        def hand_over():
            with socket.socket() as one:
                one.connect((ORIGIN, 8443))
                one.sendall(b"x" * 400000)
            return "closed"
        self.assertEqual(as_user(self.uids[UNMANAGED], hand_over), "closed")
        self.assertEqual(taker.communicate(timeout=20)[0], "400000\n")

    def test_user_numbers_lent_to_a_managed_user_are_his(self):
        self.start()
        self.assertEqual(self.ask(LENT, ORIGIN, 80), f"the proxy for {ORIGIN}:80")
        self.assertEqual(self.ask(LENT + 9, ORIGIN, 8080), "ECONNREFUSED")
        self.assertEqual(self.ask(LENT + 10, ORIGIN, 80), "the origin")

    def test_a_namespace_of_the_users_own_is_no_way_around(self):
        self.start()

        def inside(*options):
            uid = self.uids[MANAGED]
            return subprocess.run(["unshare", *options, "bash", "-c", f"id -u; cat </dev/tcp/{ORIGIN}/80"], capture_output=True,
                                  text=True, check=False, user=uid, group=uid, extra_groups=[], env={"PATH": "/usr/bin:/bin"}, cwd="/")
        done = inside("--user", "--map-root-user")
        if "unshare failed" in done.stderr:
            self.skipTest("netfilterd.Network needs user namespaces for this one")
        self.assertEqual(done.stdout, f"0\nthe proxy for {ORIGIN}:80")  # root in there
        self.assertEqual(inside("--user", "--map-root-user", "--net").stdout, "0\n")  # a network without a wire

    def test_local_services_stay_reachable_but_for_the_proxys_ports(self):
        self.serve("a local service", [("127.0.0.1", 10011), ("127.0.0.1", 9050)])
        self.serve("a page of the user's own", [("127.0.0.1", 2000)], uid=self.uids[MANAGED])
        self.start()
        self.assertEqual(self.ask(MANAGED, "127.0.0.1", 10011), "a local service")
        self.assertEqual(self.ask(MANAGED, "127.0.0.1", 2000), "a page of the user's own")
        self.assertEqual(self.ask(MANAGED, "127.0.0.1", 9050), "ECONNREFUSED")  # Tor and its like
        self.assertEqual(self.ask(UNMANAGED, "127.0.0.1", 9050), "a local service")
        self.assertEqual(self.ask(MANAGED, "127.0.0.1", HTTP), "ECONNREFUSED")
        self.assertTrue(self.ask(UNMANAGED, "127.0.0.1", HTTP).startswith("the proxy"))

    def test_nobody_hears_a_managed_user_at_the_ports_of_the_filter(self):
        self.configure(**{"closed-local-ports": [1344]})
        self.serve("all pages are fine", [("127.0.0.1", port) for port in (1344, 10011, 2000)], uid=self.uids[MANAGED])
        self.start()
        for user in (UNMANAGED, PROXY):
            self.assertEqual(self.ask(user, "127.0.0.1", 2000), "all pages are fine")
            for port in (1344, 10011):
                self.assertEqual(self.ask(user, "127.0.0.1", port), "timed out", (user, port))
        self.assertEqual(self.ask(MANAGED, "127.0.0.1", 10011), "timed out")
        # Also where he got the proxy's port before the proxy did.
        stop(self.proxy)
        self.serve("the proxy", [("127.0.0.1", HTTP)], uid=self.uids[MANAGED])
        self.assertEqual(self.ask(MANAGED, ORIGIN, 80), "timed out")

    def test_a_managed_user_answers_nobody_outside(self):
        self.serve("a way out", [(CLIENT, 2000)], uid=self.uids[MANAGED])
        self.serve("a page", [(CLIENT, 2001)], uid=self.uids[UNMANAGED])
        self.start()

        def asked_from_outside(port):
            script = (f"import socket\ntry: print(socket.create_connection(('{CLIENT}', {port}), 2).recv(100).decode())\n"
                      "except OSError as error: print(type(error).__name__)")
            return run("ip", "netns", "exec", arguments.origin, sys.executable, "-c", script)
        self.assertEqual(asked_from_outside(2000), "TimeoutError\n")
        self.assertEqual(asked_from_outside(2001), "a page\n")

    def test_without_https_filtering_secure_pages_pass_but_known_resolvers_do_not(self):
        self.configure(**{"filter-https": False, "dns-over-https": [ORIGIN6]})
        self.start()
        self.assertEqual(self.ask(MANAGED, ORIGIN, 443), "the origin")
        self.assertEqual(self.ask(MANAGED, ORIGIN6, 443), "ECONNREFUSED")
        self.assertEqual(self.set_option(4, b""), 0)
        self.assertEqual(self.ask(MANAGED, ORIGIN, 443), f"the proxy for {ORIGIN}:443")

    def test_a_proxy_that_is_down_means_no_web(self):
        self.start()
        stop(self.proxy)
        for port in (80, 443):
            self.assertEqual(self.ask(MANAGED, ORIGIN, port), "ECONNREFUSED")
            self.assertEqual(self.ask(UNMANAGED, ORIGIN, port), "the origin")

    def test_the_control_sockets_user_is_filtered_and_survives_a_crash(self):
        self.configure(users=[])
        daemon = self.start()
        self.assert_open()
        self.assertEqual(self.set_option(1, struct.pack("=I", self.uids[MANAGED])), 0)
        self.assertEqual(self.ask(MANAGED, ORIGIN, 80), "ECONNREFUSED")  # no proxy yet: closed
        self.assertEqual(self.set_option(2, bytes([16, 2, HTTP >> 8, HTTP & 255, 127, 0, 0, 1]) + bytes(8)), 0)
        self.assert_filtered()
        self.finish(daemon)
        self.assert_filtered()  # the rules outlive it
        self.start()
        self.assert_filtered()
        self.assertEqual(self.set_option(1, struct.pack("=I", 0)), 0)
        self.assert_open()

    def test_rules_that_somebody_flushes_come_back(self):
        self.start()
        run("nft", "flush", "ruleset")
        until(lambda: self.ask(MANAGED, ORIGIN, 80).startswith("the proxy"), "the rules", 5)
        self.assertIn("somebody changed the rules of the table inet sifterra; they are put back", self.logged())

    def test_a_changed_configuration_is_taken_up_by_itself_and_by_signal(self):
        daemon = self.start()
        self.assert_filtered()
        self.configure(users=[])
        until(lambda: self.ask(MANAGED, ORIGIN, 80) == "the origin", "the new configuration")
        self.configure()
        daemon.send_signal(signal.SIGHUP)
        until(lambda: self.ask(MANAGED, ORIGIN, 80).startswith("the proxy"), "the old configuration")

    def test_an_account_that_is_missing_leaves_the_others_filtered(self):
        self.configure(users=[{"name": "nobody-yet", "http-port": 5001, "https-port": 5002},
                              {"name": MANAGED, "http-port": HTTP, "https-port": HTTPS}])
        self.start()
        self.assert_filtered()
        self.assertIn('users[0].name: there is no account "nobody-yet"; the account is looked for', self.logged())
        done = subprocess.run([arguments.daemon, "--check", "--config", self.path("netfilterd.json")], capture_output=True,
                              text=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn('users[0].name: there is no account "nobody-yet"', done.stderr)

    def test_a_pause_ends_by_itself(self):
        user = {"name": MANAGED, "http-port": HTTP, "https-port": HTTPS, "paused-until": int(time.time()) + 3}
        self.configure(users=[user])
        self.start()
        self.assert_open()
        until(lambda: self.ask(MANAGED, ORIGIN, 80).startswith("the proxy"), "the end of the pause")

    def test_a_broken_configuration_changes_nothing_also_over_a_restart(self):
        daemon = self.start()
        self.configure(users=[{"name": MANAGED, "http-port": 0, "https-port": 1}])
        daemon.send_signal(signal.SIGHUP)
        problem = "users[0].http-port: expected a port from 1 to 65535, found 0; the rules stay as they are"
        until(lambda: problem in self.logged(daemon), "a line about the mistake")
        self.assert_filtered()
        self.assertEqual(self.finish(daemon, signal.SIGTERM), 0)
        subprocess.run([arguments.daemon, "--remove"], check=True)  # as after a boot
        self.assert_open()
        self.start()
        self.assert_filtered()
        self.assertIn("the rules of the earlier run are in force", self.logged())

    def test_rules_stay_after_a_clean_stop_and_go_when_asked(self):
        daemon = self.start()
        self.assertEqual(self.finish(daemon, signal.SIGTERM), 0)
        self.assertIn("stopped; the rules stay", self.logged())
        self.assert_filtered()
        subprocess.run([arguments.daemon, "--remove"], check=True)
        self.assert_open()
        subprocess.run([arguments.daemon, "--remove"], check=True)  # also when there are none

    def test_a_mistake_on_the_command_line_exits_with_2(self):
        for options, text in ((["--config", self.path("none")], "none: No such file or directory"),
                              (["--remove"], "--check excludes --remove"), (["--no-such"], "--no-such")):
            done = subprocess.run([arguments.daemon, "--check", *options], capture_output=True, text=True, check=False)
            self.assertEqual(done.returncode, 2, options)
            self.assertIn(text, done.stderr)
            self.assertEqual(done.stdout, "")


def build_network():
    """This process's network becomes the client's; an origin hangs on the other end of a wire."""
    run("mount", "-t", "tmpfs", "tmpfs", "/run/netns") if os.path.isdir("/run/netns") else None
    run("ip", "netns", "add", arguments.origin)
    run("ip", "link", "set", "lo", "up")
    run("ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", arguments.origin)
    inside = ["ip", "-n", arguments.origin]
    for command, address, address6 in ((["ip"], CLIENT, CLIENT6), (inside, ORIGIN, ORIGIN6)):
        run(*command, "address", "add", f"{address}/24", "dev", "wire")
        run(*command, "address", "add", f"{address6}/64", "dev", "wire", "nodad")
        run(*command, "link", "set", "wire", "up")


def origin_servers():
    """Runs in the origin's namespace and says so when everything listens."""
    both = [(host, port) for host in (ORIGIN, ORIGIN6) for port in (53, 80, 443, 853, 8080, *PORTS_THAT_CARRY_ANYTHING)]
    datagrams = [(host, port) for host in (ORIGIN, ORIGIN6) for port in (53, 123, 443, 853)]
    pids = [server("the origin", both), server("the origin", datagrams, socket.SOCK_DGRAM)]
    print("ready", flush=True)
    sys.stdin.read()
    for pid in pids:
        stop(pid)


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def main():
    if arguments.serve_origin:
        return origin_servers()
    if not arguments.inside:
        if os.geteuid() != 0:
            skip("netfilterd.Network needs root for network namespaces")
        probe = subprocess.run(["unshare", "--net", "--mount", "nft", "add table inet probe"], capture_output=True,
                               text=True, check=False)
        if probe.returncode != 0:
            skip(f"netfilterd.Network needs nftables in a network namespace: {probe.stderr.strip()}")
        os.execvp("unshare", ["unshare", "--net", "--mount", sys.executable, os.path.abspath(__file__), "--inside",
                              *sys.argv[1:]])
    build_network()
    origin = subprocess.Popen(["ip", "netns", "exec", arguments.origin, sys.executable, os.path.abspath(__file__),
                               "--serve-origin", "--daemon", arguments.daemon], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True)
    loader = unittest.TestLoader()
    loader.testNamePatterns = [f"*{arguments.only}*"] if arguments.only else None
    try:
        assert origin.stdout.readline() == "ready\n", "the origin did not start"
        result = unittest.TextTestRunner(verbosity=2).run(loader.loadTestsFromTestCase(Network))
    finally:
        origin.stdin.close()
        origin.wait()
        subprocess.run(["ip", "netns", "delete", arguments.origin], check=False)
    sys.exit(0 if result.wasSuccessful() else 1)


parser = argparse.ArgumentParser()
parser.add_argument("--daemon", required=True)
parser.add_argument("--only")
parser.add_argument("--inside", action="store_true")
parser.add_argument("--serve-origin", action="store_true")
parser.add_argument("--origin", default=f"origin{os.getpid()}")
arguments = parser.parse_args()
main()
