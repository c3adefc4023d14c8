"""The named values of a movie's header."""

from __future__ import annotations

import math
import numbers
from collections.abc import Iterator, Mapping, MutableMapping
from typing import Any, Callable, TypeVar, Union, overload

from . import _core

T = TypeVar("T")
D = TypeVar("D")
Value = Union[str, int, float]

_LARGEST_FLOAT = 3.4028234663852886e38


class Attributes(Mapping[str, str]):
    """The values of a header by name, as the texts that the file holds.

    >>> movie.attributes["width"]
    '576'
    >>> movie.attributes.get("framedelay", 0, type=int)
    80
    """

    def __init__(self, values: Mapping[str, str]) -> None:
        self._values = values

    def __getitem__(self, name: str) -> str:
        return self._values[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    @overload
    def get(self, name: str) -> str | None: ...
    @overload
    def get(self, name: str, default: D) -> str | D: ...
    @overload
    def get(self, name: str, default: None = None, *, type: Callable[[str], T]) -> T | None: ...
    @overload
    def get(self, name: str, default: D, *, type: Callable[[str], T]) -> T | D: ...

    def get(self, name: str, default: Any = None, *, type: Callable[[str], Any] = str) -> Any:
        """The value of that name, made a `type`: ``str``, ``int``, ``float`` or any function of a text.

        Returns `default` when there is no such value. Raises ValueError when it cannot be made a `type`.
        """
        text = self._values.get(name)
        return default if text is None else type(text)

    def __repr__(self) -> str:
        return f"{type(self).__name__}({dict(self)!r})"


class WritableAttributes(Attributes, MutableMapping[str, str]):
    """The values of the header of a movie that is being written; they are stored when it is closed.

    Values are texts, integers of 32 bits, or floating-point numbers, of which seven digits are kept. Raises
    ValueError for what a header cannot hold: characters beyond Latin-1, line breaks, blanks at an end, empty texts; and
    for names that follow from the frames, such as ``"width"``.
    """

    def __init__(self, core: _core.Writer) -> None:
        self._core = core

    @property
    def _values(self) -> Mapping[str, str]:  # type: ignore[override]
        return self._core.attributes()

    def __setitem__(self, name: str, value: Value) -> None:
        checked = storable(name, value)
        if isinstance(checked, str):
            self._core.set_text(name, checked)
        elif isinstance(checked, int):
            self._core.set_integer(name, checked)
        else:
            self._core.set_float(name, checked)

    def __delitem__(self, name: str) -> None:
        if name not in self._values:
            raise KeyError(name)
        _require_storable(name, "0")
        self._core.remove(name)


def storable(name: str, value: Value) -> Value:
    """The value as ``str``, ``int`` or ``float``. Raises as `WritableAttributes` for what a header cannot hold."""
    if isinstance(value, str):
        _require_storable(name, value)
        return value
    _require_storable(name, "0")
    if isinstance(value, numbers.Integral):
        if not -(2**31) <= value < 2**31:
            raise ValueError(f"attribute {name!r} is an integer beyond 32 bits; store it as a text")
        return int(value)
    if isinstance(value, numbers.Real):
        if _LARGEST_FLOAT < abs(value) < math.inf:
            raise ValueError(f"attribute {name!r} is beyond 32-bit floating point; store it as a text")
        return float(value)
    raise TypeError(f"attribute {name!r} is a text or a number, not {type(value).__name__}")


def storable_comment(text: str) -> str:
    """The comment as given. Raises ValueError for what a header cannot hold."""
    if text:
        _require_storable("comment", _core.Writer.stored_comment(text))
    return text


def _require_storable(name: str, value: str) -> None:
    problem = _core.Writer.storage_problem(name, value)
    if problem:
        raise ValueError(f"attribute {name!r} {problem}")
