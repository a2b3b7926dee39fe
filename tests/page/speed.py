#!/usr/bin/env python3
"""Measures the page of `tyksim sheet` in a browser: speed.py TYKSIM

Prints milliseconds. Scrolling is compared with an empty page of the same height in the same run.
"""
import pathlib
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
from browser import Browser  # noqa: E402

# The 95th percentile of the time between two drawn frames while an element scrolls.
SCROLL = """const [id, done] = arguments;
const element = id ? document.getElementById(id) : document.scrollingElement;
const times = [];
let last = performance.now();
requestAnimationFrame(function step(now) {
  times.push(now - last);
  last = now;
  element.scrollTop += 40;
  if (times.length < 200) requestAnimationFrame(step);
  else done(times.sort((a, b) => a - b)[190]);
});"""
# Calls a function with the numbers of 40 steps, one in each drawn frame. Returns the median and the longest time
# of the script, and the 95th percentile of the time between two drawn frames.
STEPS = """const done = arguments[0], times = [], frames = [];
let i = 0, last = performance.now();
requestAnimationFrame(function step(now) {
  frames.push(now - last);
  last = now;
  const begin = performance.now();
  %s;
  paintNow();
  times.push(performance.now() - begin);
  if (++i < 40) return requestAnimationFrame(step);
  const sorted = times.sort((a, b) => a - b);
  done([sorted[20], sorted[39], frames.sort((a, b) => a - b)[37]]);
});"""


def sheet(tyksim, folder, name, frames, size, *options):
    subprocess.run([tyksim, "record", folder / name, "--frames", str(frames), "--size", size], check=True,
                   capture_output=True)
    page = folder / (name + ".html")
    subprocess.run([tyksim, "sheet", folder / name, "-o", page, *options], check=True, capture_output=True)
    return page


def main():
    tyksim = pathlib.Path(sys.argv[1]).resolve()
    with tempfile.TemporaryDirectory() as name, Browser() as browser:
        folder = pathlib.Path(name)
        page = sheet(tyksim, folder, "many", 1000, "320x240")
        browser.window(1440, 900)
        browser.open(page)
        ready = browser.script("return performance.getEntriesByType('navigation')[0].domContentLoadedEventEnd")
        height = browser.script("return document.getElementById('strip').scrollHeight")
        scroll = browser.script_later(SCROLL, "strip")
        empty = folder / "empty.html"
        empty.write_text(f"<!DOCTYPE html><style>body {{ height: {height}px }}</style>")
        browser.open(empty)
        bare = browser.script_later(SCROLL, None)
        print(f"1,000 frames: usable after {ready:.0f} ms; 95 % of the steps of scrolling take at most {scroll:.1f} ms, "
              f"of an empty page {bare:.1f} ms")
        browser.open(sheet(tyksim, folder, "large", 1, "4000x3000", "--full", "1"), "#full=1")
        browser.script_later("const done = arguments[0]; rasterOf(state.entry.a).load().then(() => setTimeout(done, 500))")
        for what, step in (("zoom", "zoomBy(i < 20 ? 1.2 : 1 / 1.2)"), ("pan", "if (!i) zoomTo(1); moveBy(30, 20)")):
            median, longest, frame = browser.script_later(STEPS % step)
            print(f"{what} of 12 megapixels: {median:.1f} ms a step, the longest {longest:.1f} ms; "
                  f"95 % of the drawn frames follow within {frame:.1f} ms")


if __name__ == "__main__":
    main()
