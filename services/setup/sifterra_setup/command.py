"""The command line of sifterra-setup."""
import argparse
import json
import os
import sys
import time

from . import apply as applying, approvers, doctor as doctors, files, layout, machine as machines, probes, times
from .layout import Fault, Root
from .policy import Policy, mode

ERROR = 2
PATIENCE = 20  # seconds


def main(arguments):
    options, unknown = parser().parse_known_args(arguments)
    if unknown:
        options.parser.error(f"unrecognized arguments: {' '.join(unknown)}")
    try:
        if os.geteuid() != 0 and options.root == "/" and options.command not in ("show", "wait"):
            raise Fault(f"only root can do that: sudo sifterra-setup {options.command} ...")
        root = Root(options.root)
        return options.run(root, options) or 0
    except Fault as fault:
        print(f"sifterra-setup: {fault}", file=sys.stderr)
        return ERROR
    except KeyboardInterrupt:
        print("\nsifterra-setup: interrupted", file=sys.stderr)
        return ERROR


def account_name(options):
    if not machines.NAME.fullmatch(options.name):
        raise Fault(f"expected an account's name of letters, digits, and . _ -, found {options.name or 'nothing'}")
    return options.name


def enrol(root, options):
    name = account_name(options)
    account = root.account(name)
    if account is None:
        raise Fault(f"there is no account \"{name}\": make it first (adduser {name})")
    uid, _, groups = account
    if uid == 0:
        raise Fault("root cannot be managed")
    if name in (layout.PROXY_ACCOUNT, layout.ICAP_ACCOUNT):
        raise Fault(f"{name} runs the filter and cannot be managed")
    if layout.APPROVERS in groups:
        raise Fault(f"{name} opens closed pages and cannot be managed: sifterra-setup approver {name} --remove")
    policy = Policy(root, options.sifterra)
    with files.only_one(root(layout.LOCK)):
        machine = machines.load(root)
        machine.add(name)
        if options.allow_list_only or options.filter or not mode(policy.show(name)):
            policy.set(name, options.allow_list_only)
        applying.apply(root, machine)
    for group in sorted(groups & layout.ABLE):
        print(f"sifterra-setup: {name} is in the group {group} and can turn the filter off: deluser {name} {group}",
              file=sys.stderr)
    print(f"{name} is filtered ({mode(policy.show(name))}).")
    if not root.members(layout.APPROVERS):
        print("Nobody can open closed pages yet: sifterra-setup approver NAME makes an account for that alone.")


def approver(root, options):
    name = account_name(options)
    if options.remove:
        approvers.need_group(root)
        approvers.remove(root, name)
        print(f"{name} opens no pages any more.")
        return
    if machines.load(root).user(name):
        raise Fault(f"{name} is managed and cannot open pages")
    account = root.account(name)
    if account and account[0] == 0 or name in (layout.PROXY_ACCOUNT, layout.ICAP_ACCOUNT):
        raise Fault(f"{name} can do too much for a password that is typed in a child's session: choose another name")
    password = None
    if options.password_stdin:
        password = sys.stdin.buffer.readline().rstrip(b"\r\n")
        if not password or b"\0" in password:
            raise Fault("--password-stdin: expected a line with a password on standard input")
    approvers.add(root, name, password)
    print(f"{name} can open closed pages" + (", and do nothing else." if approvers.is_own(root, name) else "."))
    more = approvers.powers(root, name)
    if more:
        print(f"sifterra-setup: {name} is in the group {more[0]} as well: typed in a child's session, that password may be seen by the "
              "child's programs; use an account for this alone", file=sys.stderr)


def remove(root, options):
    if options.everything == bool(options.name):
        raise Fault("expected the name of a managed user, or --everything")
    with files.only_one(root(layout.LOCK)):
        if options.everything:
            problems = applying.undo(root, options.keep_policies)
        else:
            machine = machines.load(root)
            machine.users.remove(machine.need(options.name))
            applying.apply(root, machine)
            if not options.keep_policies:
                applying.remove_policy(root, options.name)
            problems = []
    if options.everything:
        files.remove(root(layout.LOCK))
        try:
            os.rmdir(root(layout.STATE))
        except OSError:
            pass
    for problem in problems:
        print(f"sifterra-setup: {problem}", file=sys.stderr)
    print("Nothing is filtered any more." if options.everything else f"{options.name} is not filtered any more.")
    return ERROR if problems else 0


def pause(root, options):
    now = time.time()
    until = times.after(options.for_, now) if options.for_ is not None else times.at(options.until, now)
    with files.only_one(root(layout.LOCK)):
        machine = machines.load(root)
        machine.need(options.name).paused_until = until
        applying.apply(root, machine)
    print(f"{options.name} is not filtered until {times.spelt(until)}.")


