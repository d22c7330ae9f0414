"""Runs the script of docs/encryption.md, as it stands there, on what the real programs have stored."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

from format_test import SLICE_SIZE, Cloud, picture, run


def script_of(page):
    """The indented block that begins with the script's first comment."""
    lines = Path(page).read_text().splitlines()
    start = lines.index("    # python3 open.py KEYS DATA NAME TARGET")
    script = []
    for line in lines[start:]:
        if line and not line.startswith("    "):
            break
        script.append(line[4:])
    return "\n".join(script) + "\n"


def main(cloud_program, client_program, page):
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        (folder / "pictures").mkdir()
        original = folder / "pictures" / "p.jpg"
        original.write_bytes(picture(2 * SLICE_SIZE + 123, 1))
        cloud = Cloud(cloud_program, folder)
        try:
            profile = folder / "profile"
            run(client_program, profile, "login", "--server", cloud.url, "--user", "alice", "--password-file",
                cloud.password)
            run(client_program, profile, "import", original)
            run(client_program, profile, "sync")
            run(client_program, profile, "keys", "export", folder / "keys.json", "--yes")
        finally:
            cloud.stop()
        (folder / "open.py").write_text(script_of(page))
        target = folder / "opened.jpg"
        subprocess.run([sys.executable, folder / "open.py", folder / "keys.json", cloud.data, "p.jpg", target],
                       check=True)
        assert target.read_bytes() == original.read_bytes(), "another picture was opened"
        print("the script opens the stored picture")


if __name__ == "__main__":
    os.environ["LC_ALL"] = "C.UTF-8"
    main(*sys.argv[1:])
