"""Asks for one page again and again, as a user of the machine."""
import encodings.idna  # noqa: F401 -- the user may not be able to read it when it is first wanted
import http.client
import json
import os
import ssl
import time
import urllib.parse

WARM_UP = 5  # requests that fill what is kept: names, certificates, policies


def _fetch(address, count, connect):
    url = urllib.parse.urlsplit(address)
    trust = ssl.create_default_context(cafile="/etc/ssl/certs/ca-certificates.crt")
    times, one = [], None
    for number in range(count + WARM_UP):
        begin = time.perf_counter()
        answer = None
        while answer is None:
            fresh = one is None or connect
            if fresh:
                one = (http.client.HTTPSConnection(url.hostname, timeout=30, context=trust) if url.scheme == "https"
                       else http.client.HTTPConnection(url.hostname, timeout=30))
            try:
                one.request("GET", url._replace(scheme="", netloc="").geturl())
                answer = one.getresponse()
            except http.client.RemoteDisconnected:  # a proxy may end a connection between two requests; browsers ask again
                if fresh:
                    raise
                one = None
        answer.read()
        spent = (time.perf_counter() - begin) * 1000
        if answer.status != 200 or answer.getheader("X-Origin") is None:
            return f"{answer.status} {answer.reason}"
        if connect:
            one.close()
        if number >= WARM_UP:
            times.append(spent)
    return times


def fetch(uid, address, count, connect=False):
    """The milliseconds of each request; a text where one failed or did not bring the origin's page. With `connect` each has a connection
    of its own, else all share one. Runs in a process of the user's."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        os.close(reading)
        with os.fdopen(writing, "w") as pipe:
            try:
                os.setgroups([])
                os.setgid(uid)
                os.setuid(uid)
                said = _fetch(address, count, connect)
            except Exception as error:  # whatever it is, this process ends here
                said = repr(error)
            json.dump(said, pipe)
        os._exit(0)
    os.close(writing)
    with os.fdopen(reading) as pipe:
        said = pipe.read()
    os.waitpid(child, 0)
    return json.loads(said)
