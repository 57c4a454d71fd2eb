"""Accounts whose password opens closed pages, and that can do nothing else.

The password is typed in the child's session, where a program of the child's may read along. So it is nobody's login and nobody's
root: an account without a shell and without other groups, for this alone.
"""
import subprocess
import sys

from . import layout
from .layout import Fault

COMMENT = "Opens closed web pages"
NO_LOGIN = ("/usr/sbin/nologin", "/sbin/nologin", "/bin/false", "/usr/bin/false")


def add(root, name, password):
    """Lets an account open pages, and makes it where there is none. `password` None: a new account's is asked for at the
    terminal. Answers whether the account is new."""
    need_group(root)
    account = root.account(name)
    if account is None:
        if password is None and not sys.stdin.isatty():
            raise Fault(f"{name} is a new account, whose password is asked for at a terminal, or read with --password-stdin")
        _run("useradd", "--system", "--no-create-home", "--home-dir", "/nonexistent", "--shell", NO_LOGIN[0], "--comment", COMMENT,
             "--no-user-group", "--gid", "nogroup", "--groups", layout.APPROVERS, name)
    elif layout.APPROVERS not in account[2]:
        _run("gpasswd", "--add", name, layout.APPROVERS)
    if password is not None:
        _run("chpasswd", data=f"{name}:{password}\n")
    elif account is None and subprocess.run(["passwd", name], check=False).returncode != 0:
        _run("userdel", name)
        raise Fault(f"{name} has no password, so there is no such account now")
    return account is None


def remove(root, name):
    if name not in root.members(layout.APPROVERS):
        raise Fault(f"{name} opens no pages (who does: {', '.join(root.members(layout.APPROVERS)) or 'nobody'})")
    if root.comment(name) == COMMENT:
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
        run = subprocess.run(command, input=data, capture_output=True, text=True, check=False)
    except FileNotFoundError:
        raise Fault(f"{command[0]} is missing: install passwd") from None
    if run.returncode != 0:
        raise Fault(f"{command[0]}: {'; '.join(run.stderr.strip().splitlines()) or 'exit status ' + str(run.returncode)}")
