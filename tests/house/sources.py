"""The files of the project that the house tests read."""
import os

FOLDERS = ("include", "src", "tools", "services", "tests", "fuzz", "bench", "cmake", "packaging")
# Inputs of tests, which may hold any bytes.
DATA = {"data", "seeds", "__pycache__"}
CODE = (".h", ".c", ".cpp")
TEXT = CODE + (".py", ".sh", ".cmake", ".in", ".map", ".fbs", ".txt")


def files(root, folders=FOLDERS, suffixes=CODE):
    """Paths relative to root, sorted, of the files with one of the suffixes."""
    found = []
    for folder in folders:
        for directory, names, entries in os.walk(os.path.join(root, folder)):
            names[:] = [name for name in names if name not in DATA]
            for entry in entries:
                if entry.endswith(suffixes):
                    found.append(os.path.relpath(os.path.join(directory, entry), root))
    return sorted(found)


def finish(title, problems):
    """Prints the problems, if any, and gives the exit status."""
    for problem in problems:
        print(problem)
    print(f"{title}: {len(problems)} problem{'' if len(problems) == 1 else 's'}")
    return 1 if problems else 0
