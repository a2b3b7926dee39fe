#!/usr/bin/python3
"""Compares the measures of images that tyksim prints with those of numpy: on pictures with known noise, blur,
clipping and flicker, with regions, odd sizes, other layouts, and files that are cut short.

  measures.py TYKSIM [WORD...]     WORDs before TYKSIM's own arguments, such as an emulator
"""
import json
import math
import os
import pathlib
import subprocess
import sys
import tempfile

import numpy as np

tyksim = [os.path.abspath(sys.argv[1])] if len(sys.argv) == 2 else sys.argv[1:]
random = np.random.default_rng(20)
MEASURES = ["mean", "std", "clipped.low", "clipped.high", "sharpness", "noise", "flicker", "motion",
            "temporal_noise"]


def run(status, *words):
    done = subprocess.run([*tyksim, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == status, (words, done.returncode, done.stdout[-500:], done.stderr)
    return done.stdout.decode(), done.stderr.decode()


def rows(tree, *names, status=0, options=()):
    out, err = run(status, "track", tree, "-n", *names, "--rows", *options)
    return [json.loads(line) for line in out.splitlines()], err


def samples(plane):
    """The samples that a camera stores for a picture of real numbers."""
    return np.clip(np.rint(plane), 0, 255).astype(np.uint8)


def shifted(plane):
    """The nine neighbours of every sample that has all of them."""
    height, width = plane.shape
    return [[plane[r:height - 2 + r, c:width - 2 + c] for c in range(3)] for r in range(3)]


def blocks(plane):
    side = [min(16, length) for length in plane.shape]
    high, wide = (length // least for length, least in zip(plane.shape, side))
    whole = plane[:high * side[0], :wide * side[1]]
    return whole.reshape(high, side[0], wide, side[1]).swapaxes(1, 2).reshape(high * wide, -1)


def measured(plane, before):
    """The formulas of docs/measures.md."""
    plane = plane.astype(float)
    n = shifted(plane)
    laplacian = n[0][1] + n[2][1] + n[1][0] + n[1][2] - 4 * n[1][1]
    mask = sum(weight * n[r][c] for r, line in enumerate([[1, -2, 1], [-2, 4, -2], [1, -2, 1]])
               for c, weight in enumerate(line))
    values = {"mean": plane.mean(), "std": plane.std(), "clipped.low": (plane == 0).mean(),
              "clipped.high": (plane == 255).mean(), "sharpness": laplacian.var(),
              "noise": math.sqrt(math.pi / 2) / 6 * abs(mask).mean()}
    if before is None:
        return {**values, "flicker": None, "motion": None, "temporal_noise": None}
    difference = plane - before.astype(float)
    means = blocks(difference).mean(axis=1)
    return {**values, "flicker": abs(difference.mean()), "motion": abs(means - means.mean()).mean(),
            "temporal_noise": math.sqrt(np.median(blocks(difference).var(axis=1)) / 2)}


def make_tree(name, pictures):
    """Records a tree and replaces its images by the pictures (y, u, v)."""
    height, width = pictures[0][0].shape
    run(0, "record", name, "--frames", str(len(pictures)), "--size", f"{width}x{height}")
    files = sorted(pathlib.Path(name).glob("data/*/*/*/*/*/*/FCWH*"), key=lambda f: f.parent.name)
    for file, (y, u, v) in zip(files, pictures, strict=True):
        chroma = np.stack([v, u], axis=-1)
        file.write_bytes((y.tobytes() + chroma.tobytes())[:file.stat().st_size])
    return files


def expect(found, expected, what):
    if expected is None:
        assert found is None, (what, found)
        return
    assert found is not None and math.isclose(found, expected, rel_tol=1e-8, abs_tol=1e-9), (
        what, found, expected)


def hold(tree, pictures, area, region=None, options=()):
    """Every measure of an area of every frame; `region` is in pixels."""
    plane = "yuv".index(area.rsplit(".", 1)[1]) if area.endswith((".u", ".v")) else 0
    names = [f"{area}.{measure}" for measure in MEASURES]
    before = None
    for index, row in enumerate(rows(tree, *names, options=options)[0]):
        cut = pictures[index][plane]
        if region:
            x, y, width, height = region
            step = 2 if plane else 1
            cut = cut[y // step:-(-(y + height) // step), x // step:-(-(x + width) // step)]
        expected = measured(cut, before)
        before = cut
        for name, measure in zip(names, MEASURES):
            expect(row[name], expected[measure], f"{tree} frame {index + 1} {name}")


def picture(width, height, noise, shift=0.0):
    """A ramp with a bright and a dark corner, and noise of a known deviation."""
    def plane(w, h):
        y, x = np.mgrid[0:h, 0:w]
        ramp = 60 + 90 * x / w + 40 * y / h + shift
        ramp[:h // 4, :w // 4] = 255
        ramp[-(h // 4):, -(w // 4):] = 0
        return samples(ramp + random.normal(0, noise, (h, w)))
    return (plane(width, height), plane((width + 1) // 2, (height + 1) // 2),
            plane((width + 1) // 2, (height + 1) // 2))


def blurred(plane):
    padded = np.pad(plane.astype(float), 1, mode="edge")
    return samples(sum(sum(line) for line in shifted(padded)) / 9)


with tempfile.TemporaryDirectory() as work:
    os.chdir(work)

    # Against the formulas: every measure, of planes and regions, more rows than a strip and a
    # counter hold, and sizes that are no multiple of anything.
    many = [picture(148, 524, 3), picture(148, 524, 3, shift=7), picture(148, 524, 12)]
    many.append(many[2])
    make_tree("many", many)
    for area, region in (("image", None), ("image.y", None), ("image.u", None), ("image.v", None),
                         ("image[33,61,70,80]", (33, 61, 70, 80)), ("image[5,7,9,4]", (5, 7, 9, 4)),
                         ("image[1,65,30,301].u", (1, 65, 30, 301)),
                         ("image[0,0,148,524].v", (0, 0, 148, 524))):
        hold("many", many, area, region)
    still = rows("many", "image.flicker", "image.motion", "image.v.temporal_noise")[0][3]
    assert [still[k] for k in list(still)[-3:]] == [0, 0, 0], still
    odd = [picture(37, 35, 2), picture(37, 35, 2)]
    make_tree("odd", odd)
    hold("odd", odd, "image")

    # Pictures with known measures.
    sigma = 4.0
    flat = [(samples(128 + random.normal(0, sigma, (600, 800))), *np.full((2, 300, 400), 128, np.uint8))
            for _ in range(2)]
    flat.append((blurred(flat[1][0]), *flat[1][1:]))
    lit = flat[1][0].copy()
    lit[:, :80] = 255
    lit[:60, 80:] = 0
    flat.append((lit, *flat[1][1:]))
    make_tree("flat", flat)
    found = rows("flat", *[f"image.{measure}" for measure in MEASURES], "image.u.noise")[0]
    for row in found[:2]:
        assert abs(row["image.noise"] - sigma) < 0.05 * sigma, row
        assert row["image.u.noise"] == 0, row
    assert abs(found[1]["image.temporal_noise"] - sigma) < 0.05 * sigma, found[1]
    assert found[1]["image.motion"] < 0.1 * sigma and found[1]["image.flicker"] < 0.05, found[1]
    assert found[2]["image.sharpness"] < found[1]["image.sharpness"] / 10, found[2]
    expect(found[3]["image.clipped.high"], 0.1, "a tenth of the columns")
    expect(found[3]["image.clipped.low"], 0.09, "a tenth of the rows of the others")
    brighter = [flat[0], (flat[0][0] + np.uint8(9), *flat[0][1:])]
    make_tree("brighter", brighter)
    row = rows("brighter", "image.flicker", "image.motion", "image.temporal_noise")[0][1]
    assert [row[k] for k in list(row)[-3:]] == [9, 0, 0], row

    # A measure does not depend on the other names and the selected frames.
    one = rows("many", "image.noise", options=["--frames", "2..3", "--jobs", "1"])[0]
    all_rows = rows("many", "image.flicker", "image.noise", "image.u.mean", "total_gain")[0]
    assert [r["image.noise"] for r in one] == [r["image.noise"] for r in all_rows[1:3]]
    flicker = rows("many", "image.flicker", options=["--frames", "2"])[0]
    assert flicker[0]["image.flicker"] == all_rows[1]["image.flicker"] is not None

    # Other layouts: the same file as NV12, and with gaps after the rows.
    nv12 = [(y, v, u) for y, u, v in many]
    hold("many", nv12, "image.u", options=["--order", "nv12"])
    files = make_tree("gaps", [picture(30, 20, 3)])
    bytes_ = random.integers(0, 256, (30, 32), np.uint8)
    files[0].write_bytes(bytes_.tobytes())
    hold("gaps", [(bytes_[:20, :30], bytes_[20:, 1:30:2], bytes_[20:, 0:30:2])], "image.u",
         options=["--stride", "32"])

    # Files that are cut: the existing samples count, and a message reports it. Regions outside the picture.
    y = odd[1][0]
    files = make_tree("cut", odd)
    files[1].write_bytes(y.tobytes()[:37 * 20 + 11])
    found, said = rows("cut", "image.mean", "image.noise", "image[0,0,37,19].std", "image.u.mean",
                       "image.flicker", status=3)
    expect(found[1]["image.mean"], y.reshape(-1)[:37 * 20 + 11].mean(), "the mean of the existing samples")
    expect(found[1]["image.noise"], measured(y[:20], None)["noise"], "the noise of whole rows")
    expect(found[1]["image[0,0,37,19].std"], y[:19].std(), "a region that is there")
    expect(found[1]["image.u.mean"], None, "chroma that is not there")
    expect(found[1]["image.flicker"], abs((y[:20].astype(float) - odd[0][0][:20]).mean()), "flicker")
    assert "ends after 751 of" in said and "19].std" not in said, said
    files[0].write_bytes(b"")
    found, said = rows("cut", "image.mean", "image.motion", status=3)
    assert found[0]["image.mean"] is None and found[1]["image.motion"] is None, found
    assert "image.mean: the file is empty" in said and "the frame before: the file is empty" in said
    files[0].unlink()
    found, said = rows("cut", "image.mean", "image.motion", status=3)
    assert found[0]["image.mean"] is None and "reqID_1" not in said, (found, said)
    found, said = rows("odd", "image[30,0,8,8].mean", "image.mean", status=3)
    assert "37x35 pixels" in said and found[0]["image.mean"] is not None, (found, said)
print("the measures agree with numpy")
