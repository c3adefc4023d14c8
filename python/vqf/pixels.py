"""What the samples of frames are, in the words of the format and of NumPy."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

Array = npt.NDArray[Any]
SampleType = np.dtype[Any]

# The format's numbers for pixel types: sample type and samples per pixel. Of two numbers for the same samples the
# first is the one that is written.
_PIXEL_TYPES: dict[int, tuple[str, int]] = {
    1: ("f4", 1),
    2: ("f8", 1),
    3: ("u1", 1),
    4: ("i1", 1),
    5: ("u2", 1),
    6: ("i2", 1),
    7: ("u4", 1),
    8: ("i4", 1),
    9: ("u4", 1),
    10: ("i4", 1),
    11: ("u1", 3),
    12: ("u1", 4),
}


@dataclass(frozen=True)
class FrameFormat:
    """Shape and type of the frames of a movie."""

    shape: tuple[int, ...]
    dtype: SampleType
    #: the file holds the samples in the other byte order
    swapped: bool = False

    @classmethod
    def from_core(cls, values: tuple[int, int, int, bool]) -> FrameFormat:
        width, height, pixel_type, swapped = values
        sample, channels = _PIXEL_TYPES[pixel_type]
        shape = (height, width) if channels == 1 else (height, width, channels)
        return cls(shape, np.dtype(sample), swapped)

    @property
    def frame_bytes(self) -> int:
        return int(np.prod(self.shape, dtype=np.int64)) * self.dtype.itemsize


def pixel_type(dtype: npt.DTypeLike, channels: int) -> int:
    """The format's number for such samples. Raises TypeError when it has none."""
    sample = np.dtype(dtype).newbyteorder("=")
    for number, (name, count) in _PIXEL_TYPES.items():
        if np.dtype(name) == sample and count == channels:
            return number
    raise TypeError(f"movies hold no frames of {channels} x {sample.name} per pixel")
