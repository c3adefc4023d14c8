"""VQF movies as NumPy arrays.

A VQF movie holds the frames of a laser-scanning microscope that looks through a bundle of optical fibres, with a time
and a laser power for each frame, the positions of the fibres and a header of named values.

>>> import vqf
>>> with vqf.open("cells.vqf") as movie:
...     first = movie[0]              # one frame, (height, width)
...     stack = movie.asarray()       # all of them, (frames, height, width)
...     seconds = movie.times - movie.times[0]

`open` reads movies, `create` records them, `modify` changes closed ones, `verify` examines and `recover` mends them.
Failures are `MovieError`, an `OSError`; wrong arguments are `ValueError`, `TypeError` and `IndexError`.
"""

from .attributes import Attributes
from .errors import MovieError, Origin
from .jobs import Finding, Recovery, Verification, recover, verify
from .movie import Movie, open
from .palette import Palette
from .writer import Writer, create, modify

__all__ = [
    "Attributes",
    "Finding",
    "Movie",
    "MovieError",
    "Origin",
    "Palette",
    "Recovery",
    "Verification",
    "Writer",
    "create",
    "modify",
    "open",
    "recover",
    "verify",
]
