"""Looks whether everything that filters is there and does its work, and tells for each fault what to do about it.

A check is a function that yields findings: what was looked at, what is wrong with it (nothing when it is well) and what to do. The
checks of a staged machine read its files alone.
"""
import os
import ssl
import stat
import time
from collections import namedtuple

from . import access, apply as applying, approvers, authority, browsers, files, layout, machine as machines, probes, services
from .layout import Fault
from .policy import Policy, mode

Finding = namedtuple("Finding", "subject problem remedy", defaults=("", ""))
APPLY = "sifterra-setup apply"
MONTH = 30 * 24 * 3600


def findings(root, policy):
    """All findings, in the order in which faults are best mended."""
    try:
        machine = machines.load(root)
    except Fault as fault:
        problem, _, remedy = _without(root(layout.MACHINE), fault).partition(": bring it back")
        yield Finding(layout.MACHINE, problem, "bring it back" + remedy if remedy else "correct the file, then " + APPLY)
        return
    live = [] if root.staged else [programs, service_accounts, classifier]
    if not machine.users and files.read(root(layout.NETFILTER)) is None:
        yield Finding("nobody is managed (sifterra-setup enrol NAME)")
        checks = live
    else:
        yield Finding(f"machine.json: {len(machine.users)} managed")
        checks = [accounts, who_approves, policies, generated, resolvers, certificate, browser_policies]
        if live:
            checks = [*live, *checks, block_pages, who_reads, who_changes, squid_reads_it, netfilter_reads_it, manager, sockets, rules]
    for check in checks:
        try:
            yield from check(root, machine, policy)
        except Fault as fault:
            yield Finding(check.__name__.replace("_", " "), str(fault), "mend that, then look again")


def _without(path, fault):
    """A fault's words without the path that is told beside them."""
    return str(fault).removeprefix(f"{path}: ")


def programs(_root, _machine, policy):
    module = layout.ICAP_MODULES + "/srv_sifterra.so"
    for path, package in ((layout.SQUID_PROGRAM, "squid-openssl"), (layout.CERTGEN_PROGRAM, "squid-openssl"),
                          (layout.ICAP_PROGRAM, "c-icap"), (module, "sifterra-icap"),
                          (layout.NETFILTER_PROGRAM, "sifterra-machine"), (layout.OVERRIDE_PROGRAM, "sifterra-machine")):
        yield Finding(path, _missing(path), f"apt install --reinstall {package}")
    # What an administrator took away from /etc stays away, unless one insists.
    for path, package in ((layout.ICAP_MAGIC, "c-icap"), (layout.PAM, "sifterra-machine")):
        yield Finding(path, _missing(path), f"apt install --reinstall -o Dpkg::Options::=--force-confmiss {package}")


def _missing(path):
    return "" if os.path.exists(path) else "it is missing"


def service_accounts(root, _machine, _policy):
    for subject, problem in access.missing_accounts(root):
        yield Finding(subject, problem, f"systemd-sysusers; {APPLY}; systemctl restart {services.ICAP} {services.PROXY}")


def _as_icap(root, policy):
    """The command as the account that judges pages runs it: what it cannot read nobody's page is judged by."""
    account = None if root.staged else root.account(layout.ICAP_ACCOUNT)
    return Policy(root, policy.program, account[0]) if account and os.geteuid() == 0 else policy


def classifier(root, _machine, policy):
    """The map is opened and judges a page."""
    page = b"<title>Bread</title><p>" + b"Flour, water, salt and time make bread in any kitchen. " * 20
    problem = _as_icap(root, policy).judges(page)
    yield Finding("the map judges pages", problem, "apt install --reinstall sifterra")


def block_pages(root, machine, policy):
    for user in machine.users[:1]:
        problem = _as_icap(root, policy).shows_block_pages(user.name)
        yield Finding("block pages are made", problem, "apt install --reinstall sifterra")


def accounts(root, machine, _policy):
    for user in machine.users:
        account = root.account(user.name)
        subject = f"{user.name}: account"
        if account is None:
            yield Finding(subject, "there is none of that name", f"sifterra-setup remove {user.name}")
            continue
        able = sorted(account[2] & layout.ABLE)
        yield Finding(subject, f"member of {', '.join(able)}, which can turn the filter off" if able else "",
                      "; ".join(f"deluser {user.name} {group}" for group in able))


def who_approves(root, machine, _policy):
    names = root.members(layout.APPROVERS)
    if not names:
        yield Finding("nobody can open closed pages (sifterra-setup approver NAME)")
    for name in names:
        more = approvers.powers(root, name)
        problem = f"member of {', '.join(more)} as well: a child's program that sees the password can do all of that" if more else ""
        if machine.user(name):
            problem = "is managed"
        remedy = f"sifterra-setup approver {name} --remove; sifterra-setup approver OTHER"
        if not problem and root.account(name) is None:
            problem, remedy = "there is no account of that name", f"gpasswd --delete {name} {layout.APPROVERS}"
        elif not problem and not approvers.has_password(root, name):
            problem, remedy = "has no password, and opens nothing without", f"passwd {name}"
        yield Finding(f"{name}: opens closed pages", problem, remedy)


