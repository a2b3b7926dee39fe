"""Compares trees, frames and values with the program and with the test's own decoder."""

import copy
import os
import pathlib
import pickle
import subprocess
import sys
import threading
import zlib
from concurrent.futures import ProcessPoolExecutor
from multiprocessing import get_context

import numpy as np
import pytest
import tyksim
from conftest import document, frame_folders, image_file, value_of
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st


def test_frames_are_those_of_info(recorded):
    tree = tyksim.open(recorded)
    said = [
        frame
        for pipe in document("info", recorded)["pipes"]
        for task in pipe["tasks"]
        for frame in task["frames"]
    ]
    assert len(tree.frames) == len(said) == 6
    for frame, entry in zip(tree.frames, said):
        assert frame.path == entry["path"]
        assert (frame.position, frame.request, frame.sof) == (
            entry["frame"],
            entry["request"],
            entry["sof"],
        )
        assert frame.image.shape == (entry["height"], entry["width"])
        assert frame.camera == 0 and frame.time.microsecond % 1000 == 0
    assert [frame.path for frame in tree.tasks[0].frames] == [frame.path for frame in tree.frames]
    assert tree.frames[-1].path == said[-1]["path"]
    assert [frame.position for frame in tree.frames[1:6:2]] == [2, 4, 6]
    assert tyksim.open(tree.frames[2].path).kind == "frame"
    assert len(tyksim.open(tree.tasks[0].path)) == 6


def test_values_equal_those_of_show(recorded):
    tree = tyksim.open(recorded)
    for frame in tree.frames[::3]:
        said = document("show", frame.path)
        for name, value in said["scene"].items():
            assert frame[name] == value, name
        assert len(frame.parameters.all()) == len(said["parameters"])
        for entry, parameter in zip(said["parameters"], frame.parameters.all()):
            assert (parameter.tag, parameter.id, parameter.size) == (
                entry["tag"],
                entry["id"],
                entry["size"],
            )
            assert f"{zlib.crc32(parameter.bytes):08x}" == entry["crc32"]
            for field, value in entry["fields"].items():
                expected = value["number"] if isinstance(value, dict) else value
                assert np.array_equal(frame[f"{parameter.tag}.{field}"], expected)
                assert np.array_equal(parameter.fields[field], expected)


def test_fields_of_every_kind(tagged):
    frame = tagged.frames[2]
    assert frame["TEST_TAG.gain"] == 2.1
    assert frame["TEST_TAG.weights"].tolist() == [1, 2, 3]
    assert frame["TEST_TAG.weights"].dtype == np.uint16
    assert frame["TEST_TAG.matrix"].tolist() == [[-1, 2], [-3, 4]]
    assert frame["TEST_TAG.matrix[1][0]"] == -3
    assert (frame["TEST_TAG.label"], frame["TEST_TAG.wide"]) == ("abc", 2**63 + 2)
    assert frame["TEST_TAG.flags"] == 0b10
    mode = tagged.frames[1]["TEST_TAG.mode"]
    assert (mode, mode.name, str(mode)) == (1, "AUTO", "AUTO (1)")
    assert pickle.loads(pickle.dumps(mode)).name == "AUTO"
    assert frame["TEST_TAG"].bytes == value_of(2)
    assert "TEST_TAG.gain" in frame and "TEST_TAG.gain" not in tagged.frames[3]
    assert tagged.frames[3].get("TEST_TAG.gain", 7) == 7


