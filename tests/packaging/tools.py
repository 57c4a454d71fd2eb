"""What the tests of the packages share: programs that may be missing, and where things lie below the build tree."""
import os
import shutil
import subprocess
import sys

SKIPPED = 77
PACKAGES = ("libsifterra1", "libsifterra-dev", "sifterra", "sifterra-icap", "sifterra-machine")


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIPPED)


def need(*programs):
    """Ends as skipped, by name, where a program is missing; installing it is packaging/apt-packages.txt's business."""
    path = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"
    os.environ["PATH"] = path
    for program in programs:
        if not shutil.which(program):
            skip(f"the program {program} is missing")


def need_root():
    if os.geteuid() != 0:
        skip("a machine of its own is made by root only")


def run(*command, status=0, **options):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != status:
        sys.exit(f"{' '.join(command)}\n{done.stdout}\nended with {done.returncode}, not {status}")
    return done.stdout


def packages(folder):
    """The files of the five packages in a directory, name -> path."""
    found = {name.split("_")[0]: os.path.join(folder, name) for name in os.listdir(folder) if name.endswith(".deb")}
    return {name: found[name] for name in PACKAGES}


def append(path, text):
    with open(path, "a", encoding="utf-8") as file:
        file.write(text)


def newer(files, version, changes):
    """The same packages as a later version. `changes`: package -> path -> what is added to the file."""
    made = {}
    os.makedirs("/tmp/newer", exist_ok=True)
    for name, path in files.items():
        folder, target = f"/tmp/newer/{name}", f"/tmp/newer/{name}.deb"
        run("dpkg-deb", "--raw-extract", path, folder)
        old = run("dpkg-deb", "--field", path, "Version").strip()
        with open(folder + "/DEBIAN/control", encoding="utf-8") as file:
            control = file.read()
        control = control.replace(f"Version: {old}\n", f"Version: {version}\n").replace(f"(= {old})", f"(= {version})")
        with open(folder + "/DEBIAN/control", "w", encoding="utf-8") as file:
            file.write(control)
        for changed, text in changes.get(name, {}).items():
            append(folder + changed, text)
        run("dpkg-deb", "-Zgzip", "-z1", "--build", folder, target)
        made[name] = target
    return made
