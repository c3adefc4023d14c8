"""Recording and changing movies."""

import datetime
import math
import struct
import time

import numpy as np
import pytest

import movies
import vqf
from conftest import FRAMES, HEIGHT, START, WIDTH, record, samples


def test_frames_are_checked_and_converted(tmp_path, stack):
    with vqf.create(tmp_path / "m.vqf", WIDTH, HEIGHT, np.uint16) as writer:
        for frame in (stack[0], stack[1].astype(">u2"), np.asfortranarray(stack[2]), stack[::-1][3][::-1][::-1]):
            writer.append(frame)
        wrong = [
            (TypeError, stack[0].astype("i2")), (TypeError, stack[0].astype("f4")), (TypeError, stack[0].tolist()),
            (ValueError, stack[0].T), (ValueError, stack[:1]), (ValueError, stack[0, :, :-1]),
        ]  # fmt: skip
        for error, frame in wrong:
            with pytest.raises(error):
                writer.append(frame)
        for power in (-0.1, 1.1, math.nan, math.inf):
            with pytest.raises(ValueError):
                writer.append(stack[0], laser_power=power)
        assert (len(writer), writer.shape, writer.dtype) == (4, (4, HEIGHT, WIDTH), np.uint16)
        assert 2**30 < writer.room_left < 2**31 and writer.sync()
    assert np.array_equal(vqf.open(tmp_path / "m.vqf").asarray(), stack[:4])
    assert writer.closed and not writer.roll_back()
    writer.close()
    for use in (lambda: writer.append(stack[0]), writer.sync, writer.__enter__):
        with pytest.raises(ValueError, match="closed"):
            use()


@pytest.mark.parametrize("channels, pixel_type", [(3, "11"), (4, "12")])
def test_colours(tmp_path, channels, pixel_type):
    stack = samples("u1", (3, HEIGHT, WIDTH, channels))
    movie = vqf.open(record(tmp_path / "m.vqf", stack))
    assert movie.attributes["pixtype"] == pixel_type
    assert movie.shape == stack.shape and np.array_equal(movie.asarray(), stack)
    assert np.array_equal(movie.memmap(), stack)


def test_what_movies_do_not_hold_leaves_no_file(tmp_path, stack):
    path = tmp_path / "m.vqf"
    for dtype in ("i8", "u8", "f2", "c8", "?", "U3", "nonsense"):
        with pytest.raises(TypeError):
            vqf.create(path, 4, 4, dtype)
    for arguments in ((4, 4, "u2", 3), (4, 4, "u1", 2)):
        with pytest.raises(TypeError):
            vqf.create(path, *arguments[:3], channels=arguments[3])
    for size in ((0, 4), (4, -1), (2**31, 1)):
        with pytest.raises(ValueError):
            vqf.create(path, *size, "u2")
    for options in ({"comment": "\u20ac"}, {"attributes": {"width": 3}}, {"attributes": {"a": ""}}):
        with pytest.raises(ValueError):
            vqf.create(path, 4, 4, "u2", **options)
    assert list(tmp_path.iterdir()) == []
    with pytest.raises(vqf.MovieError) as caught:
        vqf.create(tmp_path / "none" / "m.vqf", 4, 4, "u2")
    assert (caught.value.code, caught.value.origin) == ("FW_OF_OPEN", vqf.Origin.SYSTEM)


def test_times(tmp_path):
    path = tmp_path / "m.vqf"
    frame = np.zeros((4, 4), "u1")
    utc = datetime.timezone.utc
    given = [
        -1.5, 0, 1.000001, datetime.datetime(1970, 1, 1, 0, 0, 2, 5, utc), np.datetime64("1970-01-01T00:00:03.000007"),
        np.float32(4), START, 2**31 - 1,
    ]  # fmt: skip
    with vqf.create(path, 4, 4, "u1", overwrite=True) as writer:
        for moment in given:
            writer.append(frame, moment)
        for moment in (2**31, -(2**31) - 1, math.nan, math.inf, np.datetime64("NaT"), 5.0, None):
            with pytest.raises(ValueError):
                writer.append(frame, moment)
        with pytest.raises(TypeError):
            writer.append(frame, "noon")
    expected = [-1.5, 0, 1.000001, 2.000005, 3.000007, 4, START, 2**31 - 1]
    assert vqf.open(path).times.tolist() == expected
    with vqf.create(path, 4, 4, "u1", overwrite=True) as writer:
        writer.append(frame)
        with pytest.raises(ValueError, match="all frames"):
            writer.append(frame, 1.0)
    assert np.isnan(vqf.open(path).times).tolist() == [True]
    before = time.time()
    with vqf.create(path, 4, 4, "u1", autotime=True, overwrite=True) as writer:
        writer.append(frame)
        with pytest.raises(ValueError, match="clock"):
            writer.append(frame, 1.0)
    assert before - 1e-3 <= vqf.open(path).times[0] <= time.time() + 1e-3


