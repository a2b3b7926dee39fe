"""Writes trees."""

from __future__ import annotations

import errno
import itertools
import math
import os
import threading
from collections.abc import Iterable, Iterator, Mapping, Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, Optional, Union

import numpy as np

from . import _core
from ._arguments import name_of_value
from ._images import Image
from ._program import feed
from ._trees import Tree
from ._trees import open as open_tree

if TYPE_CHECKING:
    from ._images import ImageLike
    from ._trees import Frame, Path

    Values = Union[Mapping[str, Sequence[Any]], Iterable[Mapping[str, Any]]]


def _refuse_existing(path: str) -> None:
    if os.path.lexists(path):
        raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST), path)


_ma: Any = np.ma  # numpy has no types for it yet


def _is_masked(value: Any) -> bool:
    """Whether the value, or an element or a field of it, is masked."""
    return isinstance(value, np.ma.MaskedArray) and any(np.asarray(_ma.getmask(value)).tobytes())


def _text_of(value: Any) -> str:
    """A value as text: a number, a text, or elements with commas."""
    if isinstance(value, str):
        return value
    if isinstance(value, bytes):
        return value.decode("utf-8", "surrogateescape")
    if isinstance(value, np.ndarray):
        return _text_of(value.reshape(-1).tolist())
    if isinstance(value, Sequence):
        texts = list(_texts_in(value))
        return texts[0] if len(texts) == 1 else ",".join(map(_listed, texts))
    if isinstance(value, np.generic):
        return _text_of(value.item())
    if isinstance(value, int):
        return str(int(value))
    if isinstance(value, float):
        return repr(value)
    raise TypeError(f"expected a number, a text or an array, found {type(value).__name__}")


def _bytes_of(value: Any) -> bytes:
    """The bytes of a whole tag's value; for an array the bytes of its elements."""
    if isinstance(value, (bytes, bytearray)):
        return bytes(value)
    if isinstance(value, np.ndarray):
        return bytes(_ma.getdata(value).tobytes())
    if isinstance(value, (memoryview, np.void)):
        return value.tobytes()
    raise TypeError(f"expected bytes or an array for a whole tag, found {type(value).__name__}")


def setting(
    table: _core.Table, tags: list[str], name: str, value: Any
) -> tuple[str, Union[str, bytes]]:
    """Returns the tag of a value to set, and the value: text for a field, bytes for a whole tag.

    Args:
        tags: names of further tags, besides those of the table.

    Raises:
        KeyError: the name is unknown; the text has the most similar names.
        TypeError: the value has an invalid type.
        ValueError: the value, or part of it, is masked.
    """
    tag = table.tag_of(name_of_value(name), tags)
    try:
        if _is_masked(value):
            raise ValueError("expected a value, found a masked one")
        return tag, _bytes_of(value) if name == tag else _text_of(value)
    except (TypeError, ValueError) as error:
        raise type(error)(f"{name}: {error}") from None


def _texts_in(values: Iterable[Any]) -> Iterator[str]:
    """The elements of nested sequences as texts."""
    for value in values:
        element = value.tolist() if isinstance(value, np.ndarray) else value
        if isinstance(element, Sequence) and not isinstance(element, (str, bytes)):
            yield from _texts_in(element)
        else:
            yield _text_of(element)


def _listed(text: str) -> str:
    """An element of a list of several, as ``tyksim track`` prints it."""
    if "," not in text and not text.startswith('"'):
        return text
    return '"' + text.replace('"', '""') + '"'


