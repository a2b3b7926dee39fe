#!/usr/bin/env python3
"""Tests the page of `tyksim sheet` in a browser: page_test.py TYKSIM"""
import csv
import json
import os
import pathlib
import shlex
import statistics
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
from browser import Browser

TYKSIM = sys.argv.pop(1) if len(sys.argv) > 1 else "build/release/tools/tyksim"
AXE = pathlib.Path(os.environ.get("TYK_AXE", "build/axe/node_modules/axe-core/axe.min.js"))
MARKUP = "<img src=x onerror=document.title='hit'>"
SCRIPT = "</script><script>document.title='hit'</script>"
TABLE = """<tags version="2">
<enum name="Detector"><value name="FAST" number="0"/><value name="Very exact" number="1"/></enum>
<tag id="4097" name="KELV_TAG_EXPOSURE_TIME" size="8" kind="fixed"><field name="ns" offset="0" type="u64" unit="ns"/></tag>
<tag id="4100" name="KELV_TAG_WB_GAINS" size="16" kind="fixed">
<field name="r" offset="0" type="f32"/><field name="gains" offset="0" type="f32" count="4" unit="&lt;b>"/></tag>
<tag id="4105" name="KELV_TAG_FACE_REGIONS" size="640" kind="fixed">
<field name="detector" offset="4" type="i32" enum="Detector"/><field name="faces" offset="16" type="i32" dims="2x4"/></tag>
<tag id="4106" name="KELV_TAG_GAMMA_CURVE" size="2048" kind="fixed">
<field name="points" offset="0" type="u16" count="1024"/></tag>
<tag id="12291" name="KELV_TAG_GYRO_SAMPLES" size="4096" kind="block">
<field name="text" offset="0" type="char" count="64"/></tag>
</tags>"""

