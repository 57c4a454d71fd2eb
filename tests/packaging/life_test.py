#!/usr/bin/env python3
"""A package's life on a fresh machine: installed, used, upgraded, removed, installed again, purged.

The machine is an overlay of the one that make_machine.py made, in a network of its own; everything happens inside.
"""
import argparse
import os
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

from tools import PACKAGES, append, need, need_root, newer, packages, run, skip

PREFERENCES = "/Library/Managed Preferences/ann/com.vendrel.hearthguard.contentfilter.plist"
NEWER = "0.1.0+next"
# What dpkg, the dynamic linker and the system's certificates keep about whatever happened, not about us.
BOOKS = ("/var/lib/dpkg/", "/var/cache/", "/var/log/", "/etc/ld.so.cache", "/tmp/", "/run/", "/proc/", "/sys/", "/dev/")
BACKUPS = {"/etc/passwd-", "/etc/group-", "/etc/shadow-", "/etc/gshadow-", "/etc/subuid-", "/etc/subgid-"}


def snapshot():
    """path -> what it is, for everything that is not some other program's bookkeeping."""
    found = {}
    for folder, names, files in os.walk("/"):
        for name in names + files:
            path = os.path.join(folder, name)
            status = os.lstat(path)
            if path.startswith(BOOKS) or path in BACKUPS:
                continue
            content = ""
            if stat.S_ISLNK(status.st_mode):
                content = os.readlink(path)
            elif stat.S_ISREG(status.st_mode) and path.startswith("/etc/"):
                content = read(path)
            found[path] = (status.st_mode, status.st_uid, status.st_gid, content)
        names[:] = [name for name in names if not (os.path.join(folder, name) + "/").startswith(BOOKS)]
    return found


def read(path):
    with open(path, "rb") as file:
        return file.read()


def dpkg(*command):
    return run("dpkg", "--force-confdef", "--force-confold", *command)


def installed(names=PACKAGES):
    lines = run("dpkg-query", "-W", "-f", "${Package} ${db:Status-Status} ${Version}\n").splitlines()
    return {fields[0]: fields[2] for fields in map(str.split, lines) if fields[0] in names and fields[1] == "installed"}


class Life(unittest.TestCase):
    """One story: each step starts from what the one before left."""

    def test_a_life(self):
        steps = (self.installing_works, self.units_are_sound, self.an_account_is_enrolled, self.an_upgrade_keeps_what_is_the_users,
                 self.removing_opens_the_web_and_keeps_the_policy, self.installing_again_brings_the_filter_back,
                 self.purging_leaves_nothing)
        self.before = snapshot()
        for step in steps:
            print(step.__name__.replace("_", " "), flush=True)
            step()

    def installing_works(self):
        dpkg("--install", *files.values())
        self.assertEqual(run("dpkg", "--audit"), "")
        self.assertEqual(sorted(installed()), sorted(PACKAGES))
        answer = run("sifterra", "check", "/tmp/adult-video-site.html", "/tmp/garden-diary.html", status=1)
        self.assertIn("2 pages: 1 restricted, 1 allowed, 0 errors", answer)
        self.assertIn("1 page: 0 restricted, 1 allowed, 0 errors", run("sifterra", "check", "/tmp/garden-diary.html"))
        # Nobody is managed yet, so nothing is touched.
        for path in ("/etc/sifterra", "/var/lib/sifterra", "/usr/local/share/ca-certificates/sifterra.crt"):
            self.assertFalse(os.path.exists(path), path)
        for name in ("sifterra.1", "sifterra-icap.8", "sifterra-setup.8", "sifterra-netfilterd.8", "sifterra-override.8"):
            self.assertTrue(os.path.exists(f"/usr/share/man/man{name[-1]}/{name}.gz"), name)

    def units_are_sound(self):
        folder = "/lib/systemd/system"
        units = [os.path.join(folder, name) for name in sorted(os.listdir(folder)) if name.startswith("sifterra")]
        self.assertGreaterEqual(len(units), 6, units)
        verified = subprocess.run(["systemd-analyze", "verify", "--man=no", *units], capture_output=True, text=True, check=False)
        self.assertEqual([line for line in verified.stderr.splitlines() if "sifterra" in line], [])
        owners = run("dpkg-query", "--search", *units)
        self.assertEqual(owners.count("sifterra-machine: "), len(units), owners)

    def an_account_is_enrolled(self):
        run("sifterra-setup", "enrol", "ann", "--allow-list-only")
        run("sifterra", "policy", "add", "ann", "sites", "http://library.example/")
        run("sifterra", "policy", "set", "ben", "--filter", "on")  # not managed here: another program may ask for ben
        self.assertIn(read("/etc/sifterra/ca.pem").strip(), read("/etc/ssl/certs/ca-certificates.crt"))
        append("/etc/sifterra/pass-sites.txt", "bank.example\n")
        append("/etc/pam.d/sifterra", "# changed by the administrator\n")
        append("/etc/c-icap/sifterra.conf", "# changed by the administrator\n")

    def an_upgrade_keeps_what_is_the_users(self):
        kept = {path: read(path) for path in (PREFERENCES, "/etc/sifterra/machine.json", "/etc/sifterra/pass-sites.txt",
                                              "/etc/sifterra/ca.pem", "/etc/sifterra/ca-key.pem", "/etc/pam.d/sifterra",
                                              "/etc/c-icap/sifterra.conf", "/etc/passwd", "/etc/group")}
        os.unlink("/etc/sifterra/squid.conf")  # stands for a form that the older version wrote
        changes = {"sifterra-machine": {"/etc/logrotate.d/sifterra": "# of the next version\n", "/etc/pam.d/sifterra": "# of the next version\n"}}
        dpkg("--install", *newer(files, NEWER, changes).values())
        self.assertEqual(set(installed().values()), {NEWER})
        self.assertEqual({path: read(path) for path in kept}, kept)
        self.assertIn(b"ann", read("/etc/sifterra/squid.conf"))
        self.assertIn(b"of the next version", read("/etc/logrotate.d/sifterra"))  # nobody had changed it

    def removing_opens_the_web_and_keeps_the_policy(self):
        run("nft", "add", "table", "inet", "sifterra")  # as when the daemon ran
        machine, policy, key = read("/etc/sifterra/machine.json"), read(PREFERENCES), read("/etc/sifterra/ca-key.pem")
        output = dpkg("--remove", *PACKAGES)
        self.assertIn("Nothing is filtered until sifterra-setup apply.", output)
        self.assertEqual(run("nft", "list", "tables"), "")
        self.assertEqual((read("/etc/sifterra/machine.json"), read(PREFERENCES), read("/etc/sifterra/ca-key.pem")),
                         (machine, policy, key))
        self.assertNotIn(read("/etc/sifterra/ca.pem").strip(), read("/etc/ssl/certs/ca-certificates.crt"))
        for path in ("/etc/chromium/policies/managed/sifterra.json", "/etc/firefox/policies/policies.json"):
            self.assertFalse(os.path.exists(path), path)

    def installing_again_brings_the_filter_back(self):
        dpkg("--install", *files.values())
        self.assertIn(read("/etc/sifterra/ca.pem").strip(), read("/etc/ssl/certs/ca-certificates.crt"))
        self.assertTrue(os.path.exists("/etc/chromium/policies/managed/sifterra.json"))
        self.assertIn("ann: filtered, allow list only", run("sifterra-setup", "show"))

    def purging_leaves_nothing(self):
        append("/var/lib/sifterra/netfilterd-state.json", "{}")
        os.makedirs("/var/log/sifterra-icap", exist_ok=True)
        # First what filters this machine: the policies of others than its managed users belong to the command.
        dpkg("--purge", "sifterra-machine")
        self.assertFalse(os.path.exists(PREFERENCES))
        self.assertTrue(os.path.exists(PREFERENCES.replace("/ann/", "/ben/")))
        dpkg("--purge", *(name for name in PACKAGES if name != "sifterra-machine"))
        self.assertEqual(run("dpkg-query", "-W", "-f", "${Package}\n").count("sifterra"), 0)
        after = snapshot()
        self.assertEqual({path: (self.before.get(path), after.get(path)) for path in self.before.keys() | after.keys()
                          if self.before.get(path) != after.get(path)}, {})
        for folder in ("/var/log/sifterra-icap", "/var/cache/sifterra", "/run/sifterra"):
            self.assertFalse(os.path.exists(folder), folder)


