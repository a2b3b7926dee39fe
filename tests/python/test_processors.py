"""Tests processors in Python, and the plugin for pytest."""

import os
import pathlib
import signal
import subprocess
import sys

import numpy as np
import pytest
import tyksim
from conftest import PROGRAM, tyksim as run

PACKAGE = str(pathlib.Path(tyksim.__file__).parents[1])
ENVIRONMENT = {**os.environ, "PYTHONPATH": PACKAGE}


def process(tree, tmp_path, source, *words, status=0, python=sys.executable):
    """Replays a tree with a processor; returns the output folder and the messages."""
    file = tmp_path / "odd name.py"
    file.write_text(source)
    out = tmp_path / "out"
    result = subprocess.run(
        [PROGRAM, "replay", str(tree), "--with", str(file), "-o", str(out), "--python",
         python, *words],
        capture_output=True, text=True, env=ENVIRONMENT,
    )
    assert result.returncode == status, result.stdout + result.stderr
    assert out.exists() == (status in (0, 3) and "recorded: nothing" not in result.stdout)
    return out, result.stdout + result.stderr


def test_pictures_and_values_can_be_set(recorded, tmp_path):
    out, _ = process(recorded, tmp_path, """
import numpy as np
factor = None
def open(strength: float = 0.5, times: int = 1, name: str = ""):
    global factor
    factor = strength * times
def process(frame):
    assert len(frame.parameters["KELV_TAG_ISCENE_INFO"].bytes) == 8512
    frame.y[:] = frame.y * factor
    frame.vu[..., 0] = 9
    frame["total_gain"] = 77
    frame["exp_time"] = frame["exp_time"] + 1
    width = frame["KELV_TAG_STREAM_SIZE.width"]
    frame["KELV_TAG_STREAM_SIZE.width"] = width + 2
""", "--option", "strength=0.25", "--option", "times=2")
    before, after = tyksim.open(recorded), tyksim.open(out)
    assert len(after) == len(before) and after.check().ok
    for one, other in zip(before.frames, after.frames):
        assert np.array_equal(other.image.y, (one.image.y * 0.5).astype(np.uint8))
        assert np.array_equal(other.image.vu[..., 1], one.image.vu[..., 1])
        assert (other.image.vu[..., 0] == 9).all()
        assert other["total_gain"] == 77 and other["exp_time"] == one["exp_time"] + 1
        assert other["KELV_TAG_STREAM_SIZE.width"] == one["KELV_TAG_STREAM_SIZE.width"] + 2


def test_a_processor_that_does_nothing_changes_nothing(recorded, tmp_path):
    out, _ = process(recorded, tmp_path, "def process(frame):\n    pass\n")
    assert tyksim.diff(tyksim.open(recorded), tyksim.open(out)).same


def test_frames_are_dropped(recorded, tmp_path):
    out, said = process(recorded, tmp_path, """
try:
    import no_such_module
except ImportError:
    def process(frame):
        def inner():
            return None
        inner()
        if frame.position == 1:
            return None
        if frame.position == 2:
            return
        if frame.position == 3:
            frame.drop()
        if frame.position == 4:
            return frame
        if frame.position == 5:
            return frame.y[:24, :32], frame.vu[:12, :16]
""")
    kept = tyksim.open(out)
    assert [frame.request for frame in kept.frames] == [4, 5, 6]
    assert [frame.image.shape for frame in kept.frames] == [(48, 64), (24, 32), (48, 64)]
    assert said.count("returned no picture") == 3


def test_set_values_can_be_read(recorded, tmp_path):
    out, said = process(recorded, tmp_path, """
import numpy as np
def process(frame):
    frame.image = frame.y[:24, :32], frame.vu[:12, :16]
    frame.y[:] = 7
    assert (frame.y.shape, frame.width, frame.image.shape) == ((24, 32), 32, (24, 32))
    frame["KELV_TAG_STREAM_SIZE"] = np.array([3, 4], np.uint32)
    assert frame["KELV_TAG_STREAM_SIZE.width"] == 3
    assert frame["KELV_TAG_STREAM_SIZE"].bytes == bytes([3, 0, 0, 0, 4, 0, 0, 0])
    assert frame.parameters["KELV_TAG_STREAM_SIZE"].bytes != bytes([3, 0, 0, 0, 4, 0, 0, 0])
    assert "total_gain" in frame and "no_such_name" not in frame and frame.get("no_such_name") is None
""")
    for frame in tyksim.open(out).frames:
        assert frame.image.shape == (24, 32) and (frame.image.y == 7).all()
        assert frame["KELV_TAG_STREAM_SIZE.height"] == 4


