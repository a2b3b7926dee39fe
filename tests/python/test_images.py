"""Compares images with the test's own decoder and with the program's pictures."""

import gc
import os

import numpy as np
import pytest
import tyksim
from conftest import document, frame_folders, image_file, tyksim as run


def decoded(path, width, height):
    """Luma and chroma of an NV21 file."""
    samples = np.fromfile(path, np.uint8)
    luma = samples[: width * height].reshape(height, width)
    chroma = samples[width * height :].reshape((height + 1) // 2, (width + 1) // 2, 2)
    return luma, chroma


def test_samples(recorded):
    for frame in tyksim.open(recorded).frames:
        y, vu = decoded(image_file_of(frame), 64, 48)
        assert np.array_equal(frame.image.y, y) and np.array_equal(frame.image.vu, vu)
        assert np.array_equal(frame.image.mapped().vu, vu)
        assert frame.image.y is frame.image.y and frame.image.y.flags.owndata
        shown = document("show", frame.path)["image"]
        assert frame.image.y.mean() == pytest.approx(shown["y"]["mean"])
        assert frame.image.vu[..., 0].mean() == pytest.approx(shown["v"]["mean"])


def image_file_of(frame):
    import pathlib

    return image_file(pathlib.Path(frame.path))


def test_arrays_outlive_the_tree(tree_folder):
    frame = tyksim.open(tree_folder).frames[0]
    y = frame.image.y
    before = y.copy()
    os.truncate(image_file_of(frame), 0)
    del frame
    gc.collect()
    assert np.array_equal(y, before)


@pytest.mark.parametrize("matrix", ["bt601", "bt709"])
@pytest.mark.parametrize("samples", ["full", "limited"])
@pytest.mark.parametrize("scale", [1, 2, 5])
def test_rgb_equals_export(recorded, tmp_path, matrix, samples, scale):
    out = tmp_path / "rgb"
    run("export", recorded, "-o", out, "--format", "rgb", "--matrix", matrix, "--range", samples,
        "--scale", f"1/{scale}", "--frames", 3)
    file = next(out.glob("*.rgb"))
    image = tyksim.open(recorded).frames[2].image
    rgb = image.rgb(matrix=matrix, range=samples, scale=scale)
    assert rgb.shape == (-(-48 // scale), -(-64 // scale), 3)
    assert rgb.tobytes() == file.read_bytes()
    assert np.array_equal(tyksim.Image(image.y, image.vu).rgb(matrix, samples, scale), rgb)


@pytest.mark.parametrize("size", ["63x47", "1x1", "2x3"])
def test_odd_sizes_lack_chroma(tmp_path, size):
    run("record", tmp_path / "odd", "--frames", 1, "--size", size)
    image = tyksim.open(tmp_path / "odd").frames[0].image
    width, height = map(int, size.split("x"))
    assert image.y.shape == (height, width)
    with pytest.raises(tyksim.DamagedError) as caught:
        image.vu
    assert caught.value.found == f"{width * height * 3 // 2}"
    assert image.filled().vu.shape == ((height + 1) // 2, (width + 1) // 2, 2)
    assert image.filled().rgb().shape == (height, width, 3)


def test_short_files_are_damage(tree_folder):
    file = image_file(frame_folders(tree_folder)[0])
    os.truncate(file, 64 * 48 + 100)
    image = tyksim.open(tree_folder).frames[0].image
    assert image.y.shape == (48, 64)
    with pytest.raises(tyksim.DamagedError) as caught:
        image.vu
    assert (caught.value.path, caught.value.expected) == (str(file), "4608 bytes")
    assert (image.filled().vu[10:] == 128).all()
    with pytest.raises(ValueError, match="complete"):
        image.mapped()
    file.unlink()
    with pytest.raises(tyksim.DamagedError, match="an image"):
        tyksim.open(tree_folder).frames[0].image


def test_orders_and_strides(tree_folder):
    file = image_file(frame_folders(tree_folder)[0])
    y, vu = decoded(file, 64, 48)
    rows = np.zeros((72, 80), np.uint8)
    rows[:48, :64] = y
    rows[48:, :64] = vu[:, :, ::-1].reshape(24, 64)
    file.write_bytes(rows.tobytes())
    image = tyksim.open(tree_folder, order="nv12", stride=80).frames[0].image
    assert np.array_equal(image.y, y) and np.array_equal(image.vu, vu)
    with pytest.raises(ValueError, match="stride"):
        tyksim.open(tree_folder, stride=8).frames[0].image.y


def test_images_of_arrays():
    y = np.arange(48, dtype=np.uint8).reshape(6, 8)
    vu = np.full((3, 4, 2), 128, np.uint8)
    image = tyksim.Image(y, vu)
    assert np.array_equal(image.rgb()[..., 1], y)
    assert np.array_equal(tyksim.Image.from_nv21(image.nv21().reshape(9, 8)).vu, vu)
    for wrong in ((y.astype(float), vu), (y, vu[:2]), (y[0], vu)):
        with pytest.raises(ValueError):
            tyksim.Image(*wrong)
    with pytest.raises(ValueError, match="matrix"):
        image.rgb(matrix="bt2020")
    with pytest.raises(ValueError, match="scale"):
        image.rgb(scale=0)
