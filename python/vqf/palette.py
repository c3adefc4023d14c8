"""Colours for a movie's samples."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
import numpy.typing as npt


@dataclass(frozen=True, eq=False)
class Palette:
    """Colours between which those of the samples are interpolated.

    Attributes:
        name: a name for people.
        crop: the sample values, two integers, at positions 0 and 1.
        nodes: float32 array (nodes, 4): position, red, green and blue of each, in order of position, colours
            from 0 to 1.
    """

    name: str
    crop: tuple[int, int]
    nodes: npt.NDArray[np.float32]

    def colors(self, count: int = 256) -> npt.NDArray[np.float32]:
        """Red, green and blue at `count` positions from 0 to 1, as a float32 array (count, 3)."""
        positions = np.linspace(0, 1, count)
        channels = [np.interp(positions, self.nodes[:, 0], self.nodes[:, channel]) for channel in (1, 2, 3)]
        return np.stack(channels, axis=1).astype(np.float32)

    @classmethod
    def _from_core(cls, values: tuple[str, int, int, npt.NDArray[np.float32]] | None) -> Palette | None:
        if values is None:
            return None
        name, lowest, highest, nodes = values
        return cls(name, (lowest, highest), nodes)

    def _for_core(self) -> tuple[str, int, int, npt.NDArray[np.float32]]:
        nodes = np.asarray(self.nodes, np.float32)
        if nodes.ndim != 2 or nodes.shape[1] != 4 or len(nodes) == 0 or not np.isfinite(nodes).all():
            raise ValueError("a palette has nodes of four finite numbers each: position, red, green, blue")
        lowest, highest = (int(value) for value in self.crop)
        if not -(2**31) <= lowest <= highest < 2**31:
            raise ValueError("a palette's crop range is two integers of 32 bits, the lower first")
        return self.name, lowest, highest, nodes
