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
