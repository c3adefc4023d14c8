"""What goes wrong with movies."""

from __future__ import annotations

import enum


class Origin(enum.IntEnum):
    """Who detected a failure."""

    LIBRARY = 0  #: a check of the library
    FILE = 3  #: the file that was named
    SYSTEM = 4  #: a call of the operating system


class MovieError(OSError):
    """A movie cannot be opened, read, written or mended.

    Attributes:
        message: what went wrong, for people.
        code: what went wrong, for programs: one of the library's codes, such as ``"IR_MISSINFO"`` for a file
            that is no complete movie; empty for what this package itself found.
        origin: who detected it.
    """

    def __init__(self, message: str, code: str = "", origin: int = Origin.LIBRARY) -> None:
        super().__init__(message)
        self.message = message
        self.code = code
        self.origin = Origin(origin)
