"""Times of frames: whole microseconds since 1970-01-01 00:00:00 UTC."""

from __future__ import annotations

import datetime
import math
import numbers
from typing import Union

import numpy as np

#: Stands for the time of a frame that has none; NumPy's "not a time".
NO_TIME = -(2**63)

Time = Union[float, datetime.datetime, np.datetime64]


def microseconds(time: Time) -> int:
    """A time as microseconds. Raises ValueError for what movies cannot hold, beyond 1901 to 2038."""
    if isinstance(time, np.datetime64):
        value = int(time.astype("datetime64[us]").astype(np.int64))
    elif isinstance(time, datetime.datetime):
        value = round(time.timestamp() * 1_000_000)
    elif isinstance(time, numbers.Real):
        value = round(float(time) * 1_000_000) if math.isfinite(time) else NO_TIME
    else:
        raise TypeError(f"a time is seconds since 1970, a datetime or a datetime64, not {type(time).__name__}")
    if not -(2**31) <= value // 1_000_000 < 2**31:
        raise ValueError(f"movies hold times from 1901 to 2038, not {time}")
    return value