def test_modules_of_the_processor(recorded, tmp_path):
    """tyksim runs no file of the current folder, and other processes find the processor's functions."""
    (tmp_path / "tyksim").mkdir()
    (tmp_path / "tyksim" / "__init__.py").write_text("raise SystemExit('a package of the current folder')")
    file = tmp_path / "doubling.py"
    file.write_text("""
from multiprocessing import get_context
def double(number):
    return 2 * number
def process(frame):
    if frame.position == 1:
        with get_context("spawn").Pool(1) as pool:
            frame["total_gain"] = pool.map(double, [21])[0]
""")
    out = tmp_path / "out"
    result = subprocess.run(
        [PROGRAM, "replay", recorded, "--with", file, "-o", out, "--python", sys.executable],
        capture_output=True, text=True, env=ENVIRONMENT, cwd=tmp_path, timeout=60,
    )
    assert result.returncode == 0, result.stderr
    assert tyksim.open(out).frames[0]["total_gain"] == 42


@pytest.mark.parametrize(
    "function, printed",
    [
        ("def open(**further): print(further)", "{'a': '1', 'b': 'x'}"),
        ("def open(a: int, /, *rest, b='', c=3): print(a, rest, b, c)", "1 () x 3"),
        ("from io import open", None),
    ],
)
def test_options_of_any_signature(recorded, tmp_path, function, printed):
    source = function + "\ndef process(frame): pass"
    words = ["--option", "a=1", "--option", "b=x"] if printed else []
    assert (printed or "") in process(recorded, tmp_path, source, *words)[1]


@pytest.mark.parametrize(
    "source, status, words",
    [
        ("def process(frame):\n    if frame.position == 2: 1 / 0", 3,
         ["frame 2 of task 1, request 2", "line 2, in process", "ZeroDivisionError", "_reqID_2_"]),
        ("def process(frame):\n    frame['total_gian'] = 1", 3, ["total_gain"]),
        ("def process(frame):\n    frame['total_gain'] = 'much'", 3, ["total_gain", "much"]),
        ("def process(frame):\n    frame['KELV_TAG_STREAM_SIZE'] = b'12'", 3, ["8", "2"]),
        ("def process(frame):\n    frame['KELV_TAG_STREAM_SIZE'] = 8", 3, ["expected bytes", "int"]),
        ("def process(frame):\n    return 'x'", 3, ["returned a str"]),
        ("def process(frame):\n    return frame.y", 3, ["NV21 of shape (72, 64)"]),
        ("def process(frame):\n    return 1, 2, 3", 3, ["found 3 of them"]),
        ("def process(frame):\n    frame.y = frame.y[0]", 3, ["expected shape (48, 64)"]),
        ("def process(frame):\n    frame.vu = frame.vu * 1.0", 3, ["uint8", "float64"]),
        ("class E(Exception):\n    def __str__(self): return 1\ndef process(frame): raise E()", 3,
         ["line 3, in process", "found an error: E\n"]),
        ("def process(frame:\n", 1, ["SyntaxError", "line 1"]),
        ("x = 1", 1, ["expected a function process(frame), found none"]),
        ("import no_such_thing\ndef process(frame): pass", 1, ["No module named 'no_such_thing'"]),
        ("def open(): raise ValueError('no')\ndef process(frame): pass", 1, ["ValueError: no"]),
        ("import os\ndef process(frame): os._exit(5)", 1, ["status 5", "frame 1 of task 1"]),
        ("def process(frame): raise SystemExit('enough')", 1, ["enough", "frame 1 of task 1"]),
        ("import os\ndef process(frame): os.abort()", 1, ["SIGABRT"]),
    ],
)
def test_failures_are_reported(recorded, tmp_path, source, status, words):
    _, said = process(recorded, tmp_path, source, status=status)
    for word in words:
        assert word in said
    assert "in _serve" not in said and "ast.py" not in said  # the user's lines come first


