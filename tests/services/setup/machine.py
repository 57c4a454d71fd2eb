"""A machine under the filter: this one, seen through an overlay that takes all changes, in a network of its own where a wire
leads to an origin. The services run as their units say, under a small supervisor.

With --packages it is another machine: the root directory (or layers of one, as overlays are told them) where the packages are
installed. Nothing of the build or the sources is seen there.
"""
import contextlib
import os
import pwd
import shutil
import socket
import subprocess
import sys
import time

from origin import ELSEWHERE, ORIGIN, ORIGIN6, STRANGER
from supervisor import Unit

CLIENT, CLIENT6 = "198.51.100.1", "2001:db8:51::1"
FILTERED, LISTED, UNMANAGED = "nobody", "games", "daemon"
ADMINISTRATOR, PASSWORD = "mother-of-the-test", "secret of the test"
NAMES = ("pages.example", "listed.example", "pinned.example", "dns.google", "denied.example")
ICAP, PROXY, NETFILTER, OVERRIDE = (f"sifterra-{name}.service" for name in ("icap", "proxy", "netfilterd", "override"))
UNITS = (ICAP, PROXY, NETFILTER, OVERRIDE)


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


class Machine:
    def __init__(self, folder, arguments):
        self.folder = folder
        self.arguments = arguments
        self.network = f"origin{os.getpid()}"
        self.units = {}
        self.uids = {name: pwd.getpwnam(name).pw_uid for name in (FILTERED, LISTED, UNMANAGED)}

    def build(self):
        """This process's network becomes the machine's, and an overlay its files."""
        run("mount", "-t", "tmpfs", "tmpfs", self.folder)
        os.chmod(self.folder, 0o755)
        self._make_origin_certificate()
        os.makedirs("/run/netns", exist_ok=True)
        run("mount", "-t", "tmpfs", "tmpfs", "/run/netns")
        run("ip", "netns", "add", self.network)
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "wire", "type", "veth", "peer", "name", "wire", "netns", self.network)
        run("ip", "-n", self.network, "link", "set", "lo", "up")
        for command, addresses in ((["ip"], (CLIENT, CLIENT6)), (["ip", "-n", self.network], (ORIGIN, ELSEWHERE, STRANGER, ORIGIN6))):
            for address in addresses:
                six = [f"{address}/64", "dev", "wire", "nodad"] if ":" in address else [f"{address}/24", "dev", "wire"]
                run(*command, "address", "add", *six)
            run(*command, "link", "set", "wire", "up")
        origin = subprocess.Popen(
            ["ip", "netns", "exec", self.network, sys.executable, os.path.join(os.path.dirname(__file__), "origin.py"),
             "--examples", os.path.join(self.arguments.source, "examples"), "--certificate", self.path("origin.pem"), "--stranger", self.path("stranger.pem"),
             "--file", self.path("file")], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert origin.stdout.readline() == "ready\n", "the origin did not start"
        self.origin = origin
        with open(self.path("file"), "rb") as file:
            self.file = file.read()
        self.good, self.bad = self._example("garden-diary.html"), self._example("adult-video-site.html")
        self._enter_overlay()
        self._install()
        self._add_accounts()

    def path(self, name):
        return os.path.join(self.folder, name)

    def _example(self, name):
        with open(os.path.join(self.arguments.source, "examples", name), "rb") as file:
            return file.read()

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
        run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=listed.example",
            "-addext", "subjectAltName=DNS:listed.example", "-keyout", self.path("stranger.pem"), "-out", self.path("stranger.crt"))
        with open(self.path("stranger.pem"), "ab") as whole, open(self.path("stranger.crt"), "rb") as file:
            whole.write(file.read())
        with open(self.path("origin.pem"), "wb") as whole:
            for part in ("origin.key", "origin.crt"):
                with open(self.path(part), "rb") as file:
                    whole.write(file.read())

    def _enter_overlay(self):
        for name in ("upper", "work", "machine"):
            os.mkdir(self.path(name))
        machine, packages = self.path("machine"), self.arguments.packages
        run("mount", "-t", "overlay", "overlay", "-o",
            f"lowerdir={packages or '/'},upperdir={self.path('upper')},workdir={self.path('work')}", machine)
        folders = ["/proc", "/dev", "/sys", self.folder]
        folders += [] if packages else [self.arguments.build, self.arguments.source]
        if packages and sys.base_prefix != "/usr":
            folders.append(sys.base_prefix)  # where this program finds its own modules
        for folder in folders:
            os.makedirs(machine + folder, exist_ok=True)
            run("mount", "--rbind" if folder != self.folder else "--bind", folder, machine + folder)
        for folder in ("/run", "/var/log", "/var/lib/sifterra"):
            os.makedirs(machine + folder, exist_ok=True)
            run("mount", "-t", "tmpfs", "tmpfs", machine + folder)
        # Squid's and c-icap's shared memory has names: another machine beside this one has the same.
        run("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", machine + "/dev/shm")
        self.root_outside = os.open("/", os.O_PATH | os.O_DIRECTORY)
        os.chroot(machine)
        os.chdir("/")
        for path in ("/etc/resolv.conf",):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(path)
        with open("/etc/resolv.conf", "w", encoding="ascii") as file:
            file.write(f"nameserver {ORIGIN}\n")

    def _install(self):
        if not self.arguments.packages:
            self._install_from_build()
        shutil.copy(self.path("web.pem"), "/usr/local/share/ca-certificates/web-of-the-test.crt")
        run("update-ca-certificates")
        os.makedirs("/run/sifterra", exist_ok=True)

    def _install_from_build(self):
        """What the packages would put where."""
        shutil.rmtree("/etc/sifterra", ignore_errors=True)
        shutil.copytree(os.path.join(self.arguments.source, "services/setup"), "/usr/share/sifterra/setup", dirs_exist_ok=True)
        shutil.copy(os.path.join(self.arguments.source, "services/setup/sifterra-setup"), "/usr/sbin/sifterra-setup")
        modules = f"/usr/lib/{sys.implementation._multiarch}/c_icap"
        for built, target in ((self.arguments.netfilterd, "/usr/sbin/sifterra-netfilterd"),
                              (self.arguments.override, "/usr/sbin/sifterra-override"),
                              (self.arguments.sifterra, "/usr/bin/sifterra"),
                              (self.arguments.module, modules + "/srv_sifterra.so")):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(target)
            os.symlink(os.path.realpath(built), target)
        shutil.copy(os.path.join(self.arguments.source, "packaging/pam/sifterra"), "/etc/pam.d/sifterra")

    def _add_accounts(self):
        """What systemd-sysusers would add."""
        names = (("sifterra", 40003), ("sifterra-approvers", 40002), ("sifterra-proxy", 40004), ("sifterra-icap", 40005))
        lines = {"group": [f"{name}:x:{number}:" for name, number in names],
                 "gshadow": [f"{name}:!*::" for name, _ in names],
                 "passwd": [f"{name}:x:{number}:{number}::/:/usr/sbin/nologin" for name, number in names[2:]],
                 "shadow": [f"{name}:!*:19000::::::" for name, _ in names[2:]]}
        for name, added in lines.items():
            for line in added:
                _add_account(f"/etc/{name}", line)

    def setup(self, *command, **options):
        return run("/usr/sbin/sifterra-setup", *command, **options)

    def outside(self, user=None):
        """How a program of the machine around starts, as a user of this one or as root: what comes before its name, and subprocess's
        options."""
        uid = self.uids[user] if user else 0
        return (["chroot", f"--userspec={uid}:{uid}", "--groups=", self.path_outside("/")], {"pass_fds": [self.root_outside]})

    def path_outside(self, path):
        return f"/proc/self/fd/{self.root_outside}{path}"

    def show_outside(self, *paths):
        """What stands here at these paths is what programs of the machine around find there."""
        for path in paths:
            before, options = self.outside()
            run(*before, "mount", "--bind", self.path("machine") + path, path, **options)

    def route(self, address, present=True):
        """A way to an address, by the wire; or none any more."""
        before, options = self.outside()
        run(*before, "ip", "route", "add" if present else "delete", address, "via", ORIGIN, **options)

    def tree(self):
        """What the overlay holds that this machine has not, or has otherwise: path -> content."""
        upper, found = self.path("upper"), {}
        for folder, names, files in os.walk(upper):
            for name in names + files:
                path = os.path.join(folder, name)
                content = ""
                if os.path.islink(path):
                    content = os.readlink(path)
                elif os.path.isfile(path):
                    with open(path, "rb") as file:
                        content = file.read()
                found[path[len(upper):]] = content
        return found

    def enrol(self):
        self.before = self.tree()
        self.setup("approver", ADMINISTRATOR, "--password-stdin", input=PASSWORD + "\n")
        self.setup("enrol", FILTERED, "--filter")
        self.setup("enrol", LISTED, "--allow-list-only")
        run("sifterra", "policy", "add", FILTERED, "deny", "http://denied.example")
        run("sifterra", "policy", "add", LISTED, "sites", "http://listed.example/")
        for name, site in (("pass", "pinned.example"), ("websocket", "listed.example")):
            with open(f"/etc/sifterra/{name}-sites.txt", "a", encoding="ascii") as file:
                file.write(site + "\n")
        self.setup("apply")

    def start(self):
        units = "/lib/systemd/system" if self.arguments.packages else os.path.join(self.arguments.source, "packaging/systemd")
        for name in UNITS:
            unit = Unit(os.path.join(units, name), self.path(name + ".log"))
            self.units[name] = unit
            unit.start()
        until(lambda: all(map(listens, (344, 10011, 10013, 10020, 10022))), "the services", 60)
        until(lambda: "filtering" in self.units[NETFILTER].output(), "the rules", 60)

    def stop(self):
        for unit in self.units.values():
            unit.stop()
        self.origin.stdin.close()
        self.origin.wait()

    def outputs(self):
        return "".join(f"--- {unit.name}\n{unit.output()[-4000:]}" for unit in self.units.values())


def _add_account(path, line):
    """Unless the packages made it."""
    with open(path, "r+", encoding="utf-8") as file:
        if not any(other.startswith(line.split(":")[0] + ":") for other in file):
            file.write(line + "\n")


def listens(port):
    with socket.socket() as one:
        one.settimeout(2)
        return one.connect_ex(("127.0.0.1", port)) == 0
