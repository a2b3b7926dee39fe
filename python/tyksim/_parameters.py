"""The parameters of frames."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import Any, Optional, Protocol, TypeVar

from . import _core


class _Tagged(Protocol):
    tag: str


_AnyParameter = TypeVar("_AnyParameter", bound=_Tagged)


class ByTag(Mapping[str, _AnyParameter]):
    """Parameters by tag name; if a tag has several, its name stands for the first one.

    Args:
        missing: begins the message of the KeyError for a tag that is not there.
    """

    __slots__ = ("_first", "_list", "_missing")

    def __init__(self, parameters: list[_AnyParameter], missing: str) -> None:
        self._list = parameters
        self._missing = missing
        self._first: dict[str, _AnyParameter] = {}
        for parameter in parameters:
            self._first.setdefault(parameter.tag, parameter)

    def all(self, tag: Optional[str] = None) -> list[_AnyParameter]:
        """Every parameter, or every parameter of a tag."""
        return [parameter for parameter in self._list if tag in (None, parameter.tag)]

    def __getitem__(self, tag: str) -> _AnyParameter:
        try:
            return self._first[tag]
        except KeyError:
            nearest = _core.nearest(tag, list(self._first))
            advice = f"; nearest: {', '.join(nearest)}" if nearest else ""
            raise KeyError(f"{self._missing} {tag}{advice}") from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._first)

    def __len__(self) -> int:
        return len(self._first)


class Parameter:
    """One parameter file.

    Attributes:
        tag: name of the tag.
        id: of the tag; None if the tag table does not have it.
        camera, pipe_type, sof: from the file's name.
        kind: "fixed" or "block".
        path: of the file.
        size: bytes.
    """

    __slots__ = ("_bytes", "_table", "camera", "id", "kind", "path", "pipe_type", "size", "sof",
                 "tag")

    def __init__(
        self,
        table: _core.Table,
        tag: str,
        id: Optional[int],
        camera: int,
        pipe_type: int,
        sof: int,
        kind: str,
        path: str,
        size: int,
    ) -> None:
        self._table = table
        self._bytes: Optional[bytes] = None
        self.tag = tag
        self.id = id
        self.camera = camera
        self.pipe_type = pipe_type
        self.sof = sof
        self.kind = kind
        self.path = path
        self.size = size

    @property
    def bytes(self) -> bytes:
        """The value. Raises DamagedError if the file cannot be read."""
        if self._bytes is None:
            self._bytes = _core.Frames.read_file(self.path)
        return self._bytes

    @property
    def fields(self) -> dict[str, Any]:
        """The values of the tag table's fields, by name; empty if it has none.

        Raises DamagedError if the file is too short for a field.
        """
        return self._table.fields(self.tag, self.bytes, self.path)

    def __getitem__(self, field: str) -> Any:
        return self._table.decode(f"{self.tag}.{field}", self.bytes, [self.tag])

    def __len__(self) -> int:
        return self.size

    def __repr__(self) -> str:
        return f"<tyksim.Parameter {self.tag}: {self.size} bytes, camera {self.camera}>"


class Parameters(ByTag[Parameter]):
    """The parameter files of a frame by tag name.

    If a frame has several files of one tag (cameras, pipe types), a name stands for the first one;
    all() returns each.
    """

    __slots__ = ()

    def __init__(self, path: str, parameters: list[Parameter]) -> None:
        super().__init__(parameters, f"{path}: no parameter")

    def __repr__(self) -> str:
        return f"<tyksim.Parameters {', '.join(self._first)}>"