def policies(root, machine, policy):
    for user in machine.users:
        shown, remedy = policy.show(user.name), f"sifterra policy set {user.name} --filter on --replace-broken"
        problem = "there is none" if shown.get("state") == "absent" else ""
        if shown.get("state") == "broken":
            problem = f"it cannot be read: {shown.get('problem')}"
        elif _as_icap(root, policy).show(user.name).get("state") == "broken":
            problem = f"{layout.ICAP_ACCOUNT} cannot read it"
            remedy = "chmod a+rX " + " ".join(f"'{path}'" for path in access.policy_paths(user.name))
        elif not problem and not mode(shown):
            problem = "it restricts nothing"
        yield Finding(f"{user.name}: policy ({mode(shown) or 'none'})", problem, remedy)


def generated(root, machine, _policy):
    now, ever = applying.generated(machine), applying.generated(machine, 0)
    for (path, text), (_, with_pauses) in zip(now, ever):
        data = files.read(root(path))
        problem = ""
        if data is None:
            problem = "it is missing"
        elif data.decode("utf-8", "replace") not in (text, with_pauses):
            problem = "it is not what machine.json makes"
        yield Finding(path, problem, APPLY)
    for path, what in ((layout.PASS_SITES, "passed sites"), (layout.SOCKET_SITES, "sites with WebSockets")):
        try:
            yield Finding(f"{path}: {what}: {len(applying.check_sites(root, path))}")
        except Fault as fault:
            yield Finding(path, _without(root(path), fault), "correct the line, then " + APPLY)


