"""Trees for the tests. The program of the same build records them."""

import json
import os
import shutil
import struct
import subprocess

import pytest
import tyksim as package
from hypothesis import settings

# Nothing is kept from one run to the next: every run tries the same values.
settings.register_profile("tests", database=None, derandomize=True)
settings.load_profile("tests")

PROGRAM = os.environ["TYKSIM"]

TAGS = """<tags version="2">
  <enum name="Mode"><value name="AUTO" number="1"/><value name="OFF" number="0"/></enum>
  <tag id="2118" name="KELV_TAG_ISCENE_INFO" size="8512" kind="fixed"/>
  <tag id="9001" name="TEST_TAG" size="40" kind="fixed">
    <field name="gain" offset="0" type="f32" unit="x"/>
    <field name="weights" offset="4" type="u16" dims="3"/>
    <field name="matrix" offset="12" type="i16" dims="2x2"/>
    <field name="mode" offset="20" type="u32" enum="Mode"/>
    <field name="label" offset="24" type="char" count="8"/>
    <field name="wide" offset="32" type="u64"/>
    <field name="flags" offset="10" type="u16" bits="3:2"/>
  </tag>
</tags>
"""


def tyksim(*words, status=0):
    """Runs the program and returns what it prints."""
    result = subprocess.run([PROGRAM, *map(str, words)], capture_output=True, text=True)
    assert result.returncode == status, result.stderr
    return result.stdout


def document(*words, status=0):
    """The JSON document of a verb."""
    return json.loads(tyksim(*words, "--json", status=status))


@pytest.fixture(scope="session")
def recorded(tmp_path_factory):
    """A tree of six frames of 64 x 48, which tests must not change."""
    root = tmp_path_factory.mktemp("trees") / "phone"
    tyksim("record", root, "--frames", 6, "--size", "64x48")
    return root


@pytest.fixture
def tree_folder(recorded, tmp_path):
    """A copy of the tree, which a test may change."""
    copy = tmp_path / "phone"
    shutil.copytree(recorded, copy)
    return copy


def frame_folders(root):
    """The frame folders of a tree, in order."""
    return sorted(path for path in root.rglob("*reqID*") if path.is_dir())


def image_file(folder):
    return next(folder.glob("FCWH_*.yuv"))


def value_of(frame):
    """The bytes of TEST_TAG in frame `frame`."""
    value = bytearray(40)
    struct.pack_into("<f3H", value, 0, 0.1 + frame, 1, 2, 3)
    struct.pack_into("<H", value, 10, 0b10111)
    struct.pack_into("<4hI8sQ", value, 12, -1, 2, -3, 4, frame, b"abc\0", 2**63 + frame)
    return bytes(value)


@pytest.fixture
def tagged(tree_folder):
    """The tree with TEST_TAG in all frames but the fourth."""
    tags = tree_folder.parent / "tags.xml"
    tags.write_text(TAGS)
    for number, folder in enumerate(frame_folders(tree_folder)):
        if number != 3:
            (folder / f"FCPDT_{number + 1}_0_1_0_TEST_TAG.bin").write_bytes(value_of(number))
    return package.open(tree_folder, tags=tags)
