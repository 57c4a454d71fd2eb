"""Whether the services' accounts are there and can read what they live by, and nobody else can change it.

These are questions to the running machine: modes alone do not tell, since a folder above may be closed.
"""
import os
import stat

from . import layout, probes


def missing_accounts(root):
    """(what, problem) for every account and group that the packages make."""
    for name in (layout.PROXY_ACCOUNT, layout.ICAP_ACCOUNT):
        yield f"account {name}", "" if root.account(name) else "there is none"
    for name in (layout.APPROVERS, layout.CONTROLLERS):
        yield f"group {name}", "" if root.has_group(name) else "there is none"


def unread(root):
    """(account, paths that it cannot read): the proxy's and the ICAP server's. Policies and the map are asked for by other means."""
    proxys = [layout.SQUID, layout.MACHINE, layout.CA, layout.CA_KEY, *layout.SITE_LISTS, layout.DNS_HOSTS]
    for name, paths in ((layout.PROXY_ACCOUNT, proxys), (layout.ICAP_ACCOUNT, [layout.ICAP, layout.ICAP_MAGIC])):
        if root.account(name):
            yield name, probes.unreadable(name, [path for path in paths if os.path.exists(path)])


def changeable(paths):
    """Those of the files and folders, which only root may change, that others may: by their mode or as their owners."""
    found = []
    for path in paths:
        try:
            status = os.lstat(path)
        except FileNotFoundError:
            continue
        others = stat.S_IWOTH | (0 if status.st_gid == 0 else stat.S_IWGRP)
        if status.st_uid != 0 or not stat.S_ISLNK(status.st_mode) and status.st_mode & others:
            found.append(path)
    return found


def configuration_paths():
    """The folder of the configuration and all in it but the key, which is the proxy's."""
    names = os.listdir(layout.ETC) if os.path.isdir(layout.ETC) else []
    return [layout.ETC, *(path for path in (os.path.join(layout.ETC, name) for name in sorted(names)) if path != layout.CA_KEY)]


def policy_paths(name):
    """A user's policy and the folders above."""
    path = os.path.join(layout.PREFERENCES, name, layout.PREFERENCE_FILE)
    found = []
    while path != "/":
        found.insert(0, path)
        path = os.path.dirname(path)
    return found
