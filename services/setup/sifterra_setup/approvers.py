"""Accounts whose password opens closed pages, and that can do nothing else.

The password is typed in the child's session, where a program of the child's may read along. So it is nobody's login and nobody's
root: an account without a shell and without other groups, for this alone.
"""
import getpass
import os
import subprocess
import sys

from . import layout
from .layout import Fault

COMMENT = "Opens closed web pages"
ATTEMPTS = 3
NO_LOGIN = "/usr/sbin/nologin"


def add(root, name, password):
    """Lets an account open pages, and makes it where there is none. `password`, as bytes, is what it gets; where it is None, and the
    account is one that was made for this, it is asked for at the terminal. What goes wrong leaves no half of an account."""
    need_group(root)
    account = root.account(name)
    if password is None and (account is None or is_own(root, name)):
        if sys.stdin.isatty():
            password = _ask(name)
        elif account is None or not has_password(root, name):
            raise Fault(f"{name} is a new account, whose password is asked for at a terminal, or read with --password-stdin")
    if password is None and account is not None and not has_password(root, name):
        raise Fault(f"{name} has no password, and opens nothing without: passwd {name}")
    if account is None:
        _run("useradd", "--system", "--no-create-home", "--home-dir", "/nonexistent", "--shell", NO_LOGIN, "--comment", COMMENT,
             "--no-user-group", "--gid", "nogroup", "--groups", layout.APPROVERS, name)
    if password is not None:
        try:
            _run("chpasswd", data=name.encode() + b":" + password + b"\n")
        except BaseException:
            if account is None:
                _run("userdel", name)
            raise
    if account is not None and layout.APPROVERS not in account[2]:
        _run("gpasswd", "--add", name, layout.APPROVERS)


def _ask(name):
    """The password, twice the same; whoever cannot type it is no approver yet."""
    for _ in range(ATTEMPTS):
        try:
            first = getpass.getpass(f"New password of {name}: ")
            if not first:
                print("It is empty.", file=sys.stderr)
                continue
            if first == getpass.getpass("The same once more: "):
                return os.fsencode(first)
        except EOFError:
            print(file=sys.stderr)
            break
        print("They are not the same.", file=sys.stderr)
    raise Fault(f"no password, so nothing was changed about {name}")


def is_own(root, name):
    """Whether an account was made for this alone."""
    return root.comment(name) == COMMENT


def has_password(root, name):
    """As far as this machine's own files tell: a directory's accounts stand elsewhere."""
    secret = root.secret(name)
    return secret is None or not (secret == "" or secret.startswith(("!", "*")))


def remove(root, name):
    if name not in root.members(layout.APPROVERS):
        raise Fault(f"{name} opens no pages (who does: {', '.join(root.members(layout.APPROVERS)) or 'nobody'})")
    if is_own(root, name):
        _run("userdel", name)
    else:
        _run("gpasswd", "--delete", name, layout.APPROVERS)


def need_group(root):
    if root.staged:
        raise Fault("accounts are made on the running machine alone: leave --root out")
    if not root.has_group(layout.APPROVERS):
        raise Fault(f"there is no group \"{layout.APPROVERS}\": install sifterra-machine")


def powers(root, name):
    """Groups by which an approver can do more than open pages."""
    account = root.account(name)
    return sorted(account[2] & layout.ABLE - {layout.APPROVERS}) if account else []


def _run(*command, data=None):
    try:
        run = subprocess.run(command, input=data, capture_output=True, check=False)
    except FileNotFoundError:
        raise Fault(f"{command[0]} is missing: install passwd") from None
    if run.returncode != 0:
        said = "; ".join(run.stderr.decode(errors="replace").strip().splitlines())
        raise Fault(f"{command[0]}: {said or 'exit status ' + str(run.returncode)}")
