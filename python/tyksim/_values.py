"""Numbers with names, and values by name."""

from __future__ import annotations

from typing import Any


class NamedNumber(int):
    """A whole number with its name from the tag table's enum.

    Attributes:
        name: "" if the enum has none for the number.
    """

    name: str

    def __new__(cls, number: int, name: str) -> NamedNumber:
        value = super().__new__(cls, number)
        value.name = name
        return value

    def __reduce__(self) -> tuple[type[NamedNumber], tuple[int, str]]:
        return NamedNumber, (int(self), self.name)

    def __repr__(self) -> str:
        return f"{self.name} ({int(self)})" if self.name else str(int(self))

    __str__ = __repr__


class ValuesByName:
    """What a frame offers on top of ``frame[NAME]``."""

    __slots__ = ()

    def __getitem__(self, name: str) -> Any:
        raise NotImplementedError

    def get(self, name: str, default: Any = None) -> Any:
        """The value of a name, or ``default`` if the frame does not have it."""
        try:
            return self[name]
        except KeyError:
            return default

    def __contains__(self, name: str) -> bool:
        return self.get(name) is not None
