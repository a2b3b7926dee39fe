"""The exceptions of the package."""

from __future__ import annotations


class Error(Exception):
    """Something could not be done; the text says what, where and why."""


class DamagedError(Error):
    """Something of a tree cannot be had: a file is missing, short, or cannot be read.

    Attributes:
        path: of the file or folder; "" where it concerns none.
        expected: what belongs there; "" where there is nothing to expect.
        found: what is there instead; "" where the reason says it all.
        reason: the system's words; "" where there are none.
        where: the place in the file, such as the name of a value; "" for all of it.
    """

    def __init__(
        self, path: str, expected: str = "", found: str = "", reason: str = "", where: str = ""
    ) -> None:
        super().__init__(path, expected, found, reason, where)
        self.path = path
        self.expected = expected
        self.found = found
        self.reason = reason
        self.where = where

    def __str__(self) -> str:
        said = []
        if self.expected:
            said.append(f"expected {self.expected}")
        if self.found:
            said.append(f"found {self.found}")
        parts = [self.path, self.where, ", ".join(said), self.reason]
        return ": ".join(part for part in parts if part)
