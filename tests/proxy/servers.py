"""The servers of a proxy under test, each started on a free loopback port with a configuration and files of its own
below one temporary directory: c-icap, Squid, and an origin server whose pages are Python functions.

Nothing here waits by the clock: a server is ready when it takes connections, and gone when its process is.
"""
import contextlib
import http.server
import os
import pwd
import select
import shutil
import signal
import socket
import ssl
import subprocess
import sysconfig
import threading
import time

PATIENCE = 60  # seconds until a server that does not come up has failed


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def program(name):
    """The path of a program, looked for where Debian keeps servers, too; None where it is missing."""
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin:/usr/local/sbin")


def takes_connections(port, host="127.0.0.1"):
    try:
        with socket.create_connection((host, port), timeout=5):
            return True
    except OSError:
        return False


class Server:
    """A program that listens on a port. Another process may take a port between the look for it and its use, so a
    server that ends at once is started once more on another."""

    def __init__(self, directory, name):
        self.directory = os.path.join(directory, name)
        os.makedirs(self.directory)
        self.name, self.process, self.port = name, None, None

    def configure(self):
        """Writes the configuration for self.port; returns the command line."""
        raise NotImplementedError

    def start(self):
        for attempt in range(3):
            self.port = free_port()
            self.log = open(os.path.join(self.directory, "output.log"), "ab")
            self.process = subprocess.Popen(self.configure(), stdin=subprocess.DEVNULL, stdout=self.log,
                                            stderr=self.log, cwd=self.directory, start_new_session=True)
            if self._ready():
                return self
            self.stop()
        raise RuntimeError(f"{self.name} does not start:\n{self.output()}")

    def _ready(self):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline and self.process.poll() is None:
            if takes_connections(self.port):
                return True
            self._pause()
        return False

    def _pause(self):
        # Wakes up at once when the process ends.
        descriptor = os.pidfd_open(self.process.pid)
        try:
            select.select([descriptor], [], [], 0.02)
        finally:
            os.close(descriptor)

    def output(self):
        texts = []
        for folder, _, files in os.walk(self.directory):
            for file in sorted(files):
                if file.endswith(".log"):
                    with open(os.path.join(folder, file), errors="replace") as log:
                        texts.append(f"--- {self.name}/{file}\n" + log.read()[-6000:])
        return "\n".join(texts)

    def kill(self):
        """As if the power went: the process and its children, without a last word."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()

    def stop(self):
        if self.process is None:
            return
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout=20)
            except subprocess.TimeoutExpired:
                pass
        self.kill()  # children that outlive their parent, too
        self.log.close()
        self.process = None


class CIcap(Server):
    """c-icap with the configuration lines that the test gives; `{port}` and `{directory}` are filled in."""

    def __init__(self, directory, name="c-icap", lines=(), servers=1, threads=10, keep_alive_requests=-1,
                 modules=None):
        super().__init__(directory, name)
        self.lines, self.servers, self.threads = lines, servers, threads
        self.keep_alive_requests = keep_alive_requests

    def configure(self):
        path = os.path.join(self.directory, "c-icap.conf")
        log = lambda name: os.path.join(self.directory, name)
        text = f"""PidFile {log("c-icap.pid")}
CommandsSocket {log("c-icap.ctl")}
Port 127.0.0.1:{self.port}
Timeout 60
MaxKeepAliveRequests {self.keep_alive_requests}
KeepAliveTimeout 60
StartServers {self.servers}
MaxServers {max(self.servers, 2)}
MinSpareThreads 1
MaxSpareThreads {self.threads * max(self.servers, 2)}
ThreadsPerChild {self.threads}
MaxRequestsPerChild 0
TmpDir {self.directory}
MaxMemObject 131072
Pipelining on
ModulesDir {multiarch("c_icap")}
ServicesDir {multiarch("c_icap")}
LoadMagicFile /etc/c-icap/c-icap.magic
ServerLog {log("server.log")}
AccessLog {log("access.log")}
DebugLevel 1
"""
        with open(path, "w") as file:
            file.write(text + "".join(line.format(port=self.port, directory=self.directory) + "\n"
                                      for line in self.lines))
        return [program("c-icap"), "-N", "-D", "-f", path]

    def access_log(self):
        with open(os.path.join(self.directory, "access.log"), errors="replace") as log:
            return log.read()


def multiarch(folder):
    for triplet in (sysconfig.get_config_var("MULTIARCH"), f"{os.uname().machine}-linux-gnu"):
        path = f"/usr/lib/{triplet}/{folder}"
        if triplet and os.path.isdir(path):
            return path
    return f"/usr/lib/{folder}"


class Squid(Server):
    """Squid without a cache, with the lines that the test gives."""

    def __init__(self, directory, name="squid", lines=(), http_port_options=""):
        super().__init__(directory, name)
        self.lines, self.http_port_options = lines, http_port_options
        if os.geteuid() == 0:  # Squid becomes its own user then, and writes as that
            user = pwd.getpwnam("proxy")
            os.chown(self.directory, user.pw_uid, user.pw_gid)

    def configure(self):
        path = os.path.join(self.directory, "squid.conf")
        log = lambda name: os.path.join(self.directory, name)
        text = f"""http_port 127.0.0.1:{self.port} {self.http_port_options}
