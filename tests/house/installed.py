#!/usr/bin/env python3
"""Installs the build tree, and builds and runs an outside program against what was installed.

Twice: below the tree's own prefix, and staged with DESTDIR, where the library must find its resources below the
root that the program names. Both with find_package and with a pkg-config line, from C and from C++.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys

PAGE = "<html><head><title>Bread</title></head><body><p>" + "Bread is made of flour, water and salt. " * 20 + "</p></body></html>"


def run(command, **options):
    done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(command)}\n{done.stdout}\nfailed with {done.returncode}")
    return done.stdout


def expect(text, wanted, what):
    if text != wanted:
        sys.exit(f"{what}: expected {wanted!r}, got {text!r}")


class Installed:
    """One installation: where its files lie, and the programs built against them."""

    def __init__(self, arguments, root):
        self.arguments, self.root = arguments, root
        self.prefix = root + arguments.prefix
        self.library = os.path.join(self.prefix, arguments.libdir)
        self.work = os.path.join(arguments.build, "consumer-stage" if root else "consumer-prefix")
        self.page = os.path.join(self.work, "page.html")
        # A staged package names the final paths; pkg-config and the loader are told where they lie for now.
        self.environment = {**os.environ, "LD_LIBRARY_PATH": self.library,
                            "PKG_CONFIG_PATH": os.path.join(self.library, "pkgconfig")}
        if root:
            self.environment["PKG_CONFIG_SYSROOT_DIR"] = root

    def install(self):
        shutil.rmtree(self.root or self.prefix, ignore_errors=True)
        shutil.rmtree(self.work, ignore_errors=True)
        os.makedirs(self.work)
        run(["cmake", "--install", self.arguments.build], env={**os.environ, "DESTDIR": self.root})
        with open(self.page, "w") as page:
            page.write(PAGE)

    def build_with_cmake(self):
        tree = os.path.join(self.work, "cmake")
        run(["cmake", "-S", self.arguments.consumer, "-B", tree, "-G", "Ninja",
             f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_C_COMPILER={self.arguments.cc}",
             f"-DCMAKE_CXX_COMPILER={self.arguments.cxx}"])
        run(["cmake", "--build", tree])
        return os.path.join(tree, "judge_page_c"), os.path.join(tree, "judge_page_cxx")

    def build_with_pkg_config(self):
        flags = run(["pkg-config", "--cflags", "--libs", "sifterra"], env=self.environment).split()
        programs = []
        for compiler, standard, source in ((self.arguments.cc, "c11", "judge_page.c"),
                                           (self.arguments.cxx, "c++20", "judge_page.cpp")):
            program = os.path.join(self.work, source + ".out")
            run([compiler, f"-std={standard}", os.path.join(self.arguments.consumer, source), "-o", program, *flags])
            programs.append(program)
        return programs

    def check_readme(self):
        """The program in the README does what the README says."""
        with open(self.arguments.readme) as readme:
            source = re.search(r"```c\n(.*?)```", readme.read(), re.S).group(1)
        path, program = os.path.join(self.work, "bread.c"), os.path.join(self.work, "bread")
        with open(path, "w") as file:
            file.write(source)
        flags = run(["pkg-config", "--cflags", "--libs", "sifterra"], env=self.environment).split()
        run([self.arguments.cc, path, "-o", program, "-Wall", "-Wextra", "-Werror", *flags])
        answer = run([program], env=self.environment)
        if not answer.startswith("Bread: allowed ("):
            sys.exit(f"the README's program says {answer!r}")

    def check(self):
        for c_program, cxx_program in (self.build_with_cmake(), self.build_with_pkg_config()):
            root = ["-r", self.root] if self.root else []
            answer = run([c_program, *root, self.page], env=self.environment)
            expect(answer.split("\t")[:2], ["allowed", "Bread"], c_program)
            answer = run([cxx_program, *root, self.page], env=self.environment)
            expect(answer, "allowed\tBread\n", cxx_program)
        command = os.path.join(self.prefix, "bin", "sifterra")
        root = ["--root", self.root] if self.root else []
        answer = run([command, "check", *root, "--json", self.page], env=self.environment)
        if '"restricted":false' not in answer.replace(" ", ""):
            sys.exit(f"the installed command says {answer!r}")
        for path in self.arguments.expect:
            if not os.path.exists(os.path.join(self.prefix, path)):
                sys.exit(f"{path} is not installed")

    def without_resources(self, root_option):
        """Neither the build tree nor any other place may stand in for missing resources."""
        resources = os.path.join(self.prefix, "share", "sifterra")
        os.rename(resources, resources + ".away")
        try:
            program = os.path.join(self.work, "judge_page.c.out")
            done = subprocess.run([program, *root_option, self.page], env=self.environment, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            expect((done.returncode, done.stdout.split("\t")[-1]), (4, "no judge\n"), "without resources")
        finally:
            os.rename(resources + ".away", resources)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for name in ("build", "prefix", "libdir", "consumer", "readme", "cc", "cxx"):
        parser.add_argument(f"--{name}", required=True)
    parser.add_argument("--expect", nargs="*", default=[])
    arguments = parser.parse_args()
    real = Installed(arguments, "")
    real.install()
    real.check()
    real.check_readme()
    real.without_resources([])
    # Without the real prefix the staged files are the only ones.
    shutil.rmtree(arguments.prefix)
    staged = Installed(arguments, os.path.join(arguments.build, "stage"))
    staged.install()
    staged.check()
    staged.without_resources(["-r", staged.root])
    print("installed, staged, built against and run")
    return 0


if __name__ == "__main__":
    sys.exit(main())
