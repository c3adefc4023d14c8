"""Movies to record and to change."""

from __future__ import annotations

import math
import operator
import os
from array import array
from collections.abc import Mapping
from types import TracebackType

import numpy as np
import numpy.typing as npt

from . import _core
from .attributes import Value, WritableAttributes, storable, storable_comment
from .errors import MovieError
from .palette import Palette
from .paths import PathLike, text_of
from .pixels import Array, FrameFormat, SampleType, pixel_type
from .times import Time, microseconds

_NOT_KNOWN = -1.0  # as laser power


def create(
    path: PathLike,
    width: int,
    height: int,
    dtype: npt.DTypeLike,
    *,
    channels: int = 1,
    autotime: bool = False,
    recording_log: bool = False,
    overwrite: bool = False,
    comment: str = "",
    attributes: Mapping[str, Value] | None = None,
) -> Writer:
    """Starts a new movie of frames of that size and type; see `Writer`. `overwrite` lets it replace a file of that name.

    `dtype` is an integer of 8, 16 or 32 bits or a float of 32 or 64; `channels` 3 or 4, with uint8, makes a colour
    movie. With `autotime` every frame gets the clock's time. `recording_log` also keeps times, laser powers and fibres
    in a log beside the movie until it is closed, so that they survive a crash as the frames do.

    Raises TypeError for types that movies do not hold, ValueError for sides that are not positive and for attributes
    that cannot be stored, FileExistsError without `overwrite` when there is a file of that name, MovieError when the
    file cannot be made, also when another program records or changes the one that it would replace.
    """
    number = pixel_type(dtype, channels)
    width, height = operator.index(width), operator.index(height)
    if not (0 < width < 2**31 and 0 < height < 2**31):
        raise ValueError(f"frames of {width} x {height} pixels")
    values = {name: storable(name, value) for name, value in (attributes or {}).items()}
    storable_comment(comment)
    if not overwrite:
        _claim(text_of(path))
    core = _core.Writer.create(text_of(path), width, height, number, autotime, recording_log)
    writer = Writer(core, text_of(path), editing=False, autotime=autotime)
    writer.comment = comment
    for name, value in values.items():
        writer.attributes[name] = value
    return writer


def _claim(path: str) -> None:
    """Makes the file, so that no other program can make it as well. What else fails, the recording tells."""
    try:
        os.close(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600))
    except FileExistsError as error:
        error.strerror = "exists already; overwrite=True replaces it"
        raise
    except (OSError, ValueError):
        pass


def modify(path: PathLike, *, unprotected: bool = False) -> Writer:
    """Opens a closed movie for changes; see `Writer`. An edit of it that died is undone first.

    Until `close` the changes are not part of the movie: a crash, `roll_back` and a ``with`` block that ends by an
    exception leave it as it was, by a journal beside it. Where none can be made, or its name is taken by another file,
    the change is refused; with `unprotected` it is made all the same, and a crash then may leave a movie that has to be
    recovered.

    Raises MovieError when the file cannot be changed, also when another program records or changes it.
    """
    return Writer(_core.Writer.modify(text_of(path), unprotected), text_of(path), editing=True, autotime=False)


