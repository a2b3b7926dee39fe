"""Numbers with names."""

from __future__ import annotations


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
