"""Images: luma and chroma as arrays, and as pictures."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional, Tuple, Union

import numpy as np

from . import _core
from ._arguments import whole

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Samples = NDArray[np.uint8]
    ImageLike = Union["Image", Tuple[Samples, Samples], Samples]

_MATRICES = {"bt601": False, "bt709": True}
_RANGES = {"full": False, "limited": True}
_PREVIEW_WIDTH = 640
_MOST_SCALE = 1024


def _choice(name: str, given: str, choices: dict[str, bool]) -> bool:
    if given not in choices:
        raise ValueError(f"{name}: expected {' or '.join(choices)}, found {given!r}")
    return choices[given]


class _Stored:
    """An image file and the layout of its samples."""

    __slots__ = ("bytes", "camera", "filled", "height", "order", "path", "sof", "stride", "width")

    def __init__(
        self,
        entry: tuple[str, int, int, int, int, int],
        stride: int,
        order: str,
        filled: bool = False,
    ) -> None:
        self.path, self.camera, self.sof, self.width, self.height, self.bytes = entry
        self.stride = stride
        self.order = order
        self.filled = filled

    def luma(self) -> Samples:
        return _core.read_luma(
            self.path, self.width, self.height, self.stride, self.order == "nv12", self.filled
        )

    def chroma(self) -> Samples:
        return _core.read_chroma(
            self.path, self.width, self.height, self.stride, self.order == "nv12", self.filled
        )


class Image:
    """A picture of luma and chroma.

    Args:
        y: luma, shape (H, W), uint8.
        vu: pairs of V and U, shape (ceil(H/2), ceil(W/2), 2), uint8.

    An image of a frame reads its file at the first use of ``y`` and of ``vu``. The arrays have
    memory of their own, so they stay valid without the tree. A notebook displays an image as a
    picture.
    """

    __slots__ = ("_stored", "_vu", "_y")

    def __init__(self, y: Samples, vu: Samples) -> None:
        self._stored: Optional[_Stored] = None
        self._y: Optional[Samples] = np.ascontiguousarray(y)
        self._vu: Optional[Samples] = np.ascontiguousarray(vu)
        for name, plane in (("y", self._y), ("vu", self._vu)):
            if plane.dtype != np.uint8:
                raise ValueError(f"{name}: expected uint8, found {plane.dtype}")
        _core.require_picture(self._y, self._vu)

    @classmethod
    def _of(cls, stored: _Stored) -> Image:
        image = cls.__new__(cls)
        image._stored = stored
        image._y = None
        image._vu = None
        return image

    @classmethod
    def from_nv21(cls, samples: Samples) -> Image:
        """Makes an image from one array of shape (H * 3 / 2, W): luma rows, then rows of V,U pairs.

        H and W must be even.
        """
        if samples.ndim != 2 or samples.shape[0] % 3 or samples.shape[1] % 2:
            raise ValueError(
                "nv21: expected shape (H * 3 / 2, W) with even H and W, "
                f"found {samples.shape}; an odd picture is a pair (y, vu)"
            )
        height = samples.shape[0] // 3 * 2
        return cls(samples[:height], samples[height:].reshape(height // 2, -1, 2))

    @classmethod
    def _from(cls, given: ImageLike, of: Optional[tuple[int, int]] = None) -> Image:
        """Makes an image from an Image, a pair (y, vu), or one NV21 array.

        ``of`` is the shape of the picture that it replaces: an array of that shape is luma alone.
        """
        if isinstance(given, Image):
            return given
        if isinstance(given, (tuple, list)) and len(given) == 2:
            return cls(*given)
        if isinstance(given, np.ndarray):
            if of is not None and given.shape == of:
                raise ValueError(
                    f"expected a pair (y, vu), or NV21 of shape ({of[0] * 3 // 2}, {of[1]}), "
                    f"found an array of shape {of}, which is that of the luma alone"
                )
            return cls.from_nv21(given)
        raise TypeError(
            "expected an Image, a pair (y, vu) or one NV21 array, found "
            + (f"{len(given)} of them" if isinstance(given, (tuple, list)) else repr(given))
        )

    @property
    def path(self) -> Optional[str]:
        """The file; None for an image made of arrays."""
        return self._stored.path if self._stored else None

    @property
    def camera(self) -> Optional[int]:
        """The camera id in the file's name; None for an image made of arrays."""
        return self._stored.camera if self._stored else None

    @property
    def width(self) -> int:
        """Pixels in a row."""
        return self._stored.width if self._stored else int(self.y.shape[1])

    @property
    def height(self) -> int:
        """Rows of pixels."""
        return self._stored.height if self._stored else int(self.y.shape[0])

    @property
    def shape(self) -> tuple[int, int]:
        """(height, width) in pixels."""
        return self.height, self.width

    @property
    def y(self) -> Samples:
        """Luma, shape (H, W), uint8. Raises DamagedError if the file lacks samples of it."""
        if self._y is None:
            assert self._stored is not None
            self._y = self._stored.luma()
        return self._y

    @property
    def vu(self) -> Samples:
        """Chroma, shape (ceil(H/2), ceil(W/2), 2), uint8: V, then U.

        Raises DamagedError if the file lacks samples of it. This includes every image with an odd
        side that a device wrote; use filled() there.
        """
        if self._vu is None:
            assert self._stored is not None
            self._vu = self._stored.chroma()
        return self._vu

    def filled(self) -> Image:
        """The image with all samples; those that its file lacks are black and without colour."""
        stored = self._stored
        if stored is None:
            return self
        entry = (stored.path, stored.camera, stored.sof, stored.width, stored.height, stored.bytes)
        return Image._of(_Stored(entry, stored.stride, stored.order, True))

    def mapped(self) -> Image:
        """The image with arrays that map the file for reading.

        Copies nothing, and reads samples at their first use. If the file becomes shorter
        meanwhile, the system ends the interpreter: map only files that nobody changes. Raises
        ValueError unless the file is a complete NV21 image without gaps between its rows.
        """
        stored = self._stored
        if stored is None:
            return self
        rows, pairs = (stored.height + 1) // 2, (stored.width + 1) // 2
        luma = stored.width * stored.height
        if stored.stride or stored.order != "nv21" or stored.bytes < luma + 2 * rows * pairs:
            raise ValueError(
                f"{stored.path}: expected a complete NV21 file without gaps between rows; "
                "y and vu read other files too"
            )
        samples = np.memmap(stored.path, np.uint8, "r")
        image = Image._of(stored)
        image._y = samples[:luma].reshape(stored.height, stored.width)
        image._vu = samples[luma : luma + 2 * rows * pairs].reshape(rows, pairs, 2)
        return image

    def rgb(self, matrix: str = "bt601", range: str = "full", scale: int = 1) -> Samples:
        """Red, green and blue, shape (H, W, 3), uint8.

        Args:
            matrix: matrix of the samples, "bt601" or "bt709".
            range: range of the samples, "full" or "limited".
            scale: each pixel is the mean of ``scale`` x ``scale`` pixels; sides are rounded up.

        The pixels are those of ``tyksim export --format rgb --scale 1/scale``.
        """
        bt709 = _choice("matrix", matrix, _MATRICES)
        limited = _choice("range", range, _RANGES)
        return _core.rgb(
            self.y, self.vu, bt709, limited, whole("scale", scale, 1, _MOST_SCALE)
        )

    def nv21(self) -> Samples:
        """All samples in one array: luma, then V,U pairs; shape (N,), uint8."""
        return np.concatenate([self.y.reshape(-1), self.vu.reshape(-1)])

    def _file_samples(self) -> Samples:
        """The samples of an image file with the picture, in memory of their own."""
        return self.nv21()[: self.width * self.height * 3 // 2]

    def _repr_png_(self) -> bytes:
        scale = max(1, -(-self.width // _PREVIEW_WIDTH))
        return _core.png(self.filled().rgb(scale=min(scale, _MOST_SCALE)))

    def __repr__(self) -> str:
        place = f" {self.path}" if self.path else ""
        return f"<tyksim.Image {self.width}x{self.height}{place}>"
