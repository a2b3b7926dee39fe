#!/usr/bin/env python3
"""Tests the page of `tyksim sheet` in a browser: page_test.py TYKSIM"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
from browser import Browser

TYKSIM = sys.argv.pop(1) if len(sys.argv) > 1 else "build/release/tools/tyksim"
MARKUP = "<img src=x onerror=document.title='hit'>"
SCRIPT = "</script><script>document.title='hit'</script>"
TABLE = """<tags>
<tag id="4097" name="KELV_TAG_EXPOSURE_TIME" size="8" kind="fixed"><field name="ns" offset="0" type="u64"/></tag>
<tag id="4100" name="KELV_TAG_WB_GAINS" size="16" kind="fixed">
<field name="r" offset="0" type="f32"/><field name="gains" offset="0" type="f32" count="4"/></tag>
<tag id="4106" name="KELV_TAG_GAMMA_CURVE" size="2048" kind="fixed">
<field name="points" offset="0" type="u16" count="1024"/></tag>
<tag id="12291" name="KELV_TAG_GYRO_SAMPLES" size="4096" kind="block">
<field name="text" offset="0" type="char" count="64"/></tag>
</tags>"""

# The lowest contrast of text, and of findings' shapes, with their background; colours of surfaces
# that are not grey, except selected ones.
COLOURS = """
const parts = c => c.match(/[\\d.]+/g).map(Number);
const luminance = c => parts(c).slice(0, 3).map(v => v / 255)
    .map(v => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4)
    .reduce((sum, v, i) => sum + v * [0.2126, 0.7152, 0.0722][i], 0);