# Returns the lowest contrast of text and of findings' shapes with their background, and the colours of
# surfaces that are not grey, except selected ones.
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
  if (!e.checkVisibility() || e.matches(':disabled, option, canvas') || e.closest('svg, .unseen, [aria-pressed=true] .mark')) continue;
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
        self.run_async = self.browser.script_later
        self.assertEqual(self.browser.complaints(), [])

    def place(self):
        return self.run_script("return location.hash")

    def seen(self):
        return self.run_script("return state.seen.map(entry => Number(entry.label))")

    def tearDown(self):
        self.assertEqual(self.browser.complaints(), [])

    def text(self, element):
        return self.run_script("return document.getElementById(arguments[0]).textContent", element)

    def until(self, expression):
        """Waits until a script's expression is true."""
        self.assertTrue(self.browser.until(expression), expression)

    def open_picture(self, page, place="", **window):
        """Opens the page and waits until its picture is drawn."""
        self.open(page, place, **window)
        self.until("view.drawn && (view.a || view.b) && view.panes.length")

    def test_keys_move_the_selection(self):
        self.open(self.page)
        for keys, frame in (("Right", 2), ("Left", 1), ("Left", 1), ("End", 12), ("Right", 12),
                            ("Home", 1), ("Down", None), ("Up", 1), ("f", 7)):
            self.browser.keys(keys)
            if frame:
                self.assertEqual(self.place(), f"#pipe=1&task=1&frame={frame}", keys)
        self.assertEqual(self.run_script("return document.querySelector('[aria-selected=true]').id"), "cell7")
        self.assertIn("image-short", self.text("found"))
        self.open(self.page, "#pipe=1&task=1&frame=5")
        self.assertEqual(self.text("frame"), "Frame 5 of 12")
        self.browser.keys("Escape")
        self.assertTrue(self.run_script("return document.getElementById('detail').hidden"))
        self.browser.keys("Enter")
        self.assertEqual(self.run_script("return document.activeElement.id"), "frame")
        self.browser.keys("Escape", "?")
        self.assertTrue(self.run_script("return document.getElementById('keys').open"))
        self.browser.keys("Enter")
        self.assertFalse(self.run_script("return document.getElementById('keys').open"))
        self.open(self.page, width=360)
        self.browser.keys("Right", "Enter")
        self.assertEqual(self.run_script("return document.activeElement.id"), "frame")
        self.browser.keys("Escape", "Right")
        self.assertEqual(self.place(), "#pipe=1&task=1&frame=3")

    def test_buttons_keep_the_focus(self):
        self.open_picture(self.page)
        for button in ("#laneChoice button", "#theme", "#zooms button", "#tabs [role=tab]", "#values button",
                       "#histogram button", "#showTable", "#frames thead button", "#marks button:not([hidden])"):
            self.run_script("document.getElementById('laneMenu').open = true;"
                            "const b = document.querySelector(arguments[0]); b.focus(); b.click()", button)
            self.assertNotEqual(self.run_script("return document.activeElement.tagName"), "BODY", button)

    def test_filters(self):
        self.open(self.page)
        for text, frames in (("11", [11]), ("reqid_1_", [1]), ("image-short", [7]), ("frame<=3", [1, 2, 3]),
                             ("exp_time>15000000 frame<9", [6, 7, 8]), ("no such thing", []),
                             ("exposure>1/66 frame<9", [6, 7, 8]), ("exposure>15ms frame<9", [6, 7, 8]),
                             ("camera=0 frame=2", [2]), ("gain>1000x", []), ("luma>255", []), ("clipped.low>50%", []),
                             ("kelv_tag_wb_gains.r<1.76", [1]), ("kelv_tag_wb_gains.gains[0]<1.76", [1]),
                             ('kelv_tag_face_regions.detector="very exact" frame<4', [1, 2, 3]),
                             ("kelv_tag_face_regions.detector=fast", [8]), ("kelv_tag_face_regions.faces[0][3]=140 frame<3", [1, 2]),
                             ("kelv_tag_exposure_time.ns>1/66 frame<9", [6, 7, 8])):
            self.browser.keys("/", *text)
            self.assertEqual(self.seen(), frames, text)
            self.browser.keys("Escape", "Escape")
        self.assertEqual(len(self.seen()), 12)
        self.run_script("document.querySelector('#marks button:not([hidden])').click()")
        self.assertEqual(self.seen(), [7])

    def test_filter_names_what_is_unknown_and_keeps_the_place(self):
        self.open(self.page, "#pipe=1&task=1&frame=9")
        self.browser.keys("/", *"frame<4 pnsr<3 zebra constructor")
        self.assertEqual(self.text("unknown"), "unknown: pnsr<3 zebra constructor")
        self.assertEqual(self.run_script("return document.getElementById('unknown').getAttribute('role')"), "status")
        self.browser.keys("Escape", "Escape", "/", *"frame<4")
        self.assertEqual(self.run_script("return state.entry.label"), "3")
        self.browser.keys("Escape", "Escape")
        self.assertEqual(self.place(), "#pipe=1&task=1&frame=9")

    def test_detail_shows_what_show_prints(self):
        shown = json.loads(tyksim("show", self.tree, "--tags", self.tags, "--frames", 4, "--json"))
        self.open(self.page, "#pipe=1&task=1&frame=4")
        rows = """return [...document.querySelectorAll('#values tbody tr')].map(tr => [tr.className,
            tr.cells[0].firstChild.data, ...(tr.cells[2] ? [tr.cells[2].title, tr.cells[2].firstChild.data,
            tr.cells[2].querySelector('.quiet')?.textContent] : ['', '', null])])"""
        found, tag = {}, None
        for kind, name, exact, text, unit in self.run_script(rows):
            tag = name if kind == "head" else tag
            found.setdefault(tag, {})[name] = exact, text, unit
        self.assertEqual(sorted(found), sorted(p["tag"] for p in shown["parameters"]))
        fields = 0
        for parameter in shown["parameters"]:
            for name, value in parameter["fields"].items():
                if name.endswith("_base64"):  # a text's bytes, for programs
                    continue
                exact, text, unit = found[parameter["tag"]][name]
                fields += 1
                self.assertEqual((unit or "").strip(), parameter["units"].get(name, ""))
                if isinstance(value, dict):
                    self.assertEqual((exact, text), (str(value["number"]), f"{value['name']} ({value['number']})"))
                elif isinstance(value, list):
                    numbers = sum(value, []) if isinstance(value[0], list) else value
                    self.assertEqual([float(v) for v in exact.split(" …")[0].split()], numbers[:16])
                elif not isinstance(value, str):
                    self.assertEqual(float(exact), value)
                    self.assertAlmostEqual(float(text.replace(",", "")), value, delta=abs(value) * 1e-5)
        self.assertEqual(fields, 7)
        self.run_script("document.querySelectorAll('[role=tab]')[1].click()")
        scene = [float(exact) for _, _, exact, *_ in self.run_script(rows)]
        self.assertEqual(scene, [float(v) for v in shown["scene"].values()])
        facts = dict(self.run_script("return [...document.querySelectorAll('#facts tbody tr')].map(tr => "
                                     "[tr.cells[0].textContent, tr.cells[1].title])"))
        self.assertEqual(facts["size"], "320 × 240")
        image = shown["image"]
        for name, plane in (("luma", "y"), ("mean U", "u"), ("mean V", "v")):
            self.assertAlmostEqual(float(facts[name]), image[plane]["mean"], delta=0.005)
        # The lane of the luma is one line through all frames.
        points = self.run_script("""return [...document.querySelectorAll('.lane path.mine')].slice(-2)
            .flatMap(path => path.getAttribute('d').match(/[ML]/g) ?? [])""")
        self.assertEqual(points, ["M"] + 11 * ["L"])

    def test_only_what_changed(self):
        self.open(self.page, "#pipe=1&task=1&frame=4")
        self.browser.keys("o")
        names = self.text("values")
        self.assertIn("KELV_TAG_WB_GAINS", names)
        self.assertNotIn("KELV_TAG_STREAM_SIZE", names)

    def second_tree(self):
        """Makes a copy of the tree without its last frame; its images differ in many ways."""
        other = self.folder / "other"
        if other.exists():
            return other
        tyksim("copy", self.tree, "-o", other, "--frames", "1..11", "--set", "total_gain=4321")
        for frame, change in ((2, 8), (8, 1), (9, 3)):
            image = self.frames(other)[frame - 1] / f"FCWH_{frame}_0_320_240_nv21.yuv"
            image.write_bytes(bytes(b ^ change for b in image.read_bytes()))
        for frame, length in ((3, 1000), (4, 0), (5, None)):
            image = self.frames(other)[frame - 1] / f"FCWH_{frame}_0_320_240_nv21.yuv"
            image.unlink() if length is None else os.truncate(image, length)
        image = self.frames(other)[5] / "FCWH_6_0_320_240_nv21.yuv"
        image.rename(image.parent / "FCWH_6_0_240_320_nv21.yuv")
        return other

    def against(self):
        other = self.second_tree()
        page = self.folder / "against.html"
        return page if page.exists() else self.sheet(self.tree, page.name, "--against", other, status=(3,))

    def test_second_tree(self):
        page = self.against()
        self.open(page, "#pipe=1&task=1&frame=2")
        self.run_script("[...document.querySelectorAll('[role=tab]')].at(-1).click()")
        text = self.run_script("return document.getElementById('values').innerText").split("\n")
        self.assertIn("threeA_info/ae_info/total_gain\t1536\t4321\t+2,785 (+180 %)", [line.strip() for line in text])
        for frame, plane, how in ((3, "Y\tequal\t0\t0.000\t0", "compared 1000 of 76800 samples of y; 115200 -> 1000 bytes"),
                                  (4, "Y\tnot compared", "115200 -> 0 bytes"), (5, "", "only in A"),
                                  (6, "", "320x240 -> 240x320")):
            self.open(page, f"#pipe=1&task=1&frame={frame}")
            self.run_script("[...document.querySelectorAll('[role=tab]')].at(-1).click()")
            text = self.run_script("return document.getElementById('values').innerText").split("\n")
            self.assertIn(how, [line.strip() for line in text])
            self.assertIn(plane, text)
            label = self.text(f"cell{frame}")
            if frame < 6:
                self.assertRegex(label, "(error|warning): image-[a-z]+ in B, differs(⇤.*)?$")
                self.assertIn(" in B", self.text("found"))

    def test_metrics_are_those_of_diff(self):
        page = self.against()
        self.open(page, "#table=1")
        columns = self.run_script("return csvText()").splitlines()
        rows = {row["frame"]: row for row in csv.DictReader(columns)}
        diff = json.loads(tyksim("diff", self.tree, self.second_tree(), "--json", status=(3,)))
        compared = 0
        for pair in diff["frames"]:
            image = pair.get("image") or {}
            for plane, end in (("y", ""), ("u", ".u"), ("v", ".v")):
                figures = image.get(plane)
                if not figures or not figures["samples"]:
                    continue
                row = rows[str(pair["a"]["frame"])]
                self.assertEqual(row["psnr" + end], "inf" if figures["psnr"] is None else str(figures["psnr"]))
                self.assertEqual(float(row["diff.max" + end]), figures["max"])
                self.assertAlmostEqual(float(row["diff.mean" + end]), figures["mean"])
                compared += 1
        self.assertGreaterEqual(compared, 9)
        self.assertEqual(self.run_script("return table.list.items.length"), 12)

    def test_the_worst_frame(self):
        page = self.against()
        self.open(page, "#pipe=1&task=1&frame=10")
        order = []
        self.browser.keys("w")
        for _ in range(9):
            order.append(self.run_script("return state.entry.label"))
            self.browser.keys("W")
        # Missing, cut and of another size; then by falling difference.
        self.assertEqual(order, ["3", "4", "5", "6", "7", "12", "2", "9", "8"])
        for text, frames in (("psnr<31", [2]), ("differs", list(range(1, 12))), ("only-here", [12]), ("psnr>47", [1, 3, 7, 8, 10, 11])):
            self.browser.keys("/", *text)
            self.assertEqual(self.seen(), frames, text)
            self.browser.keys("Escape", "Escape")

    def test_frames_of_the_other_tree_stand_in_their_place(self):
        less = self.folder / "less"
        tyksim("copy", self.tree, "-o", less, "--frames", "1..4,6..12")
        page = self.sheet(less, "only.html", "--against", self.tree, status=(3,))
        self.open_picture(page)
        ids = self.run_script("return [...document.querySelectorAll('.cell')].map(c => c.id.slice(4))")
        self.assertEqual(ids[3:6], ["4", "B5", "5"])
        self.browser.keys(*["Right"] * 4)
        self.assertEqual(self.place(), "#pipe=1&task=1&frame=B5")
        self.until("view.b && !view.a")
        self.assertIn("not in A", self.text("frame"))

    def test_modes_by_keys(self):
        page = self.against()
        self.open_picture(page, "#pipe=1&task=1&frame=2")
        base = "#pipe=1&task=1&frame=2"
        for keys, place in (("z", base + "&full=1"), ("s", base + "&mode=two&full=1"), ("l", base + "&mode=split&full=1"),
                            ("d", base + "&mode=difference&full=1"), ("d", base + "&full=1"), ("a", base + "&mode=b&full=1"),
                            ("a", base + "&full=1"), ("z", base), ("c", base + "&clip=1"), ("c", base),
                            ("t", base + "&table=1"), ("t", base)):
            self.browser.keys(keys)
            self.assertEqual(self.place(), place, keys)
        self.browser.keys("z", "1")
        self.assertIn("full=1&zoom=1&at=", self.place())
        self.browser.keys("+")
        self.assertIn("zoom=1.5&", self.place())
        at = self.run_script("return [view.x, view.y]")
        self.browser.keys("+", "+", "+", "+", "Right", "Down")
        self.assertGreater(self.run_script("return view.x"), at[0])
        before = self.run_script("return [view.zoom, view.x, view.y, state.entry.label]")
        self.browser.keys(".")
        self.until("view.a && view.a.frame === state.entry.a")
        self.assertEqual(self.run_script("return [view.zoom, view.x, view.y, state.entry.label]"), before[:3] + ["3"])
        self.browser.keys(",", "0")
        self.assertEqual(self.place(), base + "&full=1")
        self.until("view.a && view.a.frame === state.entry.a")
        sides = "return [modeNow(), document.getElementById('side').textContent]"
        self.browser.hold("b", True)
        self.assertEqual(self.run_script(sides)[0], "b")
        self.browser.hold("b", False)
        self.assertEqual(self.run_script(sides)[0], "a")
        self.browser.keys("p", "Enter", "Right")
        self.browser.keys("Escape")  # the cursor
        self.assertFalse(self.run_script("return document.getElementById('box').hidden"))
        self.browser.keys("Escape")  # the rectangle
        self.assertTrue(self.run_script("return document.getElementById('box').hidden"))
        self.assertIn("full=1", self.place())
        self.browser.keys("Escape")
        self.assertEqual(self.place(), base)
        self.run_script("document.getElementById('blink').click()")
        for side in "aba":
            self.until(f"modeNow() === '{side}'")
        self.browser.keys("Escape")
        self.open_picture(page, "#pipe=1&task=1&frame=6&mode=split")
        self.until("view.b && view.b.width === 240")
        self.assertEqual(self.run_script("return [modeNow(), document.getElementById('mode-difference').disabled]"), ["two", True])
        self.assertIn("B 240 × 320", self.text("sizes"))

    def test_keys_where_an_image_is_missing(self):
        page = self.against()
        for mode in "b", "two", "split", "difference":
            with self.subTest(mode):
                self.open(page, f"#pipe=1&task=1&frame=3&mode={mode}&full=1&clip=1")
                for _ in range(3, 7):
                    self.browser.hold("b", True)
                    self.browser.keys("1", "p", "Right", "Enter", ".", "Right", "e")
                    self.browser.hold("b", False)
                    self.browser.keys("-", "0", "g", "Escape", "Escape", "Escape", "z")
                    self.assertEqual(self.browser.complaints(), [])
                    self.assertNotEqual(self.run_script("return document.activeElement.tagName"), "BODY")

    def decoded(self, path, width, height, order="vu"):
        """The samples of an image file: a function of plane and pixel."""
        data = path.read_bytes()
        pairs = (width + 1) // 2

        def sample(plane, x, y):
            if plane == "Y":
                return data[y * width + x]
            return data[width * height + (y // 2) * 2 * pairs + x // 2 * 2 + order.index(plane.lower())]
        return sample

    def expected_line(self, x, y, a, b):
        values = [[side(plane, x, y) for plane in "YUV"] for side in (a, b)]
        steps = [v - u for u, v in zip(*values)]
        words = [" ".join(f"{p} {v}" for p, v in zip("YUV", side)) for side in values]
        signs = " ".join(f"{p} {'+' if s > 0 else '−' if s < 0 else ''}{abs(s)}" for p, s in zip("YUV", steps))
        return f"x {x}, y {y} · A {words[0]} · B {words[1]} · difference {signs} · exact"

    def test_pixels_are_those_of_the_files(self):
        other = self.second_tree()
        page = self.against()
        self.open_picture(page, "#pipe=1&task=1&frame=9&full=1")
        a, b = [self.decoded(self.frames(tree)[8] / "FCWH_9_0_320_240_nv21.yuv", 320, 240) for tree in (self.tree, other)]
        self.browser.keys("p")
        for keys in (["Right"], ["Down"], ["Left"] * 7, ["Up"] * 5):
            self.browser.keys(*keys)
            x, y = self.run_script("return pointer.at")
            self.assertEqual(self.text("under"), self.expected_line(x, y, a, b))
        self.browser.keys("Enter", *["Right"] * 4, *["Down"] * 2, "Enter")
        box = self.run_script("return pointer.box")
        self.assertEqual((box["width"], box["height"]), (5, 3))
        rows = self.run_script("return [...document.querySelectorAll('#box tbody tr')].map(tr => [...tr.cells].map(c => c.textContent))")
        self.assertEqual(len(rows), 6)
        for (name, *cells), (side, plane) in zip(rows, [(s, p) for s in (a, b) for p in "YUV"]):
            pixels = [(x, y) for y in range(box["y"], box["y"] + 3) for x in range(box["x"], box["x"] + 5)]
            places = pixels if plane == "Y" else sorted({(x // 2 * 2, y // 2 * 2) for x, y in pixels})
            values = [side(plane, x, y) for x, y in places]
            self.assertEqual(cells, [f"{statistics.fmean(values):.3f}", f"{statistics.pstdev(values):.3f}",
                                     str(min(values)), str(max(values)), str(len(values))], name)
        # Compares every sample of the window, and the drawn difference.
        for plane, name in enumerate("YUV"):
            found = self.run_script("return [...view.b.window.samples[arguments[0]]]", plane)
            step = 1 if plane == 0 else 2
            self.assertEqual(found, [b(name, x, y) for y in range(0, 240, step) for x in range(0, 320, step)])
        self.browser.keys("d", "1")
        self.run_script("setDifference({gain: 8})")
        self.assertIn("× 8: black −15, grey 0, white +15", self.text("legend"))
        greys = self.run_script("""const [context, pane] = [document.getElementById('screen').getContext('2d'), view.panes[0]];
            paintNow(); const origin = originOf(pane);
            const drawn = context.getImageData(0, 0, pane.width, pane.height);
            const at = (x, y) => 4 * ((Math.round(origin.y) + y) * pane.width + Math.round(origin.x) + x);
            return [[10, 20], [11, 20], [150, 101]].map(([x, y]) =>
                [x, y, ...drawn.data.slice(at(x, y), at(x, y) + 4)])""")
        for x, y, *grey in greys:
            level = min(255, max(0, 128 + 8 * (b("Y", x, y) - a("Y", x, y))))
            self.assertEqual(grey, [level, level, level, 255])

    def test_windows_of_odd_and_large_images(self):
        tree = self.folder / "odd"
        tyksim("record", tree, "--frames", 1, "--size", "405x299")
        page = self.sheet(tree, "odd.html", "--window", "101x51+303+249", "--order", "nv12", status=(0, 3))
        self.open_picture(page, "#pipe=1&task=1&frame=1")
        area = self.run_script("return view.a.area")
        self.assertEqual(area, {"x": 302, "y": 248, "width": 102, "height": 51})
        sample = self.decoded(self.frames(tree)[0] / "FCWH_1_0_405_299_nv21.yuv", 405, 299, "uv")
        for x, y in (302, 248), (403, 297), (350, 260):
            shown = self.run_script("return view.a.valueAt(...arguments)", x, y)
            self.assertEqual(shown, {"exact": True, "values": [sample(p, x, y) for p in "YUV"]})
        self.assertFalse(self.run_script("return view.a.valueAt(301, 260).exact"))
        self.assertEqual(self.run_script("return view.a.valueAt(404, 298).exact"), False)
        page = self.sheet(tree, "whole.html", "--window", "2x2+0+0", "--full", "1", status=(0, 3))
        self.open_picture(page)
        self.assertEqual(self.run_script("return view.a.area"), {"x": 0, "y": 0, "width": 405, "height": 299})
        for wrong in (("--window", "10x10"), ("--window", "0x5+1+1"), ("--full", "x"), ("--size", "0")):
            with self.assertRaisesRegex(RuntimeError, "status 2"):
                tyksim("sheet", tree, "-o", self.folder / "wrong.html", *wrong)

    def test_what_a_file_lacks_is_hatched_and_counts_nowhere(self):
        self.open_picture(self.page, "#pipe=1&task=1&frame=7&full=1")
        self.assertEqual(self.run_script("return document.querySelectorAll('#cell7 .lack').length"), 2)
        self.assertEqual(self.run_script("return [view.a.valueAt(10, 2).values[0], view.a.valueAt(10, 2).values[1], view.a.valueAt(10, 4).values[0]]")[1:], [None, None])
        found = self.run_script("return view.a.statistics({x: 0, y: 0, width: 320, height: 240}).planes")
        data = (self.frames(self.tree)[6] / "FCWH_7_0_320_240_nv21.yuv").read_bytes()
        self.assertEqual((found[0]["count"], found[1]), (1000, None))
        self.assertAlmostEqual(found[0]["mean"], statistics.fmean(data))

    def test_a_page_keeps_to_its_size(self):
        tree = self.folder / "wide"
        tyksim("record", tree, "--frames", 12, "--size", "1600x1200")
        self.assertLess(self.sheet(tree, "wide.html", "--size", 1, status=(0, 3)).stat().st_size, 1_000_000)
        tree = self.folder / "many"
        tyksim("record", tree, "--frames", 400, "--size", "64x48")
        page = self.folder / "many.html"
        run = subprocess.run([TYKSIM, "sheet", tree, "-o", page, "--size", "1"], capture_output=True, text=True)
        self.assertIn("th frame has a picture", run.stderr)
        self.assertLess(page.stat().st_size, 1_000_000)
        self.open(page, "#table=1")
        self.assertIn("with a picture", self.text("count"))
        self.assertEqual(self.run_script("return table.list.items.length"), 400)
        shown = "return [document.querySelectorAll(arguments[0]).length, document.activeElement.textContent.slice(0, 3)]"
        for kind, elements in ("row", "#frames tbody tr"), ("cell", ".cell"):
            with self.subTest(kind):
                # Frames out of view have no elements, the selected frame has one, and on paper all have.
                self.browser.keys("Home")
                self.assertLess(self.run_script(shown, elements)[0], 200)
                self.browser.keys("End", "Up", "Down")
                self.assertEqual(self.run_script("return state.entry.label"), "400")
                self.assertTrue(self.run_script("return (table.list || strip).elements.get(state.entry).isConnected"))
                if kind == "row":
                    self.assertEqual(self.run_script(shown, elements)[1], "400")
                    self.run_script("tableScroller().scrollTop = 0")
                    self.until("!document.querySelector('#frames tr.selected')")
                    self.assertNotEqual(self.run_script("return document.activeElement.tagName"), "BODY")
                self.run_script("dispatchEvent(new Event('beforeprint'))")
                self.assertGreaterEqual(self.run_script(shown, elements)[0], 400)
                self.run_script("dispatchEvent(new Event('afterprint'))")
                self.browser.keys("t")

    def test_lanes_and_captions(self):
        self.open(self.page, "#pipe=1&task=1&frame=4&lanes=luma,kelv_tag_wb_gains.r")
        names = "return [...document.querySelectorAll('#lanes .name b')].map(b => b.textContent)"
        self.assertEqual(self.run_script(names), ["luma", "r"])
        self.run_script("document.querySelector('#values button[aria-pressed=true]').click()")
        self.assertEqual(self.run_script(names), ["luma"])
        self.assertIn("lanes=luma", self.place())
        label = self.run_script("return document.querySelector('#lanes .lane').getAttribute('aria-label')")
        self.assertRegex(label, r"luma over 12 frames, .* to .*; frame 4: [0-9.]+$")
        self.browser.keys("x")
        self.assertIn("time=1", self.place())

    def test_copies_say_how_to_get_there(self):
        page = self.against()
        self.open(page, "#pipe=1&task=1&frame=2")
        for kind, line in self.run_script("return commandsOf(state.entry)"):
            words = shlex.split(line)[1:]
            if kind == "export":
                words[words.index("-o") + 1] = str(self.folder / "exported")
            self.assertTrue(tyksim(*words, status=(0, 3)), line)
        path = self.run_script("return pathOfFrame(state.entry)")
        self.assertTrue(os.path.samefile(path, self.frames(self.tree)[1]))

    def test_without_script(self):
        self.browser.devtools("Emulation.setScriptExecutionDisabled", value=True)
        try:
            self.browser.window(1280, 800)
            self.browser.open(self.page)
            root = self.browser.devtools("DOM.getDocument", depth=1)["root"]["nodeId"]
            page = self.browser.devtools("DOM.querySelector", nodeId=root, selector="#page")["nodeId"]
            self.assertIn("hidden", self.browser.devtools("DOM.getAttributes", nodeId=page)["attributes"])
        finally:
            self.browser.devtools("Emulation.setScriptExecutionDisabled", value=False)

    @unittest.skipUnless(AXE.exists(), "axe-core is not installed: accessibility was not checked")
    def test_axe_finds_nothing(self):
        axe = AXE.read_text()
        against = self.against()
        for page, place in ((self.page, "#pipe=1&task=1&frame=7"), (against, "#pipe=1&task=1&frame=2&mode=difference&full=1"),
                            (against, "#pipe=1&task=1&frame=2&mode=split&tab=differences"), (against, "#table=1&tab=scene"),
                            (self.page, "#filter=nothing")):
            for theme in "light", "dark":
                with self.subTest(page=page.name, place=place, theme=theme):
                    (self.open if "filter" in place else self.open_picture)(page, place, theme=theme)
                    self.run_script("document.getElementById('laneMenu').open = true")
                    self.run_script(axe)
                    found = self.run_async("const done = arguments[arguments.length - 1]; axe.run(document).then(r => done("
                                           "r.violations.map(v => [v.id, v.nodes.map(n => n.html).slice(0, 3)])))")
                    self.assertEqual(found, [])

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
                    # The page is not wider than the window, and where its parts scroll, not higher.
                    self.assertEqual(self.run_script("return document.documentElement.scrollWidth"), width)
                    if width > 1000:
                        self.assertTrue(self.run_script("return document.documentElement.scrollHeight <= innerHeight"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