def certificate(root, machine, _policy):
    if not authority.exists(root):
        yield Finding(layout.CA, "there is no authority" if machine.users else "", APPLY)
        return
    again = f"rm {layout.CA} {layout.CA_KEY}; " + APPLY
    own = authority.openssl("x509", "-in", root(layout.CA), "-noout", "-pubkey")
    of_key = authority.openssl("pkey", "-in", root(layout.CA_KEY), "-pubout")
    yield Finding(f"{layout.CA_KEY}: belongs to the certificate", "" if own == of_key else "it does not", again)
    status = os.stat(root(layout.CA_KEY))
    proxy = root.account(layout.PROXY_ACCOUNT)
    closed = stat.S_IMODE(status.st_mode) == 0o400 and (proxy is None or status.st_uid == proxy[0])
    yield Finding(f"{layout.CA_KEY}: for the proxy alone", "" if closed else "others may read it, or the proxy may not",
                  APPLY)
    end = ssl.cert_time_to_seconds(
        authority.openssl("x509", "-in", root(layout.CA), "-noout", "-enddate").decode().strip().split("=", 1)[1])
    days = int((end - time.time()) // 86400)
    yield Finding(f"{layout.CA}: {days} days left", "" if end > time.time() + MONTH else "it expires soon", again)
    trusted = files.read(root(layout.SYSTEM_CA)) == files.read(root(layout.CA))
    if trusted and not root.staged:
        trusted = files.read(root(layout.CA)).strip() in (files.read(layout.SYSTEM_BUNDLE) or b"")
    yield Finding(f"{layout.SYSTEM_CA}: the system trusts it", "" if trusted else "it does not",
                  APPLY + "; update-ca-certificates")


def browser_policies(root, machine, _policy):
    if not machine.setting("browser-policies") or not authority.exists(root):
        return
    detours = machine.setting("browser-detours")
    for path, text in browsers.wanted(root, detours).items():
        same = files.read(root(path)) == text.encode()
        yield Finding(path, "" if same else "it is not what it should be", APPLY)
    yield Finding(layout.FIREFOX, "" if browsers.has_firefox(root, detours) else "it lacks what Firefox must know", APPLY)


def who_reads(root, machine, _policy):
    for name, paths in access.unread(root):
        folders = sorted({os.path.dirname(path) for path in paths})
        yield Finding(f"{name}: reads its files", f"it cannot read {', '.join(paths)}" if paths else "",
                      f"{APPLY}; chmod a+rX {' '.join(folders)}")


def who_changes(_root, machine, _policy):
    """A user who can write what he is judged by is not filtered."""
    subjects = [(layout.ETC, access.configuration_paths())]
    subjects += [(f"{user.name}: policy", access.policy_paths(user.name)) for user in machine.users]
    for subject, paths in subjects:
        open_ones = access.changeable(paths)
        quoted = " ".join(f"'{path}'" for path in open_ones)
        yield Finding(f"{subject}: for root alone to change", f"others can change {', '.join(open_ones)}" if open_ones else "",
                      f"chown root:root {quoted}; chmod go-w {quoted}")


def resolvers(root, machine, _policy):
    """Programs ask whom resolv.conf names, and the packet filter lets them ask whom the setting names, and this machine."""
    named = machine.setting("resolvers")
    if named is None:
        return
    lines = (files.read(root("/etc/resolv.conf")) or b"").decode("utf-8", "replace").split("\n")
    asked = [words[1] for words in map(str.split, lines) if len(words) > 1 and words[0] == "nameserver"]
    others = [address for address in asked if address not in named and not address.startswith("127.") and address != "::1"]
    yield Finding("the resolvers of /etc/resolv.conf", f"\"resolvers\" lacks {', '.join(others)}: managed users find no names there"
                  if others else "", f"name in /etc/resolv.conf what \"resolvers\" in {layout.MACHINE} names, or the other way round, then {APPLY}")


def squid_reads_it(_root, _machine, _policy):
    run = probes.run(layout.SQUID_PROGRAM, "-k", "parse", "-n", "sifterra", "-f", layout.SQUID)
    bad = [line for line in run.stderr.split("\n") if "FATAL" in line or "ERROR" in line or "Bungled" in line]
    yield Finding("the proxy reads its configuration", "" if run.returncode == 0 and not bad else " ".join(bad[:2]) or "it does not",
                  APPLY)


def netfilter_reads_it(root, machine, _policy):
    if any(root.account(user.name) is None for user in machine.users):
        return  # it says so as well, and holds on to the account's last number
    run = probes.run(layout.NETFILTER_PROGRAM, "--check")
    yield Finding("the packet filter reads its configuration", "" if run.returncode == 0 else run.stderr.strip(), APPLY)


def manager(_root, machine, _policy):
    if not services.manager_runs():
        yield Finding("services: no service manager runs here, so none was asked")
        return
    if not machine.users:
        return
    for unit in services.ALL:
        run = probes.run("systemctl", "is-active", unit)
        state = run.stdout.strip()
        yield Finding(unit, "" if state == "active" else f"it is {state}",
                      f"systemctl restart {unit}; journalctl -u {unit}")


def stranger(root, port, name):
    """What is wrong when somebody else waits at a port of ours: he would play the filter."""
    account = root.account(name)
    others = sorted(uid for uid in probes.listeners(port) if account is None or uid not in (account[0], 0))
    return f"a program of the user number {others[0]} listens there, in the place of {name}" if others else ""


def sockets(root, machine, _policy):
    if not machine.users:
        return
    icap = machine.setting("icap-port")
    yield Finding(f"the ICAP service answers at port {icap}",
                  stranger(root, icap, layout.ICAP_ACCOUNT) or probes.icap_problem(icap),
                  f"systemctl restart {services.ICAP}; journalctl -u {services.ICAP}")
    for user in machine.users:
        for port in (user.http_port, user.https_port):
            for host in probes.loopbacks():
                yield Finding(f"{user.name}: the proxy listens at {host} port {port}",
                              stranger(root, port, layout.PROXY_ACCOUNT) or probes.connect_problem(host, port),
                              f"systemctl restart {services.PROXY}; journalctl -u {services.PROXY}")
    yield Finding("the override service answers",
                  stranger(root, machines.OVERRIDE_PORT, "root") or probes.override_problem(machines.OVERRIDE_PORT),
                  "systemctl restart sifterra-override.socket sifterra-override.service")
    present = os.path.exists(layout.CONTROL_SOCKET)
    yield Finding(layout.CONTROL_SOCKET, "" if present else "it is missing",
                  f"systemctl restart sifterra-netfilterd.socket {services.NETFILTER}")


def rules(root, machine, _policy):
    """Whether each user is turned to his own ports, by what stands in the kernel and by trying."""
    remedy = f"systemctl restart {services.NETFILTER}; journalctl -u {services.NETFILTER}"
    table = probes.run("nft", "list", "table", "inet", "sifterra")
    if machine.users and table.returncode != 0:
        yield Finding("the rules of the packet filter", "there are none", remedy)
        return
    now = time.time()
    for user in machine.users:
        if root.account(user.name) is None:
            continue
        if user.paused_until > now:
            yield Finding(f"{user.name}: paused, not tried")
            continue
        ports = [user.http_port] + ([user.https_port] if machine.setting("filter-https") else [])
        missing = [str(port) for port in ports if f"redirect to :{port}\n" not in table.stdout]
        problem = f"nothing is turned to {', '.join(missing)}" if missing else probes.turned_problem(user.name)
        silent = f"systemctl restart {services.PROXY}; journalctl -u {services.PROXY}"
        yield Finding(f"{user.name}: the web goes by the proxy", problem, silent if problem == probes.SILENT else remedy)