const ratio = (a, b) => {
  const [low, high] = [luminance(a), luminance(b)].sort((x, y) => x - y);
  return (high + 0.05) / (low + 0.05);
};
const clear = c => parts(c)[3] === 0;
const behind = e => {
  for (; e; e = e.parentElement) {
    const c = getComputedStyle(e).backgroundColor;
    if (!clear(c)) return c;
  }
  throw new Error('nothing behind');
};
const found = {text: 99, shapes: 99, coloured: [], texts: 0};
for (const e of document.body.querySelectorAll('*')) {
  if (!e.checkVisibility() || e.closest('svg, .unseen, [aria-pressed=true] .mark')) continue;
  const style = getComputedStyle(e);
  if (e.matches('.mark')) {
    found.shapes = Math.min(found.shapes, ratio(style.backgroundColor, behind(e.parentElement)));
    continue;
  }
  if ([...e.childNodes].some(n => n.nodeType === 3 && n.data.trim())) {
    found.texts += 1;
    found.text = Math.min(found.text, ratio(style.color, behind(e)));
  }
  const [r, g, b] = parts(style.backgroundColor);
  if (!clear(style.backgroundColor) && (r !== g || g !== b)
      && !e.matches('[aria-pressed=true], [aria-selected=true]')) found.coloured.push(e.outerHTML);
}
return found;
"""


def tyksim(*arguments, status=(0,)):
    run = subprocess.run([TYKSIM, *map(str, arguments)], capture_output=True, text=True)
    if run.returncode not in status:
        raise RuntimeError(f"{arguments}: status {run.returncode}: {run.stderr}")
    return run.stdout


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.browser = cls.enterClassContext(Browser())
        cls.tags = cls.folder / "table.xml"
        cls.tags.write_text(TABLE)
        cls.tree = cls.folder / "tree"
        tyksim("record", cls.tree, "--frames", 12, "--size", "320x240")
        image = cls.frames(cls.tree)[6] / "FCWH_7_0_320_240_nv21.yuv"
        os.truncate(image, 1000)
        cls.page = cls.sheet(cls.tree, "tree.html", status=(3,))

    @staticmethod
    def frames(tree):
        return sorted(tree.glob("data/vendor/cameraserver/tykdump/pipe_1/*_task_0/*"))

    @classmethod
    def sheet(cls, tree, name, *options, status=(0,)):
        page = cls.folder / name
        tyksim("sheet", tree, "-o", page, "--tags", cls.tags, *options, status=status)
        return page

    def open(self, page, place="", **window):
        self.browser.window(**{"width": 1280, "height": 800, **window})
        self.browser.open(page, place)
        self.run_script = self.browser.script
        self.assertEqual(self.browser.complaints(), [])

    def place(self):
        return self.run_script("return location.hash")

    def seen(self):
        return self.run_script("return [...document.querySelectorAll('.cell')]"
                               ".filter(c => !c.hidden).map(c => Number(c.id.slice(4)))")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def test_keys_move_the_selection(self):
        self.open(self.page)
        for keys, frame in (("Right", 2), ("Left", 1), ("Left", 1), ("End", 12), ("Right", 12),
                            ("Home", 1), ("Down", None), ("Up", 1), ("f", 7)):
            self.browser.keys(keys)
            if frame:
                self.assertEqual(self.place(), f"#pipe=1&task=1&frame={frame}", keys)
        self.assertEqual(self.run_script("return document.querySelector('[aria-selected=true]').id"), "cell7")
        self.assertIn("image-short", self.run_script("return document.getElementById('found').textContent"))
        self.open(self.page, "#pipe=1&task=1&frame=5")
        self.assertEqual(self.run_script("return document.getElementById('frame').textContent"), "Frame 5 of 12")
        self.browser.keys("Escape")
        self.assertTrue(self.run_script("return document.getElementById('detail').hidden"))
        self.browser.keys("Enter", "Down", "Down")
        self.assertEqual(self.run_script("return document.activeElement.sectionRowIndex"), 2)
        self.browser.keys("Escape", "?")
        self.assertTrue(self.run_script("return document.getElementById('keys').open"))
        self.browser.keys("Enter")
        self.assertFalse(self.run_script("return document.getElementById('keys').open"))
        self.open(self.page, width=360)
        self.browser.keys("Right", "Enter")
        self.assertEqual(self.run_script("return document.activeElement.id"), "frame")
        self.browser.keys("Escape", "Right")
        self.assertEqual(self.place(), "#pipe=1&task=1&frame=3")

    def test_filters(self):
        self.open(self.page)
        for text, frames in (("11", [11]), ("reqid_1_", [1]), ("image-short", [7]), ("frame<=3", [1, 2, 3]),
                             ("exp_time>15000000 frame<9", [6, 7, 8]), ("no such thing", []),
                             ("kelv_tag_wb_gains.r<1.76", [1])):
            self.browser.keys("/", *text)
            self.assertEqual(self.seen(), frames, text)
            self.browser.keys("Escape", "Escape")
        self.assertEqual(len(self.seen()), 12)
        self.run_script("document.querySelector('#marks button:not([hidden])').click()")
        self.assertEqual(self.seen(), [7])

    def test_detail_shows_what_show_prints(self):
        shown = json.loads(tyksim("show", self.tree, "--tags", self.tags, "--frames", 4, "--json"))
        self.open(self.page, "#pipe=1&task=1&frame=4")
        rows = """return [...document.querySelectorAll('#values tbody tr')].map(tr =>
            [tr.className.split(' ')[0], ...[...tr.cells].map(c => c.firstChild ? c.firstChild.data || '' : '')])"""
        found, tag = {}, None
        for kind, *cells in self.run_script(rows):
            tag = cells[0] if kind == "head" else tag
            found.setdefault(tag, {})[cells[0]] = cells[-1]
        self.assertEqual(sorted(found), sorted(p["tag"] for p in shown["parameters"]))
        fields = 0
        for parameter in shown["parameters"]:
            for name, value in parameter["fields"].items():
                if name.endswith("_base64"):  # a text's bytes, for programs
                    continue
                text = found[parameter["tag"]][name]
                fields += 1
                if isinstance(value, list):
                    self.assertEqual([float(v) for v in text.split(" …")[0].split()], value[:16])
                elif not isinstance(value, str):
                    self.assertEqual(float(text), value)
        self.assertEqual(fields, 5)
        self.run_script("document.querySelectorAll('[role=tab]')[1].click()")
        scene = [float(cells[-1]) for _, *cells in self.run_script(rows)]
        self.assertEqual(scene, [float(v) for v in shown["scene"].values()])
        self.assertEqual(self.run_script("return document.querySelectorAll('#facts dd')[4].textContent"), "320 × 240")

    def test_only_what_changed(self):
        self.open(self.page, "#pipe=1&task=1&frame=4")
        self.browser.keys("c")
        names = self.run_script("return document.getElementById('values').textContent")
        self.assertIn("KELV_TAG_WB_GAINS", names)
        self.assertNotIn("KELV_TAG_STREAM_SIZE", names)

    def test_second_tree(self):
        other = self.folder / "other"
        tyksim("copy", self.tree, "-o", other, "--frames", "1..11", "--set", "total_gain=4321")
        image = self.frames(other)[1] / "FCWH_2_0_320_240_nv21.yuv"
        image.write_bytes(bytes(b ^ 8 for b in image.read_bytes()))
        for frame, length in ((3, 1000), (4, 0), (5, None)):
            image = self.frames(other)[frame - 1] / f"FCWH_{frame}_0_320_240_nv21.yuv"
            image.unlink() if length is None else os.truncate(image, length)
        page = self.sheet(self.tree, "against.html", "--against", other, status=(3,))
        self.open(page, "#pipe=1&task=1&frame=2")
        self.run_script("[...document.querySelectorAll('[role=tab]')].at(-1).click()")
        text = self.run_script("return document.getElementById('values').innerText").split("\n")
        self.assertIn("threeA_info/ae_info/total_gain\t1536\t4321", [line.strip() for line in text])
        self.assertIn("Y\t30.07 dB\t8\t8.000\t76800", text)
        for frame, plane, how in ((3, "Y\tequal\t0\t0.000\t0", "compared 1000 of 76800 samples of y; 115200 -> 1000 bytes"),
                                  (4, "Y\tnot compared", "115200 -> 0 bytes"), (5, "", "only in A")):
            self.open(page, f"#pipe=1&task=1&frame={frame}")
            self.run_script("[...document.querySelectorAll('[role=tab]')].at(-1).click()")
            text = self.run_script("return document.getElementById('values').innerText").split("\n")
            self.assertIn(how, [line.strip() for line in text])
            self.assertIn(plane, text)
            label = self.run_script(f"return document.getElementById('cell{frame}').getAttribute('aria-label')")
            self.assertRegex(label, "(error|warning): image-[a-z]+ in B, differs$")
            self.assertIn(" in B", self.run_script("return document.getElementById('found').textContent"))
        self.open(page, "#pipe=1&task=1&frame=2")
        view = "return [document.getElementById('view').className, document.getElementById('theirs').hidden]"
        self.browser.keys("d")
        self.assertEqual(self.run_script(view), ["difference", False])
        self.browser.keys("b")  # one and the other in turn
        seen = set()
        for _ in range(100):
            seen.add(tuple(self.run_script(view)))
            time.sleep(0.05)
        self.assertEqual(seen, {("", False), ("", True)})
        self.browser.keys("Escape", "End")
        self.assertEqual(self.run_script(view), ["", True])

    def test_output_is_refused_where_it_would_do_harm(self):
        inside = self.frames(self.tree)[0] / "page.html"
        for page, options in (self.page, ()), (inside, ("--force",)), (self.tree, ("--force",)):
            with self.assertRaisesRegex(RuntimeError, "status 2"):
                tyksim("sheet", self.tree, "-o", page, *options)
        full = subprocess.run(["sh", "-c", 'ulimit -f 64; exec "$@"', "sh", TYKSIM, "sheet", self.tree, "-o",
                               self.folder / "full.html"], capture_output=True, text=True)
        self.assertEqual((full.returncode, (self.folder / "full.html").exists()), (1, False))
        self.assertIn("full.html: cannot be written: File too large", full.stderr)
        self.assertEqual([p.name for p in self.folder.glob(".*")], [])

    def test_hostile_names_change_nothing(self):
        tree = self.folder / ("a" + SCRIPT.replace("/", "_")) / SCRIPT.strip("/") / "tree"
        tree.parent.mkdir(parents=True)
        tyksim("record", tree, "--frames", 2, "--size", "64x48")
        frame = self.frames(tree)[0]
        for name in (MARKUP, "a\x1b[2J\nb", "\u202egnp", "q\"'&amp;\u2028<!--<script>"):
            (frame / f"FCPDT_1_0_1_0_{name}.bin").write_bytes(b"x")
        (frame / "FCPDT_1_0_1_1_KELV_TAG_GYRO_SAMPLES.bin").write_bytes((SCRIPT + MARKUP).encode())
        with open(os.fsencode(frame) + b"/FCPDT_1_0_1_0_\xff\xfe.bin", "wb") as file:
            file.write(b"x")
        (frame.parent / MARKUP).mkdir()
        self.open(self.sheet(tree, "hostile.html", status=(0, 3)))
        text = self.run_script("return document.body.innerText")
        for part in (MARKUP, SCRIPT, "a\\x1B[2J\\nb", "\\u{202E}gnp", "\\xFF\\xFE", "<!--<script>"):
            self.assertIn(part, text)
        self.assertNotIn("\u202e", text)
        self.assertEqual(self.run_script("""return [document.scripts.length, document.title.startsWith('hit'),
            [...document.images].filter(i => i.src && !i.src.startsWith('data:image/jpeg;base64,')).length]"""),
            [3, False, 0])

    def test_contrast_and_neutral_greys(self):
        for theme in "light", "dark":
            for width, place in ((1280, 7), (360, 7)):
                with self.subTest(theme=theme, width=width):
                    self.open(self.page, f"#pipe=1&task=1&frame={place}", theme=theme, width=width)
                    found = self.run_script(COLOURS)
                    self.assertGreater(found["texts"], 30)
                    self.assertGreaterEqual(found["text"], 4.5)
                    self.assertGreaterEqual(found["shapes"], 3)
                    self.assertEqual(found["coloured"], [])
                    # The page is not wider than the window.
                    self.assertEqual(self.run_script("return document.documentElement.scrollWidth"), width)


if __name__ == "__main__":
    unittest.main(verbosity=2)
