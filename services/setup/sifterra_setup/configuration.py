"""Everything that is made from machine.json, as text; nothing here looks at the machine but for what it is given."""
import json
import string

from . import layout
from .machine import OVERRIDE_PORT

# Where an approver types a password in the child's browser, which is not to remember it for the child.
OVERRIDE_ORIGIN = f"http://127.0.0.1:{OVERRIDE_PORT}"

# Where other accounts of the machine may run ICAP, proxies and relays that fetch pages for whoever asks: SOCKS, Squid, I2P,
# Privoxy, Polipo, Tor.
RELAYS = (1080, 1344, 3128, 4444, 8118, 8123, 8888, 9040, 9050, 9051, 9150)


def netfilter(machine, now):
    """netfilterd.json: who is managed at which ports. A pause that is over is not told any more."""
    users = []
    for user in machine.users:
        entry = user.as_json()
        if user.paused_until <= now:
            entry.pop("paused-until", None)
        users.append(entry)
    content = {
        "users": users,
        "proxy-user": layout.PROXY_ACCOUNT,
        "filter-https": machine.setting("filter-https"),
        "closed-local-ports": [*RELAYS, machine.setting("icap-port"), machine.setting("closed-port")],
        "guarded-local-ports": [OVERRIDE_PORT],
    }
    for key in ("tcp-ports", "udp-ports", "resolvers"):
        if machine.setting(key) is not None:
            content[key] = machine.setting(key)
    return json.dumps(content, indent=2) + "\n"


# A plain page comes from whoever the resolver says: its secure one shows a certificate.
SECURE_ONLY = """http_access deny plain
deny_info 307:https://%H%R plain"""


def squid(machine):
    ports, users, plain, secure = [], [], [], []
    for number, user in enumerate(machine.users):
        # Names of ports are ours, not the user's: what is in an account's name reaches no other place than the header.
        names = {kind: f"user{number}-{kind}" for kind in ("http4", "http6", "https4", "https6")}
        bump = (f"intercept ssl-bump tls-cert={layout.CA} tls-key={layout.CA_KEY} generate-host-certificates=on "
                "dynamic_cert_mem_cache_size=4MB")
        ports += [f"# {user.name}",
                  f"http_port 127.0.0.1:{user.http_port} intercept name={names['http4']}",
                  f"http_port [::1]:{user.http_port} intercept name={names['http6']}",
                  f"https_port 127.0.0.1:{user.https_port} {bump} name={names['https4']}",
                  f"https_port [::1]:{user.https_port} {bump} name={names['https6']}"]
        users += [f"acl user{number} myportname {' '.join(names.values())}",
                  f"adaptation_meta X-Client-Username \"{user.name}\" user{number}"]
        plain += [names["http4"], names["http6"]]
        secure += [names["https4"], names["https6"]]
    nobody = ["no-such-port"]
    resolvers = machine.setting("resolvers")
    return _filled("squid.conf", {
        "closed_port": machine.setting("closed-port"),
        "icap_port": machine.setting("icap-port"),
        "ports": "\n".join(ports) or "# Nobody is managed.",
        "users": "\n".join(users) or "# Nobody is managed.",
        "plain": " ".join(plain or nobody),
        "secure": " ".join(secure or nobody),
        "plain_pages": SECURE_ONLY if machine.setting("secure-only") else "http_access allow plain",
        "resolvers": f"dns_nameservers {' '.join(resolvers)}" if resolvers else "# Names: asked as /etc/resolv.conf says.",
        "verify_hosts": "on" if machine.setting("verify-hosts") else "off",
        "pass_sites": layout.PASS_SITES,
        "socket_sites": layout.SOCKET_SITES,
        "dns_hosts": layout.DNS_HOSTS,
        "certgen": layout.CERTGEN_PROGRAM,
        "database": layout.CERTGEN_DATABASE,
    })


ICAP_LOG = """LogFormat sifterra "%tl %im %is %Sl"
AccessLog /var/log/sifterra-icap/access.log sifterra"""


def icap(machine):
    return _filled("c-icap.conf", {
        "port": machine.setting("icap-port"),
        "modules": layout.ICAP_MODULES,
        "magic": layout.ICAP_MAGIC,
        "override": OVERRIDE_ORIGIN + "/webcontentfilter.override.local",
        "log_addresses": "on" if machine.setting("log-addresses") else "off",
        "access_log": ICAP_LOG if machine.setting("log-addresses") else "# What users read is not logged.\nAccessLog /dev/null",
    })


def chromium(certificate_base64, detours):
    """A file of its own among the machine's policies; every user's browser obeys it."""
    told = {"QuicAllowed": False, "DnsOverHttpsMode": "off", "EncryptedClientHelloEnabled": False} if detours else {}
    return json.dumps({**told, "CACertificates": [certificate_base64], "PasswordManagerBlocklist": [OVERRIDE_ORIGIN]}, indent=2) + "\n"


# What stands in lists of Firefox's, beside what others have there: the keys that lead to the list, and ours.
FIREFOX_LISTS = ((("Certificates", "Install"), layout.CA), (("PasswordManagerExceptions",), OVERRIDE_ORIGIN))
# With "browser-detours".
FIREFOX = {
    "DNSOverHTTPS": {"Enabled": False, "Locked": True},
    "DisableEncryptedClientHello": True,
    "Preferences": {"network.http.http3.enable": {"Value": False, "Status": "locked"}},
}


def _filled(name, values):
    with open(f"{layout.TEMPLATES}/{name}", encoding="ascii") as file:
        return string.Template(file.read()).substitute(values)
