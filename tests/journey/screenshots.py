"""Pictures of every window; see scripts/screenshots."""

import itertools
import json
import os
import shutil
import subprocess
import sys
import tempfile

from driver import Desktop

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BIN = os.path.join(ROOT, "build", "release", "bin")
SCALES, THEMES, LANGUAGES = ["100", "150", "200"], ["light", "dark"], ["en-GB", "de-DE", "zh-CN", "ar"]
ALBUMS = [("Norway", 110), ("Garden", 40), ("Winter", 70), ("Walks", 100)]


def make_pictures(folder):
    """A folder for each album, from the demo pictures or the user's own."""
    source = os.environ.get("PICTURES")
    made = os.path.join(folder, "made")
    if not source:
        subprocess.run([os.path.join(BIN, "zentara-demopictures"), made, str(sum(n for _, n in ALBUMS))], check=True)
        source = made
    names = sorted(os.path.join(where, name) for where, _, files in os.walk(source) for name in files)
    albums, used = [], 0
    for k, (album, _) in enumerate(ALBUMS):
        target = os.path.join(folder, album)
        os.mkdir(target)
        # Every fourth one, so that each album reaches over all dates.
        for name in names[k::len(ALBUMS)]:
            shutil.copy2(name, target)
        albums.append(target)
    add_film_and_burst(albums[0], names[0], names[1:20:4])  # none that the folder has already
    return albums


def add_film_and_burst(folder, picture, shots):
    """Newer than all pictures, so that they come first."""
    film = os.path.join(folder, "VID_20240614.mp4")
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-loop", "1", "-i", picture, "-f", "lavfi", "-i", "sine=330",
                    "-t", "120", "-vf", "scale=1280:-2", "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p",
                    "-c:a", "aac", "-metadata", "creation_time=2024-06-14T19:50:00", film], check=True)
    os.utime(film, (1718394600, 1718394600))
    for number, shot in enumerate(shots, 1):
        name = f"IMG_20240614_BURST{number:03d}{'_COVER' if number == 1 else ''}.jpg"
        target = os.path.join(folder, name)
        shutil.copyfile(shot, target)
        os.utime(target, (1718394300, 1718394300))


def control(profile, *words):
    return subprocess.run([os.path.join(BIN, "zentaractl"), "--profile", profile, "--json", *words],
                          check=True, capture_output=True, text=True).stdout