def resume(root, options):
    with files.only_one(root(layout.LOCK)):
        machine = machines.load(root)
        machine.need(options.name).paused_until = 0
        applying.apply(root, machine)
    print(f"{options.name} is filtered.")


def apply(root, options):
    with files.only_one(root(layout.LOCK)):
        applying.apply(root, machines.load(root))


def suspend(root, _options):
    with files.only_one(root(layout.LOCK)):
        problems = applying.suspend(root)
    for problem in problems:
        print(f"sifterra-setup: {problem}", file=sys.stderr)
    print("Nothing is filtered until sifterra-setup apply.")
    return ERROR if problems else 0


def show(root, options):
    machine = machines.load(root)
    policy = Policy(root, options.sifterra)
    now = time.time()
    users = [{**user.as_json(), "paused": user.paused_until > now, "mode": mode(policy.show(user.name))}
             for user in machine.users]
    if options.json:
        print(json.dumps({"users": users, "settings": machine.given}, indent=2))
        return
    if not users:
        print("Nobody is managed.")
    for user in users:
        state = f"paused until {times.spelt(user['paused-until'])}" if user["paused"] else "filtered"
        print(f"{user['name']}: {state}, {user['mode'] or 'no restrictions in the policy'}, "
              f"ports {user['http-port']} and {user['https-port']}")


def wait(root, _options):
    """The proxy looks for the filter when it starts, and then not again for half a minute: so it starts after it."""
    port = machines.load(root).setting("icap-port")
    end = time.monotonic() + PATIENCE
    while problem := probes.icap_problem(port):
        if time.monotonic() > end:
            raise Fault(f"the ICAP service at port {port}: {problem}")
        time.sleep(0.05)


def doctor(root, options):
    found = list(doctors.findings(root, Policy(root, options.sifterra)))
    faults = 0
    for finding in found:
        faults += bool(finding.problem)
        if finding.problem:
            print(f"FAULT  {finding.subject}: {finding.problem}\n       mend it: {finding.remedy}")
        elif not options.faults:
            print(f"ok     {finding.subject}")
    print(f"{len(found)} looked at, {faults} {'fault' if faults == 1 else 'faults'}")
    return 1 if faults else 0


def parser():
    root = argparse.ArgumentParser(add_help=False)
    root.add_argument("--root", metavar="DIR", default="/", help="a machine that is staged below this directory")
    root.add_argument("--sifterra", metavar="PROGRAM", default="sifterra", help="the command that keeps policies")
    top = argparse.ArgumentParser(prog="sifterra-setup", allow_abbrev=False, description="Puts accounts of this machine under the filter.",
                                  epilog="sifterra policy changes what a managed user may see.")
    commands = top.add_subparsers(dest="command", required=True, metavar="COMMAND")

    def command(name, run, text, user=False):
        one = commands.add_parser(name, parents=[root], help=text, description=text[0].upper() + text[1:] + ".", allow_abbrev=False)
        one.set_defaults(run=run, parser=one)
        if user:
            one.add_argument("name", metavar="NAME", help="the account's name")
        return one

    one = command("enrol", enrol, "filter the web of an account", user=True)
    kind = one.add_mutually_exclusive_group()
    kind.add_argument("--filter", action="store_true", help="judge pages by their content (the default)")
    kind.add_argument("--allow-list-only", action="store_true", help="allow nothing but the user's list of sites")
    one = command("approver", approver, "let an account open closed pages with its password", user=True)
    way = one.add_mutually_exclusive_group()
    way.add_argument("--remove", action="store_true", help="take that away; an account that was made for it goes")
    way.add_argument("--password-stdin", action="store_true", help="read the password from standard input")
    one = command("show", show, "show who is filtered and how")
    one.add_argument("--json", action="store_true", help="one JSON object")
    one = command("pause", pause, "let a managed user be unfiltered for a time", user=True)
    end = one.add_mutually_exclusive_group(required=True)
    end.add_argument("--for", dest="for_", metavar="TIME", help="45m, 2h, 1h30m, 1d")
    end.add_argument("--until", metavar="TIME", help="18:30, or \"2026-12-24 18:30\"")
    command("resume", resume, "end a pause", user=True)
    one = command("remove", remove, "stop filtering an account, or take the filter off the machine")
    one.add_argument("name", metavar="NAME", nargs="?", help="the account's name")
    one.add_argument("--everything", action="store_true", help="undo all that was set up, for everybody")
    one.add_argument("--keep-policies", action="store_true", help="leave what the users may see for a later time")
    one = command("doctor", doctor, "look whether everything that filters does its work")
    one.add_argument("--faults", action="store_true", help="print faults alone")
    command("wait", wait, "wait until the filter answers, 20 seconds at most")
    command("suspend", suspend, "stop filtering, and keep everything for a later apply")
    command("apply", apply, "make all configuration anew, after a file of /etc/sifterra was changed")
    return top
