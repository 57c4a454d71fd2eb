"""Questions to the running machine: programs, ports, and what becomes of a user's connection."""
import errno
import os
import pwd
import socket
import subprocess

from .layout import Fault

SECONDS = 5
# An address that belongs to nobody: what answers there is the proxy.
NOBODYS = "192.0.2.1"


def run(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=60)
    except OSError as error:
        raise Fault(f"{command[0]}: {error.strerror}") from None
    except subprocess.TimeoutExpired:
        raise Fault(f"{command[0]} did not end within a minute") from None


def loopbacks():
    """The second only where this machine speaks IPv6."""
    return ["127.0.0.1"] + (["::1"] if os.path.exists("/proc/net/if_inet6") else [])


def connect_problem(host, port):
    with socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET) as one:
        one.settimeout(SECONDS)
        try:
            one.connect((host, port))
        except OSError as error:
            return error.strerror or "it does not answer"
    return ""


def listeners(port):
    """Numbers of the users whose programs listen at a port of any address of this machine."""
    found = set()
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        try:
            with open(table, encoding="ascii") as file:
                rows = [line.split() for line in file][1:]
        except OSError:
            continue  # no such version of IP
        # local address, state (0A listens), user number
        found |= {int(row[7]) for row in rows if row[3] == "0A" and int(row[1].rsplit(":", 1)[1], 16) == port}
    return found


def icap_problem(port):
    question = f"OPTIONS icap://127.0.0.1:{port}/sifterra ICAP/1.0\r\nHost: 127.0.0.1\r\n\r\n".encode()
    try:
        with socket.create_connection(("127.0.0.1", port), SECONDS) as one:
            one.sendall(question)
            answer = one.recv(1000).split(b"\r\n", 1)[0].decode("latin-1")
    except OSError as error:
        return error.strerror or "it does not answer"
    return "" if answer == "ICAP/1.0 200 OK" else f"it says {answer or 'nothing'}"


def turned_problem(name):
    """What is wrong when a connection of the user to nobody's address meets nobody. On a machine without a network nothing can be
    told, and nothing is wrong."""
    child = os.fork()
    if child == 0:
        status = 1
        try:
            account = pwd.getpwnam(name)
            os.setgroups([])
            os.setgid(account.pw_gid)
            os.setuid(account.pw_uid)
            with socket.socket() as one:
                one.settimeout(SECONDS)
                result = one.connect_ex((NOBODYS, 80))
            status = 0 if result in (0, errno.ENETUNREACH, errno.EHOSTUNREACH) else 1
        finally:
            os._exit(status)
    _, status = os.waitpid(child, 0)
    return "" if status == 0 else "a connection did not reach the proxy"
