"""A plugin for pytest that runs tests on a folder of trees.

``pytest --tyk-trees DIR`` runs each test with the fixture ``tyktree`` once for every tree in DIR,
which is a tree or a folder with trees. If the package is not installed, ``-p
tyksim.pytest_plugin`` loads the plugin.

    def test_gain(tyktree):
        for frame in tyktree.frames:
            assert frame["total_gain"] < 8000
"""

from __future__ import annotations

import os
from typing import TYPE_CHECKING

import pytest

import tyksim

if TYPE_CHECKING:
    from tyksim import Tree

_OPTION = "--tyk-trees"
_DEEP = 4  # levels of folders below DIR in which trees are found


def pytest_addoption(parser: pytest.Parser) -> None:
    group = parser.getgroup("tyksim", "dump trees")
    group.addoption(
        _OPTION, metavar="DIR", help="Folder of trees for tests that take the fixture tyktree"
    )
    group.addoption("--tyk-tags", metavar="FILE", help="Tag table of the trees")


def _is_tree(folder: str) -> bool:
    """Whether a folder is a tree. This includes a damaged tree, whose tests are errors."""
    try:
        tyksim.open(folder)
    except tyksim.DamagedError as error:
        return error.path != folder
    return True


def _trees(folder: str, deep: int = _DEEP, above: tuple[str, ...] = ()) -> list[str]:
    """The trees at or below a folder, in order of their paths."""
    place = os.path.realpath(folder)
    if place in above:
        return []
    if _is_tree(folder):
        return [folder]
    if deep == 0:
        return []
    below = sorted(entry.path for entry in os.scandir(folder) if entry.is_dir())
    return [tree for path in below for tree in _trees(path, deep - 1, (*above, place))]


def pytest_generate_tests(metafunc: pytest.Metafunc) -> None:
    if "tyktree" not in metafunc.fixturenames:
        return
    folder = metafunc.config.getoption(_OPTION)
    if folder is None:
        raise pytest.UsageError(
            f"expected {_OPTION} DIR, a folder of trees for the fixture tyktree, found none"
        )
    if not os.path.isdir(folder):
        raise pytest.UsageError(f"{_OPTION} {folder}: expected a folder")
    trees = _trees(folder)
    if not trees:
        raise pytest.UsageError(f"{_OPTION} {folder}: expected trees, found none")
    names = [os.path.relpath(path, folder) for path in trees]
    metafunc.parametrize("tyktree", trees, ids=names, indirect=True, scope="session")


@pytest.fixture(scope="session")
def tyktree(request: pytest.FixtureRequest) -> Tree:
    """A tree of the folder; each test runs once for each."""
    return tyksim.open(request.param, tags=request.config.getoption("--tyk-tags"))
