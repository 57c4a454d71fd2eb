"""A Debian with a kernel, a service manager and AppArmor of its own, emulated by QEMU.

Commands reach it over a shared directory: what stands there as `command` is run by a service of the machine, which leaves the
output and the exit status. The machine has no network but what a test makes inside it, and its disk is gone afterwards.
"""
import os
import shutil
import subprocess
import time

# What makes a machine of a root file system, and what the story needs there.
PACKAGES = ("apparmor", "ca-certificates", "curl", "dbus", "initramfs-tools", "iproute2", "libpam-systemd", "linux-image-amd64", "nftables",
            "openssl", "passwd", "procps", "systemd-sysv", "udev")
MEMORY = "2048"  # MiB
DISK = "4G"
START = 600  # seconds: everything is some twenty times slower than on a machine of iron
PATIENCE = 900

AGENT = """#!/bin/sh
modprobe 9pnet_virtio
mkdir -p /share
mount -t 9p -o trans=virtio,version=9p2000.L,msize=262144,cache=none share /share || exit 1
cat /proc/sys/kernel/random/boot_id >/share/ready.new
mv /share/ready.new /share/ready
while sleep 0.2; do
  [ -e /share/command ] || continue
  mv /share/command /run/command
  sh -e /run/command >/run/output 2>&1 </dev/null
  echo $? >/share/status.new
  cp /run/output /share/output
  mv /share/status.new /share/status
done
"""
UNIT = """[Unit]
Description=Runs what a test asks for
[Service]
ExecStart=/usr/local/sbin/agent
# Nothing that a command starts ends with it.
KillMode=process
Restart=always
[Install]
WantedBy=multi-user.target
"""


def add_agent(root):
    """Makes a root file system, once, one that takes commands."""
    def put(path, text, mode=0o644):
        path = root + path
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if os.path.lexists(path):
            os.unlink(path)
        with open(path, "w", encoding="ascii") as file:
            file.write(text)
        os.chmod(path, mode)

    put("/usr/local/sbin/agent", AGENT, 0o755)
    put("/etc/systemd/system/agent.service", UNIT)
    wants = root + "/etc/systemd/system/multi-user.target.wants"
    os.makedirs(wants, exist_ok=True)
    if not os.path.lexists(wants + "/agent.service"):
        os.symlink("../agent.service", wants + "/agent.service")
    put("/etc/hostname", "box\n")
    put("/etc/hosts", "127.0.0.1 localhost box\n::1 localhost\n")
    put("/etc/fstab", "/dev/vda / ext4 defaults 0 1\n")


class VirtualMachine:
    """Runs from `start` to `stop`. `share` is /share there."""

    def __init__(self, root, folder):
        self.root = root
        self.folder = folder
        self.share = os.path.join(folder, "share")
        self.disk = os.path.join(folder, "disk")
        self.console = os.path.join(folder, "console.log")
        self.process = None
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(self.share)

    def start(self):
        with open(self.disk, "wb") as file:
            file.truncate(int(DISK[:-1]) << 30)
        subprocess.run(["mke2fs", "-q", "-t", "ext4", "-d", self.root, self.disk], check=True)
        boot = os.path.join(self.root, "boot")
        kernel, initrd = (next(os.path.join(boot, name) for name in sorted(os.listdir(boot)) if name.startswith(start))
                          for start in ("vmlinuz-", "initrd.img-"))
        with open(self.console, "wb") as console:
            self.process = subprocess.Popen(
                ["qemu-system-x86_64", "-machine", "q35", "-accel", "tcg,thread=multi", "-cpu", "max", "-smp", "2", "-m", MEMORY,
                 "-display", "none", "-serial", "stdio", "-kernel", kernel, "-initrd", initrd,
                 "-append", "root=/dev/vda rw console=ttyS0 quiet security=apparmor",
                 "-drive", f"file={self.disk},if=virtio,format=raw,cache=unsafe", "-nic", "none",
                 "-virtfs", f"local,path={self.share},mount_tag=share,security_model=none"],
                stdin=subprocess.DEVNULL, stdout=console, stderr=subprocess.STDOUT)
        self._wait("ready", START)

    def run(self, script, status=0):
        """What the script, in which any failure is the last one, wrote to both outputs."""
        for name in ("status", "output"):
            self._forget(name)
        with open(os.path.join(self.share, "command.new"), "w", encoding="utf-8") as file:
            file.write(script)
        os.rename(os.path.join(self.share, "command.new"), os.path.join(self.share, "command"))
        ended = int(self._wait("status", PATIENCE))
        with open(os.path.join(self.share, "output"), encoding="utf-8", errors="replace") as file:
            output = file.read()
        if ended != status:
            raise AssertionError(f"{script}\n{output}\nended with {ended}, not {status}")
        return output

    def boot_again(self):
        before = self._wait("ready", 0)
        self._forget("ready")
        self.run("systemd-run --quiet --on-active=1 systemctl reboot")
        if self._wait("ready", START) == before:
            raise AssertionError("the machine did not go down")

    def stop(self):
        """Its power is cut."""
        if self.process:
            self.process.kill()
            self.process.wait()
        if os.path.exists(self.disk):
            os.unlink(self.disk)

    def _wait(self, name, seconds):
        end = time.monotonic() + seconds
        path = os.path.join(self.share, name)
        while not os.path.exists(path):
            if self.process.poll() is not None:
                raise AssertionError(f"the machine went down: {self.console}")
            if time.monotonic() > end:
                raise AssertionError(f"the machine did not say \"{name}\" within {seconds} s: {self.console}")
            time.sleep(0.1)
        with open(path, encoding="ascii") as file:
            return file.read()

    def _forget(self, name):
        path = os.path.join(self.share, name)
        if os.path.exists(path):
            os.unlink(path)
