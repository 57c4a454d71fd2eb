"""Brings the machine to what machine.json says, and back to where it knew nothing of the filter."""
import os
import re
import time

from . import approvers, authority, browsers, configuration, files, layout, machine as machines, services
from .layout import Fault

SITE = re.compile(r"\.?[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?(\.[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?)*")


def generated(machine, now=None):
    """(path, text) of the files that the services read, in the order in which they are written: when the packet filter
    turns a user to his ports the proxy knows them."""
    return [(layout.ICAP, configuration.icap(machine)),
            (layout.SQUID, configuration.squid(machine)),
            (layout.NETFILTER, configuration.netfilter(machine, time.time() if now is None else now))]


def check_sites(root, file):
    """The sites of a list. Squid would not start with one that it cannot read."""
    path = root(file)
    data = files.read(path)
    if data is None:
        return []
    sites = []
    for number, line in enumerate(data.decode("utf-8", "replace").splitlines(), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if not SITE.fullmatch(line):
            raise Fault(f"{path}:{number}: expected a host name, a dot in front for the hosts below, found {line}")
        sites.append(line)
    return sites


def apply(root, machine):
    """Writes machine.json and everything that is made from it, and lets the services know."""
    for path in layout.SITE_LISTS:
        check_sites(root, path)
    browsers.check(root)
    made = authority.make(root)
    machines.save(root, machine)
    for path in layout.SITE_LISTS:
        if files.read(root(path)) is None:
            files.write(root(path), files.read(os.path.join(layout.LISTS, os.path.basename(path))))
    authority.system_store(root)
    if machine.setting("browser-policies"):
        browsers.put(root, machine.setting("browser-detours"))
    else:
        browsers.take_away(root)
    changed = {path for path, text in generated(machine) if files.write(root(path), text)}
    if made:
        changed.add(layout.CA)
    if not root.staged:
        services.take_up(bool(machine.users), changed)


def suspend(root):
    """Nobody is filtered, and the machine works as if nobody ever was; what `apply` brings all of it back from stays."""
    return _problems_of(_ends(root))


def _ends(root):
    steps = [] if root.staged else [services.stop_all, services.remove_rules]
    return steps + [lambda: browsers.take_away(root), lambda: authority.system_store(root, False)]


def _problems_of(steps):
    """Does every step, whatever becomes of those before it."""
    problems = []
    for step in steps:
        try:
            step()
        except Fault as fault:
            problems.append(str(fault))
    return problems


def undo(root, keep_policies):
    """Everything goes that this program and its services put on the machine, what others wrote stays."""
    problems = []
    try:
        names = [user.name for user in machines.load(root).users]
    except Fault as fault:  # a broken file must not keep anybody from getting rid of it
        problems.append(f"{fault}; whose policies to take away is not known")
        names = []
    steps = _ends(root)
    if not root.staged:
        steps += [lambda name=name: approvers.remove(root, name) for name in root.members(layout.APPROVERS)]
    for path in (layout.NETFILTER, layout.SQUID, layout.ICAP, layout.CA_KEY, layout.CA, *layout.SITE_LISTS,
                 layout.STATE + "/netfilterd-state.json", layout.STATE + "/netfilterd-accounts.json",
                 layout.STATE + "/netfilterd.rules", layout.STATE + "/override-attempts.json", layout.KEPT):
        steps.append(lambda path=path: files.remove(root(path)))
    if not keep_policies:
        steps += [lambda name=name: remove_policy(root, name) for name in names]
    steps.append(lambda: files.remove(root(layout.MACHINE)))
    problems += _problems_of(steps)
    for folder in (layout.ETC, layout.PREFERENCES, os.path.dirname(layout.PREFERENCES)):
        try:
            os.rmdir(root(folder))
        except OSError:
            pass  # somebody else's files are in it
    return problems


def remove_policy(root, name):
    folder = os.path.join(root(layout.PREFERENCES), name)
    if not os.path.isdir(folder):
        return
    files.remove(os.path.join(folder, layout.PREFERENCE_FILE))
    files.remove(os.path.join(folder, f".{layout.PREFERENCE_FILE}.lock"))
    try:
        os.rmdir(folder)
    except OSError:
        pass
