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
SILENT = "the proxy takes a connection and does not answer"


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
    answer, problem = _answer("127.0.0.1", port, f"OPTIONS icap://127.0.0.1:{port}/sifterra ICAP/1.0\r\nHost: 127.0.0.1\r\n\r\n")
    if problem:
        return problem
    return "" if answer == "ICAP/1.0 200 OK" else f"it says {answer or 'nothing'}"


def override_problem(port):
    """Any answer will do: a page of the service has to be asked for by a form."""
    answer, problem = _answer("127.0.0.1", port, f"GET / HTTP/1.0\r\nHost: 127.0.0.1:{port}\r\n\r\n")
    return problem or ("" if answer.startswith("HTTP/1.") else f"it says {answer or 'nothing'}")


def _answer(host, port, question):
    """The first line that comes back, and why none does."""
    try:
        with socket.create_connection((host, port), SECONDS) as one:
            one.sendall(question.encode())
            return one.recv(1000).split(b"\r\n", 1)[0].decode("latin-1"), ""
    except OSError as error:
        return "", error.strerror or "it does not answer"


def turned_problem(name):
    """What is wrong when a connection of the user to nobody's address meets nobody, or somebody who says nothing. On a machine without
    a network nothing can be told, and nothing is wrong."""
    return {0: "", 2: SILENT}.get(
        _as_account(name, _ask_nobody), "a connection did not reach the proxy")


def _ask_nobody():
    with socket.socket() as one:
        one.settimeout(SECONDS)
        result = one.connect_ex((NOBODYS, 80))
        if result != 0:
            return 0 if result in (errno.ENETUNREACH, errno.EHOSTUNREACH) else 1
        try:
            one.sendall(b"GET\r\n\r\n")  # no request: the proxy says so at once and asks nobody
            return 0 if one.recv(1000).startswith(b"HTTP/1.") else 2
        except OSError:
            return 2


def _as_account(name, question):
    """The number that a function answers when a user's process asks it."""
    child = os.fork()
    if child == 0:
        status = 1
        try:
            account = pwd.getpwnam(name)
            os.setgroups([])
            os.setgid(account.pw_gid)
            os.setuid(account.pw_uid)
            status = question()
        finally:
            os._exit(status)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def unreadable(name, paths):
    """Those of the files that an account cannot open."""
    return [path for path in paths if _as_account(name, lambda path=path: _open(path)) != 0]


def _open(path):
    os.close(os.open(path, os.O_RDONLY))
    return 0
