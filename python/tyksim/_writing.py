"""Writes trees."""

from __future__ import annotations

import errno
import os
from collections.abc import Iterable, Iterator, Mapping, Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, Optional, Union

import numpy as np

from . import _core
from ._images import Image

if TYPE_CHECKING:
    from ._images import ImageLike
    from ._trees import Frame, Path, Tree

    Values = Union[Mapping[str, Sequence[Any]], Iterable[Mapping[str, Any]]]


def _refuse_existing(path: str) -> None:
    if os.path.lexists(path):
        raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST), path)


def text_of(value: Any) -> str:
    """A value in the notation of ``--set``: a number, a text, or elements with commas."""
    if isinstance(value, str):
        return value
    if isinstance(value, (bytes, bytearray, memoryview)):
        return "0x" + bytes(value).hex()
    if isinstance(value, np.ndarray) or isinstance(value, Sequence):
        return ",".join(text_of(element) for element in np.asarray(value).reshape(-1).tolist())
    if isinstance(value, np.generic):
        return text_of(value.item())
    if isinstance(value, int):
        return str(int(value))
    if isinstance(value, float):
        return repr(value)
    raise TypeError(f"expected a number, text, bytes or an array, found {type(value).__name__}")


class Writer:
    """Makes a tree from the frames of another one.

    >>> with tyksim.Writer("out", like=tree) as writer:
    ...     for frame in tree.frames:
    ...         writer.add(frame, image=denoise(frame.image), set={"total_gain": 100})

    The tree appears at ``path`` when the block ends; after an exception there is none. Folders,
    dump configurations, tuning copies and the tag table come from ``like``.

    Args:
        path: the folder to make; raises FileExistsError if it exists.
        like: the tree from which the frames come.
    """

    def __init__(self, path: Path, like: Tree) -> None:
        self._path = os.fspath(path)
        _refuse_existing(self._path)
        self._like = like
        self._writer = _core.TreeWriter(self._path, like._frames)

    def add(
        self,
        frame: Frame,
        image: Optional[ImageLike] = None,
        set: Optional[Mapping[str, Any]] = None,
    ) -> None:
        """Adds a frame.

        Args:
            frame: a frame of ``like``; all other data come from its folder, byte for byte.
            image: an Image, a pair (y, vu), or one NV21 array of shape (H * 3 / 2, W), of any size.
            set: values by name: numbers, texts, arrays; bytes for a whole TAG.

        Raises:
            KeyError: a name is unknown; the text has the most similar names.
            ValueError: a value does not fit, or the frame was added before or is not of ``like``.
            DamagedError: a file of the frame cannot be read.
        """
        picture = None
        if image is not None:
            given = Image._from(image)
            picture = (given.width, given.height, given._file_bytes())
        settings = [f"{name}={text_of(value)}" for name, value in (set or {}).items()]
        self._writer.add(self._index(frame), picture, settings)

    def _index(self, frame: Frame) -> int:
        """The index of the frame in ``like``."""
        if frame.tree._frames is self._like._frames:
            return frame._index
        for index in range(len(self._like._frames)):
            if self._like._frames.place(index)[5] == frame.path:
                return index
        raise ValueError(f"{frame.path}: expected a frame of {self._like.path}")

    def close(self) -> None:
        """Moves the tree to its place. Raises ValueError if no frame was added."""
        try:
            self._writer.commit()
        finally:
            self._writer.close()

    def __enter__(self) -> Writer:
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        if kind is None:
            self.close()
        else:
            self._writer.close()

    def __repr__(self) -> str:
        return f"<tyksim.Writer {self._path}>"


def _rows(values: Values) -> Iterator[dict[str, Any]]:
    """The values of each frame, from columns or rows."""
    if isinstance(values, Mapping):
        names = list(values)
        for row in zip(*values.values()):
            yield {name: _plain(value) for name, value in zip(names, row)}
        return
    for named in values:
        yield {name: _plain(value) for name, value in named.items()}


def _plain(value: Any) -> Any:
    """A value for JSON; None for a masked element."""
    if value is np.ma.masked:
        return None
    if isinstance(value, (np.ndarray, np.generic)):
        value = value.tolist()
    return int(value) if isinstance(value, int) else value


def record(
    path: Path,
    frames: Iterable[ImageLike],
    *,
    values: Optional[Values] = None,
    tags: Optional[Path] = None,
    fps: Optional[float] = None,
    camera: int = 0,
    pipe: int = 1,
    first_request: int = 1,
    first_sof: int = 1,
) -> Tree:
    """Makes a tree from pictures, like ``tyksim record``, and opens it.

    Args:
        path: the folder to make; raises FileExistsError if it exists.
        frames: pictures of one size: each is an Image, a pair (y, vu), or an NV21 array. The
            iterable is read one by one.
        values: values by the names of track(): columns with one value per frame, or one mapping per
            frame. All other values are simulated.
        tags: your own tag table, whose tags are recorded.
        fps: frames per second, for the times of the frames; by default a frame has the time at
            which it is recorded.
        camera, pipe, first_request, first_sof: ids.

    Runs the program tyksim. Raises tyksim.Error, with the program's message, if it fails; ``path``
    does not exist then.
    """
    import json
    import shutil
    import tempfile

    from ._program import feed
    from ._trees import open as open_tree

    target = os.path.abspath(os.fspath(path))
    _refuse_existing(target)
    pictures = (Image._from(frame) for frame in frames)
    first = next(pictures, None)
    if first is None:
        raise ValueError("frames: expected at least one, found none")
    made = tempfile.mkdtemp(prefix=".tyksim-", dir=os.path.dirname(target))
    try:
        root = os.path.join(made, "root")
        size = f"{first.width}x{first.height}"
        words = ["record", root, "-", "--raw", "nv21", "--size", size,
                 "--camera", str(camera), "--pipe", str(pipe),
                 "--first-request", str(first_request), "--first-sof", str(first_sof)]
        if values is not None:
            table = os.path.join(made, "values.jsonl")
            with open(table, "w", encoding="utf-8") as file:
                file.writelines(json.dumps(row) + "\n" for row in _rows(values))
            words += ["--values", table]
        if tags is not None:
            words += ["--tags", os.fspath(tags)]
        if fps is not None:
            words += ["--fps", str(fps)]
        feed(words, _samples(first, pictures))
        os.rename(root, target)
    finally:
        shutil.rmtree(made)
    return open_tree(target)


def _samples(first: Image, others: Iterable[Image]) -> Iterator[bytes]:
    """The bytes of all pictures. Raises ValueError if a picture's size is not that of the first."""
    yield first.nv21().tobytes()
    for number, image in enumerate(others, 2):
        if image.shape != first.shape:
            raise ValueError(
                f"frame {number}: expected {first.width}x{first.height}, as the first, "
                f"found {image.width}x{image.height}"
            )
        yield image.nv21().tobytes()
