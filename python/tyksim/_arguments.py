"""Checks of arguments, before they reach the module."""

from __future__ import annotations

import operator
from typing import Any

_MOST_JOBS = 1024


def whole(name: str, value: Any, least: int, most: int) -> int:
    """Returns a whole number as an int. Raises TypeError or ValueError, with ``name``, otherwise."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name}: expected a whole number, found {value!r}") from None
    if not least <= number <= most:
        raise ValueError(f"{name}: expected {least} to {most}, found {number}")
    return number


def threads(jobs: Any) -> int:
    """Checks a number of threads; 0 is one per core."""
    return whole("jobs", jobs, 0, _MOST_JOBS)


def name_of_value(name: Any) -> str:
    """Checks the name of a value."""
    if not isinstance(name, str):
        raise TypeError(f"expected a name, such as 'total_gain', found {name!r}")
    return name