def test_header(tmp_path):
    nodes = np.float32([[0, 0, 0, 0], [0.25, 1, 0.5, 0], [1, 1, 1, 1]])
    with vqf.create(tmp_path / "m.vqf", 8, 4, "f4", comment="two\nlines", attributes={"a": 1}) as writer:
        values = writer.attributes
        values.update({"text": "b=c", "whole": np.int64(-7), "part": np.float64(0.1), "gone": True})
        assert (writer.comment, values["gone"], len(values)) == ("two\nlines", "1", 11)
        del values["gone"]
        hopeless = [
            ("width", 3), ("endian", "1"), ("frame_timer", 1), ("a=b", 1), ("#a", 1), ("", 1), (" a", "x"), ("a", ""),
            ("a", " x"), ("a", "x\ny"), ("a", "\u20ac"), ("a", 2**31), ("a", 1e39),
        ]  # fmt: skip
        for name, value in hopeless:
            with pytest.raises(ValueError):
                values[name] = value
        for name, error in (("gone", KeyError), ("width", ValueError)):
            with pytest.raises(error):
                del values[name]
        with pytest.raises(TypeError):
            values["a"] = [1]
        writer.palette = vqf.Palette("warm", (-5, 100), nodes)
        writer.bounding_box = (1, 0.5, 7, 3)
        writer.fibers = [[-1, 2], [9, 2.5]]
        assert np.array_equal(writer.fibers, [[-1, 2], [9, 2.5]]) and writer.bounding_box == (1, 0.5, 7, 3)
        assert writer.palette.name == "warm"
        wrong = [
            ("fibers", [1, 2]), ("fibers", [[1, math.nan]]), ("bounding_box", (5, 0, 1, 1)),
            ("bounding_box", (0, 0, math.inf, 1)), ("comment", "\u20ac"),
            ("palette", vqf.Palette("", (0, 1), nodes[:, :3])), ("palette", vqf.Palette("", (2, 1), nodes)),
            ("palette", vqf.Palette("", (0, 1), nodes[:0])),
        ]  # fmt: skip
        for name, value in wrong:
            with pytest.raises(ValueError):
                setattr(writer, name, value)
    movie = vqf.open(tmp_path / "m.vqf")
    assert movie.comment == "two\nlines" and movie.bounding_box == (1, 0.5, 7, 3)
    get = movie.attributes.get
    assert (get("a"), get("text"), get("whole", type=int), get("part", type=float)) == ("1", "b=c", -7, 0.1)
    assert "gone" not in movie.attributes
    with pytest.raises(ValueError):
        get("text", type=int)
    assert np.allclose(movie.fibers(), [[0, 2], [7, 2.5]], atol=1e-6), "moved into the frame"
    assert (movie.palette.name, movie.palette.crop) == ("warm", (-5, 100))
    assert np.array_equal(movie.palette.nodes, nodes)
    assert np.allclose(movie.palette.colors(5), [[0, 0, 0], [1, 0.5, 0], *([1, x, y] for x, y in
                       ((4 / 6, 1 / 3), (5 / 6, 2 / 3), (1, 1)))], atol=1e-6)  # fmt: skip


def test_changing_a_movie(path, stack):
    fresh = samples("u2", (2, HEIGHT, WIDTH))[::-1]
    with vqf.modify(path) as writer:
        assert (len(writer), writer.shape, writer.dtype) == (FRAMES, stack.shape, np.uint16)
        with pytest.raises(ValueError, match="all frames"):
            writer.append(fresh[0])
        with pytest.raises(ValueError, match="in order"):
            writer.append(fresh[0], START)
        writer.append(fresh[0], START + 9, 0.5)
        writer.replace(-2, fresh[1])
        writer.replace(1, fresh[1], START + 0.05, 1)
        for moment in (START - 1, START + 1):
            with pytest.raises(ValueError, match="neighbours"):
                writer.replace(1, fresh[1], moment)
        for index in (FRAMES + 1, -FRAMES - 2):
            with pytest.raises(IndexError):
                writer.replace(index, fresh[1])
        writer.attributes["operator"] = "Curie"
    movie = vqf.open(path)
    expected = np.concatenate([stack, fresh[:1]])
    expected[[1, -2]] = fresh[1]
    assert np.array_equal(movie.asarray(), expected)
    assert np.allclose(movie.times - START, [0, 0.05, 0.08, 0.12, 0.16, 0.2, 0.24, 9], atol=1e-6)
    assert np.allclose(movie.laser_power[[1, 6, 7]], [1, 0.6, 0.5], atol=1 / 254) and np.isnan(movie.laser_power[3])
    assert movie.attributes["operator"] == "Curie"


