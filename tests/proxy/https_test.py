#!/usr/bin/env python3
"""HTTPS that Squid opens with an authority of the test's own: told of the proxy, and intercepted in a network of the
test's own, where the kernel lets us make one."""
import http.client
import os
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest

import certificates
from servers import Origin, Squid, free_port
from world import ALLOWED, REFUSED, World, run_tests, squid_example, squid_lines

INSIDE = "SIFTERRA_TEST_NETWORK"  # set where the test runs in a network of its own
OUTSIDE = "192.0.2.80"            # the origin's address there
LISTED = "192.0.2.81"             # a client's, of the user who may see the sites of her list only
world = None


def setUpModule():
    global world
    world = SecureWorld()
    if os.environ.get(INSIDE):
        turn_connections()


def tearDownModule():
    world.stop()


class SecureWorld(World):
    def __init__(self):
        inside = os.environ.get(INSIDE)
        # The user of the allow list alone, by the address that she asks from.
        self.map_directory = tempfile.TemporaryDirectory()
        users = os.path.join(self.map_directory.name, "users.map")
        with open(users, "w") as file:
            file.write(f"{LISTED} list\n")
        super().__init__(squid=False, user_map=users)
        try:
            self.policies.write("list", restrictWeb=True, whitelistEnabled=True, siteWhitelist=[
                {"address": "http://www.listed.test/", "pageTitle": "A site for children"}])
            here = os.path.join(self.directory, "certificates")
            os.makedirs(here)
            self.roots, _ = certificates.authority(here, "roots")
            self.authority, both = certificates.authority(here, "proxy")
            names = ["127.0.0.1", OUTSIDE, "www.denied.example", "www.other.test", "www.listed.test"]
            self.secure = self.add(Origin(certificates.server(here, "origin", names, self.roots),
                                          host=OUTSIDE if inside else "127.0.0.1", port=443 if inside else 0))
            store = os.path.join(self.directory, "store")
            subprocess.run(["/usr/lib/squid/security_file_certgen", "-c", "-s", store, "-M", "4MB"], check=True,
                           stdout=subprocess.DEVNULL)
            if os.geteuid() == 0:
                subprocess.run(["chown", "-R", "proxy", store, here], check=True)
            self.ports = {name: free_port() for name in ("3129", "3130", "3131")}
            lines = squid_example("squid/sifterra-https.conf", {
                "3129 ssl-bump": f"127.0.0.1:{self.ports['3129']} ssl-bump",
                "3130 intercept": f"{self.ports['3130']} intercept", "3131 intercept": f"{self.ports['3131']} intercept",
                "/etc/squid/sifterra-ca.pem": both, "/var/spool/squid/sifterra-certificates": store})
            lines = [line.replace("localport 3128", "localport {port}") for line in lines]
            hosts = os.path.join(here, "hosts")  # Squid compares an intercepted request's host with the address it went to
            with open(hosts, "w") as file:
                file.write(f"{OUTSIDE if inside else '127.0.0.1'} www.other.test www.denied.example www.listed.test\n")
            lines = [f"tls_outgoing_options cafile={self.roots}", f"hosts_file {hosts}"] + lines
            # As in conf.d, where the rules of this file stand before those of the other.
            self.squid = self.add(Squid(self.directory, lines=lines + squid_lines(self)).start())
        except BaseException:
            self.stop()
            raise

    def told(self, path, *options, **more):
        return self.curl(f"https://www.other.test:{self.secure.port}{path}", "--cacert", self.authority, *options,
                         through=f"http://127.0.0.1:{self.ports['3129']}", **more)

    def intercepted(self, path, host="www.other.test", scheme="https", client=None):
        """curl that knows of no proxy."""
        port = 443 if scheme == "https" else 80
        origin = ["--interface", client] if client else []
        done = subprocess.run(["curl", "-s", "--noproxy", "*", "--max-time", "20", "--resolve", f"{host}:{port}:{OUTSIDE}",
                               "--cacert", self.authority, "-w", "\n%{http_code}", *origin,
                               f"{scheme}://{host}{path}"], stdout=subprocess.PIPE)
        body, _, status = done.stdout.rpartition(b"\n")
        return int(status), body

    def without_name(self, path, host="www.other.test", client=None):
        """A client whose hello names no host."""
        context = ssl.create_default_context(cafile=self.authority)
        context.check_hostname = False  # Squid knows the address alone
        source = (client, 0) if client else None
        with socket.create_connection((OUTSIDE, 443), timeout=20, source_address=source) as plain, \
                context.wrap_socket(plain) as secure:
            secure.sendall(f"GET {path} HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n\r\n".encode())
            answer = http.client.HTTPResponse(secure)
            answer.begin()
            return answer.status, answer.read()


