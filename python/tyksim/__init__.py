"""Reads, shows, checks, processes and writes dump trees of camera pipelines.

>>> import tyksim
>>> tree = tyksim.open("phone")
>>> tree.track("total_gain").to_pandas().plot()
>>> tree.frames[2].image.rgb(scale=4)

The package has the code of the program ``tyksim``, so both give the same values.
"""

from ._core import __version__
from ._errors import DamagedError, Error
from ._findings import (
    ContentDifference,
    Diff,
    Finding,
    Findings,
    FrameDifference,
    ImageDifference,
    PlaneDifference,
    ValueDifference,
    diff,
)
from ._images import Image
from ._tracks import Track
from ._values import NamedNumber
from ._trees import Frame, Frames, Parameter, Parameters, Task, Tree, open
from ._writing import Writer, record

__all__ = [
    "ContentDifference",
    "DamagedError",
    "Diff",
    "Error",
    "Finding",
    "Findings",
    "Frame",
    "FrameDifference",
    "Frames",
    "Image",
    "ImageDifference",
    "NamedNumber",
    "Parameter",
    "Parameters",
    "PlaneDifference",
    "Task",
    "Track",
    "Tree",
    "ValueDifference",
    "Writer",
    "__version__",
    "diff",
    "open",
    "record",
]
