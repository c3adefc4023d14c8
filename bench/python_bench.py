#!/usr/bin/python3
"""Times the Python package against NumPy, reading the same pixels, in turns.

Each line of the output is a JSON object: what was measured, the medians in seconds, their ratio and its goal.
"""

from __future__ import annotations

import argparse
import json
import os
import statistics
import sys
import tempfile
import threading
import time
from collections.abc import Callable

import numpy as np


def interleaved(jobs: list[Callable[[], object]], rounds: int) -> list[float]:
    """The median duration of each job; they take turns, so that all meet the same disturbances."""
    durations: list[list[float]] = [[] for _ in jobs]
    for number in range(rounds + 1):
        order = range(len(jobs)) if number % 2 else reversed(range(len(jobs)))
        for which in order:
            start = time.perf_counter()
            jobs[which]()
            durations[which].append(time.perf_counter() - start)
    return [statistics.median(values[1:]) for values in durations]  # the first round warms up


def report(name: str, measured: float, reference: float, goal: float, against: str) -> None:
    result = {
        "name": name,
        "seconds": round(measured, 6),
        "reference_seconds": round(reference, 6),
        "reference": against,
        "ratio": round(measured / reference, 3),
        "goal": goal,
    }
    print(json.dumps(result), flush=True)


class Material:
    """The same frames as a movie, as bare samples and as a NumPy file."""

    def __init__(self, folder: str, frames: int, side: int) -> None:
        import vqf

        self.frames, self.side = frames, side
        self.movie, self.raw, self.npy = (os.path.join(folder, name) for name in ("m.vqf", "m.raw", "m.npy"))
        stack = np.random.default_rng(5).integers(0, 65536, (frames, side, side), np.uint16)
        with vqf.create(self.movie, side, side, np.uint16) as writer:
            for frame in stack:
                writer.append(frame)
        stack.tofile(self.raw)
        np.save(self.npy, stack)
        if not np.array_equal(vqf.open(self.movie).asarray(), np.fromfile(self.raw, np.uint16).reshape(stack.shape)):
            raise SystemExit("the movie does not hold what was written")


def measure_all_frames(material: Material, rounds: int) -> None:
    import vqf

    def by_movie() -> None:
        with vqf.open(material.movie) as movie:
            movie.asarray()

    def by_numpy() -> None:
        np.fromfile(material.raw, np.uint16).reshape(material.frames, material.side, material.side)

    ours, reference = interleaved([by_movie, by_numpy], rounds)
    report("python/read_all", ours, reference, 1.15, "numpy.fromfile")

    with vqf.open(material.movie) as movie:
        out = np.empty(movie.shape, movie.dtype)
        flat = memoryview(out).cast("B")

        def into() -> None:
            movie.asarray(out)

        def readinto() -> None:
            with open(material.raw, "rb", buffering=0) as file:
                file.readinto(flat)

        ours, reference = interleaved([into, readinto], rounds)
    report("python/read_all_into", ours, reference, 1.15, "file.readinto")


def measure_single_frames(material: Material, rounds: int) -> None:
    import vqf

    mapped = np.load(material.npy, mmap_mode="r")
    with vqf.open(material.movie) as movie:

        def by_movie() -> None:
            for index in range(material.frames):
                movie[index]

        def by_numpy() -> None:
            for index in range(material.frames):
                mapped[index].copy()

        ours, reference = interleaved([by_movie, by_numpy], rounds)
    report(f"python/frame_by_frame_{material.side}", ours, reference, 1.3, "np.load(mmap_mode='r')[i].copy()")


def measure_threads(material: Material, rounds: int) -> None:
    import vqf

    movies = [vqf.open(material.movie) for _ in range(2)]
    arrays = [np.empty(movie.shape, movie.dtype) for movie in movies]

    def read(which: int) -> None:
        for index, frame in enumerate(arrays[which]):
            movies[which]._core.read(index, 1, 1, frame)

    def one_after_the_other() -> None:
        read(0)
        read(1)

    def side_by_side() -> None:
        threads = [threading.Thread(target=read, args=(which,)) for which in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    ours, reference = interleaved([side_by_side, one_after_the_other], rounds)
    report("python/two_threads", ours, reference, 0.75, "the same two movies one after the other")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--package", help="folder that holds the package vqf; by default the installed one")
    parser.add_argument("--folder", help="where to put the files, 1 GB; by default a temporary folder")
    parser.add_argument("--frames", type=int, default=400, help="frames of 576 x 576 16-bit samples")
    parser.add_argument("--rounds", type=int, default=11)
    arguments = parser.parse_args()
    if arguments.package:
        sys.path.insert(0, arguments.package)
    with tempfile.TemporaryDirectory(dir=arguments.folder) as folder:
        material = Material(folder, arguments.frames, 576)
        measure_all_frames(material, arguments.rounds)
        measure_single_frames(material, arguments.rounds)
        measure_threads(material, arguments.rounds)


if __name__ == "__main__":
    main()
