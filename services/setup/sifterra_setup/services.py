"""The machine's services, through systemd where it runs."""
import os
import subprocess
import sys

from . import layout
from .layout import Fault

ICAP = "sifterra-icap.service"
PROXY = "sifterra-proxy.service"
NETFILTER = "sifterra-netfilterd.service"
RESOLVERS = "sifterra-resolvers.path"
SOCKETS = ("sifterra-netfilterd.socket", "sifterra-override.socket")
ALL = (*SOCKETS, ICAP, PROXY, NETFILTER, RESOLVERS)


def manager_runs():
    return os.path.isdir("/run/systemd/system")


def take_up(anybody, changed):
    """Starts what is not running and tells the running of changed files; ends all when nobody is managed any more. The packet
    filter reads its file by itself, so that a change counts also where no service manager runs."""
    if not manager_runs():
        print("sifterra-setup: no service manager runs here; start " + ", ".join(ALL) + " by other means",
              file=sys.stderr)
        return
    if not anybody:
        # The rules are emptied by the daemon that still runs; the proxy has nobody left.
        systemctl("reload-or-restart", NETFILTER)
        systemctl("disable", "--now", PROXY, ICAP, RESOLVERS)
        return
    # A service that has just been started knows the new files, and may not yet know what a reload is.
    ran = {unit for unit in (ICAP, PROXY, NETFILTER) if is_active(unit)}
    systemctl("enable", "--now", *ALL)
    if ICAP in ran and layout.ICAP in changed:
        systemctl("restart", ICAP)
    if PROXY in ran:
        systemctl("restart" if layout.CA in changed else "reload", PROXY)
    if NETFILTER in ran:
        systemctl("reload", NETFILTER)


def is_active(unit):
    return subprocess.run(["systemctl", "--quiet", "is-active", unit], check=False).returncode == 0


def stop_all():
    if manager_runs():
        systemctl("disable", "--now", *ALL, "sifterra-override.service")


def remove_rules():
    """The daemon leaves its rules when it ends, so that a crash opens nothing."""
    if os.path.exists(layout.NETFILTER_PROGRAM):
        _run(layout.NETFILTER_PROGRAM, "--remove")


def systemctl(*arguments):
    _run("systemctl", "--quiet", *arguments)


def _run(*command):
    try:
        run = subprocess.run(command, capture_output=True, text=True, check=False)
    except OSError as error:
        raise Fault(f"{command[0]}: {error.strerror}") from None
    if run.returncode != 0:
        raise Fault(f"{' '.join(command)}: {run.stderr.strip() or 'exit status ' + str(run.returncode)}")
