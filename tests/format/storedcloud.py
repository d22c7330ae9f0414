"""Reads what a photo cloud has stored, with nothing but its folder and the account's keys.

Every digest is computed here from the originals, and every cipher by the openssl command line, so that
nothing of the programs under test takes part.
"""

import hashlib
import hmac
import json
import sqlite3
import subprocess
from pathlib import Path


def aes(direction, key, iv, data):
    """AES in CBC mode with PKCS#7 padding; AES-128 for a key of 16 bytes, else AES-256."""
    command = ["openssl", "enc", f"-aes-{len(key) * 8}-cbc", "-K", key.hex(), "-iv", iv.hex()]
    if direction == "decrypt":
        command.append("-d")
    return subprocess.run(command, input=data, capture_output=True, check=True).stdout


def openssl_hmac(key, path):
    options = ["openssl", "dgst", "-sha256", "-mac", "HMAC", "-macopt", "hexkey:" + key.hex(), str(path)]
    return subprocess.run(options, capture_output=True, check=True, text=True).stdout.split()[-1]


def sha256sum(path):
    return subprocess.run(["sha256sum", str(path)], capture_output=True, check=True, text=True).stdout.split()[0]


class Keys:
    """The recovery file that "keys export" writes."""

    def __init__(self, path):
        document = json.loads(Path(path).read_text())["keys"]
        self.mk1 = bytes.fromhex(document["mk1"][:32])
        self.mk2 = bytes.fromhex(document["mk2"][:32])
        self.user = {1: bytes.fromhex(document["userKey1"]), 3: bytes.fromhex(document["userKey3"])}
        self.ids = {1: document["userKeyId1"], 3: document["userKeyId3"]}


class Asset:
    def __init__(self, row, slices, objects):
        self.usage, self.hash, self.sha256 = row["usage"], row["hash"], row["sha256"]
        self.length, self.slice_size = row["length"], row["slice_size"]
        self.fields = json.loads(row["fields"])
        self.slices = slices
        self.objects = objects

    def object_bytes(self, index):
        name = self.slices[index]["sha256"]
        data = (self.objects / name[:2] / name).read_bytes()
        assert hashlib.sha256(data).hexdigest() == name, "an object is not named by its digest"
        assert hashlib.md5(data).hexdigest() == self.slices[index]["md5"][:32]
        assert len(data) == self.slices[index]["length"]
        return data


class StoredCloud:
    def __init__(self, folder):
        self.folder = Path(folder)
        self.database = sqlite3.connect(f"file:{self.folder}/photocloud.db?mode=ro", uri=True)
        self.database.row_factory = sqlite3.Row

    def visible_media(self):
        for row in self.database.execute("SELECT * FROM media WHERE phase = 1"):
            assets = {}
            for asset in self.database.execute("SELECT * FROM assets WHERE media_id = ?", (row["id"],)):
                slices = self.database.execute("SELECT * FROM slices WHERE asset_id = ? ORDER BY number",
                                               (asset["id"],)).fetchall()
                objects = self.folder / "objects" / str(row["account"])
                assets[asset["usage"]] = Asset(asset, slices, objects)
            yield json.loads(row["fields"]), assets


def content_key(cipher, keys):
    """Opens both wraps of the key; they must hold the same one."""
    iv = bytes.fromhex(cipher["iv"])
    opened = set()
    for chain in cipher["keychains"]:
        wrapped = bytes.fromhex(chain["ekey"])
        opened.add(aes("decrypt", keys.user[chain["type"]], wrapped[:16], wrapped[16:]))
    assert len(opened) == 1, "the two keys of the user open different keys"
    return bytes.fromhex(opened.pop().decode()), iv


def expected_cipher(content_hmac, keys):
    key, iv = content_hmac[:32], content_hmac[32:]
    chains = []
    for kind, algorithm in ((1, "AES_128_CBC_PKCS5Padding"), (3, "AES_256_CBC_PKCS5Padding")):
        wrapped = aes("encrypt", keys.user[kind], bytes.fromhex(iv), key.upper().encode())
        chains.append({"type": kind, "algorithm": algorithm, "ekey": (iv + wrapped.hex()).upper(),
                       "id": keys.ids[kind]})
    return {"algorithm": "AES_128_CBC_PKCS5Padding", "dataType": 12, "iv": iv, "hfek": "1|" + iv,
            "keychains": chains}


def recover_content(asset, keys):
    key, iv = content_key(asset.fields["cipher"], keys)
    return b"".join(aes("decrypt", key, iv, asset.object_bytes(i)) for i in range(len(asset.slices)))


def recover_thumbnails(asset, keys):
    key, iv = content_key(asset.fields["cipher"], keys)
    small = asset.fields["attributes"]["length"]["small"]
    stored = asset.object_bytes(0)
    cut = small - small % 16 + 16
    return aes("decrypt", key, iv, stored[:cut]), aes("decrypt", key, iv, stored[cut:])


def check_content(fields, asset, original, keys):
    content_hmac = openssl_hmac(keys.mk1, original)
    data = Path(original).read_bytes()
    assert recover_content(asset, keys) == data, f"{original}: other bytes came back"
    assert asset.fields["cipher"] == expected_cipher(content_hmac, keys), f"{original}: cipher record"
    check_hashes(asset, content_hmac, keys)
    assert asset.sha256 == sha256sum(original)
    assert asset.length == len(data)
    assert fields["hashId"] == hmac.new(b"", data, hashlib.sha256).hexdigest(), f"{original}: hashId"
    key, iv = bytes.fromhex(content_hmac[:32]), bytes.fromhex(content_hmac[32:])
    for number, piece in enumerate(asset.slices):
        start = number * asset.slice_size
        plain = data[start:start + asset.slice_size]
        assert piece["start"] == start
        assert asset.object_bytes(number) == aes("encrypt", key, iv, plain), "each object is a stream of its own"


def check_thumbnails(asset, keys, work):
    small, large = recover_thumbnails(asset, keys)
    both = Path(work) / "thumbnails"
    both.write_bytes(small + large)
    thumb_hmac = openssl_hmac(keys.mk1, both)
    assert asset.fields["cipher"] == expected_cipher(thumb_hmac, keys)
    check_hashes(asset, thumb_hmac, keys)
    assert asset.sha256 == sha256sum(both)
    attributes = asset.fields["attributes"]
    assert attributes["length"] == {"small": len(small), "large": len(large)}
    assert attributes["sha256"] == {"small": hashlib.sha256(small).hexdigest(),
                                    "large": hashlib.sha256(large).hexdigest()}
    return small, large


def check_hashes(asset, hmac_text, keys):
    digest = hmac.new(keys.mk2, hmac_text.encode(), hashlib.sha256).hexdigest()
    assert asset.hash == digest + "0" * 64, "the hash of a resource"