def enter(arguments):
    """This process's mounts are its own by now: they become the machine's."""
    folder = arguments.inside
    run("mount", "-t", "tmpfs", "tmpfs", folder)
    machine = folder + "/machine"
    for name in ("upper", "work", "machine"):
        os.mkdir(f"{folder}/{name}")
    run("mount", "-t", "overlay", "overlay", "-o", f"lowerdir={arguments.machine},upperdir={folder}/upper,workdir={folder}/work",
        machine)
    run("mount", "--rbind", "/dev", machine + "/dev")
    run("mount", "-t", "proc", "proc", machine + "/proc")
    for name in ("/tmp", "/run"):
        run("mount", "-t", "tmpfs", "tmpfs", machine + name)
    inside = {}
    for name, path in packages(arguments.packages).items():
        shutil.copy(path, machine + "/tmp")
        inside[name] = "/tmp/" + os.path.basename(path)
    for page in ("adult-video-site.html", "garden-diary.html"):
        shutil.copy(os.path.join(arguments.source, "examples", page), machine + "/tmp")
    os.chroot(machine)
    os.chdir("/")
    os.environ.update({"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive", "LC_ALL": "C.UTF-8",
                       "HOME": "/root"})
    for name in ("ann", "ben"):
        run("useradd", "--no-create-home", name)
    return inside


parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
for option in ("machine", "packages", "source"):
    parser.add_argument(f"--{option}", required=True)
parser.add_argument("--inside")
options = parser.parse_args()
if not options.inside:
    need_root()
    need("unshare", "dpkg-deb", "mmdebstrap", "dh", "dh_apparmor")
    with tempfile.TemporaryDirectory() as temporary:
        command = ["unshare", "--net", "--mount", "--pid", "--fork"]
        if subprocess.run([*command, "mount", "-t", "proc", "proc", "/proc"], capture_output=True, check=False).returncode != 0:
            skip("namespaces for a machine are not to be had")
        sys.exit(subprocess.run([*command, sys.executable, os.path.abspath(__file__), *sys.argv[1:], "--inside", temporary],
                                check=False).returncode)
import encodings.idna  # noqa: E402,F401  what is loaded now need not be found inside
files = enter(options)
unittest.main(argv=[sys.argv[0], "-v"])
