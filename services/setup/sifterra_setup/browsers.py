"""What the machine's browsers are told: the authority, that an approver's password is not for them to keep, and where "browser-detours" is set not to try QUIC, hidden hellos and
names over HTTPS. Their policies hold for all users of the machine, so there is no more in them than managed users cannot do
without: the packet filter and the proxy refuse those detours anyway, to managed users alone, and browsers then do without.

Chromium reads every file of a folder, so there is one of ours. Firefox reads one file that others write, too: ours is put into
it, and what stood there before is kept for the day it goes.
"""
import base64
import json
import os
import ssl

from . import configuration, files, layout
from .layout import Fault

MISSING = None


def wanted(root, detours):
    """path -> text of the files that are ours alone."""
    certificate = files.read(root(layout.CA))
    der = ssl.PEM_cert_to_DER_cert(certificate.decode("ascii"))
    text = configuration.chromium(base64.b64encode(der).decode("ascii"), detours)
    return {path: text for path in layout.CHROMIUM}


def check(root):
    """Before anything is changed: a Fault when the files of others cannot be read."""
    _firefox(root)
    _kept(root)


def put(root, detours):
    for path, text in wanted(root, detours).items():
        files.write(root(path), text)
    content = _firefox(root)
    before = _kept(root)
    policies = content.setdefault("policies", {})
    for key, value in configuration.FIREFOX.items():
        if not detours:
            # What was told once is taken back.
            if key in before:
                _give_back(policies, key, before.pop(key))
            continue
        if policies.get(key) != value and key not in before:
            before[key] = policies.get(key, MISSING)
        if key == "Preferences" and isinstance(policies.get(key), dict):
            value = {**policies[key], **value}
        policies[key] = value
    for keys, value in configuration.FIREFOX_LISTS:
        entries = _list(policies, keys, make=True)
        if value not in entries:
            entries.append(value)
    # What was there is safe before it is changed.
    if before:
        files.write(root(layout.KEPT), json.dumps(before, indent=2) + "\n")
    files.write(root(layout.FIREFOX), json.dumps(content, indent=2) + "\n")
    if not before:
        files.remove(root(layout.KEPT))


def _list(policies, keys, make=False):
    """The list that the keys lead to; an empty one that is nowhere, unless it is to be made."""
    place = policies
    for key in keys[:-1]:
        place = place.setdefault(key, {}) if make else place.get(key, {})
    return place.setdefault(keys[-1], []) if make else place.get(keys[-1], [])


def _drop(policies, keys, value):
    """Takes the value out of its list, and away what that leaves empty."""
    if value not in _list(policies, keys):
        return
    _list(policies, keys).remove(value)
    while keys:
        place = policies
        for key in keys[:-1]:
            place = place[key]
        if place[keys[-1]]:
            return
        del place[keys[-1]]
        keys = keys[:-1]


def _give_back(policies, key, value):
    if value is MISSING:
        policies.pop(key, None)
    else:
        policies[key] = value


def has_firefox(root, detours):
    """Whether Firefox is told everything."""
    policies = _firefox(root).get("policies", {})
    knows = all(value in _list(policies, keys) for keys, value in configuration.FIREFOX_LISTS)
    if not detours:
        return knows
    told = all(policies.get(key) == value for key, value in configuration.FIREFOX.items() if key != "Preferences")
    preferences = policies.get("Preferences", {})
    told = told and all(preferences.get(key) == value for key, value in configuration.FIREFOX["Preferences"].items())
    return told and knows


def take_away(root):
    for path in layout.CHROMIUM:
        files.remove(root(path))
        _remove_empty_folders(root, path)
    if files.read(root(layout.FIREFOX)) is None:
        files.remove(root(layout.KEPT))
        return
    content, before = _firefox(root), _kept(root)
    policies = content.get("policies", {})
    for key, value in configuration.FIREFOX.items():
        if before.get(key, MISSING) is not MISSING:
            policies[key] = before[key]
        elif policies.get(key) == value or key in before:
            policies.pop(key, None)
    for keys, value in configuration.FIREFOX_LISTS:
        _drop(policies, keys, value)
    if content == {"policies": {}}:
        files.remove(root(layout.FIREFOX))
        _remove_empty_folders(root, layout.FIREFOX)
    else:
        files.write(root(layout.FIREFOX), json.dumps(content, indent=2) + "\n")
    files.remove(root(layout.KEPT))


def _firefox(root):
    path = root(layout.FIREFOX)
    content = _object(path)
    policies = content.get("policies", {})
    sound = isinstance(policies, dict)
    for keys, _ in configuration.FIREFOX_LISTS:
        sound = sound and all(isinstance(policies.get(key, {}), dict) for key in keys[:-1]) and isinstance(_list(policies, keys), list)
    if not sound:
        raise Fault(f"{path}: expected the policies of Firefox: correct the file or take it away")
    return content


def _kept(root):
    return _object(root(layout.KEPT))


def _object(path):
    data = files.read(path)
    if data is None:
        return {}
    try:
        content = json.loads(data)
    except ValueError as error:
        raise Fault(f"{path}: not JSON: {error}") from None
    if not isinstance(content, dict):
        raise Fault(f"{path}: expected an object")
    return content


def _remove_empty_folders(root, path):
    """Up to /etc, the folders that nothing is in any more; but /etc/opt is the system's own."""
    folder = os.path.dirname(path)
    while folder.count("/") > 1 and folder != "/etc/opt":
        try:
            os.rmdir(root(folder))
        except OSError:
            return
        folder = os.path.dirname(folder)
