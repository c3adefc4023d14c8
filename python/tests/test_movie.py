"""Reading: frames in every form, what describes them, damage, threads."""

import _thread
import pathlib
import random
import struct
import sys
import threading

import numpy as np
import pytest
import tifffile

import movies
import reference_reader
import vqf
from conftest import FRAMES, HEIGHT, START, WIDTH, record, samples

CORPUS = pathlib.Path(__file__).parents[2] / "fuzz" / "corpus" / "fz_open"


@pytest.mark.parametrize("batch", [64 << 20, 130, 1])
def test_frames_as_a_sequence(path, stack, monkeypatch, batch):
    monkeypatch.setattr("vqf.movie._BATCH_BYTES", batch)
    with vqf.open(str(path)) as movie:
        assert (len(movie), movie.shape, movie.dtype) == (FRAMES, stack.shape, np.dtype("u2"))
        assert (movie.ndim, movie.nbytes) == (3, stack.nbytes)
        for index in (0, 3, np.int16(6), -1, -FRAMES):
            assert np.array_equal(movie[index], stack[index])
        for key in np.s_[:, 2:5, 5:2, ::-2, -3:, 100:, 6:0:-3]:
            assert movie[key].shape == stack[key].shape and np.array_equal(movie[key], stack[key])
        assert all(np.array_equal(*pair) for pair in zip(movie, stack, strict=True))
        assert movie[0].flags.writeable and movie[0] is not movie[0]
        for index in (FRAMES, -FRAMES - 1, 2**40):
            with pytest.raises(IndexError):
                movie[index]
        for key in (1.0, "1", None, (0, 1), [0]):
            with pytest.raises(TypeError):
                movie[key]
    for use in (lambda: movie[0], movie.asarray, movie.memmap, movie.fibers, movie.thumbnail, movie.__enter__):
        with pytest.raises(ValueError, match="closed"):
            use()
    assert movie.closed and movie.times[0] == START and movie.attributes["width"] == str(WIDTH)
    movie.close()


def test_all_frames_in_one_array(path, stack):
    movie = vqf.open(path)
    out = np.zeros((2, *stack.shape), "u2")
    assert movie.asarray(out[1]).base is out and np.array_equal(out[1], stack) and not out[0].any()
    assert np.array_equal(np.asarray(movie), stack) and np.asarray(movie, np.float32).dtype == np.float32
    assert float(np.mean(movie)) == stack.mean()
    read_only = np.empty_like(stack)
    read_only.flags.writeable = False
    wrong = [
        (TypeError, stack.astype("i2")), (TypeError, stack.astype(">u2")), (TypeError, stack.tolist()),
        (ValueError, stack[1:].copy()), (ValueError, np.asfortranarray(stack)), (ValueError, read_only),
        (ValueError, np.empty((FRAMES, HEIGHT, 2 * WIDTH), "u2")[..., ::2]),
    ]  # fmt: skip
    for error, array in wrong:
        with pytest.raises(error):
            movie.asarray(array)


@pytest.mark.parametrize("dtype", ["f4", "f8", "u1", "i1", "u2", "i2", "u4", "i4"])
def test_sample_types_agree_with_tifffile(tmp_path, dtype):
    stack = samples(dtype)
    tifffile.imwrite(tmp_path / "stack.tif", stack, photometric="minisblack")
    frames = tifffile.imread(tmp_path / "stack.tif")
    movie = vqf.open(record(tmp_path / "movie.vqf", frames))
    assert movie.dtype == dtype and np.array_equal(movie.asarray(), stack)
    mapped = movie.memmap()
    assert mapped.dtype == dtype and np.array_equal(mapped, stack) and not mapped.flags.writeable


@pytest.mark.parametrize("pixel_type", range(1, 13))
def test_the_other_byte_order_comes_out_native(tmp_path, pixel_type):
    data = movies.movie(pixel_type, width=2, height=2, frames=3, endian=1).file()
    (tmp_path / "m.vqf").write_bytes(data)
    movie = vqf.open(tmp_path / "m.vqf")
    stored = [reference_reader.chunk_at(data, at * (movie[0].nbytes + 32), 2) for at in range(3)]
    turned = movie.dtype.itemsize in (2, 4) or pixel_type == 12
    unit = 4 if pixel_type == 12 else movie.dtype.itemsize
    expected = [b"".join(s[i : i + unit][:: -1 if turned else 1] for i in range(0, len(s), unit)) for s in stored]
    assert [frame.tobytes() for frame in movie] == expected and movie.dtype.isnative
    assert np.array_equal(movie.memmap(), movie.asarray(), equal_nan=movie.dtype.kind == "f")


def test_frames_that_lie_unevenly_are_not_mapped(tmp_path):
    (tmp_path / "m.vqf").write_bytes(movies.movie(frames=2).add(99, b"x").add(2, bytes(range(16))).file())
    movie = vqf.open(tmp_path / "m.vqf")
    assert movie[2].tobytes() == bytes(range(16))
    with pytest.raises(ValueError, match="evenly"):
        movie.memmap()


