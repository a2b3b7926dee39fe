"""The exceptions of the package."""

from __future__ import annotations


class Error(Exception):
    """An operation failed; the text says what, where and why."""


class DamagedError(Error):
    """A part of a tree cannot be read: a file is missing, too short or unreadable.

    Attributes:
        path: of the file or folder; "" if the error concerns none.
        expected: the expected content; "" if there is no expectation.
        found: the content instead; "" if the reason is sufficient.
        reason: the system's message; "" if there is none.
        where: the place in the file, such as the name of a value; "" for the whole file.
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
