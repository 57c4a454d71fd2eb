"""One proxy under test: policies, c-icap with Sifterra's service, Squid in front of it, an origin, and curl.

A test program makes one World for all its tests and ends it with them. The environment says where things are:
SIFTERRA_BUILD (the build tree) and SIFTERRA_SOURCE.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import sifterra_service
from policies import Policies
from servers import CIcap, Origin, Squid, program

BUILD = os.path.abspath(os.environ["SIFTERRA_BUILD"])
SOURCE = os.path.abspath(os.environ["SIFTERRA_SOURCE"])


def example(name):
    with open(os.path.join(SOURCE, "examples", name), "rb") as file:
        return file.read()


# Verdicts of both are sure (examples/README.md); BLAND goes on as long as one likes.
ALLOWED, REFUSED = example("garden-diary.html"), example("adult-video-site.html")
RUSSIAN_REFUSED = example("porno-onlajn.html").decode()


def bland_page(length, last=b""):
    """An allowed page of `length` bytes whose body ends with `last`."""
    sentence = b"<p>The beans were picked in the rain, and the pears of the old tree went to the neighbours' kitchen.</p>\n"
    head, tail = b"<!DOCTYPE html><html><head><title>Garden diary</title></head><body>\n", last + b"</body></html>\n"
    room = length - len(head) - len(tail)
    return head + sentence * (room // len(sentence)) + b" " * (room % len(sentence)) + tail


class World:
    node = CIcap  # what serves ICAP

    def __init__(self, squid=True, **settings):
        self.directory = tempfile.mkdtemp(prefix="sifterra-proxy-")
        os.chmod(self.directory, 0o755)  # Squid's own user reads here
        self.stack = []
        try:
            self.policies = Policies(os.path.join(self.directory, "root"))
            self.policies.write("kid", restrictWeb=True, useContentFilter=True,
                                filterBlacklist=["http://denied.example/"],
                                filterWhitelist=["http://trusted.example/"])
            self.policies.write("list", restrictWeb=True, whitelistEnabled=True, siteWhitelist=[
                {"address": "http://sites.example/", "pageTitle": "Sites for children"}])
            self.policies.write("secure", restrictWeb=True, useContentFilter=True, alwaysAllowHTTPS=True,
                                filterBlacklist=["http://denied.example/"])
            settings = {"default_user": "kid", **settings}
            self.icap = self.add(self.node(self.directory, lines=sifterra_service.lines(
                BUILD, self.policies.root, self.directory, **settings)).start())
            self.origin = self.add(Origin())
            if squid:
                self.squid = self.add(Squid(self.directory, lines=squid_lines(self)).start())
        except BaseException:
            self.stop()
            raise

    def add(self, thing):
        self.stack.append(thing)
        return thing

    def stop(self):
        for thing in reversed(self.stack):
            thing.stop()
        shutil.rmtree(self.directory, ignore_errors=True)

    def curl(self, url, *options, user=None, through=None):
        """curl through the proxy: (status, head, body); status 0 when it got no answer."""
        head = os.path.join(self.directory, "head")
        body = os.path.join(self.directory, "body")
        for path in (head, body):
            if os.path.exists(path):
                os.remove(path)
        proxy = ["--proxy-user", user + ":any"] if user else []
        done = subprocess.run(["curl", "-s", "-D", head, "-o", body, "--max-time", "30", "-x",
                               through or f"http://127.0.0.1:{self.squid.port}", *proxy, *options, url],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        heads = read(head).split(b"\r\n\r\n")
        heads = [one for one in heads if one]
        status = int(heads[-1].split()[1]) if heads and done.returncode in (0, 18, 56) else 0
        return status, heads[-1] if heads else b"", read(body)

    def url(self, path, host=None):
        """An origin's page under a host name of the test's choice: Squid takes every name to the origin."""
        return f"http://{host}{path}" if host else self.origin.address + path

    def alive(self):
        return self.icap.process.poll() is None


def read(path):
    if not os.path.exists(path):
        return b""
    with open(path, "rb") as file:
        return file.read()


def squid_example(name, replacements):
    """A shipped Squid fragment with the test's ports and paths."""
    with open(os.path.join(SOURCE, "examples", name)) as file:
        text = file.read()
    for old, new in replacements.items():
        if old not in text:
            raise AssertionError(f"examples/{name} does not hold {old}")
        text = text.replace(old, new)
    return text.replace("{", "{{").replace("}", "}}").split("\n")


def squid_lines(world):
    """The shipped fragment; who logs in with a password is who they say; names lead to the test's origin."""
    return squid_example("squid/sifterra.conf", {"127.0.0.1:1344": f"127.0.0.1:{world.icap.port}"}) + [
        "auth_param basic program /usr/lib/squid/basic_fake_auth",
        "auth_param basic children 1",
        "acl named proxy_auth REQUIRED",
        "acl logs_in req_header Proxy-Authorization .",
        "http_access deny logs_in !named",
        f"cache_peer 127.0.0.1 parent {world.origin.port} 0 no-query originserver name=origin",
        "acl example dstdomain .example",
        "cache_peer_access origin allow example",
        "never_direct allow example",
    ]


def block_page(world, user, url, title=""):
    """The library's block page as its command makes it."""
    done = subprocess.run([os.path.join(BUILD, "bin", "sifterra"), "--root", world.policies.root, "blockpage", "--user",
                           user, "--url", url, "--title", title], stdout=subprocess.PIPE, check=True)
    return done.stdout


def library_refuses(page):
    """The verdict of the library on the same bytes, by another way: its command."""
    done = subprocess.run([os.path.join(BUILD, "bin", "sifterra"), "check", "--url", "http://www.example.com/", "-"],
                          input=page, stdout=subprocess.PIPE)
    if done.returncode not in (0, 1):
        raise AssertionError("sifterra check failed")
    return done.returncode == 1


def run_tests():
    """Like unittest.main; a missing program ends the tests as skipped by name (ctest knows 77)."""
    for wanted in ("c-icap", "squid", "curl"):
        if not program(wanted):
            print(f"skipped: {wanted} is missing: packaging/apt-packages.txt")
            sys.exit(77)
    unittest.main(verbosity=2)
