#!/usr/bin/env python3
"""The layering test fails where it must: each row is a small tree with one wrong include."""
import os
import sys
import tempfile

import layering

MODULES = {"platform": [], "page": ["platform"], "text": ["page"], "lsm": []}
FOLDERS = {name: name for name in MODULES}
GOOD = {
    "include/sifterra/page/WFPage.h": '#include <string>\n#include "sifterra/platform/String.h"\n',
    "src/page/page.cpp": '#include "page/private.h"\n#include <libxml/tree.h>\n#include "sifterra/sifterra.h"\n',
    "src/text/text.cpp": '#include "sifterra/page/WFPage.h"\n',
    "tools/main.cpp": '#include "sifterra/page/WFPage.h"\n#include "lsm/training/Trainer.h"\n#include "own.h"\n',
}
ROWS = (
    ("src/platform/x.cpp", '#include "page/private.h"', "does not depend on"),
    ("src/text/x.cpp", '#include "sifterra/platform/String.h"', "does not depend on"),
    ("src/page/x.h", "#include <libxml/tree.h>", "belongs into"),
    ("src/text/x.cpp", "#include <unicode/uchar.h>", "belongs into"),
    ("src/page/x.cpp", "#include <Eigen/Core>", "belongs into"),
    ("src/page/x.cpp", "#include <curl/curl.h>", "no library this project uses"),
    ("src/page/x.cpp", '#include "private.h"', "not spelt from"),
    ("include/sifterra/page/x.h", '#include "page/private.h"', "no public header"),
    ("include/sifterra/page/x.h", "#include <libxml/tree.h>", "a public header shows"),
    ("tools/x.cpp", '#include "page/private.h"', "is private"),
)


def problems(tree, modules=None):
    with tempfile.TemporaryDirectory() as root:
        for path, text in tree.items():
            os.makedirs(os.path.join(root, os.path.dirname(path)), exist_ok=True)
            with open(os.path.join(root, path), "w") as source:
                source.write(text + "\n")
        return layering.Check(root, modules or MODULES, FOLDERS).run()


def main():
    failures = []
    if problems(GOOD):
        failures.append(f"the good tree: {problems(GOOD)}")
    for path, line, expected in ROWS:
        found = problems({**GOOD, path: line})
        if len([one for one in found if expected in one]) < 1:
            failures.append(f"{path}: {line}: expected '{expected}', found {found}")
    if not any("cycle" in one for one in problems(GOOD, {**MODULES, "platform": ["text"]})):
        failures.append("a cycle goes unseen")
    if not any("includes nothing" in one for one in problems(GOOD, {**MODULES, "text": ["page", "lsm"]})):
        failures.append("an unused dependency goes unseen")
    print("\n".join(failures) or "every wrong include is found")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
