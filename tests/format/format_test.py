"""Uploads pictures with the real programs and opens what the cloud has stored without them."""

import hashlib
import os
import random
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

from storedcloud import Keys, StoredCloud, check_content, check_thumbnails

SLICE_SIZE = 16384

# A JPEG of 8 x 8 grey pixels (ITU-T T.81); bytes behind its end do not change the picture.
TINY_JPEG = bytes.fromhex(
    "ffd8ffe000104a46494600010100000100010000ffdb004300" + "01" * 64 +
    "ffc0000b080008000801011100ffc4001f0000010501010101010100000000000000000102030405060708090a0b"
    "ffc400b5100002010303020403050504040000017d01020300041105122131410613516107227114328191a1082342b1c1"
    "1552d1f02433627282090a161718191a25262728292a3435363738393a434445464748494a535455565758595a6364656667"
    "68696a737475767778797a838485868788898a92939495969798999aa2a3a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5"
    "c6c7c8c9cad2d3d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9eaf1f2f3f4f5f6f7f8f9faffda0008010100003f00"
    "fbd0ffd9")


def picture(size, seed):
    """A picture of exactly `size` bytes, unlike every other."""
    noise = random.Random(seed).randbytes(size - len(TINY_JPEG))
    return TINY_JPEG + noise


class Cloud:
    def __init__(self, program, folder):
        self.program, self.data = program, folder / "cloud"
        password = folder / "password"
        password.write_text("wonderland\n")
        self.password = password
        subprocess.run([program, "user", "add", "alice", "--data", self.data, "--password-file", password,
                        "--fast-password"], check=True, stdout=subprocess.DEVNULL)
        self.process = subprocess.Popen(
            [program, "serve", "--data", self.data, "--listen", "127.0.0.1:0", "--slice-size", str(SLICE_SIZE)],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = "http://" + self.process.stdout.readline().split()[-1]

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()


def run(program, profile, *words):
    finished = subprocess.run([program, "--profile", profile, *words], capture_output=True, text=True)
    assert finished.returncode == 0, f"{words}: {finished.stdout}{finished.stderr}"
    return finished.stdout


def cached_thumbnails(profile):
    """Digests of all pictures below the profile's cache."""
    return {hashlib.sha256(path.read_bytes()).hexdigest() for path in (profile / "cache").rglob("*")
            if path.is_file()}


def main(cloud_program, client_program):
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        pictures = folder / "pictures"
        pictures.mkdir()
        sizes = [len(TINY_JPEG) + extra for extra in (1, 15, 16, 17)]
        sizes += [SLICE_SIZE - 1, SLICE_SIZE, SLICE_SIZE + 1, 5 * SLICE_SIZE, 3 * SLICE_SIZE + 77]
        for seed, size in enumerate(sizes):
            (pictures / f"p{size}.jpg").write_bytes(picture(size, seed))
        cloud = Cloud(cloud_program, folder)
        try:
            profile = folder / "profile"
            run(client_program, profile, "login", "--server", cloud.url, "--user", "alice", "--password-file",
                cloud.password)
            run(client_program, profile, "import", pictures)
            run(client_program, profile, "sync")
            run(client_program, profile, "keys", "export", folder / "keys.json", "--yes")
        finally:
            cloud.stop()
        check(cloud.data, folder, pictures, profile)


def check(data, folder, pictures, profile):
    keys = Keys(folder / "keys.json")
    originals = {path.name: path for path in pictures.iterdir()}
    thumbnails = cached_thumbnails(profile)
    seen = set()
    for fields, assets in StoredCloud(data).visible_media():
        name = fields["fileName"]
        check_content(fields, assets["content"], originals[name], keys)
        for thumbnail in check_thumbnails(assets["thumbnail"], keys, folder):
            assert hashlib.sha256(thumbnail).hexdigest() in thumbnails, f"{name}: another thumbnail"
        seen.add(name)
    assert seen == set(originals), f"not in the cloud: {set(originals) - seen}"
    print(f"{len(seen)} originals and their thumbnails recovered")


if __name__ == "__main__":
    os.environ["LC_ALL"] = "C.UTF-8"
    main(sys.argv[1], sys.argv[2])
