"""The parts of displays in a notebook: paragraphs, tables and pictures as HTML."""

from __future__ import annotations

from typing import Any, Callable, Iterable, Sequence, TypeVar

from . import _core
from ._images import Image

_THUMBNAIL_WIDTH = 160
_ROWS = 20

_Entry = TypeVar("_Entry")


def _escaped(cell: object) -> str:
    """A cell's text, with replacement characters for bytes that are not UTF-8; "" for None."""
    from html import escape

    text = "" if cell is None else str(cell)
    return escape(text.encode("utf-8", "surrogateescape").decode("utf-8", "replace"))


def paragraph(text: str, title: str = "") -> str:
    """A paragraph of text, with a title in bold before it."""
    bold = f"<b>{_escaped(title)}</b>: " if title else ""
    return f"<p>{bold}{_escaped(text)}</p>"


def table(heads: Iterable[str], rows: Iterable[Iterable[object]]) -> str:
    """A table of all rows."""
    head = "".join(f"<th>{_escaped(name)}</th>" for name in heads)
    body = "".join(
        "<tr>" + "".join(f"<td>{_escaped(cell)}</td>" for cell in row) + "</tr>" for row in rows
    )
    return f"<table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>"


def top_of_table(
    heads: Iterable[str],
    entries: Sequence[_Entry],
    row: Callable[[_Entry], Iterable[object]],
    what: str,
) -> str:
    """A table of the first entries, whose cells ``row`` returns, and the number of the others."""
    top = entries[:_ROWS]
    more = len(entries) - len(top)
    return table(heads, map(row, top)) + (paragraph(f"{more} more {what}") if more else "")


def thumbnail(image: Image, name: str) -> str:
    """A small picture of an image. Raises tyksim.Error if the image cannot be read."""
    from base64 import b64encode

    filled = image.filled()
    scale = min(max(1, filled.width // _THUMBNAIL_WIDTH), 1024)
    png = b64encode(_core.png(filled.rgb(scale=scale))).decode()
    return (
        '<figure style="display:inline-block;margin:4px">'
        f'<img alt="{_escaped(name)}" width="{_THUMBNAIL_WIDTH}" '
        f'src="data:image/png;base64,{png}">'
        f"<figcaption>{_escaped(name)}</figcaption></figure>"
    )
