#!/usr/bin/env python3
"""Makes the pictures of the documents: make.py TYKSIM"""
import os
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "tests/page"))
sys.dont_write_bytecode = True
from browser import Browser  # noqa: E402


def damaged_tree(tyksim, folder):
    """A burst as a full disk and a missing file leave it."""
    tree = folder / "phone"
    subprocess.run([tyksim, "record", tree, "--frames", "24", "--size", "1280x960"], check=True,
                   capture_output=True)
    frames = sorted(tree.glob("data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*"))
    os.truncate(next(frames[10].glob("FCWH_*")), 700000)
    next(frames[17].glob("FCPDT_*_KELV_TAG_WB_GAINS.bin")).unlink()
    return tree


def main():
    tyksim = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as folder, Browser() as browser:
        os.chdir(folder)
        damaged_tree(tyksim, pathlib.Path(folder))
        subprocess.run([tyksim, "sheet", "phone", "-o", "phone.html"], stdout=subprocess.DEVNULL)
        browser.window(1280, 800)
        browser.open(pathlib.Path(folder) / "phone.html", "#pipe=1&task=1&frame=11")
        browser.picture(HERE / "sheet.png")


if __name__ == "__main__":
    main()
