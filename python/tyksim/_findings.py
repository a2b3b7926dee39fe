"""Findings and differences as values."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Optional, Sequence, Union

from . import _core
from ._arguments import name_of_value, threads, whole
from ._progress import Progress, shown

if TYPE_CHECKING:
    from ._trees import Frame, Task, Tree

    Side = Union[Tree, Task, Frame]


@dataclass(frozen=True)
class Finding:
    """A part of a tree that breaks a rule.

    Attributes:
        rule: stable name of the rule, such as "image-short"; docs/check.md lists all rules.
        severity: "error", "warning" or "note".
        path: of the file or folder.
        expected, found: the expected content and the actual one.
        reason: the system's message; "" if there is none.
        hint: what to do about it.
        pipe, task, frame: place of the finding; None for each that does not apply.
    """

    rule: str
    severity: str
    path: str
    expected: str
    found: str
    reason: str
    hint: str
    pipe: Optional[int]
    task: Optional[int]
    frame: Optional[int]

    def __str__(self) -> str:
        parts = [f"expected {self.expected}" if self.expected else "",
                 f"found {self.found}" if self.found else ""]
        said = ", ".join(part for part in parts if part)
        return ": ".join(part for part in (self.rule, self.path, said, self.reason) if part)


class Findings(list[Finding]):
    """A list of findings, in the order of ``tyksim check``."""

    def __init__(self, entries: Sequence[tuple[Any, ...]] = ()) -> None:
        super().__init__(Finding(*entry) for entry in entries)

    def of(self, severity: str) -> list[Finding]:
        """The findings of one severity."""
        return [finding for finding in self if finding.severity == severity]

    @property
    def ok(self) -> bool:
        """Whether there are neither errors nor warnings."""
        return all(finding.severity == "note" for finding in self)

    def __repr__(self) -> str:
        if not self:
            return "<tyksim.Findings: none>"
        return "\n".join(f"{finding.severity}: {finding}" for finding in self)

    def _repr_html_(self) -> str:
        from ._notebook import findings_html

        return findings_html(self)


@dataclass(frozen=True)
class ValueDifference:
    """A value that differs: its name, and its values in A and B."""

    name: str
    a: Any
    b: Any


@dataclass(frozen=True)
class ContentDifference:
    """A parameter or another file that differs.

    Attributes:
        name: of the tag or the file.
        in_a, in_b: whether the side has it.
        size_a, size_b: bytes.
        different: number of bytes that differ or that only one side has.
        fields: the fields that differ, if the tag table has fields.
    """

    name: str
    in_a: bool
    in_b: bool
    size_a: int
    size_b: int
    different: int
    fields: list[ValueDifference] = field(default_factory=list)


@dataclass(frozen=True)
class PlaneDifference:
    """The difference between the samples of one plane.

    Attributes:
        psnr: in dB; infinite if all samples are equal.
        max: largest absolute difference.
        mean: mean absolute difference.
        pixels: number of samples that differ by more than the tolerance.
    """

    psnr: float
    max: int
    mean: float
    pixels: int


@dataclass(frozen=True)
class ImageDifference:
    """Images that differ; a plane is None if none of its samples were compared."""

    in_a: bool
    in_b: bool
    size_a: tuple[int, int]
    size_b: tuple[int, int]
    camera: int
    y: Optional[PlaneDifference]
    u: Optional[PlaneDifference]
    v: Optional[PlaneDifference]


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
        from ._notebook import diff_html

        return diff_html(self)


def _values(entries: list[tuple[Any, ...]]) -> list[ValueDifference]:
    return [ValueDifference(*entry) for entry in entries]


def _contents(entries: list[tuple[Any, ...]]) -> list[ContentDifference]:
    return [
        ContentDifference(name, in_a, in_b, size_a, size_b, different, _values(fields))
        for name, in_a, in_b, size_a, size_b, different, fields in entries
    ]


def _plane(entry: Optional[tuple[Any, ...]]) -> Optional[PlaneDifference]:
    return None if entry is None else PlaneDifference(*entry)


def _image(entry: tuple[Any, ...]) -> ImageDifference:
    in_a, in_b, size_a, size_b, camera, planes = entry
    y, u, v = planes or (None, None, None)
    return ImageDifference(in_a, in_b, size_a, size_b, camera, _plane(y), _plane(u), _plane(v))


def _tree(name: str, side: Side) -> Tree:
    """The tree of a side; a task or a frame is a tree too."""
    from ._trees import Frame, Task, Tree

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
    from ._trees import Frame

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
            _contents(tags), _values(scene), [_image(image) for image in images], _contents(files),
            names, moved, problems,
        )
        for first, second, tags, scene, images, files, names, moved, problems in pairs
    ]
    return Diff(matched, frames, _contents(tuning))
