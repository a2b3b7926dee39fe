"""Tests findings, differences, and written trees."""

import os
import pickle
import shutil
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
import tyksim
from conftest import document, frame_folders, image_file, tyksim as run, value_of


def test_findings_are_those_of_check(tree_folder):
    folders = frame_folders(tree_folder)
    os.truncate(image_file(folders[1]), 100)
    (folders[2] / "iSceneInfo.xml").write_text("<broken")
    said = document("check", tree_folder, status=3)["findings"]
    found = tyksim.open(tree_folder).check()
    assert len(found) == len(said) > 1 and not found.ok
    for finding, entry in zip(found, said):
        for name in ("rule", "severity", "path", "expected", "found", "hint", "frame"):
            assert getattr(finding, name) == entry[name]
    assert len(found.of("error")) == sum(entry["severity"] == "error" for entry in said)
    picked = tyksim.open(tree_folder).select(frames="2").check()
    assert {finding.frame for finding in picked} == {2}


def test_differences_are_those_of_diff(recorded, tree_folder):
    folders = frame_folders(tree_folder)
    image = image_file(folders[0])
    samples = np.fromfile(image, np.uint8)
    samples[5] ^= 3
    image.write_bytes(samples.tobytes())
    run("copy", tree_folder, "-o", tree_folder.parent / "b", "--set", "total_gain=4711",
        "--frames", "2..6")
    a, b = tyksim.open(recorded), tyksim.open(tree_folder)
    assert tyksim.diff(a, a).same and not tyksim.diff(a, a)
    diff = tyksim.diff(a, b)
    said = document("diff", recorded, tree_folder, status=3)
    assert not diff.same and len(diff.frames) == len(said["frames"]) == 1
    plane = diff.frames[0].image.y
    entry = said["frames"][0]["image"]["y"]
    assert (plane.psnr, plane.max, plane.pixels) == (
        pytest.approx(entry["psnr"]), entry["max"], entry["pixels"],
    )
    assert tyksim.diff(a, b, tolerance=3).same and tyksim.diff(a, b, ignore=["image"]).same
    other = a.diff(tyksim.open(tree_folder.parent / "b"))
    assert len(other.frames) == 6 and other.frames[0].b is None
    assert {value.name.split("/")[-1] for value in other.frames[1].scene} == {"total_gain"}
    assert not tyksim.diff(a.frames[0], b.frames[0]).same
    assert tyksim.diff(a.frames[0], b.frames[0]).matched == 1
    assert tyksim.diff(a.tasks[0], b.tasks[0], tolerance=3).same
    picked = a.select(frames="2..3").tasks[0]
    assert tyksim.diff(picked, b.select(where="total_gain>=0").tasks[0]).matched == 2
    assert tyksim.diff(picked, picked).same
    with pytest.raises(KeyError):
        tyksim.diff(a, b, ignore=["no_such_name"])
    assert "1 not the same" in diff._repr_html_()