class Writer:
    """Makes a tree from the frames of another one.

    >>> with tyksim.Writer("out", like=tree) as writer:
    ...     for frame in tree.frames:
    ...         writer.add(frame, image=denoise(frame.image), set={"total_gain": 100})

    The tree appears at ``path`` when the block ends; after an exception there is none. Folders,
    dump configurations, tuning copies and the tag table come from ``like``. Several threads may add
    frames to a writer; a forked process may not.

    Args:
        path: the folder to make; raises FileExistsError if it exists.
        like: the tree from which the frames come.
    """

    def __init__(self, path: Path, like: Tree) -> None:
        if not isinstance(like, Tree):
            raise TypeError(f"like: expected a tree, found {like!r}")
        self._path = os.fspath(path)
        _refuse_existing(self._path)
        self._like = like
        self._writer = _core.TreeWriter(self._path, like._frames)
        self._lock = threading.Lock()
        self._indices: dict[str, int] = {}
        self._tags: list[str] = []

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
            set: values by name: numbers, texts, arrays; bytes or an array for a whole TAG.

        Raises:
            KeyError: a name is unknown; the text has the most similar names.
            TypeError: the image or a value has an invalid type.
            ValueError: a value does not fit or is masked, the frame has no file for it, or the
                frame was added before or is not of ``like``.
            DamagedError: a file of the frame cannot be read.
        """
        picture = None
        if image is not None:
            is_array = isinstance(image, np.ndarray) and frame.has_image
            given = Image._from(image, frame.image.shape if is_array else None)
            picture = (given.width, given.height, given._file_samples().tobytes())
        with self._lock:
            self._writer.add(self._index(frame), picture, self._settings(set or {}))

    def _settings(self, values: Mapping[str, Any]) -> list[tuple[str, Union[str, bytes]]]:
        if values and not self._tags:
            self._tags = self._like._frames.tag_names()
        table = self._like._frames.table
        return [
            (name, setting(table, self._tags, name, value)[1]) for name, value in values.items()
        ]

    def _index(self, frame: Frame) -> int:
        """The index of the frame in ``like``."""
        frames = self._like._frames
        if frame.tree._frames is frames:
            return frame._index
        if not self._indices:
            self._indices = {frames.place(index)[5]: index for index in range(len(frames))}
        if frame.path not in self._indices:
            raise ValueError(f"{frame.path}: expected a frame of {self._like.path}")
        return self._indices[frame.path]

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


def _rows(values: Any) -> Iterator[dict[str, Any]]:
    """The values of each frame, from columns or rows."""
    if not hasattr(values, "keys"):
        for named in values:
            yield {name: _plain(name, value) for name, value in named.items()}
        return
    columns = {name: list(values[name]) for name in values.keys()}
    lengths = {name: len(column) for name, column in columns.items()}
    if len(set(lengths.values())) > 1:
        raise ValueError(f"values: expected columns of one length, found {lengths}")
    for row in zip(*columns.values()):
        yield {name: _plain(name, value) for name, value in zip(columns, row)}


def _plain(name: str, value: Any) -> Any:
    """A value for JSON; None for a masked element."""
    if _is_masked(value):
        return None
    if isinstance(value, (np.ndarray, np.generic)):
        value = value.tolist()
    if isinstance(value, (list, tuple)):
        return [_plain(name, element) for element in value]
    if isinstance(value, float) and not math.isfinite(value):
        return repr(value)
    if isinstance(value, int):
        return int(value)
    if value is None or isinstance(value, (float, str)):
        return value
    raise TypeError(
        f"values: {name}: expected numbers, texts or arrays, found {type(value).__name__}"
    )


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
        values: values by the names of track(): columns with one value per frame, such as a Track or
            a DataFrame, or one mapping per frame. All other values are simulated.
        tags: your own tag table, whose tags are recorded.
        fps: frames per second, for the times of the frames; by default a frame has the time at
            which it is recorded.
        camera, pipe, first_request, first_sof: ids.

    Runs the program tyksim. Raises tyksim.Error, with the program's message, if it fails, and
    ValueError if a picture's size is not that of the first or if the numbers of values and pictures
    differ; ``path`` does not exist then.
    """
    import json
    import shutil
    import tempfile

    target = os.path.abspath(os.fspath(path))
    _refuse_existing(target)
    parent = os.path.dirname(target)
    os.stat(parent)  # raises FileNotFoundError
    pictures = (Image._from(frame) for frame in frames)
    first = next(pictures, None)
    if first is None:
        raise ValueError("frames: expected at least one, found none")
    made = tempfile.mkdtemp(prefix=".tyksim-", dir=parent)
    try:
        root = os.path.join(made, "root")
        size = f"{first.width}x{first.height}"
        words = ["record", root, "-", "--raw", "nv21", "--size", size,
                 "--camera", str(camera), "--pipe", str(pipe),
                 "--first-request", str(first_request), "--first-sof", str(first_sof)]
        rows = None
        if values is not None:
            table = os.path.join(made, "values.jsonl")
            rows = 0
            with open(table, "w", encoding="utf-8") as file:
                for rows, row in enumerate(_rows(values), 1):
                    file.write(json.dumps(row) + "\n")
            words += ["--values", table]
        if tags is not None:
            words += ["--tags", os.path.abspath(tags)]
        if fps is not None:
            words += ["--fps", str(fps)]
        feed(words, _samples(first, pictures, rows))
        _refuse_existing(target)
        os.rename(root, target)
    finally:
        shutil.rmtree(made)
    return open_tree(target)


def _samples(first: Image, others: Iterable[Image], rows: Optional[int]) -> Iterator[bytes]:
    """The bytes of all pictures.

    Raises ValueError if a picture's size is not that of the first, or if the number of pictures is
    not ``rows``, the number of values.
    """
    number = 0
    for number, image in enumerate(itertools.chain([first], others), 1):
        if image.shape != first.shape:
            raise ValueError(
                f"frame {number}: expected {first.width}x{first.height}, as the first, "
                f"found {image.width}x{image.height}"
            )
        if rows is not None and number > rows:
            raise ValueError(f"values: expected those of each frame, found {rows} for more frames")
        yield image.nv21().tobytes()
    if rows is not None and number != rows:
        raise ValueError(f"values: expected those of {number} frames, found {rows}")
