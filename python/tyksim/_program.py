"""Runs the program tyksim for operations that the module does not have."""

from __future__ import annotations

import os
from collections.abc import Iterable
from typing import IO

from ._errors import Error

_FINISHED = (0, 3)  # clean, and finished with findings


def program() -> str:
    """The path of the program: $TYKSIM, else the tyksim in $PATH. Raises Error if there is none."""
    import shutil

    named = os.environ.get("TYKSIM") or "tyksim"
    found = shutil.which(named)
    if found is None:
        raise Error(
            f"{named}: no such program; install the package tyksim, or set the environment "
            "variable TYKSIM to its path"
        )
    return found


def run(words: list[str]) -> None:
    """Runs a verb. Raises Error, with the program's message, if it fails."""
    feed(words, ())


def feed(words: list[str], pieces: Iterable[bytes]) -> None:
    """Runs a verb that reads ``pieces`` from its standard input, as run() does.

    If an exception, such as KeyboardInterrupt, ends the call, the program removes its unfinished
    files first.
    """
    import subprocess
    import tempfile

    with tempfile.TemporaryFile() as said:
        process = subprocess.Popen(
            [program(), *words], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=said
        )
        assert process.stdin is not None
        try:
            _write(process.stdin, pieces)
            process.wait()
        except BaseException:
            process.terminate()
            process.wait()
            raise
        if process.returncode in _FINISHED:
            return
        said.seek(0)
        text = said.read().decode("utf-8", "replace").strip().removeprefix("tyksim: ")
        raise Error(text or f"{words[0]}: ended with status {process.returncode}")


def _write(stream: IO[bytes], pieces: Iterable[bytes]) -> None:
    try:
        with stream:
            for piece in pieces:
                stream.write(piece)
    except BrokenPipeError:
        pass  # the program reports the reason
