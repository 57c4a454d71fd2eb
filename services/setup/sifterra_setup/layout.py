"""Where things lie on the machine. A staged machine has all of it below one directory; what is written into files are
always the paths without it, as the finished machine sees them."""
import os
import sysconfig

ETC = "/etc/sifterra"
MACHINE = ETC + "/machine.json"
NETFILTER = ETC + "/netfilterd.json"
SQUID = ETC + "/squid.conf"
ICAP = ETC + "/c-icap.conf"
PASS_SITES = ETC + "/pass-sites.txt"
SOCKET_SITES = ETC + "/websocket-sites.txt"
SITE_LISTS = (PASS_SITES, SOCKET_SITES)
CA = ETC + "/ca.pem"
CA_KEY = ETC + "/ca-key.pem"
STATE = "/var/lib/sifterra"
LOCK = STATE + "/setup.lock"
KEPT = STATE + "/kept-policies.json"
SYSTEM_CA = "/usr/local/share/ca-certificates/sifterra.crt"
SYSTEM_BUNDLE = "/etc/ssl/certs/ca-certificates.crt"
CHROMIUM = ("/etc/chromium/policies/managed/sifterra.json", "/etc/opt/chrome/policies/managed/sifterra.json")
FIREFOX = "/etc/firefox/policies/policies.json"
PREFERENCES = "/Library/Managed Preferences"
PREFERENCE_FILE = "com.vendrel.hearthguard.contentfilter.plist"

PROXY_ACCOUNT = "sifterra-proxy"
ICAP_ACCOUNT = "sifterra-icap"
APPROVERS = "sifterra-approvers"
CONTROLLERS = "sifterra"
SQUID_PROGRAM = "/usr/sbin/squid"
CERTGEN_PROGRAM = "/usr/lib/squid/security_file_certgen"
ICAP_PROGRAM = "/usr/bin/c-icap"
NETFILTER_PROGRAM = "/usr/sbin/sifterra-netfilterd"
OVERRIDE_PROGRAM = "/usr/sbin/sifterra-override"
CONTROL_SOCKET = "/run/sifterra/com.vendrel.nke.webcontentfilter"
CERTGEN_DATABASE = "/run/sifterra-proxy/certificates"
ICAP_MODULES = f"/usr/lib/{sysconfig.get_config_var('MULTIARCH')}/c_icap"
PAM = "/etc/pam.d/sifterra"
ICAP_MAGIC = "/etc/c-icap/c-icap.magic"

# Groups whose members can become root (containers and machines of their own choice, the disk below all files, what root runs, the
# keys that others press), or open pages to themselves.
ABLE = frozenset({
    "root", "sudo", "wheel", "admin", "sifterra", APPROVERS, "docker", "incus", "incus-admin", "lxd", "libvirt", "libvirt-qemu",
    "kvm", "vboxusers", "disk", "kmem", "shadow", "staff", "input", "tty"})

_own = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
TEMPLATES = os.path.join(_own, "templates")
LISTS = os.path.join(_own, "lists")
DNS_HOSTS = os.path.join(LISTS, "dns-over-https-hosts.txt")


class Fault(Exception):
    """A mistake that the caller can mend: said in one line, exit status 2."""


class Root:
    """The machine, or a staged one below a directory."""

    def __init__(self, directory="/"):
        if not os.path.isdir(directory):
            raise Fault(f"--root: expected a directory, found {directory}")
        self.directory = os.path.realpath(directory)
        self.staged = self.directory != "/"

    def __call__(self, path):
        return self.directory + path if self.staged else path

    def account(self, name):
        """(uid, gid, names of the groups) of an account of this machine, or None."""
        uid = gid = None
        for fields in self._table("/etc/passwd"):
            if len(fields) > 3 and fields[0] == name:
                uid, gid = int(fields[2]), int(fields[3])
        if uid is None and not self.staged:
            uid, gid = _from_name_service(name)
        if uid is None:
            return None
        return uid, gid, self._groups(name, gid)

    def members(self, group):
        """Names of a group's members, as far as files tell: directories are not asked for all that they know."""
        return [member for fields in self._table("/etc/group") if len(fields) > 3 and fields[0] == group
                for member in fields[3].split(",") if member]

    def has_group(self, group):
        return any(fields[0] == group for fields in self._table("/etc/group"))

    def comment(self, name):
        """What an account of this machine's own files is said to be."""
        return next((fields[4] for fields in self._table("/etc/passwd") if len(fields) > 4 and fields[0] == name), None)

    def secret(self, name):
        """What stands for an account's password in this machine's own files; None where the account is not in them."""
        return next((fields[1] for fields in self._table("/etc/shadow") if len(fields) > 1 and fields[0] == name), None)

    def _groups(self, name, gid):
        groups = {fields[0] for fields in self._table("/etc/group")
                  if len(fields) > 3 and (fields[2] == str(gid) or name in fields[3].split(","))}
        return groups if self.staged else groups | _groups_by_name_service(name, gid)

    def _table(self, path):
        try:
            with open(self(path), encoding="utf-8", errors="replace") as file:
                return [line.rstrip("\n").split(":") for line in file]
        except FileNotFoundError:
            return []


def _groups_by_name_service(name, gid):
    """What a login would get: directories add groups that stand in no file."""
    import grp
    groups = set()
    for number in os.getgrouplist(name, gid):
        try:
            groups.add(grp.getgrgid(number).gr_name)
        except KeyError:
            pass  # a number without a name is none of those that matter
    return groups


def _from_name_service(name):
    """Accounts that come from a directory and stand in no file."""
    import pwd
    try:
        entry = pwd.getpwnam(name)
    except KeyError:
        return None, None
    return entry.pw_uid, entry.pw_gid
