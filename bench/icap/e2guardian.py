"""Debian's e2guardian as an ICAP server, with its stock lists, in a directory of its own.

The package's configuration is copied; changed are the ports, the user, and where it writes. Every list and limit stays.
"""
import getpass
import os
import re
import shutil
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "proxy"))
from servers import Server, free_port, program  # noqa: E402

STOCK = "/etc/e2guardian"
MISSING = "e2guardian is not installed (apt-get install e2guardian; only this benchmark uses it)"


def available():
    return program("e2guardian") is not None and os.path.isdir(STOCK)


class E2Guardian(Server):
    def configure(self):
        copy = os.path.join(self.directory, "etc")
        shutil.rmtree(copy, ignore_errors=True)
        shutil.copytree(STOCK, copy, symlinks=False, ignore=shutil.ignore_patterns("private"))
        for folder, _, files in os.walk(copy):
            for name in files:
                path = os.path.join(folder, name)
                with open(path, encoding="latin-1") as file:
                    text = file.read()
                with open(path, "w", encoding="latin-1") as file:
                    file.write(text.replace(STOCK, copy))
        path = os.path.join(copy, "e2guardian.conf")
        with open(path, encoding="latin-1") as file:
            text = file.read()
        for key, value in {"filterip": "127.0.0.1", "filterports": str(free_port()), "icapport": str(self.port),
                           "transparenthttpsport": str(free_port()),
                           "loglocation": f"'{self.directory}/access.log'",
                           "pidfilename": f"'{self.directory}/e2guardian.pid'",
                           "daemonuser": f"'{getpass.getuser()}'", "daemongroup": f"'{getpass.getuser()}'",
                           "dstatlocation": f"'{self.directory}/dstats.log'",
                           "filecachedir": f"'{self.directory}'"}.items():
            line = f"{key} = {value}"
            text, replaced = re.subn(rf"^#?{key} *=.*$", line, text, count=1, flags=re.M)
            if not replaced:
                text += line + "\n"
        with open(path, "w", encoding="latin-1") as file:
            file.write(text)
        return [program("e2guardian"), "-N", "-c", path]
