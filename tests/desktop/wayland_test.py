"""Starts the window under a Wayland compositor without a screen: it comes up, shows itself and ends."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading

PATIENCE = 120


def watch(stream, wanted, seen):
    """Reads on to the end, so that the program is never held up, and tells of what was waited for."""
    for line in stream:
        if wanted in line:
            seen.set()


def main(program):
    if not shutil.which("weston"):
        print("weston is not here")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        runtime = os.path.join(folder, "runtime")
        os.mkdir(runtime, 0o700)
        environment = dict(os.environ, XDG_RUNTIME_DIR=runtime, WAYLAND_DISPLAY="wayland-test",
                           QT_QPA_PLATFORM="wayland", ZENTARA_SCALE="100", WAYLAND_DEBUG="1",
                           XDG_CONFIG_HOME=os.path.join(folder, "config"))
        environment.pop("DISPLAY", None)
        weston = subprocess.Popen(
            ["weston", "--backend=headless-backend.so", "--use-pixman", "--socket=wayland-test", "--no-config", "--idle-time=0"],
            env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        ready = threading.Event()
        threading.Thread(target=watch, args=(weston.stdout, "launching", ready), daemon=True).start()
        try:
            if not ready.wait(PATIENCE):
                print("the compositor did not start")
                return 1
            window = subprocess.Popen([program, "--profile", os.path.join(folder, "profile")],
                                      env=environment, stderr=subprocess.PIPE, text=True, errors="replace")
            # The compositor says of a surface with contents on which output it stands.
            shown = threading.Event()
            reader = threading.Thread(target=watch, args=(window.stderr, ".enter(wl_output", shown), daemon=True)
            reader.start()
            came = shown.wait(PATIENCE)
            alive = window.poll() is None
            window.send_signal(signal.SIGTERM)
            status = window.wait(PATIENCE)
            reader.join(PATIENCE)
            print("shown:", came, "alive:", alive, "status:", status)
            return 0 if came and alive and status in (0, -signal.SIGTERM) else 1
        finally:
            weston.terminate()
            weston.wait(PATIENCE)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
