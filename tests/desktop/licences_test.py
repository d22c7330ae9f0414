"""Holds resources/licences.json against the libraries that the built programs name."""

import json
import pathlib
import re
import subprocess
import sys

# Parts of the compiler and of the C library.
SYSTEM = re.compile(r"lib(c|m|gcc_s|stdc\+\+|dl|pthread|rt)\.so|ld-linux")


def needed(binary):
    text = subprocess.run(["objdump", "-p", binary], capture_output=True, text=True, check=False).stdout
    return re.findall(r"NEEDED\s+(\S+)", text)


def main(folder, licences):
    listed = {library for entry in json.loads(pathlib.Path(licences).read_text()) for library in entry["libraries"]}
    own = {path.name for path in pathlib.Path(folder).glob("lib*.so*")}
    binaries = [path for path in pathlib.Path(folder).iterdir() if path.name in own or path.name.startswith("zentara")]
    named = {name for path in binaries for name in needed(path)} - own
    named = {name.split(".so")[0] for name in named if not SYSTEM.match(name)}
    named = {re.sub(r"^(libspdlog|libjsoncpp).*", r"\1", name) for name in named}
    if not named:
        sys.exit("no built program names a library")
    missing = sorted(named - listed)
    if missing:
        sys.exit("without a licence in resources/licences.json: " + ", ".join(missing))


if __name__ == "__main__":
    main(*sys.argv[1:3])
