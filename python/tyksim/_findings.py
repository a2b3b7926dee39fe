"""Findings as values."""

from __future__ import annotations

from dataclasses import dataclass
from operator import attrgetter
from typing import Any, Optional, Sequence

from ._notebook import paragraph, top_of_table


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
        if not self:
            return paragraph("No findings.")
        heads = ("severity", "rule", "task", "frame", "expected", "found", "path")
        return top_of_table(heads, self, attrgetter(*heads), "findings")
