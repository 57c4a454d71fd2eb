#!/usr/bin/env python3
"""Compares every include with what the module of the file may use.

The modules and their neighbours come from CMake (modules.txt in the build tree, one line "name folder: dependency
..." each). Public headers see public headers and the standard library; tools see public headers and the trainer;
each library is included only inside its fence. With --graph, prints the modules as a diagram instead; with
--document FILE, the diagram in that file must be that one.
"""
import argparse
import fnmatch
import os
import re
import sys

from sources import files, finish

# Where a library's headers may be included. Tests, fuzz targets and benchmarks may include any.
FENCES = (
    (r"libxml/", ("src/page/*.cpp", "src/diagnostics/*.cpp")),
    (r"unicode/", ("src/platform/*.cpp",)),
    (r"plist/", ("src/platform/*.cpp",)),
    (r"boost/", ("src/platform/*.cpp",)),
    (r"nettle/", ("src/platform/*.cpp",)),
    (r"systemd/", ("src/platform/*.cpp", "services/*.cpp")),
    (r"spdlog/", ("src/platform/*.cpp", "src/platform/Log.h")),
    (r"flatbuffers", ("src/lsm/*",)),
    (r"xxhash", ("src/lsm/*", "src/platform/*.cpp")),
    (r"ares\.h", ("src/platform/*.cpp",)),
    (r"(Eigen|Spectra)/", ("src/lsm/*",)),
    (r"(CLI|nlohmann)/", ("tools/*", "services/*.cpp")),
    (r"mpi\.h", ("tools/mpi_train/*.cpp",)),
    (r"http_parser\.h", ("tools/*",)),
    (r"zlib\.h", ("tools/*", "services/icap/*")),
    (r"(c_icap/|brotli/|zstd\.h)", ("services/icap/*",)),
    (r"(nftables/|linux/netfilter/)", ("services/netfilterd/*.cpp",)),
    (r"(microhttpd\.h|security/)", ("services/override/*.cpp",)),
)
# What the C library and the compiler bring; C++ standard headers have no suffix and no slash.
SYSTEM = re.compile(r"(sys|arpa|netinet|linux|net)/\w+\.h|"
                    r"(assert|ctype|dirent|dlfcn|endian|errno|fcntl|float|grp|immintrin|inttypes|limits|locale|malloc|math|"
                    r"netdb|poll|pthread|pwd|sched|signal|spawn|stdarg|stdbool|stddef|stdint|stdio|stdlib|string|"
                    r"strings|syslog|time|unistd|wchar)\.h")
STANDARD = re.compile(r"\w+")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)


def read_modules(path):
    modules, folders = {}, {}
    with open(path) as lines:
        for line in lines:
            head, _, dependencies = line.partition(":")
            name, folder = head.split()
            modules[name] = dependencies.split()
            folders[folder] = name
    return modules, folders


def module_of(folder, folders):
    """The module that a folder below src/ or include/sifterra/ belongs to."""
    while folder:
        if folder in folders:
            return folders[folder]
        folder = os.path.dirname(folder)
    return None


def cycles(modules):
    done, path, found = set(), [], []

    def visit(name):
        if name in path:
            found.append("cycle: " + " -> ".join(path[path.index(name):] + [name]))
            return
        if name in done:
            return
        path.append(name)
        for dependency in modules.get(name, []):
            visit(dependency)
        path.pop()
        done.add(name)

    for name in modules:
        visit(name)
    return found


class Check:
    def __init__(self, root, modules, folders):
        self.root, self.modules, self.folders = root, modules, folders
        self.problems, self.used = [], {name: set() for name in modules}

    def fence(self, path, header):
        if path.startswith(("tests/", "fuzz/", "bench/")):
            return
        for pattern, allowed in FENCES:
            if re.match(pattern, header):
                if not any(fnmatch.fnmatch(path, one) for one in allowed):
                    self.problems.append(f"{path}: <{header}> belongs into {', '.join(allowed)}")
                return
        if not STANDARD.fullmatch(header) and not SYSTEM.fullmatch(header):
            self.problems.append(f"{path}: <{header}> is of no library this project uses (tests/house/layering.py)")

    def target(self, header):
        """The module of an included header, "" for the C header, None when it is not below src/ or include/."""
        if header == "sifterra/sifterra.h":
            return ""
        if header.startswith("sifterra/"):
            return module_of(os.path.dirname(header)[len("sifterra/"):], self.folders)
        return module_of(os.path.dirname(header), self.folders)

    def project(self, path, header):
        target = self.target(header)
        if path.startswith(("tests/", "fuzz/", "bench/")):
            return
        if path.startswith(("tools/", "services/")):
            private = target is not None and not header.startswith("sifterra/")
            if private and not (path.startswith("tools/") and header.startswith("lsm/training/")):
                self.problems.append(f'{path}: "{header}" is private to the library')
            return
        public = path.startswith("include/")
        folder = os.path.dirname(path)[len("include/sifterra/" if public else "src/"):]
        own = module_of(folder, self.folders)
        if public and not header.startswith("sifterra/"):
            self.problems.append(f'{path}: "{header}" is no public header')
        elif target is None:
            if not header.endswith("_generated.h"):
                self.problems.append(f'{path}: "{header}" is not spelt from include/ or src/')
        elif target not in ("", own):
            if own is None or target not in self.modules[own]:
                self.problems.append(f'{path}: "{header}" is of {target}, which {own} does not depend on')
            else:
                self.used[own].add(target)

    def run(self):
        for path in files(self.root, ("include", "src", "tools", "services", "tests", "fuzz", "bench")):
            with open(os.path.join(self.root, path), encoding="utf-8") as source:
                text = source.read()
            for quote, header in INCLUDE.findall(text):
                if quote == "<":
                    if path.startswith("include/") and not STANDARD.fullmatch(header) and \
                            header not in ("stddef.h", "stdint.h"):
                        self.problems.append(f"{path}: a public header shows <{header}>")
                    self.fence(path, header)
                else:
                    self.project(path, header)
        for name, dependencies in self.modules.items():
            for unused in sorted(set(dependencies) - self.used[name]):
                self.problems.append(f"{name} declares {unused} and includes nothing of it")
        self.problems += cycles(self.modules)
        return self.problems


def graph(modules):
    lines = ["```mermaid", "graph TD"]
    for name, dependencies in modules.items():
        lines += [f"  {name} --> {dependency}" for dependency in dependencies] or [f"  {name}"]
    return "\n".join(lines + ["```"])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--root", required=True)
    parser.add_argument("--modules", required=True)
    parser.add_argument("--graph", action="store_true")
    parser.add_argument("--document")
    arguments = parser.parse_args()
    modules, folders = read_modules(arguments.modules)
    if arguments.graph:
        print(graph(modules))
        return 0
    problems = Check(arguments.root, modules, folders).run()
    if arguments.document:
        with open(arguments.document, encoding="utf-8") as document:
            if graph(modules) not in document.read():
                problems.append(f"{arguments.document}: the module graph is not the one of CMake; it should be\n"
                                + graph(modules))
    return finish("layering", problems)


if __name__ == "__main__":
    sys.exit(main())
