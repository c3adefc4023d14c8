#!/usr/bin/python3
"""Times the Python package beside NumPy, reading the same pixels, in turns.

Alone it prints medians and ratios, a JSON object for each. As a program that joins the rounds of scripts/bench
(--also bench/python_bench.py) it is called with --benchmark_out=FILE and takes one measurement of each variant. The
package is found through PYTHONPATH, for example PYTHONPATH=build/release/python, or is the installed one.
"""

from __future__ import annotations

import argparse
import json
import os
import re
import statistics
import tempfile
import threading
import time
from collections.abc import Callable

import numpy as np

import compare
import vqf
from compare import US

SIDE = 576
PICTURE = f"{SIDE}x{SIDE}x16"
Variants = dict[str, Callable[[], object]]


def forget(path: str) -> None:
    """Makes the system read the file from the disk again: how it was written then has no influence on how fast the
    pages are that it keeps of it."""
    with open(path, "rb") as file:
        os.fsync(file.fileno())
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


class Material:
    """The same frames as a movie and as a file of NumPy's."""

    def __init__(self, folder: str, frames: int) -> None:
        self.movie, self.array = os.path.join(folder, "frames.vqf"), os.path.join(folder, "frames.npy")
        stack = np.random.default_rng(5).integers(0, 65536, (frames, SIDE, SIDE), np.uint16)
        with vqf.create(self.movie, SIDE, SIDE, np.uint16) as writer:
            for frame in stack:
                writer.append(frame)
        np.save(self.array, stack)
        for file in (self.movie, self.array):
            forget(file)
        self.mapped = np.load(self.array, mmap_mode="r")
        if not np.array_equal(vqf.open(self.movie).asarray(), stack):
            raise SystemExit("the movie does not hold what was written")

    def whole(self) -> Variants:
        def movie() -> None:
            with vqf.open(self.movie) as opened:
                opened.asarray()

        def numpy() -> None:
            np.fromfile(self.array, np.uint16, offset=self.mapped.offset).reshape(self.mapped.shape)

        return {US: movie, "numpy.fromfile": numpy}

    def whole_into(self) -> Variants:
        movie = vqf.open(self.movie)
        out = np.empty(movie.shape, movie.dtype)
        flat = memoryview(out).cast("B")

        def file() -> None:
            with open(self.array, "rb", buffering=0) as opened:
                opened.seek(self.mapped.offset)
                opened.readinto(flat)

        return {US: lambda: movie.asarray(out), "file.readinto": file}

    def frames(self) -> Variants:
        movie = vqf.open(self.movie)

        def ours() -> None:
            for index in range(len(movie)):
                movie[index]

        def numpy() -> None:
            for index in range(len(self.mapped)):
                self.mapped[index].copy()

        return {US: ours, "np.load mapped, copied": numpy}

    def threads(self) -> Variants:
        movies = [vqf.open(self.movie) for _ in range(2)]
        arrays = [np.empty(movie.shape, movie.dtype) for movie in movies]

        def side_by_side() -> None:
            threads = [threading.Thread(target=movie.asarray, args=(out,)) for movie, out in zip(movies, arrays)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()

        def one_after_the_other() -> None:
            for movie, out in zip(movies, arrays):
                movie.asarray(out)

        return {US: side_by_side, "one thread": one_after_the_other}

    def jobs(self) -> dict[str, Variants]:
        return {
            f"python whole/{PICTURE}/disk": self.whole(),
            f"python whole into/{PICTURE}/disk": self.whole_into(),
            f"python frames/{PICTURE}/disk": self.frames(),
            f"python two threads/{PICTURE}/disk": self.threads(),
        }


def take_turns(variants: Variants, rounds: int) -> dict[str, list[tuple[float, float]]]:
    """Duration and processor's time of each round of each variant, in seconds. A first round warms up."""
    taken: dict[str, list[tuple[float, float]]] = {name: [] for name in variants}
    for number in range(rounds + 1):
        for name in list(variants)[:: 1 if number % 2 else -1]:
            start, processor = time.perf_counter(), time.process_time()
            variants[name]()
            taken[name].append((time.perf_counter() - start, time.process_time() - processor))
    return {name: values[1:] for name, values in taken.items()}


def entries(job: str, taken: dict[str, list[tuple[float, float]]]) -> list[dict[str, object]]:
    form = {"run_type": "iteration", "time_unit": "ms"}
    return [
        {"name": f"{job}/{name}", **form, "real_time": 1e3 * real, "cpu_time": 1e3 * cpu}
        for name, values in taken.items()
        for real, cpu in values
    ]


def print_ratio(job: str, taken: dict[str, list[tuple[float, float]]]) -> None:
    (other,) = (name for name in taken if name != US)
    medians = {name: [1e3 * statistics.median(column) for column in zip(*values)] for name, values in taken.items()}
    line = {
        "job": job,
        "other": other,
        "milliseconds": round(medians[US][0], 3),
        "other_milliseconds": round(medians[other][0], 3),
        "ratio": round(medians[US][0] / medians[other][0], 3),
        "processor_ratio": round(medians[US][1] / medians[other][1], 3),
        "goal": next((goal.bound for goal in compare.GOALS if goal.ours == f"{job}/{US}"), None),
    }
    print(json.dumps(line), flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--frames", type=int, default=200, help="frames of 576 x 576 16-bit samples")
    parser.add_argument("--rounds", type=int, default=15)
    parser.add_argument("--benchmark_out", help="write measurements in the form of Google Benchmark, of one round")
    parser.add_argument("--benchmark_filter", default="", help="only jobs and variants that match")
    arguments, _ = parser.parse_known_args()
    found: list[dict[str, object]] = []
    with tempfile.TemporaryDirectory(dir=os.environ.get("DATAIO_BENCH_DISK")) as folder:
        for job, variants in Material(folder, arguments.frames).jobs().items():
            if not any(re.search(arguments.benchmark_filter, f"{job}/{name}") for name in variants):
                continue
            taken = take_turns(variants, 1 if arguments.benchmark_out else arguments.rounds)
            found += entries(job, taken)
            if not arguments.benchmark_out:
                print_ratio(job, taken)
    if arguments.benchmark_out:
        with open(arguments.benchmark_out, "w", encoding="utf-8") as file:
            json.dump({"benchmarks": found}, file)


if __name__ == "__main__":
    main()
