"""The machine's own certificate authority, with which the proxy opens secure pages.

Its key never leaves the machine and only the proxy's account reads it. It can name servers and nothing else, cannot make
further authorities, and is not valid for this machine's own loopback, which never goes by the proxy.
"""
import os
import subprocess
import tempfile

from . import files, layout
from .layout import Fault

DAYS = 3653
HOOKS = "/etc/ca-certificates/update.d"
CONFIGURATION = """[req]
distinguished_name = name
x509_extensions = extensions
prompt = no
string_mask = utf8only
[name]
CN = {name}
O = Sifterra
[extensions]
basicConstraints = critical, CA:true, pathlen:0
keyUsage = critical, keyCertSign, cRLSign
extendedKeyUsage = serverAuth
subjectKeyIdentifier = hash
nameConstraints = critical, @constraints
[constraints]
excluded;DNS.1 = localhost
excluded;IP.1 = 127.0.0.0/255.0.0.0
excluded;IP.2 = ::1/FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF
"""


def exists(root):
    return os.path.exists(root(layout.CA)) and os.path.exists(root(layout.CA_KEY))


def make(root):
    """Makes the authority unless there is one. Answers whether it did."""
    owner = root.account(layout.PROXY_ACCOUNT)
    if exists(root):
        if owner is not None:  # who restored the file may have left it to another
            files.write(root(layout.CA_KEY), files.read(root(layout.CA_KEY)), 0o400, owner[:2])
        return False
    if owner is None:
        raise Fault(f"there is no account \"{layout.PROXY_ACCOUNT}\": install sifterra-machine")
    name = f"Sifterra on {_host(root)}"[:64].replace("\n", " ")
    with tempfile.TemporaryDirectory(prefix="sifterra-ca.") as folder:
        paths = {part: os.path.join(folder, part) for part in ("conf", "key", "cert")}
        with open(paths["conf"], "w", encoding="utf-8") as file:
            file.write(CONFIGURATION.format(name=name))
        openssl("req", "-x509", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-sha256",
                "-days", str(DAYS), "-config", paths["conf"], "-keyout", paths["key"], "-out", paths["cert"])
        key, certificate = files.read(paths["key"]), files.read(paths["cert"])
    # The key first: a certificate without a key would be taken for a whole authority by nobody.
    files.write(root(layout.CA_KEY), key, 0o400, owner[:2])
    files.write(root(layout.CA), certificate)
    return True


def system_store(root, present=True):
    """Puts the certificate where the system's programs look, or takes it away. A staged machine does the second half
    when it runs: its own update-ca-certificates belongs to it."""
    if present:
        changed = files.write(root(layout.SYSTEM_CA), files.read(root(layout.CA)))
    else:
        changed = files.remove(root(layout.SYSTEM_CA))
    if changed and not root.staged:
        run = subprocess.run(["update-ca-certificates", *([] if present else ["--fresh"])], capture_output=True,
                             text=True, check=False)
        if run.returncode != 0:
            raise Fault(f"update-ca-certificates: {run.stderr.strip()}")
        if not present:
            _tell_other_stores()
    return changed


def _tell_other_stores():
    """update-ca-certificates tells Java's store and its like what was added, but not what an administrator took away."""
    hooks = subprocess.run(["run-parts", "--test", HOOKS], capture_output=True, text=True, check=False).stdout.split()
    for hook in hooks:
        run = subprocess.run([hook], input="-/etc/ssl/certs/sifterra.pem\n", capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise Fault(f"{hook}: {run.stderr.strip()}")


def openssl(*arguments, data=None):
    try:
        run = subprocess.run(["openssl", *arguments], input=data, capture_output=True, check=False)
    except FileNotFoundError:
        raise Fault("openssl is missing: install openssl") from None
    if run.returncode != 0:
        raise Fault(f"openssl {arguments[0]}: {run.stderr.decode(errors='replace').strip()}")
    return run.stdout


def _host(root):
    name = files.read(root("/etc/hostname"))
    return name.decode(errors="replace").strip() if name and name.strip() else "this machine"
