"""The progress of long work."""

from __future__ import annotations

from typing import Callable, Optional, Union

Progress = Union[bool, Callable[[int, int], object]]


def shown(progress: Progress, what: str) -> Optional[Callable[[int, int], object]]:
    """The function that the module calls: the user's, one that writes a line, or None."""
    if progress is False:
        return None
    if progress is not True:
        return progress

    def write(done: int, of: int) -> None:
        import sys

        end = "\n" if done == of else ""
        print(f"\r{what} {done} of {of} frames", end=end, file=sys.stderr, flush=True)

    return write
