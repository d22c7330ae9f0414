"""The server behind the proxies of docs/photocloud.md, each with the configuration that stands there.

    proxies.py MANUAL BIN

Only addresses, ports and paths of certificates are replaced. Skipped where a proxy is not
installed: .ci/run installs them, ./test does not.
"""

import filecmp
import http.client
import json
import os
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile

SKIPPED = 77
PATIENCE = 30  # seconds
PICTURES = 3
PASSWORD = "correct horse battery staple"


class Failed(Exception):
    pass


def expect(right, what):
    if not right:
        raise Failed(what)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def block(manual, name):
    """The indented text behind the line that names the proxy."""
    found = re.search(rf"^{name} \(package [^\n]*\n\n((?:    [^\n]*\n|\n)+)", manual, re.M)
    expect(found, f"the manual has no configuration for {name}")
    return "\n".join(line[4:] for line in found.group(1).splitlines()) + "\n"


def replaced(text, changes):
    for before, after in changes:
        expect(before in text, f"the configuration has no {before!r}")
        text = text.replace(before, after)
    return text


class Proxied:
    """The server, a proxy in front of it, and the certificate of the proxy."""

    def __init__(self, folder, bin_folder):
        self.folder = folder
        self.bin = bin_folder
        self.port = free_port()
        self.url = f"https://localhost:{self.port}"
        self.programs = []
        self.pid_file = os.path.join(folder, "proxy.pid")
        self.certificate, key = os.path.join(folder, "cert.pem"), os.path.join(folder, "key.pem")
        self.both = os.path.join(folder, "both.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=DNS:localhost", "-keyout", key, "-out", self.certificate],
                       check=True, stderr=subprocess.DEVNULL)
        with open(self.both, "w") as both:
            for part in (self.certificate, key):
                both.write(open(part).read())
        self.key = key
        self.client = ssl.create_default_context(cafile=self.certificate)

    def start_server(self):
        data = os.path.join(self.folder, "data")
        self.password = os.path.join(self.folder, "password")
        with open(self.password, "w") as out:
            out.write(PASSWORD + "\n")
        program = os.path.join(self.bin, "zentara-photocloud")
        subprocess.run([program, "user", "add", "alice", "--data", data, "--password-file", self.password], check=True,
                       stdout=subprocess.DEVNULL)
        self.log = open(os.path.join(self.folder, "server.log"), "w+")
        server = subprocess.Popen([program, "serve", "--data", data, "--listen", "127.0.0.1:0", "--behind-proxy",
                                   "--public-url", self.url], stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.programs.append(server)
        self.inner = int(server.stdout.readline().rsplit(":", 1)[1])

    def start(self, command):
        """The command goes to the background, and ends here, once it listens."""
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=self.log, timeout=PATIENCE)

    def close(self):
        if os.path.exists(self.pid_file):
            with open(self.pid_file) as number:
                os.kill(int(number.read()), signal.SIGTERM)
        for program in reversed(self.programs):
            program.terminate()
            try:
                program.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                program.kill()

    def logged(self):
        self.log.flush()
        return open(self.log.name).read()

    def ask(self, method, target, body=None, headers=None):
        connection = http.client.HTTPSConnection("localhost", self.port, context=self.client, timeout=PATIENCE)
        connection.request(method, target, body, headers or {})
        return connection.getresponse()

    def ctl(self, profile, *words):
        return subprocess.run([os.path.join(self.bin, "zentaractl"), "--profile", os.path.join(self.folder, profile), *words],
                              text=True, capture_output=True)

    def done(self, profile, *words):
        result = self.ctl(profile, *words)
        expect(result.returncode == 0, f"zentaractl {words}: {result.stdout}{result.stderr}")
        return result.stdout


