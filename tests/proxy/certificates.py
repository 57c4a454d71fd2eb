"""Authorities and certificates of a test, made by openssl in its directory."""
import os
import subprocess


def _openssl(*arguments):
    subprocess.run(["openssl", *arguments], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def authority(directory, name):
    """The paths of a certificate authority's certificate and of both in one file, as Squid wants them."""
    key, certificate, both = (os.path.join(directory, f"{name}.{end}") for end in ("key", "crt", "pem"))
    _openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2", "-subj",
             f"/CN={name}", "-addext", "basicConstraints=critical,CA:TRUE", "-addext",
             "keyUsage=critical,keyCertSign,cRLSign", "-keyout", key, "-out", certificate)
    with open(both, "w") as file:
        for path in (certificate, key):
            with open(path) as part:
                file.write(part.read())
    return certificate, both


def server(directory, name, hosts, certificate):
    """Certificate and key of a server, signed by an authority."""
    key, request, signed, more = (os.path.join(directory, f"{name}.{end}") for end in ("key", "csr", "crt", "ext"))
    _openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", f"/CN={hosts[0]}",
             "-keyout", key, "-out", request)
    with open(more, "w") as file:
        file.write("subjectAltName=" + ",".join(("IP:" if host[0].isdigit() else "DNS:") + host for host in hosts))
    _openssl("x509", "-req", "-in", request, "-CA", certificate, "-CAkey", certificate[:-3] + "key", "-CAcreateserial",
             "-days", "2", "-extfile", more, "-out", signed)
    return signed, key
