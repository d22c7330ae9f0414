"""Installs into a staging folder and starts the programs from there, without the build folder's libraries."""

import os
import pathlib
import subprocess
import sys
import tempfile
import time

PATIENCE = 120


def check(condition, words):
    if not condition:
        raise AssertionError(words)


def libraries(program, environment):
    told = subprocess.run(["ldd", program], env=environment, text=True, capture_output=True, check=True).stdout
    check("not found" not in told, told)
    return told


def has_loaded(profile):
    """The module writes its first line when the window has loaded and begun it."""
    for log in pathlib.Path(profile).rglob("*.log"):
        if "CHeader::Init" in log.read_text(errors="replace"):
            return True
    return False


def main(cmake, build):
    with tempfile.TemporaryDirectory() as folder:
        stage = os.path.join(folder, "stage")
        subprocess.run([cmake, "--install", build, "--prefix", "/usr/local"], check=True, stdout=subprocess.DEVNULL,
                       env=dict(os.environ, DESTDIR=stage))
        root = os.path.join(stage, "usr/local")
        environment = {"PATH": "/usr/bin:/bin", "HOME": folder, "XDG_RUNTIME_DIR": folder, "LC_ALL": "C.UTF-8",
                       "QT_QPA_PLATFORM": "offscreen"}
        for place in ("share/applications/zentaracloud.desktop", "share/metainfo/zentaracloud.metainfo.xml",
                      "share/icons/hicolor/scalable/apps/zentaracloud.svg"):
            check(os.path.isfile(os.path.join(root, place)), place)
        for name in ("zentaracloud", "zentaractl"):
            check(build not in libraries(os.path.realpath(os.path.join(root, "bin", name)), environment), name + " leads to the build folder")

        control = os.path.join(root, "bin/zentaractl")
        profile = os.path.join(folder, "profile")
        told = subprocess.run([control, "--profile", profile, "--help"], env=environment, text=True,
                              capture_output=True, timeout=PATIENCE)
        check(told.returncode == 0 and "zentaractl" in told.stdout, told.stdout + told.stderr)
        listed = subprocess.run([control, "--profile", profile, "albums"], env=environment, text=True,
                                capture_output=True, timeout=PATIENCE)
        check(listed.returncode == 0, listed.stdout + listed.stderr)

        # Its module is loaded from beside it.
        own = os.path.join(folder, "own")
        window = subprocess.Popen([os.path.join(root, "bin/zentaracloud"), "--profile", own], env=environment)
        try:
            end = time.monotonic() + PATIENCE
            while not has_loaded(own) and window.poll() is None and time.monotonic() < end:
                time.sleep(0.05)
            check(has_loaded(own), "the window did not load its module")
            check(window.poll() is None, "the window has ended")
        finally:
            window.terminate()
            window.wait(PATIENCE)
    print("both programs start from the staging folder")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