class PhotoCloud:
    """A service on loopback with one user, anna."""

    def __init__(self, folder):
        self.password = os.path.join(folder, "password")
        data = os.path.join(folder, "cloud")
        with open(self.password, "w") as file:
            file.write("wide open fields\n")
        server = os.path.join(BIN, "zentara-photocloud")
        subprocess.run([server, "user", "add", "anna", "--data", data, "--password-file", self.password], check=True,
                       stdout=subprocess.DEVNULL)
        self.process = subprocess.Popen([server, "serve", "--data", data, "--listen", "127.0.0.1:0"],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.address = "http://" + self.process.stdout.readline().split()[2]

    def close(self):
        self.process.terminate()
        self.process.wait()


def prepare(folder, cloud):
    profile = os.path.join(folder, "profile")
    control(profile, "login", "--server", cloud.address, "--user", "anna", "--password-file", cloud.password)
    control(profile, "import", *make_pictures(folder))
    control(profile, "album", "create", "Prints")
    control(profile, "sync")
    ids = [json.loads(line)["id"] for line in control(profile, "ls").splitlines() if '"id"' in line]
    control(profile, "favorite", *ids[3::17])
    control(profile, "recycle", *ids[5:60:7])
    control(profile, "sync")
    configure(profile, DesktopCloudChosen=1)
    return profile


def configure(profile, **settings):
    path = os.path.join(profile, "config", "ZentaraCloud", "settings.json")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    stored = {}
    if os.path.exists(path):
        with open(path) as file:
            stored = json.load(file)
    stored.update(settings)
    with open(path, "w") as file:
        json.dump(stored, file)


class Tour:
    """One walk through all windows in one look."""

    def __init__(self, target, folder, prepared, scale, theme, language):
        self.name = f"{scale}-{theme}-{language}"
        self.target = os.path.join(target, self.name)
        os.makedirs(self.target, exist_ok=True)
        with open(os.path.join(ROOT, "resources", "language", language + ".json")) as file:
            self.texts = json.load(file)
        self.scale = int(scale)
        self.language = language
        self.looks = {"DesktopTheme": theme, "DesktopLanguage": language}
        self.fresh = os.path.join(folder, "fresh-" + self.name)
        self.profile = os.path.join(folder, "profile-" + self.name)
        shutil.copytree(prepared, self.profile)

    def text(self, key):
        return self.texts[key]

    def plural(self, key, number):
        digits = str(number).translate(str.maketrans("0123456789", "٠١٢٣٤٥٦٧٨٩")) if self.language == "ar" else str(number)
        return self.text(key).replace("%d", digits)

    def press(self, key, role=None):
        self.d.click(self.d.find(self.text(key), role))

    def shot(self, name, looks=20):
        self.d.rest(looks)
        self.d.shot(os.path.join(self.target, name + ".png"))

    def show(self):
        configure(self.fresh, **self.looks)
        configure(self.profile, **self.looks)
        with Desktop(BIN, (1440 * self.scale // 100, 900 * self.scale // 100), self.scale) as self.d:
            self.d.profile = self.fresh
            self.first_run()
            self.d.quit()
            self.d.profile = self.profile
            self.gallery()

    def first_run(self):
        self.d.start()
        self.d.find(self.text("IDS_FIRSTRUN_NEXT"))
        self.shot("first-run")
        self.press("IDS_FIRSTRUN_SERVER", "radio button")
        self.d.click(self.d.all(role="text")[0])
        self.d.type("http://127.0.0.1:1")
        self.press("IDS_FIRSTRUN_NEXT")
        self.d.find(self.text("IDS_LOGIN_UNREACHABLE"))
        self.shot("first-run-refused")
        self.d.click(self.d.all(role="text")[0], times=3)
        self.d.type(os.environ["CLOUD"])
        self.press("IDS_FIRSTRUN_NEXT")
        self.d.find(self.text("IDS_FIRSTRUN_SIGN_IN"))
        self.shot("first-run-login")
        self.press("IDS_FIRSTRUN_BACK")
        self.shot("first-run-answers")
        self.press("IDS_FIRSTRUN_LATER")
        self.d.find(self.text("IDS_GALLERY_EMPTY_PICTURES_TITLE"))
        self.shot("empty-gallery")
        self.press("IDS_GALLERY_ALBUM_DELETE", "check box")
        self.d.find(self.text("IDS_GALLERY_EMPTY_BIN_TITLE"))
        self.shot("empty-bin")
        for page in ("HOME", "TRANSFERS", "SETTINGS"):
            self.press("IDS_NAV_" + page, "check box")
            self.shot("empty-" + page.lower())

    def gallery(self):
        self.d.start()
        self.d.wait(lambda: len(self.d.pictures()) > 8, "pictures")
        self.shot("timeline")
        first, *_, last = self.d.pictures()
        self.d.click(self.d.pictures()[1])
        self.d.click(self.d.pictures()[6], keys=["shift"])
        self.shot("selection")
        self.press("IDS_GALLERT_BTN_DELETE", "push button")
        self.shot("delete-dialog")
        self.press("IDS_GALLERT_BTN_CANCEL", "push button")
        self.press("IDS_GALLERY_MOVE", "push button")
        self.shot("move-dialog")
        self.press("IDS_GALLERT_BTN_CANCEL", "push button")
        self.d.click(self.d.pictures()[2], button=3)
        self.shot("menu")
        self.d.key("Escape", "Escape")
        self.d.click(self.d.pictures()[3])
        self.press("IDS_GALLERY_DOWNLOAD", "push button")
        self.shot("download-dialog")
        self.d.click(self.d.find(self.text("IDS_GALLERY_DOWNLOAD"), "push button"))
        self.shot("download-toast")
        self.viewer()
        self.press("IDS_GALLERY_NEW_ALBUM", "push button")
        self.shot("new-album")
        self.d.key("Escape")
        self.press("IDS_GALLERY_SMALLER", "push button")
        self.shot("timeline-smallest")
        self.d.click(self.d.find("Garden", "check box"))
        self.shot("album")
        self.press("IDS_GALLERY_LARGER", "push button")
        self.shot("album-largest")
        self.d.click(self.d.find("Garden", "check box"), button=3)
        self.shot("album-menu")
        self.d.key("Escape")
        self.d.click(self.d.find("Prints", "check box"))
        self.shot("empty-album")
        self.press("IDS_GALLERY_ALBUM_DELETE", "check box")
        self.shot("recycle-bin")
        self.d.click(self.d.pictures()[1])
        self.d.click(self.d.pictures()[3], keys=["ctrl"])
        self.shot("recycle-bin-selection")
        for page in ("HOME", "TRANSFERS", "SETTINGS"):
            self.press("IDS_NAV_" + page, "check box")
            self.shot(page.lower())
        self.d.wheel((self.d.size[0] // 2, self.d.size[1] // 2), 60)
        self.shot("settings-end")
        self.press("IDS_SETTINGS_LICENCES", "push button")
        self.shot("licences-dialog")
        self.d.key("Escape")
        self.d.gone(self.text("IDS_LICENCES_TEXT"))
        self.d.wheel((self.d.size[0] // 2, self.d.size[1] // 2), -60)
        self.press("IDS_SETTINGS_SHOW", "push button")
        self.shot("devices-dialog")
        self.d.key("Escape")
        self.d.gone(self.text("IDS_DEVICES_CURRENT"))
        self.d.click(self.d.all(self.text("IDS_SETTINGS_CHANGE"), "push button")[0])
        self.shot("password-dialog")


    def viewer(self):
        self.d.click(self.d.pictures()[4], times=2)
        self.d.find(self.text("IDS_VIEWER_ROTATE"))
        self.shot("viewer")
        self.press("IDS_VIEWER_DETAILS", "check box")
        self.shot("viewer-details")
        self.press("IDS_VIEWER_DETAILS", "check box")
        self.d.key("f")
        self.shot("viewer-favourite")
        self.d.key("f", "plus", "plus", "plus", "plus")
        self.shot("viewer-zoomed")
        self.d.key("F11")
        self.shot("full-screen")
        self.d.key("Escape")
        self.d.key("Escape")
        self.d.click(self.d.pictures()[1], times=2)
        self.d.find(self.text("IDS_VIEWER_ROTATE"))
        shots = "IDS_VIEWER_SHOTS_" + ("FEW" if self.language == "ar" else "OTHER")
        self.d.click(self.d.find(self.plural(shots, 5)))
        self.shot("burst")
        self.d.key("Escape")
        self.d.key("Escape")
        self.d.click(self.d.pictures()[0], times=2)
        self.d.click(self.d.find(self.text("IDS_VIEWER_PLAY")))
        self.d.find(self.text("IDS_PLAYER_VOLUME"))
        self.shot("player", looks=3)  # A film never rests.
        self.d.click(self.d.find(lambda name: name.endswith("X"), "push button"))
        self.shot("player-speed", looks=3)
        self.d.key("Escape")
        self.press("IDS_PLAYER_VOLUME")
        self.shot("player-volume", looks=3)
        self.d.key("Escape")
        self.d.key("Escape")
        self.d.wait(lambda: not self.d.all(self.text("IDS_VIEWER_ROTATE")), "the viewer to go")


def main():
    target, *look = sys.argv[1:]
    prepared = os.environ.get("PREPARED")
    with tempfile.TemporaryDirectory(prefix="screenshots-") as folder:
        if prepared:
            Tour(target, folder, prepared, *look).show()
            return 0
        looks = [look] if look else itertools.product(SCALES, THEMES, LANGUAGES)
        cloud = PhotoCloud(folder)
        environment = dict(os.environ, ZENTARA_STILL="1", PREPARED=prepare(folder, cloud), CLOUD=cloud.address)
        failed = [look for look in looks
                  if subprocess.run([sys.executable, __file__, target, *look], env=environment).returncode]
        cloud.close()
        for look in failed:
            print("failed:", *look, file=sys.stderr)
        return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
