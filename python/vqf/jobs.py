"""Jobs on whole movies."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from dataclasses import dataclass
from typing import Any

from . import _core
from .paths import PathLike, text_of

Progress = Callable[[int, int], Any]


@dataclass(frozen=True)
class Finding:
    """One thing that a verification found.

    Attributes:
        name: stable, for programs, such as ``"frame-length"``.
        severity: "error" (data are lost, unreachable or proved changed), "warning" (contradictions) or "note".
        offset: of the byte in the file that it is about, or None.
        expected, found, advice: texts for people; may be empty.
    """

    name: str
    severity: str
    offset: int | None
    expected: str
    found: str
    advice: str


@dataclass(frozen=True)
class Verification:
    """What state a movie is in.

    Attributes:
        condition: "sound", "damaged" (it opens, with errors or warnings) or "unreadable".
        bytes: length of the file.
        chunks: whole chunks in it.
        frames: frames that can be read.
        frames_with_checksum: frames whose bytes were compared with a checksum.
        findings: at most 100 of each name.
        counts: how many there were of each name.
    """

    condition: str
    bytes: int
    chunks: int
    frames: int
    frames_with_checksum: int
    findings: tuple[Finding, ...]
    counts: Mapping[str, int]

    @property
    def is_sound(self) -> bool:
        return self.condition == "sound"


@dataclass(frozen=True)
class Recovery:
    """What a recovery brought back, and what it could not.

    Attributes:
        was_sound: there was nothing to recover, the result is a copy.
        frames, times, laser_powers, fibers: how many the result has.
        lost_frames: frames that the index lists and the file does not hold.
        unlisted_frames: frames that no index lists.
        mended_chunks: chunks with a damaged header.
        torn_bytes, skipped_bytes: what was dropped, of a chunk that was cut off and of no chunk at all.
        header: where the header comes from: "movie", "recording-log", "edit-journal", "extended-attribute",
            "damaged-movie", "other-movie", "arguments" or "none".
        guessed: names of header values that are guesses.
        losses: what could not be brought back, in words.
        verification: of the result.
    """

    was_sound: bool
    frames: int
    lost_frames: int
    unlisted_frames: int
    mended_chunks: int
    torn_bytes: int
    skipped_bytes: int
    header: str
    guessed: tuple[str, ...]
    times: int
    laser_powers: int
    fibers: int
    losses: tuple[str, ...]
    verification: Verification

    @property
    def is_complete(self) -> bool:
        """Nothing was lost or guessed."""
        return not self.losses and not self.guessed


def verify(path: PathLike, *, progress: Progress | None = None) -> Verification:
    """Examines a movie: its chunks, index, header and side data against each other, and its checksums if it has any.

    `progress` is called with the number of frames done and their total; what it raises ends the job. Raises MovieError
    when the file cannot be read at all.
    """
    return _verification(_core.verify(text_of(path), progress))


def recover(
    path: PathLike,
    output: PathLike | None = None,
    *,
    in_place: bool = False,
    replace: bool = False,
    like: PathLike | None = None,
    attributes: Mapping[str, str | int | float] | None = None,
    progress: Progress | None = None,
) -> Recovery:
    """Puts a movie together again: one whose recording or editing was cut off, or that is damaged.

    Every complete frame is kept. The movie `output` appears when it is complete and verified, and the input is not
    changed; or with `in_place` the movie itself is changed. `replace` allows to replace an output that exists. `like`
    names a movie of the same kind, for a header that is lost; `attributes` gives header values that the movie does not
    tell. `progress` as for `verify`; when it raises there is no output.

    Raises ValueError unless there is either an output or `in_place`, MovieError when nothing can be recovered.
    """
    if (output is None) != in_place:
        raise ValueError("name the movie to make, or change this one with in_place=True")
    result = _core.recover(
        text_of(path),
        "" if output is None else text_of(output),
        in_place,
        replace,
        "" if like is None else text_of(like),
        [(name, str(value)) for name, value in (attributes or {}).items()],
        progress,
    )
    result["guessed"] = tuple(result["guessed"])
    result["losses"] = tuple(result["losses"])
    result["verification"] = _verification(result["verification"])
    return Recovery(**result)


def _verification(values: dict[str, Any]) -> Verification:
    values["findings"] = tuple(Finding(*finding) for finding in values["findings"])
    return Verification(**values)
