"""Drives the real program on a display of its own through its accessible tree.

A Desktop is an X server without a screen, a session bus with the accessibility
service, and zentaracloud with a profile in a folder. Controls are found by the name and
role that a screen reader would tell; mouse and keys are those of the X server.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds that anything may take before it counts as failed
CYCLE = 60  # seconds from one cycle of the sync to the next


class Failed(Exception):
    pass


class Desktop:
    """One in a process: the accessibility service is found once, when it is imported."""

    def __init__(self, bin_folder, size=(1440, 900), scale=100):
        self.bin = bin_folder
        self.size = size
        self.folder = tempfile.mkdtemp(prefix="journey-")
        self.profile = os.path.join(self.folder, "profile")
        self.programs = []
        try:
            self._start_display()
            self._start_bus()
        except BaseException:
            self.close()
            raise
        self.env = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", ZENTARA_SCALE=str(scale),
                        QT_QPA_PLATFORM="xcb", XDG_RUNTIME_DIR=self.folder, TZ="UTC", HOME=self.folder)
        os.chmod(self.folder, 0o700)
        import pyatspi  # Only now: it looks for the bus when it is imported.
        self.atspi = pyatspi
        self.app = None

    def _start_display(self):
        reading, writing = os.pipe()
        wide, tall = self.size
        self.programs.append(subprocess.Popen(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", f"{wide}x{tall}x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=[writing], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        os.close(writing)
        with os.fdopen(reading) as display:
            os.environ["DISPLAY"] = ":" + display.readline().strip()
        os.environ.pop("WAYLAND_DISPLAY", None)

    def _start_bus(self):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                               stdout=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL)
        self.programs.append(bus)
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()

    # --- The program

    def start(self, *files):
        self.log = open(os.path.join(self.folder, "program.log"), "a+")
        self.app = subprocess.Popen([os.path.join(self.bin, "zentaracloud"), "--profile", self.profile, *files],
                                    env=self.env, stdout=self.log, stderr=self.log)
        self.programs.append(self.app)
        self.wait(lambda: self.root() is not None, "the program in the accessible tree")

    def hand_over(self, *files):
        """A second start, which gives its files to the first and ends."""
        subprocess.run([os.path.join(self.bin, "zentaracloud"), "--profile", self.profile, *files], env=self.env,
                       timeout=PATIENCE, check=True)

    def sync(self):
        """Asks the program for a cycle of the sync, and comes back at its end."""
        subprocess.run([os.path.join(self.bin, "zentaractl"), "--profile", self.profile, "sync"], env=self.env,
                       timeout=2 * PATIENCE, check=True, stdout=subprocess.DEVNULL)

    def quit(self):
        if self.app and self.app.poll() is None:
            self.app.terminate()
            self.app.wait(PATIENCE)
        self.app = None

    def kill(self):
        self.app.kill()
        self.app.wait()
        self.app = None

    def serving(self):
        """Whether a photo cloud of this profile runs."""
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{process}/cmdline") as file:
                    words = file.read().split("\0")
            except OSError:  # It has ended.
                continue
            if words[0].endswith("zentara-photocloud") and any(word.startswith(self.profile) for word in words):
                return True
        return False

    def close(self):
        for program in reversed(self.programs):
            if program.poll() is None:
                program.terminate()
                try:
                    program.wait(PATIENCE)
                except subprocess.TimeoutExpired:
                    program.kill()
        shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, kind, value, trace):
        if value is not None:
            self.explain()
        self.close()

    def explain(self):
        """What a failed run leaves to look at: a picture and the tree."""
        place = os.environ.get("ZENTARA_SCREENSHOTS")
        if place:
            self.shot(os.path.join(place, "failed.png"))
        if self.root():
            self.dump(self.root(), sys.stderr)

    # --- The tree

    def root(self):
        if self.app and self.app.poll() is not None:
            self.log.seek(0)
            raise Failed(f"the program ended with {self.app.returncode}:\n{self.log.read()[-4000:]}")
        try:
            for app in self.atspi.Registry.getDesktop(0):
                if app and app.name == "zentaracloud":
                    return app
        except Exception:  # It came or went while it was read.
            pass
        return None

    def walk(self, node):
        try:
            children = list(node)
        except Exception:
            return
        yield node
        for child in children:
            if child is not None:
                yield from self.walk(child)

    def showing(self, node):
        try:
            return node.getState().contains(self.atspi.STATE_SHOWING) and self.box(node)[2] > 0
        except Exception:
            return False

    def box(self, node):
        extents = node.queryComponent().getExtents(self.atspi.DESKTOP_COORDS)
        return extents.x, extents.y, extents.width, extents.height

    def all(self, name=None, role=None, within=None):
        """Shown controls whose name is, or for a function satisfies, `name`."""
        found = []
        for node in self.walk(within or self.root()):
            try:
                right = (name is None or (name(node.name) if callable(name) else node.name == name)) and \
                    (role is None or node.getRoleName() == role)
            except Exception:
                continue
            if right and self.showing(node):
                found.append(node)
        return found

    def find(self, name=None, role=None, within=None):
        found = []

        def look():
            found[:] = self.all(name, role, within)
            return found
        self.wait(look, f"a {role or 'control'} named {name!r}")
        return found[-1]

    def gone(self, name, role=None):
        self.wait(lambda: not self.all(name, role), f"{name!r} to go")

    def content(self, node):
        """What a text field holds."""
        return node.queryText().getText(0, -1)

    def pictures(self):
        return self.all(role="list item", name=lambda name: re.search(r"\.(jpg|png|gif|bmp|heic|nef|mp4)\b", name) is not None)

    def wait(self, condition, what, patience=PATIENCE):
        """The accessible tree tells no end of most changes, so it is asked again."""
        end = time.monotonic() + patience
        while not condition():
            if time.monotonic() > end:
                raise Failed(f"waited {patience} s in vain for {what}")
            time.sleep(0.05)

    def dump(self, node, out=sys.stdout, depth=0):
        try:
            print("  " * depth, node.getRoleName(), repr(node.name), self.box(node) if self.showing(node) else "-",
                  file=out)
            for child in node:
                self.dump(child, out, depth + 1)
        except Exception as error:
            print("  " * depth, "!", error, file=out)

    # --- Mouse, keys, pictures

    def xdo(self, *words):
        subprocess.run(["xdotool", *map(str, words)], check=True)

    def centre(self, node):
        x, y, wide, tall = self.box(node)
        return x + wide // 2, y + tall // 2

    def click(self, node, button=1, times=1, keys=()):
        """`node` is a control, or a point of the screen."""
        x, y = node if isinstance(node, tuple) else self.centre(node)
        self.xdo("mousemove", x, y)
        for key in keys:
            self.xdo("keydown", key)
        self.xdo("click", "--repeat", times, "--delay", 60, button)
        for key in keys:
            self.xdo("keyup", key)

    def press(self, name, role="push button"):
        self.click(self.find(name, role))

    def other(self, program, *words):
        """Another program with a window on the same display, once it is there; its file of words."""
        said = os.path.join(self.folder, program + ".said")
        with open(said, "w") as out:
            self.programs.append(subprocess.Popen([os.path.join(self.bin, program), *words], env=self.env,
                                                  stdout=out, stderr=subprocess.DEVNULL))
        self.wait(lambda: self.said(said, "ready"), f"{program} to be there")
        return said

    @staticmethod
    def said(file, word):
        with open(file) as words:
            return word in words.read()

    def end_other(self):
        program = self.programs.pop()
        program.terminate()
        program.wait(PATIENCE)

    def carry(self, start, end, there):
        """A drag between programs: moves about at `end` until `there` says that it is taken there."""
        self.xdo("mousemove", *start, "mousedown", 1)
        for part in range(1, 6):
            self.xdo("mousemove", start[0] + part * 4, start[1] + part * 2)
        step = [0]

        def arrive():
            step[0] += 1
            self.xdo("mousemove", end[0] + step[0] % 7, end[1])
            return there()
        try:
            self.wait(arrive, "a drag to be taken")
        finally:
            self.xdo("mouseup", 1)

    def drag(self, start, end):
        self.xdo("mousemove", *start, "mousedown", 1)
        for part in range(1, 9):
            self.xdo("mousemove", *(int(a + (b - a) * part / 8) for a, b in zip(start, end)))
        self.xdo("mouseup", 1)

    def key(self, *names):
        self.xdo("key", *names)

    def hold(self, key, times):
        """A key that repeats."""
        self.xdo("key", "--delay", 15, "--repeat", times, "--repeat-delay", 15, key)

    def type(self, text):
        self.xdo("type", "--delay", 15, text)

    def wheel(self, at, clicks):
        self.xdo("mousemove", *at, "click", "--repeat", abs(clicks), "--delay", 20, 5 if clicks > 0 else 4)

    def rest(self, looks=20):
        """Until two pictures of the screen are the same; a ring that turns never is."""
        self.xdo("mousemove", 1, 1)
        last = None
        for _ in range(looks):
            now = subprocess.run(["import", "-silent", "-window", "root", "rgb:-"], capture_output=True).stdout
            if now == last:
                return
            last = now

    def shot(self, path):
        subprocess.run(["import", "-silent", "-window", "root", path], check=True)