def test_columns(tagged):
    track = tagged.track(
        "TEST_TAG.gain", "TEST_TAG.wide", "TEST_TAG.matrix", "TEST_TAG.label", "TEST_TAG.mode",
        "TEST_TAG", "total_gain",
    )
    absent = [False, False, False, True, False, False]
    assert track["TEST_TAG.gain"].tolist() == [0.1, 1.1, 2.1, None, 4.1, 5.1]
    assert track["TEST_TAG.wide"].dtype == np.uint64
    assert track["TEST_TAG.wide"][5] == 2**63 + 5
    assert track["TEST_TAG.matrix"].shape == (6, 2, 2)
    assert track["TEST_TAG.label"].tolist() == ["abc", "abc", "abc", None, "abc", "abc"]
    assert track["TEST_TAG"][1] == zlib.crc32(value_of(1))
    assert (track.units["TEST_TAG.gain"], track.labels["TEST_TAG.mode"]) == (
        "x",
        {1: "AUTO", 0: "OFF"},
    )
    for name in ("TEST_TAG.gain", "TEST_TAG.label", "TEST_TAG"):
        assert track[name].mask.tolist() == absent
    assert track.requests.tolist() == [frame.request for frame in tagged.frames]
    rows = document("track", tagged.path, "total_gain", "exp_time")["rows"]
    said = tagged.track("total_gain", "exp_time")
    measured = ["image.mean", "image[8,8,16,16].std", "image.motion"]
    shown = document("track", tagged.path, *measured)["rows"]
    for name, column in tagged.track(*measured).items():
        assert column.tolist() == [row["values"][name] for row in shown]
    assert tagged.frames[1]["image.mean"] == tagged.frames[1].image.y.mean()
    for name in said:
        assert said[name].tolist() == [row["values"][name] for row in rows]
    with pytest.raises(KeyError, match="there is .*total_gain"):
        track["total_gian"]


def test_pandas(tagged):
    pandas = pytest.importorskip("pandas")
    frame = tagged.track("total_gain", "TEST_TAG.wide", "TEST_TAG.weights").to_pandas()
    assert list(frame.columns) == ["total_gain", "TEST_TAG.wide"] + [
        f"TEST_TAG.weights[{index}]" for index in range(3)
    ]
    assert frame["TEST_TAG.wide"].iloc[5] == 2**63 + 5
    assert frame["TEST_TAG.wide"].isna().tolist() == [False, False, False, True, False, False]
    assert frame.index.get_level_values("frame").tolist() == [1, 2, 3, 4, 5, 6]
    assert isinstance(frame, pandas.DataFrame)
    placed = tagged.track("total_gain").to_pandas(places=True)
    assert list(placed.columns) == ["pipe", "task", "frame", "request", "sof", "total_gain"]
    assert placed["request"].tolist() == [1, 2, 3, 4, 5, 6]


def test_records(tagged):
    records = tagged.array("TEST_TAG")
    assert records.shape == (6,) and records.dtype.itemsize == 40
    assert records.dtype.names == ("gain", "weights", "matrix", "mode", "label", "wide")
    assert records["gain"].dtype == np.float32 and records["matrix"].shape == (6, 2, 2)
    assert np.ma.getmaskarray(records["gain"]).tolist() == [False, False, False, True, False, False]
    assert records["wide"][4] == 2**63 + 4 and records["label"][0] == b"abc"
    with pytest.raises(KeyError, match="nearest: TEST_TAG"):
        tagged.array("TEST_TGA")