def test_a_tree_is_written(recorded, tmp_path):
    tree = tyksim.open(recorded)
    out = tmp_path / "out"
    with tyksim.Writer(out, like=tree) as writer:
        for frame in tree.frames:
            dark = tyksim.Image(frame.image.y // 2, frame.image.vu)
            writer.add(frame, image=dark, set={"total_gain": 100 + frame.position})
        assert not out.exists()
    run("replay", out, "--verify")
    written = tyksim.open(out)
    assert written.check().ok
    for before, after in zip(tree.frames, written.frames):
        assert np.array_equal(after.image.y, before.image.y // 2)
        assert after["total_gain"] == 100 + before.position
        changed = {value.name.split("/")[-1] for value in tyksim.diff(before, after).frames[0].scene}
        assert changed == {"total_gain"}


def test_other_data_stay(recorded, tmp_path):
    tree = tyksim.open(recorded)
    with tyksim.Writer(tmp_path / "same", like=tree) as writer:
        for frame in tree.frames:
            writer.add(frame)
    assert tyksim.diff(tree, tmp_path_tree(tmp_path / "same")).same
    with tyksim.Writer(tmp_path / "small", like=tree) as writer:
        y, vu = np.zeros((10, 20), np.uint8), np.full((5, 10, 2), 128, np.uint8)
        writer.add(tree.frames[0], image=(y, vu))
        writer.add(tree.frames[1], image=np.full((15, 20), 7, np.uint8))
        writer.add(tree.frames[2], set={"KELV_TAG_ISCENE_INFO": bytes(8512)})
    small = tyksim.open(tmp_path / "small")
    assert [frame.image.shape for frame in small.frames] == [(10, 20), (10, 20), (48, 64)]
    assert (small.frames[1].image.vu == 7).all()


def tmp_path_tree(path):
    return tyksim.open(path)


@pytest.mark.parametrize(
    "name, value, expected",
    [
        ("TEST_TAG.wide", 2**64 - 1, 2**64 - 1),
        ("TEST_TAG.wide", np.uint64(2**64 - 1), 2**64 - 1),
        ("TEST_TAG.gain", np.float32(0.1), 0.1),
        ("TEST_TAG.weights", np.arange(6, dtype=np.int8)[::2], [0, 2, 4]),
        ("TEST_TAG.matrix", [(1, -2), (3, 4)], [[1, -2], [3, 4]]),
        ("TEST_TAG.mode", "AUTO", 1),
        ("TEST_TAG.label", "@1..9", "@1..9"),
        ("TEST_TAG.label", np.bytes_(b"a=b"), "a=b"),
        ("TEST_TAG", np.arange(10, dtype=np.uint32), np.arange(10, dtype=np.uint32).tobytes()),
        ("TEST_TAG", memoryview(bytes(40)), bytes(40)),
    ],
)
def test_values_can_be_set(tagged, tmp_path, name, value, expected):
    with tyksim.Writer(tmp_path / "out", like=tagged) as writer:
        writer.add(tagged.frames[1], set={name: value})
        writer.add(tagged.frames[0], set={"TEST_TAG": tagged.array("TEST_TAG")[4]})
    written = tyksim.open(tmp_path / "out", tags=tagged.tags_path)
    found = written.frames[1][name]
    found = found.bytes if isinstance(found, tyksim.Parameter) else found
    assert np.array_equal(found, expected)
    assert written.frames[0]["TEST_TAG"].bytes == value_of(4)


@pytest.mark.parametrize(
    "error, word, name, value",
    [
        (ValueError, "whole number", "TEST_TAG.wide", "1..9"),
        (ValueError, "whole number", "TEST_TAG.wide", [2**64 - 1, -1]),
        (ValueError, "masked", "TEST_TAG.gain", np.ma.masked),
        (ValueError, "masked", "TEST_TAG.weights", np.ma.array([1, 2, 3], mask=[0, 1, 0])),
        (ValueError, "3 numbers", "TEST_TAG.weights", (1, 2)),
        (ValueError, "40 bytes", "TEST_TAG", bytes(39)),
        (TypeError, "expected bytes", "TEST_TAG", 40),
        (TypeError, "expected bytes", "TEST_TAG", "@/etc/hostname"),
        (TypeError, "expected a number", "TEST_TAG.gain", None),
        (KeyError, "nearest: total_gain", "total_gian", 1),
    ],
)
def test_invalid_values_are_reported(tagged, tmp_path, error, word, name, value):
    with pytest.raises(error, match=word) as caught:
        with tyksim.Writer(tmp_path / "out", like=tagged) as writer:
            writer.add(tagged.frames[1], set={name: value})
    assert name in str(caught.value) and "--set" not in str(caught.value)
    assert not (tmp_path / "out").exists()


def test_threads_and_processes_add_frames(recorded, tmp_path):
    tree = tyksim.open(recorded)
    frames = pickle.loads(pickle.dumps(list(tree.frames)))  # as they come back from a process
    with tyksim.Writer(tmp_path / "out", like=tree) as writer, ThreadPoolExecutor(4) as pool:
        list(pool.map(writer.add, frames))
    assert tyksim.diff(tree, tyksim.open(tmp_path / "out")).same


def test_a_forked_process_does_not_change_the_tree(recorded, tmp_path):
    script = (
        "import os, sys, tyksim\n"
        "tree = tyksim.open(sys.argv[1])\n"
        "writer = tyksim.Writer(sys.argv[2], like=tree)\n"
        "writer.add(tree.frames[0])\n"
        "if os.fork() == 0:\n"
        "    try:\n"
        "        writer.add(tree.frames[1])\n"
        "    except ValueError as error:\n"
        "        sys.exit(str(error))\n"
        "    sys.exit('added')\n"
        "os.wait()\n"
        "writer.add(tree.frames[2])\n"
        "writer.close()\n"
    )
    out = tmp_path / "out"
    result = subprocess.run([sys.executable, "-c", script, recorded, out], capture_output=True, text=True)
    assert result.stderr == "the writer belongs to another process\n" and result.returncode == 0
    assert [frame.position for frame in tyksim.open(out).frames] == [1, 2]
    assert tyksim.diff(tyksim.open(recorded).select(requests="1,3"), tyksim.open(out)).same


def test_an_exception_leaves_no_tree(recorded, tmp_path):
    tree = tyksim.open(recorded)
    out = tmp_path / "out"
    with pytest.raises(RuntimeError), tyksim.Writer(out, like=tree) as writer:
        writer.add(tree.frames[0])
        raise RuntimeError("stop")
    cases = [
        (KeyError, "total_gain", {"set": {"total_gian": 1}}),
        (ValueError, "total_gain", {"set": {"total_gain": -1}}),
        (ValueError, "y", {"image": (np.zeros((0, 4), np.uint8), np.zeros((0, 2, 2), np.uint8))}),
        (ValueError, "luma alone", {"image": tree.frames[0].image.y}),
        (TypeError, "an Image", {"image": tree.frames[0].image.path}),
        (TypeError, "", {"set": {"total_gain": object()}}),
    ]
    for error, match, arguments in cases:
        with pytest.raises(error, match=match), tyksim.Writer(out, like=tree) as writer:
            writer.add(tree.frames[0], **arguments)
    with pytest.raises(ValueError, match="before"), tyksim.Writer(out, like=tree) as writer:
        writer.add(tree.frames[0])
        writer.add(tree.frames[0])
    with pytest.raises(ValueError, match="at least one"), tyksim.Writer(out, like=tree):
        pass
    assert list(tmp_path.iterdir()) == []
    out.mkdir()
    with pytest.raises(FileExistsError):
        tyksim.Writer(out, like=tree)
    with pytest.raises(ValueError):
        tyksim.Writer(recorded / "inside", like=tree)


def test_a_damaged_frame_is_not_written(tree_folder, tmp_path):
    tree = tyksim.open(tree_folder)
    file = image_file(frame_folders(tree_folder)[1])
    file.unlink()
    file.mkdir()
    with pytest.raises(tyksim.DamagedError), tyksim.Writer(tmp_path / "out", like=tree) as writer:
        for frame in tree.frames:
            writer.add(frame)
    assert not (tmp_path / "out").exists()
    shutil.rmtree(file)


def test_a_sheet_is_made(recorded, tmp_path):
    page = tmp_path / "x.html"
    tyksim.open(recorded).select(frames="1..3").sheet(page, against=recorded)
    assert page.read_text().startswith("<!")
    with pytest.raises(tyksim.Error, match="^/.*x.html"):
        tyksim.open(recorded).sheet(page)
    with pytest.raises(ValueError, match="against"):
        tyksim.open(recorded).sheet(page, against=tyksim.open(recorded).select(frames="1"), force=True)


def test_ctrl_c_ends_the_program_in_order(recorded, tmp_path):
    began, ended = tmp_path / "began", tmp_path / "ended"
    program = tmp_path / "program"
    program.write_text(
        # The input ends when the call has started the program and waits for it.
        f"#!/bin/sh\ntrap 'touch {ended}; exit 143' TERM\ncat\ntouch {began}\n"
        "while :; do sleep 0.01; done\n"
    )
    program.chmod(0o755)
    running = subprocess.Popen(
        [sys.executable, "-c", "import sys, tyksim\ntyksim.open(sys.argv[1]).sheet(sys.argv[2])",
         recorded, tmp_path / "x.html"],
        env={**os.environ, "TYKSIM": str(program)}, stderr=subprocess.PIPE,
    )
    while not began.exists() and running.poll() is None:
        time.sleep(0.01)
    running.send_signal(signal.SIGINT)
    assert b"KeyboardInterrupt" in running.communicate(timeout=20)[1]
    assert ended.exists()


def test_a_tree_is_recorded_from_arrays(tmp_path):
    random = np.random.default_rng(1)
    images = [random.integers(0, 256, (72, 64), np.uint8) for _ in range(4)]
    values = {"total_gain": [100, 200, 300, 400], "cur_ev": np.linspace(-1, 1, 4, dtype=np.float32)}
    tree = tyksim.record(tmp_path / "made", iter(images), values=values, fps=25, first_request=7)
    assert [frame.request for frame in tree.frames] == [7, 8, 9, 10]
    for frame, image in zip(tree.frames, images):
        assert np.array_equal(frame.image.nv21().reshape(72, 64), image)
    assert tree.track("total_gain")["total_gain"].tolist() == values["total_gain"]
    assert np.allclose(tree.track("cur_ev")["cur_ev"], values["cur_ev"])
    gaps = np.diff([frame.time.timestamp() for frame in tree.frames])
    assert np.allclose(gaps, 0.04, atol=0.0011)
    rows = [{"total_gain": 5}, {}, {"total_gain": None}, {"total_gain": 8}]
    again = tyksim.record(tmp_path / "rows", images, values=rows)
    assert (again.frames[0]["total_gain"], again.frames[3]["total_gain"]) == (5, 8)
    copied = tyksim.record(tmp_path / "copied", images, values=again.track("total_gain", "cur_ev"))
    for name, column in copied.track("total_gain", "cur_ev").items():
        assert np.array_equal(column, again.track(name)[name])


def test_a_recording_that_fails_leaves_nothing(tmp_path):
    image = np.zeros((3, 2), np.uint8)
    cases = [
        (tyksim.Error, "no_such_name", [image], {"values": {"no_such_name": [1]}}),
        (ValueError, "frame 2", [image, np.zeros((6, 4), np.uint8)], {}),
        (ValueError, "at least one", [], {}),
        (ValueError, "found 1 for more frames", [image] * 2, {"values": {"total_gain": [1]}}),
        (ValueError, "2 frames, found 3", [image] * 2, {"values": [{"total_gain": 1}] * 3}),
        (ValueError, "one length", [image] * 2, {"values": {"total_gain": [1], "sx": [1, 2]}}),
        (TypeError, "total_gain", [image], {"values": {"total_gain": [object()]}}),
    ]
    for error, match, frames, arguments in cases:
        with pytest.raises(error, match=match):
            tyksim.record(tmp_path / "out", frames, **arguments)
    assert list(tmp_path.iterdir()) == []
    with pytest.raises(FileExistsError):
        tyksim.record(tmp_path, [image])