def test_what_describes_the_frames(path, stack):
    movie = vqf.open(path)
    expected = START + 0.04 * np.arange(FRAMES)
    assert movie.times.dtype == np.float64 and np.array_equal(movie.times, expected.round(6))
    assert np.array_equal(movie.times_ns, np.round(expected * 1e6).astype(np.int64) * 1000)
    powers = np.where(np.arange(FRAMES) % 2, np.nan, np.round(np.arange(FRAMES) / 10 * 254) / 254)
    assert movie.laser_power.dtype == np.float32
    assert np.array_equal(movie.laser_power, powers.astype(np.float32), equal_nan=True)
    with pytest.raises(ValueError, match="read-only"):
        movie.times[0] = 0
    values = movie.attributes
    assert values["width"] == "6" and dict(values)["pixtype"] == "5" and "none" not in values
    assert values.get("height", type=int) == 5 and values.get("none") is None and values.get("none", 3, type=int) == 3
    with pytest.raises(KeyError):
        values["none"]
    assert (movie.comment, movie.palette, movie.bounding_box) == ("", None, None)
    assert movie.fibers().shape == (0, 2) and movie.fibers(form="offset").shape == (0,)


def test_missing_times_and_powers_are_not_numbers(tmp_path):
    made = movies.movie(frames=3).add(7, struct.pack("<4i", -1, 5, 10, 999999))
    (tmp_path / "m.vqf").write_bytes(made.file())
    movie = vqf.open(tmp_path / "m.vqf")
    assert np.array_equal(movie.times, [-0.999995, 10.999999, np.nan], equal_nan=True)
    assert movie.times_ns.tolist() == [-999_995_000, 10_999_999_000, -(2**63)]
    assert np.isnat(movie.times_ns.view("datetime64[ns]")).tolist() == [False, False, True]
    assert np.isnan(movie.laser_power).all() and movie.laser_power.shape == (3,)


def test_fibers_in_every_mode_and_form(tmp_path, stack):
    positions = np.float32([[4.5, 1.25], [0.5, 1.75], [5, 4], [2.5, 0]])
    with vqf.create(tmp_path / "m.vqf", WIDTH, HEIGHT, "u2") as writer:
        writer.fibers, writer.bounding_box = positions, (0, 0, 5, 3)
    movie = vqf.open(tmp_path / "m.vqf")
    assert np.allclose(movie.fibers(), positions, atol=1e-6)
    assert np.allclose(movie.fibers(sorted=True), positions[[3, 0, 1, 2]], atol=1e-6)
    assert movie.fibers(form="index").tolist() == [[4, 1], [0, 2], [5, 4], [2, 0]]
    assert movie.fibers(form="offset", mode="clamped").tolist() == [10, 12, 29, 2]
    assert movie.fibers(form="offset").dtype == movie.fibers(form="index").dtype == np.uint32
    world = np.stack([positions[:, 0] + 0.5, HEIGHT - 0.5 - positions[:, 1]], 1) / WIDTH
    assert np.allclose(movie.fibers(form="world"), world, atol=1e-6)
    assert np.allclose(movie.fibers("bundle"), positions[:1], atol=1e-6), "inside the ellipse"
    assert movie.bounding_box == (0, 0, 5, 3)
    for wrong in ({"mode": "all"}, {"form": "pixels"}):
        with pytest.raises(ValueError):
            movie.fibers(**wrong)


def test_thumbnail_through_the_palette(tmp_path):
    frame = np.full((40, 80), 10, "u1")
    frame[:, 40:] = 20
    with vqf.create(tmp_path / "m.vqf", 80, 40, "u1") as writer:
        writer.palette = vqf.Palette("two", (10, 20), np.array([[0, 1, 0, 0], [1, 0, 0, 1]]))
        writer.append(frame)
    picture = vqf.open(tmp_path / "m.vqf").thumbnail((20, 90))
    assert picture.shape == (10, 20, 3) and picture.dtype == np.uint8
    assert (picture[:, :10] == (255, 0, 0)).all() and (picture[:, 10:] == (0, 0, 255)).all()
    with pytest.raises(IndexError):
        vqf.open(tmp_path / "m.vqf").thumbnail(frame=1)
    for size in ((0, 5), (5, -1), (2**40, 5), (1, 1)):
        with pytest.raises(ValueError):
            vqf.open(tmp_path / "m.vqf").thumbnail(size)
    with pytest.raises(ValueError):
        vqf.open(record(tmp_path / "f.vqf", samples("f4"))).thumbnail()


