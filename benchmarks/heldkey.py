#!/usr/bin/env python3
"""How many pictures a viewer shows while the arrow key is held.

    heldkey.py build/release/bin/viewer_benchmark [PICTURES [RATE]]

Makes PICTURES (60) photographs of twelve megapixels whose middle has a green of its own,
starts an X server without a screen, and opens the first of them in the gallery and in
geeqie and gwenview where these are installed. Then the key goes down and up RATE (30)
times a second while the pixel in the middle of the window is read as often as the server
answers. Printed for each program, in two rounds: pictures that were seen, and the time from
the first key until the last picture stood there.
"""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

WIDTH, HEIGHT = 1440, 900
STEP = 4  # between the greens of two pictures: what JPEG and a viewer's colours leave apart
FIRST = 8
RED, BLUE = 200, 60  # no window's ground has this


class Screen:
    """Pixels of the root window, by Xlib."""

    def __init__(self, display):
        self.x = ctypes.CDLL("libX11.so.6")
        self.x.XOpenDisplay.restype = ctypes.c_void_p
        self.x.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
        self.x.XDefaultRootWindow.restype = ctypes.c_ulong
        self.x.XGetImage.restype = ctypes.c_void_p
        self.x.XGetImage.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_int, ctypes.c_uint,
                                     ctypes.c_uint, ctypes.c_ulong, ctypes.c_int]
        self.x.XGetPixel.restype = ctypes.c_ulong
        self.x.XGetPixel.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int]
        self.x.XDestroyImage.argtypes = [ctypes.c_void_p]
        self.connection = self.x.XOpenDisplay(display.encode())
        self.root = self.x.XDefaultRootWindow(self.connection)

    def pixel(self, x, y):
        image = self.x.XGetImage(self.connection, self.root, x, y, 1, 1, 0xFFFFFFFF, 2)
        value = self.x.XGetPixel(image, 0, 0)
        self.x.XDestroyImage(image)
        return value >> 16 & 255, value >> 8 & 255, value & 255


def number_of(pixel, count):
    """The picture whose green this is; None for anything else."""
    red, green, blue = pixel
    if abs(red - RED) > 6 or abs(blue - BLUE) > 6:
        return None
    number = round((green - FIRST) / STEP)
    return number if 0 <= number < count and abs(green - FIRST - number * STEP) <= 1 else None


def make_pictures(folder, count):
    for i in range(count):
        green = FIRST + i * STEP
        subprocess.run(
            ["ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i",
             "nullsrc=s=1000x750,geq=random(1)*255:128+random(2)*60:128+random(3)*60,scale=4000x3000:flags=bicubic",
             "-vf", f"drawbox=x=1000:y=750:w=2000:h=1500:color=0x{RED:02x}{green:02x}{BLUE:02x}:t=fill",
             "-frames:v", "1", "-q:v", "3", "-pix_fmt", "yuvj420p", f"{folder}/{i:03}.jpg"], check=True)


def settled(screen, at, count, wanted, limit):
    """Reads until `wanted` says so of the pictures seen, or `limit` seconds are over."""
    seen, end = [], time.monotonic() + limit
    while time.monotonic() < end:
        number = number_of(screen.pixel(*at), count)
        if number is not None and (not seen or seen[-1][0] != number):
            seen.append((number, time.monotonic()))
        if wanted(seen):
            break
    return seen


def walk(name, command, key, count, rate, display, environment, folder):
    screen = Screen(display)
    home = tempfile.mkdtemp(dir=folder)
    program = subprocess.Popen(command, env={**environment, "HOME": home, "XDG_CONFIG_HOME": home + "/c",
                                             "XDG_CACHE_HOME": home + "/k", "XDG_DATA_HOME": home + "/d",
                                             "XDG_RUNTIME_DIR": home},
                               start_new_session=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        # There is no window manager that would make it as large as the screen.
        if name != "gallery":
            subprocess.run(["timeout", "10", "xdotool", "search", "--sync", "--onlyvisible", "--class", name, "windowsize",
                            str(WIDTH), str(HEIGHT)], env=environment, stdout=subprocess.DEVNULL)
        # The gallery has its album panel at the left, geeqie and gwenview may have their own.
        for at in [(WIDTH // 2 + 142, HEIGHT // 2 + 20), (WIDTH // 2, HEIGHT // 2)]:
            if settled(screen, at, count, lambda seen: seen and seen[-1][0] == 0, 15):
                break
        else:
            print(f"{name}: the first picture was not seen")
            return
        time.sleep(2)  # Whatever it does when it starts, also reading ahead.
        began = time.monotonic()
        keys = subprocess.Popen(["xdotool", "key", "--clearmodifiers", "--delay", str(1000 // rate), "--repeat",
                                 str(count - 1), "--repeat-delay", str(1000 // rate), key], env=environment)
        seen = settled(screen, at, count, lambda s: s and s[-1][0] == count - 1, 60)
        keys.wait()
        numbers = {number for number, _ in seen if number > 0}
        last = seen[-1][1] - began if seen else 0
        print(f"{name:10} {len(numbers):3} of {count - 1} pictures seen, the last one {seen[-1][0] + 1 if seen else 0} "
              f"after {last:5.2f} s: {len(numbers) / last if last else 0:5.1f} a second", flush=True)
    finally:
        os.killpg(program.pid, signal.SIGKILL)
        program.wait()


def main():
    gallery = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 60
    rate = int(sys.argv[3]) if len(sys.argv) > 3 else 30
    folder = tempfile.mkdtemp(prefix="heldkey-")
    pictures = folder + "/pictures"
    os.mkdir(pictures)
    display = f":{os.getpid() % 1000 + 200}"
    server = subprocess.Popen(["Xvfb", display, "-screen", "0", f"{WIDTH}x{HEIGHT}x24"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        make_pictures(pictures, count)
        environment = {**os.environ, "DISPLAY": display, "QT_QPA_PLATFORM": "xcb", "ZENTARA_SCALE": "100"}
        first = pictures + "/000.jpg"
        for _ in range(2):
            walk("gallery", [gallery, "--window", pictures], "Right", count, rate, display, environment, folder)
            if shutil.which("geeqie"):
                walk("geeqie", ["geeqie", first], "Page_Down", count, rate,
                     display, environment, folder)
            if shutil.which("gwenview"):
                walk("gwenview", ["dbus-run-session", "gwenview", "--fullscreen", first], "Right", count, rate, display, environment,
                     folder)
    finally:
        server.terminate()
        server.wait()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