visible_hostname proxy.example
pid_filename {log("squid.pid")}
cache_log {log("cache.log")}
access_log stdio:{log("access.log")}
coredump_dir {self.directory}
cache deny all
cache_mem 8 MB
pinger_enable off
shutdown_lifetime 0 seconds
forwarded_for delete
via off
"""
        with open(path, "w") as file:
            file.write(text + "".join(line.format(port=self.port, directory=self.directory) + "\n"
                                      for line in self.lines) + "http_access allow all\n")
        return [program("squid"), "-N", "-f", path]


def processes(server):
    """The numbers of a server's processes."""
    found = set()
    for name in os.listdir("/proc"):
        with contextlib.suppress(OSError):
            if name.isdigit() and os.getpgid(int(name)) == server.process.pid:
                found.add(int(name))
    return found


def resident(server):
    """MiB that the largest of a server's processes holds now."""
    largest = 0
    for process in processes(server):
        with contextlib.suppress(OSError), open(f"/proc/{process}/status") as status:
            largest = max([largest] + [int(line.split()[1]) // 1024 for line in status if line.startswith("VmRSS:")])
    return largest


class Origin:
    """An HTTP server (or HTTPS, with a certificate) whose pages are functions of the request handler."""

    def __init__(self, certificate=None, host="127.0.0.1", port=0):
        self.pages, self.requests = {}, []
        origin = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"
            disable_nagle_algorithm = True

            def answer(self):
                origin.requests.append((self.command, self.path, dict(self.headers)))
                page = origin.pages.get(self.path.split("?")[0])
                if page is None:
                    self.reply(b"nothing here", content_type="text/plain", status=404)
                else:
                    page(self)

            do_GET = do_HEAD = answer

            def do_POST(self):
                self.posted = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                self.answer()

            def reply(self, body, content_type="text/html; charset=utf-8", status=200, headers=()):
                self.send_response(status)
                if content_type is not None:
                    self.send_header("Content-Type", content_type)
                for name, value in headers:
                    self.send_header(name, value)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                if self.command != "HEAD":
                    self.write(body)

            def write(self, body, piece=16384):
                """At the speed of a network that is near: Squid's buffers have their limits (examples/squid)."""
                for at in range(0, len(body), piece):
                    self.wfile.write(body[at:at + piece])
                    if len(body) > 3 * piece:
                        time.sleep(0.001)

            def begin_chunks(self, content_type="text/html; charset=utf-8", headers=()):
                self.send_response(200)
                self.send_header("Content-Type", content_type)
                for name, value in headers:
                    self.send_header(name, value)
                self.send_header("Transfer-Encoding", "chunked")
                self.end_headers()

            def chunk(self, data):
                self.wfile.write(f"{len(data):x}\r\n".encode() + data + b"\r\n")
                self.wfile.flush()

            def log_message(self, *arguments):
                pass

        class Loopback(http.server.ThreadingHTTPServer):
            daemon_threads = True
            request_queue_size = 128

            def handle_error(self, request, client_address):
                pass  # a client that goes away is part of the tests

        self.server = Loopback((host, port), Handler)
        self.port = self.server.server_address[1]
        scheme = "http"
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(*certificate)
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
            scheme = "https"
        self.address = f"{scheme}://{host}:{self.port}"
        self.thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True)
        self.thread.start()

    def serve(self, path, body, **options):
        self.pages[path] = lambda request: request.reply(body, **options)
        return path

    def stop(self):
        self.server.shutdown()
        self.server.server_close()