class Writer:
    """A movie that is recorded (`create`) or changed (`modify`).

    Each frame is in the file when `append` returns; times, laser powers and the header are written by `close`, the end
    of a ``with`` block. A recording is closed there even after an exception, with the frames it has; an edit is then
    undone, where there is a journal to undo it by (see `roll_back`). Other threads run while the file is written; a
    writer is used by one thread at a time.
    """

    def __init__(self, core: _core.Writer, path: str, *, editing: bool, autotime: bool) -> None:
        self._core = core
        self._path = path
        self._editing = editing
        self._autotime = autotime
        format = core.format()
        self._format = FrameFormat.from_core(format) if format is not None else None
        self._times = array("q", core.times_before().tolist())
        powers = core.laser_powers_before()
        self._powers = array("f", np.where(np.isnan(powers), _NOT_KNOWN, powers).tolist())
        self._attributes = WritableAttributes(core)

    # The file

    @property
    def path(self) -> str:
        """The file, as it was named."""
        return self._path

    @property
    def closed(self) -> bool:
        return not self._core.is_open()

    def close(self) -> None:
        """Writes times, laser powers and header and closes the file; nothing when it is closed.

        After a failure the movie stays open, and `close` can be repeated.
        """
        if not self.closed:
            self._core.close()

    def sync(self) -> bool:
        """Waits until the frames are on the storage device; False when the system does not confirm it."""
        self._require_open()
        return self._core.sync()

    def roll_back(self) -> bool:
        """Gives up the changes since `modify`: the movie is again as it was, and closed.

        False, with nothing done, for a recording, and for an edit without a journal.
        """
        return self._editing and self._core.roll_back()

    def __enter__(self) -> Writer:
        self._require_open()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        if kind is None or not self.roll_back():
            self.close()

    def __repr__(self) -> str:
        return f"<{'closed ' if self.closed else ''}vqf.Writer {self._path!r}: {len(self)} frames>"

    # Frames

    def __len__(self) -> int:
        return len(self._powers)

    @property
    def shape(self) -> tuple[int, ...]:
        """Frames, height and width, and for colours the number of channels. MovieError when the header lacks it."""
        return (len(self), *self._known_format().shape)

    @property
    def dtype(self) -> SampleType:
        """Type of the samples. MovieError when the header lacks it."""
        return self._known_format().dtype

    @property
    def room_left(self) -> int:
        """Bytes of one more frame that still fit; a movie is shorter than 2**31 bytes."""
        return self._core.room_left()

    def append(self, frame: npt.ArrayLike, time: Time | None = None, laser_power: float | None = None) -> None:
        """Appends a frame, an array of the movie's frame shape and type; other byte orders and strides are copied.

        `time` is in seconds since 1970-01-01 UTC, a datetime or a datetime64, from 1901 to 2038, not before the last
        frame's; with ``autotime`` it is the clock's. Either all frames of a movie have a time, or none. `laser_power`
        is a fraction of full power, 0 to 1, kept in steps of 1/254.

        Raises TypeError for another type of samples; ValueError for another shape, for such times and powers and for
        a closed movie; MovieError when the frame cannot be written, of which nothing is recorded then.
        """
        samples = self._samples_of(frame)
        stamp = self._time_of_new(time)
        power = _power_of(laser_power)
        self._core.append(samples, stamp, power)
        self._powers.append(power)
        if stamp is not None:
            self._times.append(stamp)

    def replace(
        self, index: int, frame: npt.ArrayLike, time: Time | None = None, laser_power: float | None = None
    ) -> None:
        """Writes over a frame; its time and laser power stay unless they are given. Raises as `append`, IndexError for
        a frame that is not there, and ValueError for a time that is not between those of its neighbours."""
        samples = self._samples_of(frame)
        index = operator.index(index)
        if not -len(self) <= index < len(self):
            raise IndexError(f"there is no frame {index}: the movie has {len(self)}")
        index %= len(self)
        stamp = self._time_of_replaced(index, time)
        power = self._powers[index] if laser_power is None else _power_of(laser_power)
        self._core.replace(index, samples, stamp, power)
        self._powers[index] = power
        if stamp is not None:
            self._times[index] = stamp

    def _samples_of(self, frame: npt.ArrayLike) -> Array:
        self._require_open()
        format = self._known_format()
        samples = np.asarray(frame)
        if samples.dtype.newbyteorder("=") != format.dtype:
            raise TypeError(f"frames of this movie are of {format.dtype}, not {samples.dtype}")
        if samples.shape != format.shape:
            raise ValueError(f"frames of this movie have the shape {format.shape}, not {samples.shape}")
        return np.ascontiguousarray(samples, format.dtype)

    def _time_of_new(self, time: Time | None) -> int | None:
        if self._autotime:
            if time is not None:
                raise ValueError("the clock gives the times of this movie (autotime)")
            return None
        if len(self._times) not in (0, len(self)):
            if time is not None:
                raise ValueError(f"the movie has {len(self._times)} times for {len(self)} frames")
            return None
        if len(self) > 0 and (time is None) != (len(self._times) == 0):
            raise ValueError("either all frames of a movie have a time, or none")
        if time is None:
            return None
        stamp = microseconds(time)
        if self._times and stamp < self._times[-1]:
            raise ValueError("a movie keeps its times in order: this one is before the last frame's")
        return stamp

    def _time_of_replaced(self, index: int, time: Time | None) -> int | None:
        if time is None:
            return None
        if self._autotime or len(self._times) != len(self):
            raise ValueError("a frame's time can be replaced where all frames were given one")
        stamp = microseconds(time)
        before = self._times[max(index - 1, 0)] if index > 0 else stamp
        after = self._times[index + 1] if index + 1 < len(self) else stamp
        if not before <= stamp <= after:
            raise ValueError("a movie keeps its times in order: this one is not between its neighbours'")
        return stamp

    def _known_format(self) -> FrameFormat:
        if self._format is None:
            raise MovieError(f"{self._path}: does not say what its frames are")
        return self._format

    def _require_open(self) -> None:
        if self.closed:
            raise ValueError("the movie is closed")

    # The header

    @property
    def attributes(self) -> WritableAttributes:
        """The values of the header by name, to be read, set and deleted."""
        return self._attributes

    @property
    def comment(self) -> str:
        """The comment; empty for none. May have several lines; ValueError for characters beyond Latin-1 and blanks at
        an end."""
        return self._core.comment()

    @comment.setter
    def comment(self, text: str) -> None:
        if not text:
            self._core.remove("comment")
            return
        self._core.set_comment(storable_comment(text))

    @property
    def palette(self) -> Palette | None:
        """The colours for the samples, None when there are none. Raises ValueError for a palette that is none."""
        return Palette._from_core(self._core.palette())

    @palette.setter
    def palette(self, palette: Palette) -> None:
        self._core.set_palette(palette._for_core())

    @property
    def bounding_box(self) -> tuple[float, float, float, float] | None:
        """The rectangle that the bundle covers, in pixels: least x and y, greatest x and y. None when not known."""
        return self._core.bounding_box()

    @bounding_box.setter
    def bounding_box(self, box: tuple[float, float, float, float]) -> None:
        min_x, min_y, max_x, max_y = (float(side) for side in box)
        if not (-math.inf < min_x <= max_x < math.inf and -math.inf < min_y <= max_y < math.inf):
            raise ValueError("a bounding box is least x and y, greatest x and y")
        self._core.set_bounding_box(min_x, min_y, max_x, max_y)

    @property
    def fibers(self) -> npt.NDArray[np.float32]:
        """Positions of the fibres, column and row in pixels: a float32 array (fibres, 2). They are kept to a fraction
        of 1/2**32 of the frame, and moved into it. Raises ValueError for other shapes and what is not finite."""
        return self._core.fibers()

    @fibers.setter
    def fibers(self, centers: npt.ArrayLike) -> None:
        positions = np.ascontiguousarray(centers, np.float32)
        if positions.size == 0:
            positions = positions.reshape(0, 2)
        if positions.ndim != 2 or positions.shape[1] != 2 or not np.isfinite(positions).all():
            raise ValueError("fibres are an array of two finite numbers each: column and row")
        self._core.set_fibers(positions)


def _power_of(laser_power: float | None) -> float:
    if laser_power is None:
        return _NOT_KNOWN
    if not 0 <= laser_power <= 1:
        raise ValueError(f"a laser power is a fraction of full power from 0 to 1, not {laser_power}")
    return float(laser_power)