class Told(unittest.TestCase):
    def test_pages_are_judged(self):
        world.secure.serve("/good", ALLOWED)
        world.secure.serve("/bad", REFUSED)
        status, _, body = world.told("/good")
        self.assertEqual((status, body), (200, ALLOWED))
        status, _, body = world.told("/bad")
        self.assertEqual(status, 403)
        self.assertIn(b"<html", body)
        self.assertNotIn(b"pornstars", body)

    def test_who_always_may_use_https_is_not_judged(self):
        world.secure.serve("/bad", REFUSED)
        # Squid's password is asked at the tunnel, and holds for what comes through it.
        status, _, body = world.told("/bad", user="secure")
        self.assertEqual((status, body), (200, REFUSED))

    def test_denied_host_is_refused_at_the_tunnel_or_in_it(self):
        done = subprocess.run(["curl", "-s", "-o", "/dev/null", "-w", "%{http_connect} %{http_code}", "--cacert",
                               world.authority, "-x", f"http://127.0.0.1:{world.ports['3129']}",
                               "https://www.denied.example/"], stdout=subprocess.PIPE, text=True)
        self.assertIn("403", done.stdout.split())

    def test_no_tunnel_is_opened_inside_an_opened_connection(self):
        target = f"www.other.test:{world.secure.port}"
        question = f"CONNECT {target} HTTP/1.1\r\nHost: {target}\r\n\r\n".encode()
        with socket.create_connection(("127.0.0.1", world.ports["3129"]), timeout=20) as plain:
            plain.sendall(question)
            self.assertIn(b" 200 ", plain.recv(4096).split(b"\r\n")[0])
            context = ssl.create_default_context(cafile=world.authority)
            with context.wrap_socket(plain, server_hostname="www.other.test") as opened:
                opened.sendall(question)
                self.assertTrue(opened.recv(4096).startswith(b"HTTP/1.1 403 "))

    def test_plain_port_opens_no_tunnel(self):
        world.secure.serve("/good", ALLOWED)
        done = subprocess.run(["curl", "-s", "-o", "/dev/null", "-w", "%{http_connect} %{http_code}", "--cacert",
                               world.roots, "-x", f"http://127.0.0.1:{world.squid.port}",
                               f"https://www.other.test:{world.secure.port}/good"], stdout=subprocess.PIPE, text=True)
        self.assertEqual(done.stdout, "403 000")


@unittest.skipUnless(os.environ.get(INSIDE), "skipped by name: interception needs root and a network namespace")
class Intercepted(unittest.TestCase):
    def test_secure_pages_are_judged(self):
        world.secure.serve("/good", ALLOWED)
        world.secure.serve("/bad", REFUSED)
        self.assertEqual(world.intercepted("/good"), (200, ALLOWED))
        status, body = world.intercepted("/bad")
        self.assertEqual(status, 403)
        self.assertNotIn(b"pornstars", body)

    def test_denied_host_is_refused(self):
        world.secure.serve("/good", ALLOWED)
        before = len(world.secure.requests)
        status, body = world.intercepted("/good", host="www.denied.example")
        self.assertEqual(status, 403)
        self.assertIn(b"<html", body)
        self.assertEqual(len(world.secure.requests), before)

    def test_page_of_a_host_that_the_hello_does_not_name_is_judged(self):
        world.secure.serve("/good", ALLOWED)
        world.secure.serve("/bad", REFUSED)
        self.assertEqual(world.without_name("/good"), (200, ALLOWED))
        self.assertEqual(world.without_name("/bad")[0], 403)
        self.assertEqual(world.without_name("/good", host="www.denied.example")[0], 403)
        self.assertEqual(world.without_name("/good", client=LISTED)[0], 403)

    def test_user_of_an_allow_list_reaches_the_sites_of_the_list_alone(self):
        world.secure.serve("/any", REFUSED)
        self.assertEqual(world.intercepted("/any", host="www.listed.test", client=LISTED), (200, REFUSED))
        world.secure.serve("/any", ALLOWED)
        status, body = world.intercepted("/any", client=LISTED)
        self.assertEqual(status, 403)
        self.assertIn(b"<html", body)

    def test_plain_pages_are_judged(self):
        plain = Origin(host=OUTSIDE, port=80)
        try:
            plain.serve("/good", ALLOWED)
            plain.serve("/bad", REFUSED)
            self.assertEqual(world.intercepted("/good", scheme="http"), (200, ALLOWED))
            self.assertEqual(world.intercepted("/bad", scheme="http")[0], 403)
        finally:
            plain.stop()


def enter_network():
    """Starts this program again in a network of its own, whose connections to ports 80 and 443 go to Squid."""
    if os.environ.get(INSIDE) or os.geteuid() != 0 or \
            subprocess.run(["unshare", "-n", "true"], stderr=subprocess.DEVNULL).returncode != 0:
        return
    os.environ[INSIDE] = "yes"
    os.execvp("unshare", ["unshare", "-n", sys.executable, *sys.argv])


def turn_connections():
    """What a gateway's firewall does; Squid's own connections pass."""
    rules = f"""table ip sifterra {{
  chain output {{
    type nat hook output priority -100;
    ip daddr {OUTSIDE} meta skuid != proxy tcp dport 443 redirect to :{world.ports['3130']}
    ip daddr {OUTSIDE} meta skuid != proxy tcp dport 80 redirect to :{world.ports['3131']}
  }}
}}
"""
    subprocess.run(["nft", "-f", "-"], input=rules.encode(), check=True)


if __name__ == "__main__":
    enter_network()
    if os.environ.get(INSIDE):
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        for address in (OUTSIDE, LISTED):
            subprocess.run(["ip", "address", "add", address + "/32", "dev", "lo"], check=True)
    run_tests()
