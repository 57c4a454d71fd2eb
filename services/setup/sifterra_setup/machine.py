"""machine.json, the one file of truth: who is managed, at which ports, paused until when, and the settings."""
import dataclasses
import ipaddress
import json
import re

from . import files, layout
from .layout import Fault

# Names go into configurations of other programs, where a blank or a quote would end them; what stands behind an at sign the judge
# of pages may take for a domain.
NAME = re.compile(r"[A-Za-z0-9_][A-Za-z0-9_.-]{0,254}")

PORTS = "a list of ports without 80, 443 and 853, which are the filter's"
SETTINGS = {
    # key: (default, what is expected, whether a value is that)
    # Below 1024 only root and whom root lets may listen: nobody answers in the filter's place.
    "icap-port": (344, "a port from 1 to 1023", lambda value: is_port(value) and value < 1024),
    "closed-port": (10013, "a port from 1 to 65535", lambda value: is_port(value)),
    "first-port": (10020, "a port from 1 to 65000", lambda value: is_port(value) and value <= 65000),
    "filter-https": (True, "true or false", lambda value: isinstance(value, bool)),
    "verify-hosts": (True, "true or false", lambda value: isinstance(value, bool)),
    "secure-only": (False, "true or false", lambda value: isinstance(value, bool)),
    "resolvers": (None, "a list of at least one address", lambda value: is_addresses(value)),
    "log-addresses": (False, "true or false", lambda value: isinstance(value, bool)),
    "browser-policies": (True, "true or false", lambda value: isinstance(value, bool)),
    "browser-detours": (False, "true or false", lambda value: isinstance(value, bool)),
    "tcp-ports": (None, PORTS, lambda value: is_ports(value)),
    "udp-ports": (None, PORTS, lambda value: is_ports(value)),
}
OVERRIDE_PORT = 10011  # block pages know it


def is_port(value):
    return isinstance(value, int) and not isinstance(value, bool) and 1 <= value <= 65535


def is_ports(value):
    return isinstance(value, list) and all(is_port(port) and port not in (80, 443, 853) for port in value)


def is_addresses(value):
    try:
        return isinstance(value, list) and bool(value) and all(isinstance(one, str) and ipaddress.ip_address(one).compressed == one for one in value)
    except ValueError:
        return False


@dataclasses.dataclass
class User:
    name: str
    http_port: int
    https_port: int
    paused_until: int = 0  # seconds since 1970; past means not paused

    def as_json(self):
        entry = {"name": self.name, "http-port": self.http_port, "https-port": self.https_port}
        if self.paused_until:
            entry["paused-until"] = self.paused_until
        return entry


class Machine:
    def __init__(self, users=(), settings=None):
        self.users = list(users)
        self.given = dict(settings or {})  # as in the file, without defaults

    def setting(self, key):
        return self.given.get(key, SETTINGS[key][0])

    def user(self, name):
        return next((user for user in self.users if user.name == name), None)

    def need(self, name):
        user = self.user(name)
        if user is None:
            known = ", ".join(user.name for user in self.users) or "nobody"
            raise Fault(f"{name} is not managed (managed: {known})")
        return user

    def add(self, name):
        """The user's entry, a new one with the first pair of free ports when he has none."""
        if self.user(name) is None:
            taken = {port for user in self.users for port in (user.http_port, user.https_port)}
            taken |= {self.setting("icap-port"), self.setting("closed-port"), OVERRIDE_PORT}
            port = self.setting("first-port")
            while port in taken or port + 1 in taken:
                port += 2
            if port + 1 > 65535:
                raise Fault(f"no ports are free above settings.first-port {self.setting('first-port')}")
            self.users.append(User(name, port, port + 1))
        return self.user(name)

    def text(self):
        return json.dumps({"users": [user.as_json() for user in self.users], "settings": self.given}, indent=2) + "\n"


def load(root):
    """The machine as the file tells; nobody is managed when there is none. A mistake is a Fault with its key."""
    path = root(layout.MACHINE)
    data = files.read(path)
    if data is None:
        if files.read(root(layout.NETFILTER)) is not None:
            # Taken for a machine where nobody is managed it would be opened by the next change.
            raise Fault(f"{path}: it is missing, though accounts were managed: bring it back, or begin anew with "
                        "sifterra-setup remove --everything --keep-policies")
        return Machine()
    try:
        return _machine_of(json.loads(data))
    except ValueError as error:
        raise Fault(f"{path}: not JSON: {error}") from None
    except Fault as fault:
        raise Fault(f"{path}: {fault}") from None


def save(root, machine):
    return files.write(root(layout.MACHINE), machine.text())


def _machine_of(content):
    _only(content, "the file", {"users", "settings"})
    settings = content.get("settings", {})
    _only(settings, "settings", set(SETTINGS))
    for key, value in settings.items():
        _, expected, fits = SETTINGS[key]
        if not fits(value):
            raise Fault(f"settings.{key}: expected {expected}, found {json.dumps(value)}")
    machine = Machine(settings=settings)
    entries = content.get("users", [])
    if not isinstance(entries, list):
        raise Fault(f"users: expected a list, found {json.dumps(entries)}")
    taken = {OVERRIDE_PORT: "the override service"}
    for key in ("icap-port", "closed-port"):
        port = machine.setting(key)
        if port in taken:
            raise Fault(f"settings.{key}: port {port} is taken by {taken[port]}")
        taken[port] = f"settings.{key}"
    for index, entry in enumerate(entries):
        machine.users.append(_user_of(entry, f"users[{index}]", machine, taken))
    return machine


def _user_of(entry, place, machine, taken):
    _only(entry, place, {"name", "http-port", "https-port", "paused-until"})
    name = entry.get("name")
    if not isinstance(name, str) or not NAME.fullmatch(name):
        raise Fault(f"{place}.name: expected an account's name, found {json.dumps(name)}")
    if machine.user(name):
        raise Fault(f"{place}.name: \"{name}\" is listed twice")
    for key in ("http-port", "https-port"):
        port = entry.get(key)
        if not is_port(port):
            raise Fault(f"{place}.{key}: expected a port from 1 to 65535, found {json.dumps(port)}")
        if port in taken:
            raise Fault(f"{place}.{key}: port {port} is taken by {taken[port]}")
        taken[port] = f"{place}.{key}"
    until = entry.get("paused-until", 0)
    if not isinstance(until, int) or isinstance(until, bool) or until < 0:
        raise Fault(f"{place}.paused-until: expected seconds since 1970, found {json.dumps(until)}")
    return User(name, entry["http-port"], entry["https-port"], until)


def _only(value, place, keys):
    if not isinstance(value, dict):
        raise Fault(f"{place}: expected an object, found {json.dumps(value)}")
    for key in value:
        if key not in keys:
            raise Fault(f"{place}: no such key: {key}")
