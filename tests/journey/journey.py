"""A person's first hour with the gallery, from the first start to the log-out.

    journey.py BIN

Each step is checked by what the screen tells, and where files are the matter by the
files. With ZENTARA_SCREENSHOTS=FOLDER a failure leaves a picture there.
"""

import filecmp
import os
import re
import subprocess
import sys

from driver import CYCLE, Desktop, Failed, PATIENCE

PICTURES = 90
KINDS = 100  # beside the demonstration set
BESIDE = (1300, 200)  # where the window of the other program lies


def number(text):
    found = re.search(r"\d+", text)
    return int(found.group()) if found else 0


class Journey:
    def __init__(self, desktop):
        self.d = desktop
        self.folder = os.path.join(desktop.folder, "Trip")
        subprocess.run([os.path.join(desktop.bin, "zentara-demopictures"), self.folder, str(PICTURES)], check=True)

    # --- What the screen tells

    def photos(self):
        """How many photographs the title row counts; none while it shows no count."""
        labels = self.d.all(lambda name: re.match(r"\d+ photos?\b", name) is not None, "label")
        return number(labels[0].name) if labels else 0

    def chosen(self):
        chips = self.d.all(lambda name: re.fullmatch(r"\d+ files? selected", name) is not None)
        return number(chips[0].name) if chips else 0

    def names(self):
        return [node.name.split(",")[0] for node in self.d.pictures()]

    def in_sight(self):
        """Pictures whose middle lies in the list, not below its edge."""
        return [node for node in self.d.pictures() if 100 < self.d.centre(node)[1] < 880]

    def expect(self, condition, what, patience=PATIENCE):
        self.d.wait(condition, what, patience)

    def album(self, name):
        self.d.click(self.d.find(name, "check box"))

    # --- Steps

    def first_start(self):
        self.d.start()
        self.d.press("Next")
        self.d.find("No pictures yet", "label")

    def bring_a_folder(self):
        self.d.hand_over(self.folder)
        self.expect(lambda: self.photos() == PICTURES, f"{PICTURES} photos in the time line")
        self.expect(lambda: self.in_sight(), "pictures")
        self.d.sync()  # The next cycle by itself may be a minute away.
        self.expect(lambda: not any("waiting for upload" in node.name for node in self.d.pictures()),
                    "all pictures in the photo cloud", PATIENCE + CYCLE)  # One may have missed the first.
        self.d.find(lambda name: name.startswith("Updated"), "label")

    def scroll(self):
        before = self.names()
        self.d.wheel(self.d.centre(self.in_sight()[0]), 12)
        self.expect(lambda: self.names() and self.names() != before, "other pictures after a scroll")
        self.d.key("Home")
        self.expect(lambda: self.names()[:1] == before[:1], "the first pictures again")

    def zoom(self):
        wide = self.d.box(self.in_sight()[0])[2]
        self.d.press("Larger pictures")
        self.expect(lambda: self.in_sight() and self.d.box(self.in_sight()[0])[2] > wide * 1.3, "larger pictures")
        self.d.press("Smaller pictures")
        self.expect(lambda: self.in_sight() and self.d.box(self.in_sight()[0])[2] < wide * 0.7, "smaller pictures")

    def select(self):
        if self.d.all(lambda name: name.startswith("Select several pictures here")):
            self.d.press("Close")
        cells = self.in_sight()
        self.d.click(cells[0])
        self.d.click(cells[4], keys=["shift"])
        self.expect(lambda: self.chosen() == 5, "five pictures chosen with Shift")
        self.d.click(cells[7], keys=["ctrl"])
        self.expect(lambda: self.chosen() == 6, "six with one more by Ctrl")
        self.d.key("Escape")
        self.expect(lambda: self.chosen() == 0, "nothing chosen after Escape")
        self.d.click(self.in_sight()[0], keys=["ctrl"])
        self.d.press("Select", None)
        self.expect(lambda: self.chosen() == 20, "the twenty pictures of the first day chosen by its date")

    def create_an_album_and_move(self):
        self.d.press("Move")
        self.d.find("Move to", "label")
        self.d.click(self.d.all("New album", "push button")[-1])  # The dialog's, not the panel's.
        self.d.find("Album name", "text")
        self.d.type("Best")
        self.d.press("Create")
        self.d.gone("Album name", "text")
        dialog_button = [node for node in self.d.all("Move", "push button")][-1]
        self.d.click(dialog_button)
        self.d.find(lambda name: name.startswith("20 files moved to Best"))
        self.album("Best")
        self.expect(lambda: self.photos() == 20, "twenty photos in the new album")

    def delete_and_restore(self):
        self.expect(lambda: len(self.in_sight()) >= 3, "pictures of the album")
        self.d.click(self.in_sight()[0])
        self.d.click(self.in_sight()[2], keys=["shift"])
        self.d.key("Delete")
        self.d.find("Delete 3 files?", "label")
        self.d.click(self.d.all("Delete", "push button")[-1])
        self.expect(lambda: self.photos() == 17, "seventeen photos after the deletion")
        self.album("Recently deleted")
        self.expect(lambda: len(self.in_sight()) == 3, "three files in the bin")
        self.d.key("ctrl+a")
        self.expect(lambda: self.chosen() == 3, "all three chosen")
        self.d.press("Restore")
        self.d.find("Nothing here", "label")
        self.album("Best")
        self.expect(lambda: self.photos() == 20, "twenty photos again")

    def download(self):
        self.expect(lambda: self.in_sight(), "pictures of the album")
        name = self.names()[0]
        target = os.path.join(self.d.folder, "out")
        os.mkdir(target)
        self.d.click(self.in_sight()[0])
        self.d.press("Download")
        self.d.click(self.d.find(lambda name: "downloads" in name or name == "Save in", "text"))
        self.d.key("ctrl+a")
        self.d.type(target)
        self.d.click(self.d.all("Download", "push button")[-1])
        there = os.path.join(target, name)
        self.expect(lambda: os.path.exists(there), f"{name} in the folder")
        if not filecmp.cmp(there, os.path.join(self.folder, name), shallow=False):
            raise Failed(f"{name} came back with other bytes")

    def look_at_pictures(self):
        self.album("Pictures")
        self.expect(lambda: len(self.in_sight()) > 9, "the time line")
        self.d.click(self.in_sight()[3], times=2)
        self.d.find("Rotate", "push button")
        for _ in range(4):
            self.d.press("Next")
        self.d.key("Left", "Right", "Right")
        self.d.key("plus", "plus", "0")
        self.d.press("Rotate")
        self.d.press("Add to favourites")
        self.d.find("Remove from favourites", "push button")
        self.d.click(self.d.find("Details", "check box"))
        name = self.d.content(self.d.find("Name", "text"))
        if name != "IMG_2009.jpg":
            raise Failed(f"{name} is shown instead of the fifth one on")
        self.d.key("F11")
        self.d.find("Leave full screen", "push button")
        self.d.key("Right", "Left")
        self.d.key("F11")
        self.d.gone("Leave full screen", "push button")
        self.d.press("Back")
        self.d.gone("Rotate", "push button")
        self.expect(lambda: any("IMG_2009.jpg" in node.name and "selected" in node.name for node in self.in_sight()),
                    "the grid on the picture that was looked at")
        self.album("Favourites")
        self.expect(lambda: self.names() == ["IMG_2009.jpg"], "the picture among the favourites")

    def drag_out(self):
        self.album("Best")
        self.expect(lambda: self.photos() == 20 and self.in_sight(), "the pictures of the album")
        place = os.path.join(self.d.folder, "dragged")
        os.mkdir(place)
        said = self.d.other("dragtarget", "uris", place)
        cell = self.in_sight()[0]
        name = cell.name.split(",")[0]
        self.d.carry(self.d.centre(cell), BESIDE, lambda: self.d.said(said, "over"))
        self.expect(lambda: self.d.said(said, "done 1"), "the other program to have the picture")
        if not filecmp.cmp(os.path.join(place, name), os.path.join(self.folder, name), shallow=False):
            raise Failed(f"{name} was dragged out with other bytes")
        self.d.end_other()

    def drop_in(self):
        """Single files that another program drops: the page asks for their album."""
        self.album("Pictures")
        self.expect(lambda: self.photos() == PICTURES and self.in_sight(), "the time line")
        files = [os.path.join(self.d.folder, name) for name in ("harbour.jpg", "bridge.jpg")]
        for shade, file in enumerate(files):
            subprocess.run(["convert", "-size", "640x480", f"gradient:hsl({shade * 90},60%,50%)-black", file], check=True)
            os.utime(file, (1.7e9, 1.7e9))  # One of this second may still be being written.
        said = self.d.other("dragsource", *files)
        self.d.carry(BESIDE, self.d.centre(self.in_sight()[1]), lambda: self.d.said(said, "taken"))
        self.expect(lambda: self.d.said(said, "done copy"), "the drop to be taken")
        self.d.find("Upload to", "label")
        self.d.end_other()  # Not before: it is asked for the files once it has dropped them.
        self.d.click(self.d.find("Best", "list item"))
        self.d.click(self.d.all("Upload", "push button")[-1])
        self.d.find(lambda name: name.startswith("2 files added"))
        self.expect(lambda: self.photos() == PICTURES + 2, "two photos more")
        self.album("Best")
        self.expect(lambda: self.photos() == 22 and "harbour.jpg" in self.names(), "both in the album that was chosen")
        for file in files:
            if not os.path.exists(file):
                raise Failed(f"{file} is gone from where it lay")

    def play_a_film(self):
        clips = os.path.join(self.d.folder, "Clips")
        os.mkdir(clips)
        film = os.path.join(clips, "film.mp4")
        subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", "testsrc2=s=320x180:r=25:d=20",
                        "-c:v", "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", film], check=True)
        os.utime(film, (1.7e9, 1.7e9))  # One of this second may still be being written.
        self.d.hand_over(clips)
        self.album("Clips")
        self.expect(lambda: "film.mp4" in self.names(), "the film in its album")
        film = [node for node in self.d.pictures() if node.name.startswith("film.mp4")][0]
        self.d.click(film, times=2)
        self.d.press("Play")
        self.d.find("Pause", "push button")
        self.d.find(lambda name: re.match(r"00:00:(0[1-9]|1\d)/00:00:20", name) is not None, "label")
        self.d.press("Back")
        self.d.gone("Pause", "push button")

    # --- In the viewer

    def open_details(self):
        self.d.click(self.d.find("Details", "check box"))
        self.pane = self.d.find("Name", "text").parent.parent.parent  # Its rows are new for each picture.

    def detail(self, label):
        return self.d.content(self.d.find(label, "text", self.pane))

    def after(self, key):
        """The name of the picture that the key brings."""
        name = self.detail("Name")
        self.d.key(key)
        self.expect(lambda: self.detail("Name") != name, f"another picture than {name}")
        return self.detail("Name")

    def has_next(self):
        return bool(self.d.all("Next", "push button"))

    def walk_through_all_kinds(self):
        """More than two hundred, with a burst, a moving picture, films and six formats."""
        kinds = os.path.join(self.d.folder, "Kinds")
        subprocess.run([os.path.join(self.d.bin, "zentara-pictureset"), kinds, str(KINDS)], check=True)
        files = os.listdir(kinds)
        behind = sum("BURST" in name for name in files) - 1  # Only its cover is counted.
        films = sum(name.endswith(".mp4") for name in files)
        self.shown = PICTURES + 2 + len(files) - behind - films
        self.d.hand_over(kinds)
        self.album("Pictures")
        self.expect(lambda: self.photos() == self.shown, f"{self.shown} photos", 2 * PATIENCE)
        self.d.key("Home")
        self.expect(lambda: self.in_sight(), "the time line")
        self.d.click(self.in_sight()[0], times=2)
        self.d.find("Rotate", "push button")
        all_files = self.shown + films + 1  # The film of before.
        self.d.hold("Right", all_files - 2)
        self.expect(self.has_next, "one more picture than steps")
        self.d.key("Right")
        self.d.gone("Next", "push button")
        self.open_details()
        formats = {self.after("Left").split(".")[-1] for _ in range(6)}
        if formats != {"heic", "bmp", "jpg", "png", "gif"}:
            raise Failed(f"the last pictures are {formats}")

    def look_into_a_burst(self):
        self.d.key("Home")
        raw = False
        for _ in range(60):
            name = self.after("Right")
            raw = raw or name.endswith(".nef")
            if "BURST" in name:
                break
        if not raw:
            raise Failed("no raw picture among those of the burst's day")
        self.d.press(lambda name: re.fullmatch(r"\d+ shots", name) is not None)
        self.expect(lambda: "BURST" in self.detail("Name"), "a shot of the burst")
        first = self.detail("Name")
        if "BURST" not in self.after("Right"):
            raise Failed("the shot behind the first one is no shot")
        self.d.press("Back")
        self.expect(lambda: self.detail("Name") == first, "the picture that stands for the burst")

    def delete_in_the_viewer(self):
        name = self.after("Right")
        if "BURST" in name:
            raise Failed(f"{name} stands behind its burst")
        self.d.key("Delete")
        self.d.find("Delete this file?", "label")
        self.d.click(self.d.all("Delete", "push button")[-1])
        self.expect(lambda: self.detail("Name") != name, "the next picture in the viewer")
        self.d.press("Back")
        self.d.gone("Rotate", "push button")
        self.shown -= 1
        self.expect(lambda: self.photos() == self.shown, f"{self.shown} photos behind the deletion")

    def log_out(self):
        self.d.click(self.d.find("Settings", "check box"))
        self.d.press("Sign out")
        self.d.find("A photo cloud on this computer", "radio button")
        # The gallery belongs to the account, and is there again with it.
        self.d.press("Next")

        # Until the login is through a click is for the page that asks.
        def opened():
            there = self.photos() == self.shown
            for button in [] if there else self.d.all("Gallery", "check box"):
                self.d.click(button)
            return there
        self.expect(opened, f"{self.shown} photos after the next log-in")

    def leave_nothing_behind(self):
        if not self.d.serving():
            raise Failed("the photo cloud on this computer does not run")
        self.d.kill()
        self.expect(lambda: not self.d.serving(), "the photo cloud to end with the window")

    def walk(self):
        for step in (self.first_start, self.bring_a_folder, self.scroll, self.zoom, self.select,
                     self.create_an_album_and_move, self.delete_and_restore, self.download,
                     self.look_at_pictures, self.drag_out, self.drop_in, self.play_a_film,
                     self.walk_through_all_kinds, self.look_into_a_burst, self.delete_in_the_viewer, self.log_out, self.leave_nothing_behind):
            print(step.__name__.replace("_", " "), flush=True)
            step()


def main():
    with Desktop(os.path.abspath(sys.argv[1])) as desktop:
        Journey(desktop).walk()


if __name__ == "__main__":
    main()
