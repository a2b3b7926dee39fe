#!/usr/bin/env python3
"""Makes the pictures of the documents: make.py TYKSIM

A picture that looks like the one that is there does not replace it: the recording's date and the
browser's rounding would otherwise change the file at every run.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from PIL import Image, ImageChops

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "tests/page"))
sys.dont_write_bytecode = True
from browser import Browser  # noqa: E402


def damaged_tree(tyksim, folder):
    """A burst with the damage of a full disk, and without one file."""
    tree = folder / "phone"
    subprocess.run([tyksim, "record", tree, "--frames", "24", "--fps", "30", "--size", "1280x960"], check=True,
                   capture_output=True)
    frames = sorted(tree.glob("data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*"))
    os.truncate(next(frames[10].glob("FCWH_*")), 700000)
    next(frames[17].glob("FCPDT_*_KELV_TAG_WB_GAINS.bin")).unlink()
    return tree


def tuned_tree(tree, folder):
    """The same burst with a tone curve that is strongest in its middle."""
    other = folder / "tuned"
    shutil.copytree(tree, other)
    frames = sorted(other.glob("data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*"))
    for number, frame in enumerate(frames):
        exponent = 1 - 0.012 * min(number, len(frames) - number)
        curve = bytes(round(255 * (level / 255) ** exponent) for level in range(256))
        image = next(frame.glob("FCWH_*"))
        samples = image.read_bytes()
        luma = len(samples) * 2 // 3
        image.write_bytes(samples[:luma].translate(curve) + samples[luma:])
    return other


def looks_different(picture, other):
    """Whether more than one pixel in 200 differs visibly; the digits of a date are fewer."""
    with Image.open(picture) as one, Image.open(other) as two:
        if one.size != two.size:
            return True
        difference = ImageChops.difference(one.convert("L"), two.convert("L"))
    visible = sum(difference.histogram()[32:])
    return visible > difference.width * difference.height / 200


def keep(made, picture):
    """Replaces the picture in the documents if the new one looks different."""
    if picture.exists() and not looks_different(made, picture):
        print(f"{picture.name}: looks as before, kept")
        return
    shutil.copyfile(made, picture)
    print(f"{picture.name}: made")


def main():
    tyksim = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as folder, Browser() as browser:
        os.chdir(folder)
        tree = damaged_tree(tyksim, pathlib.Path(folder))
        tuned_tree(tree, pathlib.Path(folder))
        subprocess.run([tyksim, "sheet", "phone", "-o", "phone.html", "--against", "tuned"], stdout=subprocess.DEVNULL)
        browser.window(1280, 800)
        browser.open(pathlib.Path(folder) / "phone.html", "#pipe=1&task=1&frame=13&mode=split&split=600")
        browser.until("view.a && view.b")
        made = pathlib.Path(folder) / "sheet.png"
        browser.picture(made)
        keep(made, HERE / "sheet.png")


if __name__ == "__main__":
    main()
