"""Names of files."""

from __future__ import annotations

import os
from typing import Union

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def text_of(path: PathLike) -> str:
    """The path as a text. Raises ValueError for names that are not UTF-8 or hold a null character."""
    text = os.fsdecode(path)
    try:
        text.encode()
    except UnicodeEncodeError:
        raise ValueError(f"the path {text!r} is not UTF-8") from None
    if "\0" in text:
        raise ValueError("the path holds a null character")
    return text
