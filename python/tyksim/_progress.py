"""How long work shows how far it is."""

from __future__ import annotations

from typing import Callable, Optional, Union

Progress = Union[bool, Callable[[int, int], object]]


def shown(progress: Progress, what: str) -> Optional[Callable[[int, int], object]]:
    """The function that the module calls: none, the user's, or one that writes a line."""
    if progress is False:
        return None
    if progress is not True:
        return progress

    def write(done: int, of: int) -> None:
        import sys

        end = "\n" if done == of else ""
        print(f"\r{what} {done} of {of} frames", end=end, file=sys.stderr, flush=True)

    return write
