#!/usr/bin/env python3
"""Makes a fresh Debian machine below OUTPUT, with what the packages depend on, and a layer above it where they are installed.

OUTPUT/fresh is kept as long as nothing else is wanted of it: package sources are those of this machine, whose apt is configured to
reach them. OUTPUT/installed holds what installing the packages changed; overlays take it above the other.
"""
import argparse
import glob
import json
import os
import shutil
import subprocess

from tools import need, need_root, packages, run, skip

# What the tests do there, besides: they ask for pages.
MORE = ("curl",)


def codename():
    with open("/etc/os-release", encoding="utf-8") as file:
        return next(line.strip().split("=")[1] for line in file if line.startswith("VERSION_CODENAME="))


def sources(suite):
    """The files of apt's configuration that name this release or its updates; others may be of anybody's."""
    found = []
    for path in ["/etc/apt/sources.list", *glob.glob("/etc/apt/sources.list.d/*.list"),
                 *glob.glob("/etc/apt/sources.list.d/*.sources")]:
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                words = [word for line in file if not line.startswith("#") for word in line.split()]
            if {suite, f"{suite}-updates", f"{suite}-security"} & set(words):
                found.append(path)
    return found


def acquisition():
    """How this machine's apt reaches its sources, and which signatures it takes: as options for another's."""
    wanted = ("Acquire::http", "Acquire::https", "Acquire::Retries", "Acquire::Check-")
    lines = run("apt-config", "dump", "--no-empty", "Acquire").splitlines()
    return [f"--aptopt={line.rstrip(';')}" for line in lines if line.startswith(wanted)]


def dependencies(files):
    """The first of each alternative, of all packages that are not ours."""
    names = set()
    for path in files.values():
        for field in ("Depends", "Pre-Depends"):
            for one in run("dpkg-deb", "-f", path, field).replace("\n", " ").split(","):
                name = one.split("|")[0].split("(")[0].split(":")[0].strip()
                if name and name not in files:
                    names.add(name)
    return sorted(names)


def make_fresh(folder, suite, wanted):
    mark, new = folder + ".json", folder + ".new"
    if os.path.isdir(folder) and os.path.exists(mark):
        with open(mark, encoding="utf-8") as file:
            if json.load(file) == wanted:
                return "kept"
    for path in (folder, new):
        shutil.rmtree(path, ignore_errors=True)
    # Its content must not survive a power loss, and it is never asked for manuals.
    run("mmdebstrap", "--mode=root", "--variant=minbase", "--format=directory", "--dpkgopt=force-unsafe-io",
        "--dpkgopt=path-exclude=/usr/share/doc/*", "--dpkgopt=path-exclude=/usr/share/man/*",
        "--dpkgopt=path-exclude=/usr/share/locale/*", *acquisition(), f"--include={','.join(wanted)}", suite, new, *sources(suite))
    # Of our own packages everything is looked at.
    for path in glob.glob(new + "/etc/*/*.d/*mmdebstrap"):
        os.unlink(path)
    os.rename(new, folder)
    with open(mark, "w", encoding="utf-8") as file:
        json.dump(wanted, file)
    return "made"


def install(folder, layer, files):
    """In a mount namespace, so that nothing stays mounted whatever happens."""
    for name in (layer, layer + ".work"):
        shutil.rmtree(name, ignore_errors=True)
        os.mkdir(name)
    script = """
machine=$1; shift
mkdir -p "$machine"
mount -t overlay overlay -o "lowerdir=$FRESH,upperdir=$LAYER,workdir=$LAYER.work" "$machine"
mount -t tmpfs tmpfs "$machine/tmp"
mount --rbind /dev "$machine/dev"
mount -t proc proc "$machine/proc"
cp -- "$@" "$machine/tmp"
chroot "$machine" sh -ec 'export DEBIAN_FRONTEND=noninteractive; dpkg --install /tmp/*.deb'
"""
    output = run("unshare", "--net", "--mount", "--pid", "--fork", "sh", "-ec", script, "sh", layer + ".machine", *files.values(),
                 env={"PATH": os.environ["PATH"], "FRESH": folder, "LAYER": layer, "LC_ALL": "C.UTF-8"})
    os.rmdir(layer + ".machine")
    shutil.rmtree(layer + ".work")
    return output


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("packages", "output"):
        parser.add_argument(f"--{name}", required=True)
    arguments = parser.parse_args()
    need_root()
    need("mmdebstrap", "unshare", "dpkg-deb", "dh", "dh_apparmor")
    os.makedirs(arguments.output, exist_ok=True)
    probe = subprocess.run(["unshare", "--net", "--mount", "--pid", "--fork", "true"], capture_output=True, check=False)
    if probe.returncode != 0:
        skip(f"namespaces for a machine are not to be had: {probe.stderr.decode().strip()}")
    files = packages(arguments.packages)
    fresh = os.path.join(arguments.output, "fresh")
    print(make_fresh(fresh, codename(), sorted({*dependencies(files), *MORE})))
    print(install(fresh, os.path.join(arguments.output, "installed"), files))


if __name__ == "__main__":
    main()