@settings(max_examples=25, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(
    fields=st.lists(
        st.tuples(
            st.sampled_from(["u1", "i1", "u2", "i2", "u4", "i4", "u8", "i8", "f4", "f8"]),
            st.integers(0, 60),
            st.lists(st.integers(1, 3), max_size=2),
        ),
        min_size=1,
        max_size=6,
    ),
    data=st.binary(min_size=64, max_size=64),
    cut=st.integers(0, 64),
)
def test_any_table_and_value(tree_folder, fields, data, cut):
    """array() equals a record array that numpy reads; a short file is damage."""
    names = {"u": "u", "i": "i", "f": "f"}
    kept, lines = [], []
    for number, (kind, offset, sides) in enumerate(fields):
        size = int(kind[1]) * int(np.prod(sides, dtype=int))
        if offset + size > 64:
            continue
        dims = f' dims="{"x".join(map(str, sides))}"' if sides else ""
        kept.append((f"f{number}", np.dtype("<" + kind), offset, tuple(sides)))
        lines.append(
            f'<field name="f{number}" offset="{offset}" '
            f'type="{names[kind[0]]}{int(kind[1]) * 8}"{dims}/>'
        )
    if not kept:
        return
    tags = tree_folder.parent / "any.xml"
    tags.write_text(
        '<tags version="2"><tag id="9002" name="ANY_TAG" size="64" kind="fixed">'
        + "".join(lines) + "</tag></tags>"
    )
    folder = frame_folders(tree_folder)[0]
    file = folder / "FCPDT_1_0_1_0_ANY_TAG.bin"
    file.write_bytes(data)
    frame = tyksim.open(folder, tags=tags).frames[0]
    for name, kind, offset, sides in kept:
        expected = np.ndarray(sides, kind, data, offset)
        found = np.asarray(frame[f"ANY_TAG.{name}"])
        if kind.kind == "f":
            found = found.astype(kind)
        assert np.array_equal(found, expected, equal_nan=kind.kind == "f")
    file.write_bytes(data[:cut])
    for name, kind, offset, sides in kept:
        end = offset + kind.itemsize * int(np.prod(sides, dtype=int))
        if end <= cut:
            assert frame[f"ANY_TAG.{name}"] is not None
        else:
            with pytest.raises(tyksim.DamagedError):
                frame[f"ANY_TAG.{name}"]
    file.unlink()


def test_selections(recorded):
    tree = tyksim.open(recorded)
    picked = tree.select(frames="2..4,6", requests="..5")
    assert [frame.position for frame in picked.frames] == [2, 3, 4]
    assert [frame.sof for frame in tree.select(sofs=3, task=1).frames] == [3]
    assert len(tree.select(pipe=7)) == 0
    gains = _gains(tree)
    bright = tree.select(where="total_gain>2000 and image.mean>=0", frames="..5")
    assert _gains(bright) == [gain for gain in gains[:5] if gain > 2000] != []
    assert {finding.frame for finding in bright.check()} <= {frame.position for frame in bright.frames}
    assert _gains(pickle.loads(pickle.dumps(bright))) == _gains(bright)
    with pytest.raises(KeyError, match="nearest: total_gain"):
        tree.select(where="total_gian>1")
    with pytest.raises(ValueError, match="column 12"):
        tree.select(where="total_gain>")
    for wrong in ("x", "4..2", "0"):
        with pytest.raises(ValueError, match="frames"):
            tree.select(frames=wrong)
    with pytest.raises(ValueError, match="earlier"):
        picked.select(frames="1")


def test_missing_parts_are_errors(tmp_path, recorded):
    with pytest.raises(FileNotFoundError):
        tyksim.open(tmp_path / "none")
    with pytest.raises(FileNotFoundError):
        tyksim.open("")
    with pytest.raises(FileNotFoundError):
        tyksim.open(recorded, tags=tmp_path / "none.xml")
    with pytest.raises(tyksim.DamagedError) as caught:
        tyksim.open(tmp_path)
    assert caught.value.path == str(tmp_path) and caught.value.expected
    with pytest.raises(ValueError, match="pipe"):
        tyksim.open(recorded, pipe=9)
    frame = tyksim.open(recorded).frames[0]
    with pytest.raises(KeyError, match="nearest: total_gain"):
        frame["total_gian"]
    with pytest.raises(KeyError, match="nearest: KELV_TAG_TONE_CURVE"):
        frame.parameters["KELV_TAG_TONE_CURV"]
    with pytest.raises(IndexError, match="6 frames"):
        tyksim.open(recorded).frames[6]


@pytest.mark.parametrize(
    "error, word, call",
    [
        (TypeError, "pipe", lambda tree: tyksim.open(tree.path, pipe="1")),
        (ValueError, "stride", lambda tree: tyksim.open(tree.path, stride=-1)),
        (ValueError, "task", lambda tree: tree.select(task=0)),
        (TypeError, "task", lambda tree: tree.select(task=1.0)),
        (TypeError, "name", lambda tree: tree.track(["total_gain"])),
        (TypeError, "name", lambda tree: tree.frames[0][1]),
        (TypeError, "name", lambda tree: tree.array(None)),
        (ValueError, "jobs", lambda tree: tree.check(jobs=-1)),
        (TypeError, "scale", lambda tree: tree.frames[0].image.rgb(scale=1.5)),
        (TypeError, "tolerance", lambda tree: tyksim.diff(tree, tree, tolerance=1.5)),
        (ValueError, "tolerance", lambda tree: tyksim.diff(tree, tree, tolerance=256)),
        (TypeError, "a: expected a tree", lambda tree: tyksim.diff(tree.path, tree)),
        (TypeError, "like: expected a tree", lambda tree: tyksim.Writer("never", like=tree.path)),
    ],
)
def test_wrong_arguments_are_reported(recorded, error, word, call):
    with pytest.raises(error, match=word) as caught:
        call(tyksim.open(recorded))
    assert len(str(caught.value)) < 200


def test_damage_is_an_exception_or_a_mask(tagged):
    file = next(pathlib.Path(tagged.frames[1].path).glob("*TEST_TAG*"))
    file.write_bytes(b"\0" * 10)
    with pytest.raises(tyksim.DamagedError) as caught:
        tagged.track("TEST_TAG.wide")
    assert "TEST_TAG.wide" in str(caught.value)
    error = pickle.loads(pickle.dumps(caught.value))
    assert str(error) == str(caught.value)
    track = tagged.track("TEST_TAG.wide", damaged="mask")
    assert track["TEST_TAG.wide"].mask.tolist() == [False, True, False, True, False, False]
    assert len(track.problems) == 1
    with pytest.raises(tyksim.DamagedError, match="40 bytes"):
        tagged.array("TEST_TAG")


def _gains(tree):
    return tree.track("total_gain")["total_gain"].tolist()


def test_pickles_threads_and_processes(recorded):
    tree = tyksim.open(recorded).select(frames="2..5")
    gains = _gains(tree)
    again = pickle.loads(pickle.dumps(tree))
    assert _gains(again) == gains and _gains(copy.copy(tree)) == gains
    frame = pickle.loads(pickle.dumps(tree.frames[1]))
    assert frame == tree.frames[1] != tree.frames[2] and tree.frames.index(frame) == 1
    assert len({frame, *tree.frames}) == 4
    parameter = pickle.loads(pickle.dumps(frame.parameters["KELV_TAG_WB_GAINS"]))
    assert np.array_equal(parameter["gains"], frame["KELV_TAG_WB_GAINS.gains"])
    results = []
    threads = [
        threading.Thread(target=lambda: results.extend([_gains(tree)] * 1 for _ in range(20)))
        for _ in range(4)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 80 and all(result == [gains] for result in results)
    for method in ("fork", "spawn"):
        with ProcessPoolExecutor(2, mp_context=get_context(method)) as pool:
            assert list(pool.map(_gains, [tree] * 4)) == [gains] * 4


def test_progress_and_exceptions_from_it(recorded):
    seen = []
    tyksim.open(recorded).track("total_gain", progress=lambda done, of: seen.append((done, of)))
    assert seen[-1] == (6, 6)

    def stop(done, of):
        raise RuntimeError("enough")

    with pytest.raises(RuntimeError, match="enough"):
        tyksim.open(recorded).check(progress=stop)


def test_ctrl_c_stops_long_work(tree_folder):
    """A signal ends a track of many frames early."""
    task = frame_folders(tree_folder)[0].parent
    file = image_file(frame_folders(tree_folder)[0])
    for number in range(3000):
        folder = task / f"0101000000{number % 1000:03}_reqID_{number + 10}_sofID_{number + 10}"
        folder.mkdir(exist_ok=True)
        os.link(file, folder / file.name)
    script = (
        "import sys, tyksim, signal, os, threading, time\n"
        f"tree = tyksim.open({str(tree_folder)!r})\n"
        "def on(done, of):\n"
        "    os.kill(os.getpid(), signal.SIGINT)\n"
        "try:\n"
        "    while True: tree.check(deep=True, progress=on)\n"
        "except KeyboardInterrupt:\n"
        "    print('stopped')\n"
    )
    result = subprocess.run(
        [sys.executable, "-c", script], capture_output=True, text=True, timeout=60
    )
    assert result.stdout == "stopped\n", result.stderr


def test_a_program_ends_while_a_thread_works(recorded):
    script = (
        "import sys, threading, time, tyksim\n"
        "tree = tyksim.open(sys.argv[1])\n"
        "began = threading.Event()\n"
        "def work():\n"
        "    while True: tree.track('image.mean', progress=lambda done, of: began.set())\n"
        "for _ in range(4): threading.Thread(target=work, daemon=True).start()\n"
        "began.wait()\n"
    )
    for _ in range(5):
        result = subprocess.run([sys.executable, "-c", script, recorded], capture_output=True, text=True)
        assert (result.returncode, result.stderr) == (0, "")


def test_notebook_shows(tagged):
    page = tagged._repr_html_()
    assert page.count("<img") == 6 and "request 1" in page
    assert tagged.frames[0].image._repr_png_().startswith(b"\x89PNG")
    assert "TEST_TAG" in tagged.frames[0]._repr_html_()
    assert "<td>0.1</td>" in tagged.track("TEST_TAG.gain")._repr_html_()
    assert "6 frames" in repr(tagged)
