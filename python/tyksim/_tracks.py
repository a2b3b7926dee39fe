"""Values over many frames as columns."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Iterator, Mapping, Optional

import numpy as np

from ._notebook import top_of_table

if TYPE_CHECKING:
    import pandas

    from . import _core

    Column = np.ma.MaskedArray[Any, Any]

_ma: Any = np.ma  # numpy has no types for it yet


def masked(data: Any, mask: Any, sides: Optional[list[int]] = None) -> Column:
    """Makes a column; for texts, ``data`` is a list and ``sides`` the shape of a frame's array."""
    values = data
    if sides is not None:
        values = np.array(data, dtype=np.str_).reshape(len(mask), *sides)
    column: Column = _ma.MaskedArray(values, _mask_of(values, mask))
    return column


def _mask_of(values: Any, mask: Any) -> Any:
    """The mask of each value, for all of its elements and fields."""
    if values.dtype.names is not None:
        whole = np.zeros(values.shape, dtype=_ma.make_mask_descr(values.dtype))
        for name in values.dtype.names:
            field = whole[name]
            field[...] = mask.reshape(mask.shape + (1,) * (field.ndim - 1))
        return whole
    shape = mask.shape + (1,) * (values.ndim - 1)
    return np.broadcast_to(mask.reshape(shape), values.shape).copy()


class Track(Mapping[str, "Column"]):
    """Values from frame to frame, indexed by name.

    A column is a masked array with one value per frame: shape (N,), or (N, ...) for a field that is
    an array. Values that their frames do not have are masked. Whole numbers keep their type, floats
    are float64 with the numbers that ``tyksim track`` prints, and texts are str. The value of a tag
    without fields is its CRC-32.

    Attributes:
        pipes, tasks, frames, requests, sofs: place and ids of each row's frame, int64; masked if
            the folder's name does not have them.
        units: the unit of each name; "" if the tag table has none.
        labels: for each name, a dict with the names of its numbers, from the tag table's enum.
        problems: messages about values that could not be read and are masked.
    """

    def __init__(
        self,
        opened: _core.Frames,
        number_of_tasks: int,
        names: tuple[str, ...],
        result: tuple[list[Any], list[str]],
    ) -> None:
        columns, self.problems = result
        self._has_several_tasks = number_of_tasks > 1
        self._columns = {name: masked(*column) for name, column in zip(names, columns)}
        described = opened.table.describe(list(names), opened.tag_names())
        self.units = {name: unit for name, (unit, _) in zip(names, described)}
        self.labels = {name: labels for name, (_, labels) in zip(names, described)}
        pipes, tasks, frames, requests, sofs, no_pipe, unnamed = opened.places()
        self.pipes: Column = _ma.MaskedArray(pipes, no_pipe)
        self.tasks: Column = _ma.MaskedArray(tasks)
        self.frames: Column = _ma.MaskedArray(frames)
        self.requests: Column = _ma.MaskedArray(requests, unnamed)
        self.sofs: Column = _ma.MaskedArray(sofs, unnamed)

    @property
    def names(self) -> tuple[str, ...]:
        """The names, in the order of the call."""
        return tuple(self._columns)

    def __getitem__(self, name: str) -> Column:
        try:
            return self._columns[name]
        except KeyError:
            raise KeyError(f"{name}: not tracked; there is {', '.join(self.names)}") from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)

    def to_pandas(self, places: bool = False) -> pandas.DataFrame:
        """A DataFrame with one row per frame; needs pandas.

        Args:
            places: add pipe, task, frame, request and sof as first columns. Otherwise the index has
                the frame's position, with the levels pipe and task before it if the tree has
                several tasks.

        An array becomes one column per element, ``name[0]`` and so on. A column with missing values
        has a type of pandas that allows them.
        """
        import pandas

        levels = {"pipe": self.pipes, "task": self.tasks, "frame": self.frames}
        columns = {}
        if places:
            for name, level in {**levels, "request": self.requests, "sof": self.sofs}.items():
                columns[name] = _series(level)
        for name, column in self._columns.items():
            if column.ndim == 1:
                columns[name] = _series(column)
                continue
            for place in np.ndindex(column.shape[1:]):
                indices = "".join(f"[{index}]" for index in place)
                columns[name + indices] = _series(column[(slice(None), *place)])
        index = None
        if not places and self._has_several_tasks:
            index = pandas.MultiIndex.from_arrays(
                [_series(level) for level in levels.values()], names=list(levels)
            )
        elif not places:
            index = pandas.Index(self.frames.data, name="frame")
        return pandas.DataFrame(columns, index=index)

    def __repr__(self) -> str:
        return f"<tyksim.Track of {', '.join(self.names)} over {len(self.frames)} frames>"

    def _repr_html_(self) -> str:
        places: list[Any] = [self.tasks, self.frames, self.requests]
        columns = [*places, *self._columns.values()]
        return top_of_table(
            ("task", "frame", "request", *self),
            range(len(self.frames)),
            lambda row: [_cell(column[row]) for column in columns],
            "frames",
        )


def _cell(value: Any) -> str:
    """The text of a value for a table."""
    if value is np.ma.masked:
        return ""
    return ", ".join(map(str, value)) if getattr(value, "ndim", 0) else str(value)


def _series(column: Column) -> Any:
    """A column in a form for pandas."""
    import pandas

    if not _ma.is_masked(column):
        return column.data
    mask = _ma.getmaskarray(column)
    if column.dtype.kind in "iu":
        return pandas.arrays.IntegerArray(column.data.copy(), mask)
    values = column.data.astype(object if column.dtype.kind == "U" else float)
    values[mask] = None if column.dtype.kind == "U" else np.nan
    return values
