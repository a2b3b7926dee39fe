"""Reads, shows, checks, processes and writes dump trees of camera pipelines.

>>> import tyksim
>>> tree = tyksim.open("phone")
>>> tree.track("total_gain").to_pandas().plot()
>>> tree.frames[2].image.rgb(scale=4)

The package has the code of the program ``tyksim``, so both give the same values.
"""

from ._core import __version__
from ._differences import ContentDifference, ImageDifference, PlaneDifference, ValueDifference
from ._errors import DamagedError, Error
from ._findings import Finding, Findings
from ._images import Image
from ._parameters import Parameter, Parameters
from ._tracks import Track
from ._trees import Diff, Frame, FrameDifference, Frames, Task, Tree, diff, open
from ._values import NamedNumber
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
