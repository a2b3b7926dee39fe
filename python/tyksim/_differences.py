"""Differences between the parts of two frames."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Optional


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


def value_differences(entries: list[tuple[Any, ...]]) -> list[ValueDifference]:
    return [ValueDifference(*entry) for entry in entries]


def content_differences(entries: list[tuple[Any, ...]]) -> list[ContentDifference]:
    return [
        ContentDifference(name, in_a, in_b, size_a, size_b, different, value_differences(fields))
        for name, in_a, in_b, size_a, size_b, different, fields in entries
    ]


def _plane(entry: Optional[tuple[Any, ...]]) -> Optional[PlaneDifference]:
    return None if entry is None else PlaneDifference(*entry)


def image_difference(entry: tuple[Any, ...]) -> ImageDifference:
    in_a, in_b, size_a, size_b, camera, planes = entry
    y, u, v = planes or (None, None, None)
    return ImageDifference(in_a, in_b, size_a, size_b, camera, _plane(y), _plane(u), _plane(v))
