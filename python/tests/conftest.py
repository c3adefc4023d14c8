import numpy as np
import pytest

import vqf

FRAMES, HEIGHT, WIDTH = 7, 5, 6
START = 1_700_000_000.25


def samples(dtype, shape=(FRAMES, HEIGHT, WIDTH)):
    """Samples of every bit pattern but "not a number"."""
    chance = np.random.default_rng(3)
    if np.dtype(dtype).kind == "f":
        return chance.standard_normal(shape).astype(dtype)
    return chance.integers(np.iinfo(dtype).min, np.iinfo(dtype).max, shape, dtype, endpoint=True)


def record(path, frames, **options):
    """A movie of these frames with a time every 40 ms and, for every other frame, a laser power."""
    channels = frames.shape[3] if frames.ndim == 4 else 1
    with vqf.create(path, frames.shape[2], frames.shape[1], frames.dtype, channels=channels, **options) as writer:
        for number, frame in enumerate(frames):
            writer.append(frame, START + 0.04 * number, None if number % 2 else number / 10)
    return path


@pytest.fixture
def stack():
    return samples("u2")


@pytest.fixture
def path(tmp_path, stack):
    return record(tmp_path / "movie.vqf", stack)
