#!/usr/bin/env python3
"""Does what docs/icap.md says, line by line, and looks whether a filtering Squid comes of it.

  documented_test.py            enters a copy of the machine: all its files under a layer that is thrown away, a network
                                and process numbers of its own; there root may do what the document says
  documented_test.py --inside   runs there

Only installing Sifterra itself is done otherwise: the build tree is installed and laid where its package would.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

BUILD = os.path.abspath(os.environ["SIFTERRA_BUILD"])
SOURCE = os.path.abspath(os.environ["SIFTERRA_SOURCE"])
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import certificates  # noqa: E402
from servers import Origin, multiarch, program  # noqa: E402

SCRIPT = r"""
set -e
mount -t tmpfs layer "$1"
mkdir "$1/upper" "$1/work" "$1/machine"
mount -t overlay copy -o "lowerdir=/,upperdir=$1/upper,workdir=$1/work" "$1/machine"
mount -t proc proc "$1/machine/proc"
mount --rbind /dev "$1/machine/dev"
mount -t tmpfs run "$1/machine/run"
mkdir -p "$1/machine/run/lock"
ip link set lo up
exec chroot "$1/machine" "$2" "$3" --inside
"""


def skip(why):
    print("skipped by name: " + why)
    sys.exit(77)


def enter():
    if os.geteuid() != 0:
        skip("a copy of the machine needs root")
    if not all(map(program, ("c-icap", "squid", "curl", "unshare", "ip"))):
        skip("c-icap, squid-openssl, curl or iproute2 is missing: packaging/apt-packages.txt")
    directory = tempfile.mkdtemp(prefix="sifterra-machine-")
    try:
        probe = f"mount -t tmpfs layer {directory} && mkdir {directory}/u {directory}/w {directory}/m && " \
                f"mount -t overlay copy -o lowerdir=/,upperdir={directory}/u,workdir={directory}/w {directory}/m"
        if subprocess.run(["unshare", "-mnpf", "sh", "-c", probe], stderr=subprocess.DEVNULL).returncode != 0:
            skip("the kernel lays no overlay over / here")
        done = subprocess.run(["unshare", "-mnpf", "--kill-child", "bash", "-c", SCRIPT, "bash", directory,
                               sys.executable, os.path.abspath(__file__)])
        sys.exit(done.returncode)
    finally:
        os.rmdir(directory)


def run(command, **options):
    # Into a file: a server in the background would keep a pipe open.
    with tempfile.TemporaryFile("w+", errors="replace") as output:
        done = subprocess.run(command, stdout=output, stderr=output, stdin=subprocess.DEVNULL, **options)
        output.seek(0)
        done.stdout = output.read()
    if done.returncode != 0:
        logs = [subprocess.run(["tail", "-30", log], stdout=subprocess.PIPE, text=True).stdout
                for log in ("/var/log/c-icap/server.log", "/var/log/squid/cache.log")]
        sys.exit(f"{command}\n{done.stdout}\n{''.join(logs)}\nfailed with {done.returncode}")
    return done.stdout


def install_sifterra():
    """What the package would lay below /usr and /etc."""
    for component in ("library", "resources", "tools", "services"):
        run(["cmake", "--install", BUILD, "--component", component], env={**os.environ, "DESTDIR": "/staged"})
    prefix = next(line.split("=", 1)[1].strip() for line in open(os.path.join(BUILD, "CMakeCache.txt"))
                  if line.startswith("CMAKE_INSTALL_PREFIX:PATH="))
    staged = "/staged" + prefix
    shutil.copytree(staged, prefix, dirs_exist_ok=True)  # where the library looks for its resources
    for name in ("bin", "share"):
        shutil.copytree(os.path.join(staged, name), "/usr/" + name, dirs_exist_ok=True)
    libraries = os.path.dirname(multiarch("c_icap"))
    for folder, _, files in os.walk(staged):
        for file in files:
            path = os.path.join(folder, file)
            if file.startswith("libsifterra.so"):
                shutil.copy(path, libraries, follow_symlinks=False)
            elif file == "srv_sifterra.so":
                shutil.copy(path, multiarch("c_icap"))
            elif file == "sifterra.conf" and "c-icap" in folder:
                text = open(path).read()
                with open("/etc/c-icap/sifterra.conf", "w") as configuration:
                    configuration.write(re.sub(r"(?m)^(Service sifterra) .*$", r"\1 srv_sifterra.so", text))
    run(["ldconfig"])


def follow_the_document():
    with open(os.path.join(SOURCE, "docs", "icap.md")) as file:
        section = file.read().partition("## From nothing to a filtering proxy")[2].partition("\n## ")[0]
    blocks = re.findall(r"```sh\n(.*?)```", section, re.S)
    if len(blocks) < 4:
        sys.exit("docs/icap.md: its steps are not found")
    with open("/usr/local/bin/sudo", "w") as file:
        file.write('#!/bin/sh\nexec "$@"\n')
    os.chmod("/usr/local/bin/sudo", 0o755)
    for number, block in enumerate(blocks):
        if number == 1:
            install_sifterra()
        print(run(["bash", "-euo", "pipefail", "-c", block]), flush=True)


def curl(url, *options, proxy=3128):
    # A moment of patience: the document starts servers that go into the background.
    done = subprocess.run(["curl", "-s", "--max-time", "20", "--retry", "20", "--retry-delay", "1", "--retry-connrefused",
                           "-w", "\n%{http_code}", "-x", f"http://127.0.0.1:{proxy}", *options, url],
                          stdout=subprocess.PIPE)
    body, _, status = done.stdout.rpartition(b"\n")
    return int(status), body


def expect(got, wanted, what):
    if got != wanted:
        sys.exit(f"{what}: {got[0]} {got[1][:300]}, not {wanted[0]}\n" +
                 run(["tail", "-20", "/var/log/squid/cache.log", "/var/log/squid/access.log", "/var/log/c-icap/server.log"]))
    print("as it should be:", what)


def inside():
    os.environ["PATH"] += ":/usr/local/bin:/usr/sbin:/sbin"
    follow_the_document()
    read = lambda name: open(os.path.join(SOURCE, "examples", name), "rb").read()
    allowed, refused = read("garden-diary.html"), read("adult-video-site.html")
    plain = Origin()
    for origin in (plain,):
        origin.serve("/good", allowed)
        origin.serve("/bad", refused)
    expect(curl(plain.address + "/good"), (200, allowed), "an allowed page arrives")
    status, body = curl(plain.address + "/bad")
    expect((status, b"pornstars" in body), (403, False), "a refused page does not")
    # Squid trusts the authorities of the machine, so the origin's becomes one of them.
    os.makedirs("/roots")
    roots, _ = certificates.authority("/roots", "roots")
    shutil.copy(roots, "/usr/local/share/ca-certificates/roots.crt")
    run(["update-ca-certificates"])
    secure = Origin(certificates.server("/roots", "origin", ["127.0.0.1"], roots), port=443)
    run(["service", "squid", "reload"])
    secure.serve("/good", allowed)
    secure.serve("/bad", refused)
    trusting = ["--cacert", "/etc/squid/sifterra-ca.crt"]
    expect(curl("https://127.0.0.1/good", *trusting, proxy=3129), (200, allowed), "an allowed secure page arrives")
    status, body = curl("https://127.0.0.1/bad", *trusting, proxy=3129)
    expect((status, b"pornstars" in body), (403, False), "a refused secure page does not")
    # The servers end with this process, the first of its network.
    print("1 passed, 0 failed")


if __name__ == "__main__":
    inside() if "--inside" in sys.argv else enter()
