#!/usr/bin/env python3
"""Compares the times of the Python package with those of the program and of other packages.

    python.py TYKSIM [PROCESSOR.so]

PYTHONPATH has the package; PROCESSOR.so is a processor in C that does nothing. Each row runs both
sides in turn for several rounds and compares their shortest times. The exit status is 1 if a figure
exceeds its limit.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

ROUNDS = int(os.environ.get("ROUNDS", "5"))


def seconds(action):
    began = time.perf_counter()
    action()
    return time.perf_counter() - began


def shortest(name, ours, theirs, what):
    """Runs both in turn, prints their shortest times and returns these in seconds."""
    best = [float("inf"), float("inf")]
    for _ in range(ROUNDS):
        for side, action in enumerate((ours, theirs)):
            best[side] = min(best[side], seconds(action))
    print(f"{name:44} {what:32} {best[0] * 1e3:9.2f} {best[1] * 1e3:9.2f} ms ", end="")
    return best


def within(figure, limit, unit=""):
    """Whether a figure keeps its limit; prints both."""
    print(f"{figure:6.2f}{unit} (limit {limit}{unit}){'' if figure <= limit else '  over'}", flush=True)
    return figure <= limit


def compare(name, limit, ours, theirs, what):
    """Whether the ratio of the shortest times keeps its limit."""
    best = shortest(name, ours, theirs, what)
    return within(best[0] / best[1], limit)


def shell(*words):
    return lambda: subprocess.run([str(word) for word in words], check=True,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def many_frames(work, tyksim, count):
    """A tree whose frames share their files."""
    root = work / "many"
    shell(tyksim, "record", root, "--frames", 1, "--size", "16x16")()
    task = next(root.rglob("*_task_*"))
    first = next(task.iterdir())
    for number in range(2, count + 1):
        folder = task / f"{1000000000000 + number}_reqID_{number}_sofID_{number}"
        folder.mkdir()
        for file in first.iterdir():
            os.link(file, folder / file.name)
    return root


def do_import():
    """Whether the package adds little to the import of numpy."""
    python = [sys.executable, "-c"]
    ours, theirs = shortest("import tyksim (with numpy)", shell(*python, "import tyksim"),
                            shell(*python, "import numpy"), "import numpy")
    return within((ours - theirs) * 1e3, 100, " ms more")


def main(tyksim, processor=None):
    import numpy as np
    import tyksim as package

    fine = True
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        work = pathlib.Path(folder)
        fine &= do_import()
        root = many_frames(work, tyksim, 10000)
        fine &= compare("open(), 10,000 frames", 1.2, lambda: package.open(root),
                        shell(tyksim, "info", root), "tyksim info")
        names = ["total_gain", "exp_time", "cur_ev", "sx"]
        tree = package.open(root)
        fine &= compare("track() of four names", 1.3, lambda: tree.track(*names),
                        shell(tyksim, "track", root, *names), "tyksim track")
        shutil.rmtree(root)
        shell(tyksim, "record", work / "large", "--frames", 1, "--size", "4000x3000")()
        frame = package.open(work / "large").frames[0]
        luma = 4000 * 3000

        def read():
            image = package.open(frame.path).frames[0].image
            image.path  # lists the folder, which the row does not measure
            return image

        images = [read() for _ in range(ROUNDS)]
        fine &= compare("image.y, 12 megapixels", 1.1, lambda: images.pop().y,
                        lambda: np.fromfile(frame.image.path, np.uint8, luma), "numpy.fromfile")
        y, vu = frame.image.y, frame.image.vu
        try:
            import cv2
        except ImportError:
            print("rgb(): left out, no OpenCV")
        else:
            cv2.setNumThreads(1)
            flat = frame.image.nv21().reshape(4500, 4000)
            image = package.Image(y, vu)
            fine &= compare("image.rgb(), 12 megapixels", 1.0, image.rgb,
                            lambda: cv2.cvtColor(flat, cv2.COLOR_YUV2RGB_NV21), "cv2.cvtColor")
        shutil.rmtree(work / "large")
        if processor:
            nothing = work / "nothing.py"
            nothing.write_text("def process(frame):\n    pass\n")
            shell(tyksim, "record", work / "run", "--frames", 200, "--size", "1920x1080")()

            def run(path):
                def replay():
                    shutil.rmtree(work / "out", ignore_errors=True)
                    shell(tyksim, "replay", work / "run", "--with", path, "-o", work / "out",
                          "--python", sys.executable)()
                return replay

            fine &= compare("a processor that does nothing, 200 frames", 1.3, run(nothing),
                            run(processor), "the same in C")
    sys.exit(0 if fine else 1)


if __name__ == "__main__":
    main(*sys.argv[1:])
