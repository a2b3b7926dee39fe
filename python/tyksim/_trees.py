"""Trees, tasks and frames, and the differences between them."""

from __future__ import annotations

import os
from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime
from typing import TYPE_CHECKING, Any, Optional, Union, overload

from . import _core
from ._arguments import name_of_value, threads, whole
from ._differences import (
    ContentDifference,
    ImageDifference,
    ValueDifference,
    content_differences,
    image_difference,
    value_differences,
)
from ._errors import DamagedError, Error
from ._findings import Findings
from ._images import Image, _Stored
from ._notebook import paragraph, table, thumbnail, top_of_table
from ._parameters import Parameter, Parameters
from ._program import run
from ._progress import Progress, shown
from ._tracks import Track, masked
from ._values import ValuesByName

if TYPE_CHECKING:
    from ._tracks import Column

    Path = Union[str, os.PathLike[str]]
    Ranges = Union[str, int, None]
    Side = Union["Tree", "Task", "Frame"]

_ORDERS = ("nv21", "nv12")
_MOST_STRIDE = 1 << 20
_MOST_PIPE = (1 << 31) - 1
_MOST_TASK = (1 << 32) - 1
_THUMBNAILS = 8
_MOST_CHECKED = 1000  # frames; checking more would delay the display in a notebook


def open(
    path: Path,
    *,
    tags: Optional[Path] = None,
    pipe: Optional[int] = None,
    order: str = "nv21",
    stride: int = 0,
) -> Tree:
    """Opens a tree, or any part of one.

    Args:
        path: a device root, dump root, pipe, task or frame folder.
        tags: a tag table; the default is the tags.xml beside the tree, if there is one.
        pipe: only this pipe, by its id.
        order: order of the chroma samples in image files, "nv21" or "nv12".
        stride: bytes from one row of an image file to the next; 0 means no gaps.

    Raises:
        FileNotFoundError: ``path`` or ``tags`` does not exist.
        DamagedError: ``path`` is not part of a tree, or the tag table cannot be read.
        ValueError: the tree has no such pipe, or ``stride`` is out of range.

    Lists folders and opens no file of a frame.
    """
    if order not in _ORDERS:
        raise ValueError(f"order: expected {' or '.join(_ORDERS)}, found {order!r}")
    table = "" if tags is None else os.fspath(tags)
    if pipe is not None:
        pipe = whole("pipe", pipe, 0, _MOST_PIPE)
    return Tree(os.fspath(path), table, pipe, order, whole("stride", stride, 0, _MOST_STRIDE))


def _text(ranges: Ranges) -> str:
    return "" if ranges is None else str(ranges)


