"""Movies to read."""

from __future__ import annotations

import operator
from collections.abc import Iterator
from functools import cached_property
from types import TracebackType
from typing import Any, overload

import numpy as np
import numpy.typing as npt

from . import _core
from .attributes import Attributes
from .palette import Palette
from .paths import PathLike, text_of
from .pixels import Array, FrameFormat, SampleType
from .times import NO_TIME

# Bytes of frames that are read at a time: an interruption by the keyboard waits no longer than that.
_BATCH_BYTES = 64 << 20

_FIBER_MODES = ("stored", "clamped", "bundle")
_FIBER_FORMS = ("raster", "index", "offset", "world")


def open(path: PathLike) -> Movie:
    """Opens a movie for reading; see `Movie`. Raises MovieError when that is not possible."""
    return Movie(path)


class Movie:
    """A movie as a sequence of frames, each a NumPy array.

    A frame has the shape (height, width), or (height, width, channels) for colours, and samples in this machine's
    byte order. ``movie[i]`` reads one frame, ``movie[10:20]`` some of them into one array; negative indices count from
    the end. Nothing is read ahead or kept: each access reads the file, while other threads run. A movie may be
    used by several threads, one after the other; for reading in parallel each opens its own.

    Arrays that describe the frames (`times`, `laser_power`) have one value per frame and are read-only. They and the
    header remain after `close`. Frames raise MovieError when they are damaged or shorter than the header says, and
    when the header does not describe them.
    """

    def __init__(self, path: PathLike) -> None:
        self._path = text_of(path)
        self._closed = False
        self._core = _core.Reader(self._path)
        self._frames = self._core.frame_count()

    # The file

    @property
    def path(self) -> str:
        """The file, as it was named."""
        return self._path

    @property
    def closed(self) -> bool:
        return self._closed

    def close(self) -> None:
        """Closes the file; may be called again."""
        self._closed = True
        self._core.close()

    def __enter__(self) -> Movie:
        self._require_open()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<{'closed ' if self._closed else ''}vqf.Movie {self._path!r}: {self._frames} frames>"

    # Frames

    def __len__(self) -> int:
        return self._frames

    @cached_property
    def _format(self) -> FrameFormat:
        return FrameFormat.from_core(self._core.format())

    @property
    def shape(self) -> tuple[int, ...]:
        """Frames, height and width, and for colours the number of channels, 3 or 4."""
        return (self._frames, *self._format.shape)

    @property
    def dtype(self) -> SampleType:
        """Type of the samples, in this machine's byte order."""
        return self._format.dtype

    @property
    def ndim(self) -> int:
        return len(self.shape)

    @property
    def nbytes(self) -> int:
        """Bytes of all frames as one array."""
        return self._frames * self._format.frame_bytes

    @overload
    def __getitem__(self, key: int) -> Array: ...
    @overload
    def __getitem__(self, key: slice) -> Array: ...

    def __getitem__(self, key: Any) -> Array:
        """One frame, or those of a slice as one array with the frames along its first axis.

        Raises IndexError for a frame that is not there, TypeError for other keys.
        """
        if isinstance(key, slice):
            chosen = range(*key.indices(self._frames))
            return self._read(chosen, np.empty((len(chosen), *self._format.shape), self._format.dtype))
        try:
            index = operator.index(key)
        except TypeError:
            raise TypeError(f"frames are chosen by integers and slices, not {type(key).__name__}") from None
        if not -self._frames <= index < self._frames:
            raise IndexError(f"there is no frame {index}: the movie has {self._frames}")
        self._require_open()
        frame = np.empty(self._format.shape, self._format.dtype)
        self._core.read(index % self._frames, 1, 1, frame)
        return frame

    def __iter__(self) -> Iterator[Array]:
        for index in range(self._frames):
            yield self[index]

    def asarray(self, out: Array | None = None) -> Array:
        """All frames as one array of the movie's `shape` and `dtype`.

        With `out` they are read into that array, which is returned. It must be writable and in C order; raises
        ValueError for another shape or layout and TypeError for another type.
        """
        if out is None:
            out = np.empty(self.shape, self.dtype)
        if not isinstance(out, np.ndarray) or out.dtype != self.dtype:
            raise TypeError(f"out is an array of {self.dtype}")
        if out.shape != self.shape or not out.flags.c_contiguous or not out.flags.writeable:
            raise ValueError(f"out is a writable array of shape {self.shape} in C order")
        return self._read(range(self._frames), out)

    def __array__(self, dtype: npt.DTypeLike = None, copy: bool | None = None) -> Array:
        if copy is False:
            raise ValueError("a movie's frames become an array by reading them: see memmap")
        frames = self.asarray()
        return frames if dtype is None else frames.astype(dtype, copy=False)

    def memmap(self) -> Array:
        """All frames as a read-only array that maps the file: what is looked at is read, and nothing is copied.

        Samples keep the file's byte order. Works after `close`; the file must be neither changed nor shortened as
        long as the array lives, or the process may die of it. Raises ValueError when the frames do not lie evenly
        in the file, as those of a recording do until its frames are put in another order.
        """
        self._require_open()
        format = self._format
        places = self._core.even_places(format.frame_bytes)
        if places is None:
            raise ValueError("the frames do not lie evenly in the file: use asarray")
        first, distance = places
        channels_reversed = format.swapped and len(format.shape) == 3 and format.shape[-1] == 4
        swapped = format.swapped and format.dtype.itemsize in (2, 4)
        frames: Array = np.ndarray(
            self.shape,
            format.dtype.newbyteorder("S") if swapped else format.dtype,
            buffer=np.memmap(self._path, np.uint8, "r"),
            offset=first,
            strides=(distance, *np.empty(format.shape, format.dtype).strides),
        )
        return frames[..., ::-1] if channels_reversed else frames

    def _read(self, chosen: range, out: Array) -> Array:
        self._require_open()
        batch = max(1, _BATCH_BYTES // max(1, self._format.frame_bytes))
        for first in range(0, len(chosen), batch):
            part = chosen[first : first + batch]
            self._core.read(part.start, part.step, len(part), out[first : first + batch])
        return out

    def _require_open(self) -> None:
        if self._closed:
            raise ValueError("the movie is closed")

    # What describes the frames

    @cached_property
    def _microseconds(self) -> npt.NDArray[np.int64]:
        return self._core.times()

    @cached_property
    def times(self) -> npt.NDArray[np.float64]:
        """Times of the frames in seconds since 1970-01-01 00:00:00 UTC, NaN where a frame has none."""
        known = self._microseconds != NO_TIME
        return _read_only(np.where(known, self._microseconds / 1e6, np.nan))

    @cached_property
    def times_ns(self) -> npt.NDArray[np.int64]:
        """The same in nanoseconds, exactly; -2**63 where a frame has none, so that
        ``times_ns.view("datetime64[ns]")`` gives dates and "not a time"."""
        known = self._microseconds != NO_TIME
        return _read_only(np.where(known, self._microseconds, 0) * 1000 + np.where(known, 0, NO_TIME))

    @cached_property
    def laser_power(self) -> npt.NDArray[np.float32]:
        """Laser powers of the frames, 0 to 1 (full power), NaN where not known."""
        return _read_only(self._core.laser_powers())

    # The header

    @cached_property
    def attributes(self) -> Attributes:
        """The values of the header by name."""
        return Attributes(self._core.attributes())

    @property
    def comment(self) -> str:
        """The comment, empty when there is none."""
        return self._core.comment()

    @property
    def palette(self) -> Palette | None:
        """The colours for the samples, None when the movie has none of its own."""
        return Palette._from_core(self._core.palette())

    @property
    def bounding_box(self) -> tuple[float, float, float, float] | None:
        """The rectangle that the bundle covers, in pixels: least x and y, greatest x and y. None when not known."""
        return self._core.bounding_box()

    # Pictures and positions

    def fibers(self, mode: str = "stored", form: str = "raster", *, sorted: bool = False) -> Array:
        """The positions of the fibres, with a row for each.

        `mode`: "stored" keeps all where they are, "clamped" moves them into the frame, "bundle" keeps those inside
        the frame and the outline of the bundle. `form`: "raster" is column and row in pixels (float32), "index" the
        same rounded to whole pixels (uint32), "offset" the pixel's number in the frame, row x width + column (uint32,
        one dimension), "world" x and y with y upwards and the longer side of the frame from 0 to 1 (float32).
        `sorted` puts them row by row instead of in the file's order.

        Raises ValueError for other modes and forms, MovieError when the header lacks what the positions need.
        """
        if mode not in _FIBER_MODES:
            raise ValueError(f"mode is one of {', '.join(_FIBER_MODES)}, not {mode!r}")
        if form not in _FIBER_FORMS:
            raise ValueError(f"form is one of {', '.join(_FIBER_FORMS)}, not {form!r}")
        self._require_open()
        return self._core.fibers(_FIBER_MODES.index(mode) + (len(_FIBER_MODES) if sorted else 0), form)

    def thumbnail(self, size: tuple[int, int] = (160, 120), frame: int = 0) -> npt.NDArray[np.uint8]:
        """A small picture of a frame, coloured through the movie's palette: a uint8 array (height, width, 3).

        It fits into `size`, width and height in pixels, and keeps the frame's proportions. 16-bit frames are
        stretched to their contrast. Raises IndexError for a frame that is not there, and ValueError when there is no
        such picture: movies of 8 and 16-bit integers have them, in boxes that are not too small or too large.
        """
        width, height = (operator.index(side) for side in size)
        if not -self._frames <= frame < self._frames:
            raise IndexError(f"there is no frame {frame}: the movie has {self._frames}")
        self._require_open()
        picture = None
        if 0 < width < 2**31 and 0 < height < 2**31:
            picture = self._core.thumbnail(width, height, frame % self._frames)
        if picture is None:
            raise ValueError(f"there is no thumbnail of {width} x {height} pixels of this movie")
        return picture


def _read_only(array: Array) -> Array:
    array.flags.writeable = False
    return array
