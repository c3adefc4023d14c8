"""The programs that people copy."""

import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import vqf

HERE = pathlib.Path(__file__).parent.parent


def run(folder, *command):
    return subprocess.run([sys.executable, *command], cwd=folder, capture_output=True, text=True, check=True).stdout


def test_the_start_in_the_readme(tmp_path):
    program = re.search(r"```python\n(.*?)```", (HERE / "README.md").read_text(), re.S)[1]
    assert "20 frames" in run(tmp_path, "-c", program)
    assert vqf.open(tmp_path / "cells.vqf").attributes["operator"] == "Curie"


def test_the_example_draws_movies_with_and_without_times(tmp_path, path):
    pytest.importorskip("matplotlib")
    with vqf.create(tmp_path / "bare.vqf", 8, 4, "u1") as writer:
        writer.append(np.zeros((4, 8), "u1"))
    for movie in (path, tmp_path / "bare.vqf"):
        run(tmp_path, HERE / "examples" / "plot_movie.py", movie, "drawn.png")
        assert (tmp_path / "drawn.png").read_bytes()[:4] == b"\x89PNG"
        (tmp_path / "drawn.png").unlink()