class Tree:
    """A dump tree, or part of one; made by open() and select().

    Immutable; any number of threads may use it at once. Pickling keeps the path and the options;
    unpickling opens the tree again.
    """

    __slots__ = ("_frames", "_options", "_picked", "_tasks")

    def __init__(
        self,
        path: str,
        tags: str,
        pipe: Optional[int],
        order: str,
        stride: int,
        picked: Optional[dict[str, Any]] = None,
        opened: Optional[_core.Frames] = None,
    ) -> None:
        if opened is None:
            os.stat(path)  # raises FileNotFoundError
            tags = tags and os.path.abspath(tags)
            if tags:
                os.stat(tags)
            opened = _core.Frames.open(path, tags, pipe, order == "nv12", stride)
        self._options = (os.path.abspath(path), tags, pipe, order, stride)
        self._picked = {} if picked is None else picked
        if self._picked:
            opened = opened.select(
                self._picked.get("pipe", pipe),
                self._picked.get("task"),
                *(_text(self._picked.get(name)) for name in ("frames", "requests", "sofs", "where")),
            )
        self._frames = opened
        self._tasks = [Task(self, *entry) for entry in opened.tasks()]

    def __reduce__(self) -> tuple[Any, ...]:
        return Tree, (*self._options, self._picked)

    @property
    def path(self) -> str:
        """The folder that was opened, absolute."""
        return self._frames.path

    @property
    def kind(self) -> str:
        """The kind of the folder: "device", "dump", "pipe", "task" or "frame"."""
        return self._frames.kind

    @property
    def tags_path(self) -> Optional[str]:
        """The path of the tag table; None if there is none."""
        return self._frames.table.path or None

    @property
    def frames(self) -> Frames:
        """The frames, in order."""
        return Frames(self, 0, len(self._frames))

    @property
    def tasks(self) -> list[Task]:
        """The tasks that have frames, in order."""
        return list(self._tasks)

    def select(
        self,
        frames: Ranges = None,
        requests: Ranges = None,
        sofs: Ranges = None,
        where: Optional[str] = None,
        *,
        pipe: Optional[int] = None,
        task: Optional[int] = None,
    ) -> Tree:
        """The tree with only some of its frames.

        Args:
            frames: positions within a task, from 1, such as "3..9,12".
            requests: request ids, in the same way.
            sofs: sof ids, in the same way.
            where: a condition on values, such as "total_gain>4000 and not image.mean<20"
                (docs/measures.md); reads the values that it names.
            pipe: a pipe, by its id.
            task: a task, by its position in its pipe, from 1.

        Raises:
            KeyError: a name of the condition is unknown; the text has the most similar names.
            DamagedError: a value of the condition cannot be read.
            ValueError: ranges or the condition are invalid, or an earlier select() had the same
                argument.
        """
        given = {
            "frames": frames, "requests": requests, "sofs": sofs, "where": where,
            "pipe": None if pipe is None else whole("pipe", pipe, 0, _MOST_PIPE),
            "task": None if task is None else whole("task", task, 1, _MOST_TASK),
        }
        picked = dict(self._picked)
        for name, value in given.items():
            if value is None:
                continue
            if name in picked:
                raise ValueError(f"{name}: an earlier select() has the same argument")
            picked[name] = value
        return Tree(*self._options, picked, self._frames)

    def track(
        self,
        *names: str,
        damaged: str = "raise",
        jobs: int = 0,
        progress: Progress = False,
    ) -> Track:
        """Values over the frames, as columns.

        Args:
            names: TAG.field, TAG.field[2], TAG, a field of the scene record, or a measure such as
                image.mean.
            damaged: "raise" raises a DamagedError at the first value that cannot be read; "mask"
                masks such values and lists them in ``problems``.
            jobs: number of threads; 0 means one per core.
            progress: True writes a line to standard error; a function gets (done, of).

        Raises:
            KeyError: a name is unknown; the text has the most similar names.
        """
        if damaged not in ("raise", "mask"):
            raise ValueError(f"damaged: expected 'raise' or 'mask', found {damaged!r}")
        result = self._frames.track(
            [name_of_value(name) for name in names], damaged == "mask", threads(jobs),
            shown(progress, "read"),
        )
        return Track(self._frames, len(self._tasks), names, result)

    def array(self, tag: str, *, jobs: int = 0, progress: Progress = False) -> Column:
        """The values of a fixed-size tag as a masked structured array of shape (N,).

        The type comes from the tag table: fields by name, little-endian, at their offsets. Frames
        without the tag are masked.

        Raises:
            KeyError: the tag table does not have the tag.
            ValueError: the tag is a block or has no fields in the tag table.
            DamagedError: the size of a file is not that of the tag.
        """
        return masked(
            *self._frames.records(name_of_value(tag), threads(jobs), shown(progress, "read"))
        )

    def check(self, *, deep: bool = False, jobs: int = 0, progress: Progress = False) -> Findings:
        """The findings of ``tyksim check``.

        Args:
            deep: read the contents of all files, too.
            jobs, progress: as for track().
        """
        return Findings(self._frames.check(deep, threads(jobs), shown(progress, "checked")))

    def diff(self, other: Side, **options: Any) -> Diff:
        """Compares the tree with another one; see tyksim.diff()."""
        return diff(self, other, **options)

    def sheet(
        self, path: Path, *, against: Union[Tree, Path, None] = None, force: bool = False
    ) -> Findings:
        """Makes the page of ``tyksim sheet`` at ``path`` and returns the findings of check().

        Args:
            against: a second tree to compare with this one; the selection of this tree applies to
                both.
            force: replace an earlier page.

        Runs the program tyksim. Raises tyksim.Error, with the program's message, if it fails, and
        ValueError if ``against`` has another selection.
        """
        words = ["sheet", *self._selection_options(), "-o", os.path.abspath(path)]
        if isinstance(against, Tree):
            if against._picked and against._picked != self._picked:
                raise ValueError(f"against: expected a whole tree, found {against!r}")
            against = against.path
        if against is not None:
            words += ["--against", os.path.abspath(against)]
        if force:
            words.append("--force")
        run(words)
        return self.check()

    def _selection_options(self) -> list[str]:
        """The path and the options of a command line for the selected frames."""
        path, tags, pipe, order, stride = self._options
        options = {"tags": tags or None, "pipe": pipe, **self._picked}
        words = [path]
        for name, value in options.items():
            if value is not None:
                words += [f"--{name}", str(value)]
        if order != "nv21":
            words += ["--order", order]
        if stride:
            words += ["--stride", str(stride)]
        return words

    def __len__(self) -> int:
        """Number of frames."""
        return len(self._frames)

    def __repr__(self) -> str:
        picked = "".join(f" {name}={value}" for name, value in self._picked.items())
        return f"<tyksim.Tree {self.path} {self.kind}{picked}: {len(self)} frames>"

    def _repr_html_(self) -> str:
        step = max(1, -(-len(self) // _THUMBNAILS))
        checked = len(self) <= _MOST_CHECKED
        return (
            paragraph(f"{len(self)} frames", title=self.path)
            + top_of_table(
                ("pipe", "task", "folder", "recorded", "frames"),
                self._tasks,
                lambda task: (task.pipe, task.position, task.name, task.time, len(task)),
                "tasks",
            )
            + "<div>" + "".join(frame._thumbnail() for frame in self.frames[::step]) + "</div>"
            + (self.check()._repr_html_() if checked
               else paragraph("Call check() to see the findings."))
        )


class Task:
    """A task's frames.

    Attributes:
        pipe: id of its pipe; None if the folder is not in a pipe's.
        position: within the pipe, from 1.
        path: of its folder.
        name: of its folder.
        time: when it was recorded, in the device's local time; None if the name has no time.
    """

    __slots__ = ("_first", "_last", "_tree", "name", "path", "pipe", "position", "time")

    def __init__(
        self,
        tree: Tree,
        pipe: Optional[int],
        position: int,
        path: str,
        name: str,
        time: Optional[str],
        first: int,
        last: int,
    ) -> None:
        self._tree = tree
        self.pipe = pipe
        self.position = position
        self.path = path
        self.name = name
        self.time = _time(time)
        self._first = first
        self._last = last

    @property
    def frames(self) -> Frames:
        """The frames, in order."""
        return Frames(self._tree, self._first, self._last)

    def __len__(self) -> int:
        """Number of frames."""
        return self._last - self._first

    def __repr__(self) -> str:
        return f"<tyksim.Task {self.position} {self.name}: {len(self)} frames>"


def _time(text: Optional[str], year: Optional[int] = None) -> Optional[datetime]:
    """The time in a folder's name; None if it has none or an impossible one."""
    if text is None:
        return None
    if text[4:5] != "-":
        text = f"{year or 1900:04}-{text}"
    try:
        return datetime.fromisoformat(text)
    except ValueError:
        return None


class Frames(Sequence["Frame"]):
    """A sequence of frames. It makes each Frame at its use."""

    __slots__ = ("_indices", "_tree")

    def __init__(self, tree: Tree, first: int, last: int) -> None:
        self._tree = tree
        self._indices = range(first, last)

    @classmethod
    def _of(cls, tree: Tree, indices: range) -> Frames:
        frames = cls(tree, 0, 0)
        frames._indices = indices
        return frames

    @overload
    def __getitem__(self, index: int) -> Frame: ...

    @overload
    def __getitem__(self, index: slice) -> Frames: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[Frame, Frames]:
        if isinstance(index, slice):
            return Frames._of(self._tree, self._indices[index])
        try:
            return Frame(self._tree, self._indices[index])
        except IndexError:
            raise IndexError(f"there are {len(self)} frames, found index {index}") from None

    def __len__(self) -> int:
        return len(self._indices)

    def __repr__(self) -> str:
        return f"<tyksim.Frames: {len(self)}>"


class Frame(ValuesByName):
    """One frame. It reads its files at their first use.

    ``frame[NAME]`` is the value of a field (TAG.field, TAG.field[2]), of a field of the scene
    record, or of a measure such as image.mean: a number, a text, or a numpy array for a field of
    several elements. ``frame[TAG]`` is a Parameter. An unknown name raises KeyError with the most
    similar names. Frames of the same folder are equal.

    Attributes:
        pipe: id of its pipe; None if the folder is not in a pipe's.
        task: position of its task within the pipe, from 1.
        position: within the task, from 1.
        request: request id; None if the folder's name does not have it.
        sof: sof id; None if the folder's name does not have it.
        path: of its folder.
        name: of its folder.
    """

    __slots__ = (
        "_image", "_index", "_parameters", "_stamp", "_tree", "name", "path", "pipe", "position",
        "request", "sof", "task",
    )

    def __init__(self, tree: Tree, index: int) -> None:
        self._tree = tree
        self._index = index
        self._image: Optional[Image] = None
        self._parameters: Optional[Parameters] = None
        (
            self.pipe, self.task, self.position, self.request, self.sof, self.path, self.name,
            self._stamp,
        ) = tree._frames.place(index)

    def __reduce__(self) -> tuple[Any, ...]:
        return Frame, (self._tree, self._index)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Frame) and self.path == other.path

    def __hash__(self) -> int:
        return hash(self.path)

    @property
    def tree(self) -> Tree:
        """The tree to which the frame belongs."""
        return self._tree

    @property
    def time(self) -> Optional[datetime]:
        """When it was captured, in the device's local time; None if the name has no time.

        The folder's name has no year: the year is that of the task, or 1900 if that has none.
        """
        began = next(
            (task.time for task in self._tree._tasks if task._first <= self._index < task._last),
            None,
        )
        time = _time(self._stamp, began.year if began else None)
        if time and began and time.month < began.month:
            time = _time(self._stamp, began.year + 1)  # the task ran into the next year
        return time

    @property
    def camera(self) -> Optional[int]:
        """The camera id in the name of its first file; None if no file has one."""
        return self._tree._frames.camera(self._index)

    @property
    def parameters(self) -> Parameters:
        """The parameter files, by tag name."""
        if self._parameters is None:
            frames = self._tree._frames
            table = frames.table
            self._parameters = Parameters(
                self.path,
                [Parameter(table, *entry) for entry in frames.parameters(self._index)],
            )
        return self._parameters

    @property
    def image(self) -> Image:
        """The first image. Raises DamagedError if the frame has none."""
        if self._image is None:
            entry = self._tree._frames.image(self._index)
            if entry is None:
                raise DamagedError(self.path, "an image", "none")
            order, stride = self._tree._options[3:5]
            self._image = Image._of(_Stored(entry, stride, order))
        return self._image

    @property
    def has_image(self) -> bool:
        """Whether the frame has an image."""
        return self._tree._frames.image(self._index) is not None

    def __getitem__(self, name: str) -> Any:
        value = self._tree._frames.value(self._index, name_of_value(name))
        return self.parameters[name] if value is None else value

    def __repr__(self) -> str:
        return (
            f"<tyksim.Frame {self.position} of task {self.task}, request {self.request}, "
            f"sof {self.sof}>"
        )

    def _repr_html_(self) -> str:
        heads = ("parameter", "id", "camera", "kind", "bytes")
        rows = [
            (parameter.tag, parameter.id, parameter.camera, parameter.kind, parameter.size)
            for parameter in self.parameters.all()
        ]
        place = f"frame {self.position} of task {self.task}, request {self.request}, sof {self.sof}"
        return paragraph(place) + (self._thumbnail() or paragraph("No image.")) + table(heads, rows)

    def _thumbnail(self) -> str:
        """A small picture for a notebook; "" if the frame has no readable image."""
        try:
            return thumbnail(self.image, f"frame {self.position}, request {self.request}")
        except (Error, ValueError):
            return ""


@dataclass(frozen=True)
class FrameDifference:
    """Two matched frames that differ, or a frame without a match.

    Attributes:
        a, b: the frames; None if the side has none.
        tags: parameters that differ.
        scene: values of the scene record that differ.
        images: images that differ.
        files: other files that differ.
        names: pairs of different names of matched files.
        moved: whether the frames have different places in the order of frames.
        problems: messages about data that could not be read.
    """

    a: Optional[Frame]
    b: Optional[Frame]
    tags: list[ContentDifference]
    scene: list[ValueDifference]
    images: list[ImageDifference]
    files: list[ContentDifference]
    names: list[tuple[str, str]]
    moved: bool
    problems: list[str]

    @property
    def image(self) -> Optional[ImageDifference]:
        """The first image that differs; None if no image differs."""
        return self.images[0] if self.images else None

    def _row(self) -> tuple[object, ...]:
        """The cells of the display in a notebook."""
        frame = self.a or self.b
        plane = self.image.y if self.image else None
        names = [part.name for part in self.tags] + [value.name for value in self.scene]
        names += [file.name for file in self.files]
        return (
            frame.task if frame else None,
            frame.position if frame else None,
            "both" if self.a and self.b else "A alone" if self.a else "B alone",
            f"{plane.psnr:.2f} dB" if plane else "",
            ", ".join(names),
        )


@dataclass(frozen=True)
class Diff:
    """The differences that ``tyksim diff`` reports between two trees, tasks or frames.

    Attributes:
        same: whether all frames of both sides have a match, were read, and are equal.
        matched: number of frames that both sides have.
        frames: the pairs that differ, in order.
        tuning: tuning copies that differ.
    """

    matched: int
    frames: list[FrameDifference]
    tuning: list[ContentDifference]

    @property
    def same(self) -> bool:
        return self.matched > 0 and not self.frames and not self.tuning

    def __bool__(self) -> bool:
        """Whether there is a difference."""
        return not self.same

    def __repr__(self) -> str:
        if self.same:
            return f"<tyksim.Diff: {self.matched} frames, the same>"
        return f"<tyksim.Diff: {self.matched} frames matched, {len(self.frames)} not the same>"

    def _repr_html_(self) -> str:
        if self.same:
            return paragraph(f"{self.matched} frames, the same.")
        heads = ("task", "frame", "in", "luma PSNR", "values and files")
        return paragraph(
            f"{self.matched} frames matched, {len(self.frames)} not the same."
        ) + top_of_table(heads, self.frames, FrameDifference._row, "frames")


def _tree(name: str, side: Side) -> Tree:
    """The tree of a side; a task or a frame is a tree too."""
    if isinstance(side, Tree):
        return side
    if not isinstance(side, (Task, Frame)):
        raise TypeError(f"{name}: expected a tree, a task or a frame, found {side!r}")
    _, tags, _, order, stride = side._tree._options
    tree = Tree(side.path, tags or side._tree.tags_path or "", None, order, stride)
    if isinstance(side, Task) and side._tree._picked:
        return tree.select(frames=",".join(str(frame.position) for frame in side.frames))
    return tree


def diff(
    a: Side,
    b: Side,
    *,
    match: str = "request",
    tolerance: int = 0,
    ignore: Sequence[str] = (),
    jobs: int = 0,
    progress: Progress = False,
) -> Diff:
    """Compares two trees, tasks or frames.

    Args:
        match: how frames are matched: by "request" id or by "order".
        tolerance: samples that differ by at most this number count as equal, 0 to 255.
        ignore: names to leave out of the comparison: TAG, TAG.field, a field of the scene record,
            "image", or "sof" for the sof ids in names of files.
        jobs: number of threads; 0 means one per core.
        progress: True writes a line to standard error; a function gets (done, of).
    """
    if match not in ("request", "order"):
        raise ValueError(f"match: expected 'request' or 'order', found {match!r}")
    one, other = _tree("a", a), _tree("b", b)
    order, stride = one._options[3:5]
    matched, pairs, tuning = _core.diff(
        one._frames, other._frames, match == "order", whole("tolerance", tolerance, 0, 255),
        [name_of_value(name) for name in ignore], stride, order == "nv12", threads(jobs),
        shown(progress, "compared"),
    )
    frames = [
        FrameDifference(
            None if first is None else Frame(one, first),
            None if second is None else Frame(other, second),
            content_differences(tags), value_differences(scene),
            [image_difference(image) for image in images], content_differences(files), names,
            moved, problems,
        )
        for first, second, tags, scene, images, files, names, moved, problems in pairs
    ]
    return Diff(matched, frames, content_differences(tuning))
