#!/usr/bin/env python3
# %% [markdown]
# Draws what a movie holds: plot_movie.py [MOVIE.vqf [PICTURE.png]]. Without a movie one is recorded. Runs as a program,
# or cell by cell in editors that know notebooks.

# %% Libraries
import sys
import tempfile

import matplotlib.pyplot as plt
import numpy as np

import vqf


# %% A movie to look at: spots that drift behind a bundle of fibres, while the laser is turned up
def record_example(path: str, side: int = 240, frames: int = 60) -> None:
    chance = np.random.default_rng(11)
    y, x = np.mgrid[0:side, 0:side]
    inside = np.hypot(x - side / 2, y - side / 2) < side * 0.46
    rows = np.arange(side * 0.04, side * 0.96, 6)
    fibers = [(column + 3 * (number % 2), row) for number, row in enumerate(rows) for column in rows]
    spots = chance.uniform(0.2, 0.8, (12, 2)) * side
    time = 1_700_000_000.0
    with vqf.create(path, side, side, np.uint16, comment="Drifting spots") as writer:
        writer.fibers = fibers
        writer.bounding_box = (side * 0.04, side * 0.04, side * 0.96, side * 0.96)
        for number in range(frames):
            power = 0.2 + 0.6 * number / frames
            light = sum(np.exp(-((x - sx - number / 2) ** 2 + (y - sy) ** 2) / 60) for sx, sy in spots)
            writer.append((inside * (200 + 4000 * power * light)).astype(np.uint16), time, power)
            time += 1 / 12 + chance.uniform(0, 0.01)


movie_path = sys.argv[1] if len(sys.argv) > 1 else tempfile.mkdtemp() + "/example.vqf"
if len(sys.argv) <= 1:
    record_example(movie_path)
movie = vqf.open(movie_path)
print(movie, movie.shape, movie.dtype)

# %% Brightness of each frame, read one after the other
brightness = np.array([frame.mean() for frame in movie])
timed = len(movie) > 0 and not np.isnan(movie.times).any()
moments = movie.times - movie.times[0] if timed else np.arange(len(movie))

# %% Pictures of all that
figure, ((picture, fibres), (times, powers)) = plt.subplots(2, 2, figsize=(11, 9), layout="constrained")
figure.suptitle(f"{movie_path}: {len(movie)} frames. {movie.comment}")

middle = len(movie) // 2
picture.imshow(movie[middle], cmap=None if movie.ndim == 4 else "gray")
picture.set_title(f"Frame {middle}")

positions = movie.fibers()
in_bundle = movie.fibers(mode="bundle")
fibres.plot(*positions.T, ".", color="lightgray", markersize=4)
fibres.plot(*in_bundle.T, ".", color="tab:green", markersize=3)
fibres.set(title=f"{len(positions)} fibres, green: {len(in_bundle)} inside the bundle", xlabel="column", ylabel="row")
fibres.set(aspect="equal", xlim=(0, movie.shape[2]), ylim=(movie.shape[1], 0))

times.plot(1000 * np.diff(movie.times), ".-")
times.set(title="Time from frame to frame", xlabel="frame", ylabel="ms")

powers.plot(moments, 100 * movie.laser_power, color="tab:red")
powers.set(title="Laser power and brightness", xlabel="time (s)" if timed else "frame", ylabel="laser power (%)")
powers.yaxis.label.set_color("tab:red")
mean = powers.twinx()
mean.plot(moments, brightness, color="tab:blue")
mean.set_ylabel("mean sample")
mean.yaxis.label.set_color("tab:blue")

# %% To the screen, or into a picture
if len(sys.argv) > 2:
    figure.savefig(sys.argv[2], dpi=90)
else:
    plt.show()