def test_one_writer_at_a_time_and_no_file_replaced_unasked(path, stack):
    before = path.read_bytes()
    with pytest.raises(FileExistsError, match="overwrite=True"):
        vqf.create(path, WIDTH, HEIGHT, "u2")
    with vqf.modify(path):
        for second in (vqf.modify, lambda path: vqf.create(path, WIDTH, HEIGHT, "u2", overwrite=True)):
            with pytest.raises(vqf.MovieError, match="another program|busy"):
                second(path)
    foreign = path.with_name(path.name + "-journal")
    foreign.write_text("notes")
    with pytest.raises(vqf.MovieError, match="journal.*unprotected=True"):
        vqf.modify(path)
    assert path.read_bytes() == before
    with vqf.modify(path, unprotected=True) as writer:
        writer.comment = "all the same"
    assert vqf.open(path).comment == "all the same" and foreign.read_text() == "notes"
    with vqf.create(path, WIDTH, HEIGHT, "u2", overwrite=True) as writer:
        writer.append(stack[0])
    assert len(vqf.open(path)) == 1


def test_changing_movies_that_are_odd(tmp_path):
    made = movies.movie(frames=2).add(7, struct.pack("<6i", 1, 0, 2, 0, 3, 0))
    (tmp_path / "m.vqf").write_bytes(made.file())
    frame = np.zeros((2, 4), "u2")
    with vqf.modify(tmp_path / "m.vqf") as writer:
        with pytest.raises(ValueError, match="3 times for 2 frames"):
            writer.append(frame, 4)
        with pytest.raises(ValueError, match="all frames"):
            writer.replace(0, frame, 1)
    long = movies.movie(frames=1).add(2, bytes(5000))
    (tmp_path / "m.vqf").write_bytes(long.file())
    with vqf.modify(tmp_path / "m.vqf") as writer:
        with pytest.raises(vqf.MovieError, match="frame 1 has 5000 of 16 bytes"):
            writer.replace(1, frame)
    del made.attributes["height"]
    (tmp_path / "m.vqf").write_bytes(made.file())
    with vqf.modify(tmp_path / "m.vqf") as writer:
        with pytest.raises(vqf.MovieError, match="does not say"):
            writer.append(frame)
        writer.comment = "kept"
    assert vqf.open(tmp_path / "m.vqf").comment == "kept"


def test_an_edit_that_fails_leaves_no_trace(path, stack, tmp_path):
    before = path.read_bytes()
    for dropped in (False, True):
        with pytest.raises(ZeroDivisionError):
            if dropped:
                vqf.modify(path).append(stack[0], START + 9)
                1 / 0
            with vqf.modify(path) as writer:
                writer.append(stack[0], START + 9)
                writer.attributes["operator"] = "Curie"
                1 / 0
        assert path.read_bytes() == before
    assert writer.closed and list(tmp_path.iterdir()) == [path]
    for missing in (tmp_path / "none.vqf", tmp_path):
        with pytest.raises(vqf.MovieError):
            vqf.modify(missing)
    assert list(tmp_path.iterdir()) == [path]


def test_a_recording_that_fails_keeps_its_frames(tmp_path, stack):
    with pytest.raises(ZeroDivisionError), vqf.create(tmp_path / "m.vqf", WIDTH, HEIGHT, "u2") as writer:
        writer.append(stack[0])
        1 / 0
    vqf.create(tmp_path / "n.vqf", WIDTH, HEIGHT, "u2").append(stack[1])  # dropped without being closed
    assert np.array_equal(vqf.open(tmp_path / "m.vqf").asarray(), stack[:1])
    assert np.array_equal(vqf.open(tmp_path / "n.vqf").asarray(), stack[1:2])
