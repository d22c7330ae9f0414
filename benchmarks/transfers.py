#!/usr/bin/env python3
"""Uploads and downloads over loopback, beside rclone with a crypt remote and a bare program.

    benchmarks/transfers.py [--photos 1000] [--film-mb 2048] [--work DIR]

Needs a release build with benchmarks and the Debian package rclone. Prints wall time, CPU seconds of the client
and of its server, and the client's peak memory.
"""

import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
BIN = ROOT / "build" / "release" / "bin"
sys.path.insert(0, str(ROOT / "tests" / "format"))
from format_test import TINY_JPEG  # noqa: E402


class Figures:
    def __init__(self, wall, usage, server):
        self.wall, self.cpu = wall, usage.ru_utime + usage.ru_stime
        self.peak_mb, self.server = usage.ru_maxrss / 1024, server

    def __str__(self):
        return f"{self.wall:8.1f} s {self.cpu:8.1f} s {self.server:8.1f} s {self.peak_mb:8.0f} MB"


class Server:
    def __init__(self, command, banner):
        self.process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        self.first_line = self.process.stdout.readline() if banner else ""

    def cpu(self):
        fields = Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


def measure(command, server=None):
    before = server.cpu() if server else 0
    begin = time.monotonic()
    process = subprocess.Popen([str(word) for word in command], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - begin
    assert status == 0, f"{command[:3]} failed: {status}"
    return Figures(wall, usage, (server.cpu() - before) if server else 0)


def make_corpus(folder, photos, film_mb):
    folder.mkdir(parents=True)
    numbers = random.Random(1)
    for number in range(photos):
        size = numbers.randint(300_000, 5_000_000)
        (folder / f"p{number:04}.jpg").write_bytes(TINY_JPEG + numbers.randbytes(size - len(TINY_JPEG)))
    if film_mb:
        with open(folder / "film.jpg", "wb") as film:
            film.write(TINY_JPEG)
            for _ in range(film_mb):
                film.write(numbers.randbytes(1 << 20))


def client(profile, *words):
    return [BIN / "zentaractl", "--profile", profile, *words]


def gallery(corpus, work):
    password = work / "password"
    password.write_text("wonderland\n")
    cloud = [BIN / "zentara-photocloud"]
    data = ["--data", work / "cloud"]
    subprocess.run([*cloud, "user", "add", "alice", *data, "--password-file", password], check=True)
    server = Server([*cloud, "serve", *data, "--listen", "127.0.0.1:0"], banner=True)
    login = ["login", "--server", "http://" + server.first_line.split()[-1], "--user", "alice",
             "--password-file", password]
    try:
        subprocess.run(client(work / "one", *login), check=True, stdout=subprocess.DEVNULL)
        subprocess.run(client(work / "one", "import", corpus), check=True, stdout=subprocess.DEVNULL)
        yield "upload", measure(client(work / "one", "sync"), server)
        subprocess.run(client(work / "two", *login), check=True, stdout=subprocess.DEVNULL)
        subprocess.run(client(work / "two", "sync"), check=True, stdout=subprocess.DEVNULL)
        yield "download", measure(client(work / "two", "download", "--all", "--to", work / "back"), server)
        assert same(corpus, work / "back"), "other bytes came back"
    finally:
        server.stop()


def same(left, right):
    finished = subprocess.run(["diff", "-rq", left, right], capture_output=True, text=True)
    return finished.returncode == 0


def rclone(corpus, work):
    for name in ("store", "back"):
        (work / name).mkdir(parents=True)
    address = "127.0.0.1:18765"
    server = Server(["rclone", "serve", "webdav", work / "store", "--addr", address], banner=False)
    password = subprocess.run(["rclone", "obscure", "wonderland"], capture_output=True, text=True,
                              check=True).stdout.strip()
    config = work / "rclone.conf"
    config.write_text(f"[dav]\ntype = webdav\nurl = http://{address}\nvendor = other\n"
                      f"[crypt]\ntype = crypt\nremote = dav:\npassword = {password}\n")
    command = ["rclone", "--config", config, "--transfers", "4"]
    try:
        while subprocess.run([*command, "lsd", "dav:"], capture_output=True).returncode != 0:
            assert server.process.poll() is None
        yield "upload", measure([*command, "copy", corpus, "crypt:"], server)
        yield "download", measure([*command, "copy", "crypt:", work / "back"], server)
    finally:
        server.stop()


def bare(corpus, work):
    (work / "back").mkdir(parents=True)
    (work / "kept").mkdir()
    server = Server([BIN / "bare_transfer", "sink", work / "kept"], banner=True)
    url = "http://127.0.0.1:" + server.first_line.strip()
    files = sorted(corpus.iterdir())
    try:
        yield "upload", measure([BIN / "bare_transfer", "upload", url, *files], server)
        sizes = [file.stat().st_size for file in files]
        yield "download", measure([BIN / "bare_transfer", "download", url, work / "back", *sizes], server)
    finally:
        server.stop()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--photos", type=int, default=1000)
    parser.add_argument("--film-mb", type=int, default=2048)
    parser.add_argument("--work", type=Path)
    options = parser.parse_args()
    work = Path(tempfile.mkdtemp(prefix="zentara-bench-", dir=options.work))
    try:
        corpus = work / "corpus"
        make_corpus(corpus, options.photos, options.film_mb)
        print(f"{'':26} {'wall':>10} {'client CPU':>10} {'server CPU':>10} {'peak':>11}")
        peers = [("bare", bare), ("gallery", gallery)]
        if shutil.which("rclone"):
            peers.append(("rclone crypt", rclone))
        for name, peer in peers:
            (work / name).mkdir()
            for step, figures in peer(corpus, work / name):
                print(f"{name:14} {step:10} {figures}", flush=True)
            shutil.rmtree(work / name)
    finally:
        shutil.rmtree(work)


if __name__ == "__main__":
    main()