@pytest.mark.parametrize(
    "option, word",
    [
        ("strenght=1", "strength"),
        ("strength=much", "a number"),
        ("on=maybe", "true or false"),
        ("strength", "NAME=VALUE"),
        ("=1", "NAME=VALUE"),
        ("exact=x", "Decimal"),
    ],
)
def test_wrong_options_are_wrong_usage(recorded, tmp_path, option, word):
    source = (
        "from decimal import Decimal\n"
        "def open(strength: float = 1, on: bool = False, exact: Decimal = 0): pass\n"
        "def process(frame): pass"
    )
    _, said = process(recorded, tmp_path, source, "--option", option, status=2)
    assert option in said and word in said


def test_missing_options_and_interpreters(recorded, tmp_path):
    source = "def open(strength): pass\ndef process(frame): pass"
    assert "--option strength=VALUE" in process(recorded, tmp_path, source, status=2)[1]
    _, said = process(recorded, tmp_path, source, status=1, python="no-such-python")
    assert "no-such-python: cannot be run" in said
    bare = tmp_path / "bare"
    bare.write_text(f'#!/bin/sh\nexec {sys.executable} -I -S "$@"\n')
    bare.chmod(0o755)
    assert "expected an interpreter with the packages tyksim and numpy" in process(
        recorded, tmp_path, source, status=1, python=str(bare)
    )[1]


def test_a_signal_ends_the_run(recorded, tmp_path):
    file = tmp_path / "slow.py"
    began = tmp_path / "began"
    os.mkfifo(began)
    file.write_text(
        f"import signal\ndef process(frame):\n    open({str(began)!r}, 'w')\n    signal.pause()"
    )
    running = subprocess.Popen(
        [PROGRAM, "replay", str(recorded), "--with", str(file), "-o", str(tmp_path / "out"),
         "--python", sys.executable],
        env=ENVIRONMENT, stderr=subprocess.PIPE,
    )
    began.read_bytes()  # ends when the processor has opened it
    running.send_signal(signal.SIGINT)
    running.communicate(timeout=20)
    assert running.returncode == -signal.SIGINT
    assert not (tmp_path / "out").exists()


def test_the_plugin_runs_each_test_once_per_tree(recorded, tmp_path):
    trees = tmp_path / "trees"
    trees.mkdir()
    (trees / "good").symlink_to(recorded)
    (trees / "around").symlink_to(trees)
    run("copy", recorded, "-o", trees / "bad", "--set", "total_gain=9000")
    run("copy", recorded, "-o", trees / "broken")
    (trees / "broken" / "tags.xml").write_text("<tags")
    (tmp_path / "test_rules.py").write_text(
        "def test_gain(tyktree):\n"
        "    for frame in tyktree.frames:\n"
        "        assert frame['total_gain'] < 8000\n"
    )
    command = [sys.executable, "-m", "pytest", "-p", "tyksim.pytest_plugin", "-q", "-p",
               "no:cacheprovider", str(tmp_path / "test_rules.py")]
    result = subprocess.run(
        [*command, "--tyk-trees", str(trees), "--junitxml", str(tmp_path / "report.xml")],
        capture_output=True, text=True, env=ENVIRONMENT, cwd=tmp_path,
    )
    assert result.returncode == 1 and "1 failed, 1 passed, 1 error" in result.stdout
    assert "ERROR" in result.stdout and "tags.xml" in result.stdout
    assert 'name="test_gain[bad]"' in (tmp_path / "report.xml").read_text()
    for words in ([], ["--tyk-trees", str(tmp_path / "none")]):
        result = subprocess.run([*command, *words], capture_output=True, text=True, env=ENVIRONMENT)
        assert "--tyk-trees" in result.stdout + result.stderr and result.returncode != 0