def nginx(proxied, manual):
    settings = replaced(block(manual, "nginx"), [
        ("listen 443 ssl", f"listen 127.0.0.1:{proxied.port} ssl"), ("photos.example.org", "localhost"),
        ("/etc/ssl/photos/fullchain.pem", proxied.certificate), ("/etc/ssl/photos/key.pem", proxied.key),
        ("127.0.0.1:8080", f"127.0.0.1:{proxied.inner}")])
    places = "".join(f"{kind}_temp_path {proxied.folder}/{kind};\n"
                     for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
    path = os.path.join(proxied.folder, "nginx.conf")
    with open(path, "w") as out:
        out.write(f"pid {proxied.pid_file};\nerror_log stderr;\nevents {{}}\nhttp {{\naccess_log off;\n{places}{settings}}}\n")
    return ["nginx", "-e", "stderr", "-c", path]


def haproxy(proxied, manual):
    settings = replaced(block(manual, "haproxy"), [
        ("bind :443", f"bind 127.0.0.1:{proxied.port}"), ("/etc/ssl/photos/both.pem", proxied.both),
        ("127.0.0.1:8080", f"127.0.0.1:{proxied.inner}")])
    path = os.path.join(proxied.folder, "haproxy.cfg")
    with open(path, "w") as out:
        out.write(settings)
    return ["haproxy", "-D", "-p", proxied.pid_file, "-f", path]


def login(proxied, password, **headers):
    words = json.dumps({"userName": "alice", "password": password})
    return proxied.ask("POST", "/cloudPhoto/v1/auth/login", words, {"Content-Type": "application/json", **headers})


def pictures_go_up_and_come_down(proxied):
    pictures = os.path.join(proxied.folder, "Trip")
    subprocess.run([os.path.join(proxied.bin, "zentara-demopictures"), pictures, str(PICTURES)], check=True)
    for profile in ("first", "second"):
        proxied.done(profile, "login", "--server", proxied.url, "--user", "alice", "--password-file", proxied.password,
                     "--ca", proxied.certificate)
    proxied.done("first", "import", pictures)
    proxied.done("first", "sync")
    proxied.done("second", "sync")
    target = os.path.join(proxied.folder, "down")
    proxied.done("second", "download", "--all", "--to", target)
    names = sorted(os.listdir(pictures))
    expect(len(names) == PICTURES and sorted(os.listdir(target)) == names, f"{sorted(os.listdir(target))} came down")
    same, _, _ = filecmp.cmpfiles(pictures, target, names, shallow=False)
    expect(len(same) == PICTURES, f"only {same} came down as they went up")


def upload_without_token_is_refused_before_its_body(proxied):
    """Says that 60 MiB follow and sends none of them."""
    with socket.create_connection(("127.0.0.1", proxied.port), PATIENCE) as plain:
        with proxied.client.wrap_socket(plain, server_hostname="localhost") as connection:
            connection.sendall(b"PUT /cloudPhoto/v1/objects/none HTTP/1.1\r\nHost: localhost\r\n"
                               b"Content-Length: 62914560\r\n\r\n")
            status = connection.recv(4096).split(b" ")[1]
    expect(status == b"403", f"an upload without a token is answered {status}")


def push_stream_speaks_at_once(proxied, token):
    stream = proxied.ask("GET", "/cloudPhoto/v1/push", headers={"Authorization": "Bearer " + token})
    expect(stream.readline() == b": listening\n", "the push stream does not begin")


def forged_address_is_not_believed(proxied):
    answer = login(proxied, "wrong", **{"X-Forwarded-For": "203.0.113.7"})
    expect(answer.status == 401, f"a wrong password is answered {answer.status}")
    refused = [line for line in proxied.logged().splitlines() if "login refused" in line]
    expect(refused and "127.0.0.1" in refused[-1] and "203.0.113.7" not in refused[-1], f"the log says {refused}")


def try_proxy(proxy, manual, bin_folder):
    with tempfile.TemporaryDirectory(prefix="proxies-") as folder:
        proxied = Proxied(folder, bin_folder)
        try:
            proxied.start_server()
            proxied.start(proxy(proxied, manual))
            pictures_go_up_and_come_down(proxied)
            upload_without_token_is_refused_before_its_body(proxied)
            secret = proxied.done("third", "login-secret", "--user", "alice", "--password-file",
                                  proxied.password).split()[-1]
            push_stream_speaks_at_once(proxied, json.load(login(proxied, secret))["accessToken"])
            forged_address_is_not_believed(proxied)
        except BaseException:
            sys.stderr.write(proxied.logged()[-4000:])
            raise
        finally:
            proxied.close()
    print(proxy.__name__, "done")


def main():
    proxies = (nginx, haproxy)
    os.environ["PATH"] += ":/usr/sbin"
    if not all(shutil.which(proxy.__name__) for proxy in proxies):
        sys.exit(SKIPPED)
    with open(sys.argv[1]) as manual:
        text = manual.read()
    for proxy in proxies:
        try_proxy(proxy, text, sys.argv[2])


if __name__ == "__main__":
    main()
