"""The displays of trees, frames and results in a notebook."""

from __future__ import annotations

from html import escape
from typing import TYPE_CHECKING, Any, Iterable, Optional

if TYPE_CHECKING:
    from ._findings import Diff, Findings
    from ._tracks import Track
    from ._trees import Frame, Tree

_THUMBNAILS = 8
_THUMBNAIL_WIDTH = 160
_ROWS = 20
_MOST_CHECKED = 1000  # frames; checking more would delay the display


def _table(heads: Iterable[str], rows: Iterable[Iterable[object]]) -> str:
    head = "".join(f"<th>{escape(name)}</th>" for name in heads)
    body = "".join(
        "<tr>" + "".join(f"<td>{escape(_said(cell))}</td>" for cell in row) + "</tr>"
        for row in rows
    )
    return f"<table><thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>"


def _said(cell: object) -> str:
    """A cell's text, with replacement characters for bytes that are not UTF-8."""
    text = "" if cell is None else str(cell)
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def _rest(shown: int, of: int, what: str) -> str:
    return f"<p>{of - shown} more {what}</p>" if of > shown else ""


def _thumbnail(frame: Frame) -> Optional[str]:
    """A picture of the frame as an element; None if it has no readable image."""
    from base64 import b64encode

    from . import _core
    from ._errors import Error

    try:
        image = frame.image.filled()
        scale = min(max(1, image.width // _THUMBNAIL_WIDTH), 1024)
        png = b64encode(_core.png(image.rgb(scale=scale))).decode()
    except (Error, ValueError):
        return None
    name = escape(f"frame {frame.position}, request {frame.request}")
    return (
        '<figure style="display:inline-block;margin:4px">'
        f'<img alt="{name}" width="{_THUMBNAIL_WIDTH}" src="data:image/png;base64,{png}">'
        f"<figcaption>{name}</figcaption></figure>"
    )


def _thumbnails(tree: Tree) -> str:
    frames = tree.frames
    step = max(1, -(-len(frames) // _THUMBNAILS))
    return "".join(_thumbnail(frame) or "" for frame in frames[::step])


def tree_html(tree: Tree) -> str:
    """The tree's tasks as a table, some frames as pictures, and its findings."""
    rows = [
        (task.pipe, task.position, task.name, task.time, len(task)) for task in tree.tasks[:_ROWS]
    ]
    checked = len(tree) <= _MOST_CHECKED
    findings = findings_html(tree.check()) if checked else "<p>Call check() to see the findings.</p>"
    return (
        f"<p><b>{escape(_said(tree.path))}</b>: {len(tree)} frames</p>"
        + _table(("pipe", "task", "folder", "recorded", "frames"), rows)
        + _rest(len(rows), len(tree.tasks), "tasks")
        + f"<div>{_thumbnails(tree)}</div>"
        + findings
    )


def findings_html(findings: Findings) -> str:
    """A table of the findings."""
    if not findings:
        return "<p>No findings.</p>"
    rows = [
        (entry.severity, entry.rule, entry.task, entry.frame, entry.expected, entry.found,
         entry.path)
        for entry in findings[:_ROWS]
    ]
    heads = ("severity", "rule", "task", "frame", "expected", "found", "path")
    return _table(heads, rows) + _rest(len(rows), len(findings), "findings")


def frame_html(frame: Frame) -> str:
    """The frame's picture and its parameters."""
    rows = [
        (parameter.tag, parameter.id, parameter.camera, parameter.kind, parameter.size)
        for parameter in frame.parameters.all()
    ]
    heads = ("parameter", "id", "camera", "kind", "bytes")
    return (
        f"<p>frame {frame.position} of task {frame.task}, request {frame.request}, "
        f"sof {frame.sof}</p>" + (_thumbnail(frame) or "<p>No image.</p>") + _table(heads, rows)
    )


def track_html(track: Track) -> str:
    """The first rows of the track."""
    shown = min(len(track.frames), _ROWS)
    places: list[Any] = [track.tasks, track.frames, track.requests]
    columns = [*places, *track.values()]
    rows = [[_value(column[row]) for column in columns] for row in range(shown)]
    return _table(("task", "frame", "request", *track), rows) + _rest(
        shown, len(track.frames), "frames"
    )


def _value(value: Any) -> str:
    import numpy as np

    if value is np.ma.masked:
        return ""
    return ", ".join(map(str, value)) if getattr(value, "ndim", 0) else str(value)


def diff_html(diff: Diff) -> str:
    """The frames that differ."""
    if diff.same:
        return f"<p>{diff.matched} frames, the same.</p>"
    rows = []
    for pair in diff.frames[:_ROWS]:
        frame = pair.a or pair.b
        plane = pair.image.y if pair.image else None
        what = [part.name for part in pair.tags] + [value.name for value in pair.scene]
        what += [part.name for part in pair.files]
        rows.append((
            frame.task if frame else None,
            frame.position if frame else None,
            "both" if pair.a and pair.b else "A alone" if pair.a else "B alone",
            f"{plane.psnr:.2f} dB" if plane else "",
            ", ".join(what),
        ))
    heads = ("task", "frame", "in", "luma PSNR", "values and files")
    return (
        f"<p>{diff.matched} frames matched, {len(diff.frames)} not the same.</p>"
        + _table(heads, rows) + _rest(len(rows), len(diff.frames), "frames")
    )