@pytest.mark.parametrize(
    "content, code, origin, words",
    [
        (None, "FR_OF_STAT", vqf.Origin.FILE, "No such file"),
        (b"", "IR_MISSINFO", vqf.Origin.LIBRARY, "missing info"),
        (b"x" * 99, "CHB_LFD_PARSE", vqf.Origin.LIBRARY, "corrupted"),
    ],
)
def test_failures_to_open(tmp_path, content, code, origin, words, capfd):
    path = tmp_path / "m.vqf"
    if content is not None:
        path.write_bytes(content)
    with pytest.raises(OSError, match=words) as caught:
        vqf.open(path)
    error = caught.value
    assert type(error) is vqf.MovieError and (error.code, error.origin) == (code, origin)
    assert error.message == str(error) and isinstance(error.origin, vqf.Origin)
    assert capfd.readouterr() == ("", ""), "nothing is said twice"
    for wrong, kind in (("a\0b", ValueError), (b"\xff.vqf", ValueError), (3.5, TypeError)):
        with pytest.raises(kind):
            vqf.open(wrong)


def test_damaged_frames(path, tmp_path, stack):
    data = bytearray(path.read_bytes())
    data[2 * (60 + 32)] ^= 0xFF  # the mark of the third frame
    path.write_bytes(data)
    movie = vqf.open(path)
    with pytest.raises(vqf.MovieError) as caught:
        movie.asarray()
    assert caught.value.code == "CHB_LFD_PARSE"
    assert np.array_equal(movie[3], stack[3])
    short = movies.movie(frames=1).add(2, b"12345")
    for endian in (1, 2):
        short.attributes["endian"] = str(endian)
        (tmp_path / "short.vqf").write_bytes(short.file())
        with pytest.raises(vqf.MovieError, match="frame 1 has 5 of 16 bytes"):
            vqf.open(tmp_path / "short.vqf")[1]
    for name in ("width", "pixtype"):
        made = movies.movie()
        del made.attributes[name], made.attributes["pixbits"]
        (tmp_path / "bare.vqf").write_bytes(made.file())
        bare = vqf.open(tmp_path / "bare.vqf")
        assert len(bare) == 2 and len(bare.times) == 2
        with pytest.raises(vqf.MovieError, match="does not say"):
            bare.shape


def outcome(use):
    try:
        return use()
    except (vqf.MovieError, ValueError, IndexError) as error:
        return type(error)


def test_hostile_files_agree_with_the_reference_reader(tmp_path):
    chance = random.Random(7)
    seeds = [file.read_bytes() for file in sorted(CORPUS.iterdir())]
    opened = 0
    path = tmp_path / "movie.vqf"
    for data in seeds + [movies.mutant(chance.choice(seeds), chance) for _ in range(1500)]:
        path.unlink(missing_ok=True)
        path.write_bytes(data)
        try:
            attributes, times, powers, frames = reference_reader.read(data)
        except reference_reader.Failure as failure:
            with pytest.raises(vqf.MovieError) as caught:
                vqf.open(path)
            assert caught.value.code == str(failure)
            continue
        movie = vqf.open(path)
        opened += 1
        assert dict(movie.attributes) == attributes and len(movie) == len(frames)
        times = times[: len(movie)]
        assert movie.times_ns[: len(times)].tolist() == [s * 10**9 + u * 1000 for s, u in times]
        assert np.nan_to_num(movie.laser_power * 254, nan=-254).round().tolist() == powers
        mapped = outcome(movie.memmap)
        for index, stored in enumerate(frames):
            try:
                frame = movie[index]
            except vqf.MovieError as error:
                assert error.code in ("", str(stored))
                continue
            assert attributes.get("endian") != "2" or stored[: frame.nbytes] == frame.tobytes()
            if isinstance(mapped, np.ndarray):
                assert mapped[index].astype(frame.dtype).tobytes() == frame.tobytes()
        for use in (lambda: movie.palette, lambda: movie.bounding_box, lambda: movie.comment, movie.thumbnail):
            outcome(use)
        for mode in ("stored", "clamped", "bundle"):
            outcome(lambda: movie.fibers(mode, "index", sorted=True))
    assert opened > 300


def test_threads(path, stack):
    """Several threads on one movie and on their own ones; each frame arrives whole."""
    shared = vqf.open(path)
    failures = []

    def read(movie):
        for _ in range(300):
            for index in range(FRAMES):
                if not np.array_equal(movie[index], stack[index]) or len(movie.fibers()) != 0:
                    failures.append(index)

    threads = [threading.Thread(target=read, args=(movie,)) for movie in [shared] * 3 + [vqf.open(path)]]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


def test_other_threads_run_while_frames_are_read(tmp_path):
    movie = vqf.open(record(tmp_path / "m.vqf", np.zeros((2, 512, 512), "f8")))
    out = np.empty(movie.shape)
    ran = []
    interval = sys.getswitchinterval()
    try:
        # Nobody is made to give way any more: the other thread runs only where the reading lets it.
        sys.setswitchinterval(1000)
        _thread.start_new_thread(ran.append, (1,))
        for _ in range(1000):
            movie.asarray(out)
            if ran:
                break
        assert ran
    finally:
        sys.setswitchinterval(interval)
