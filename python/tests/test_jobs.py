"""Verification and recovery."""

import pickle
import signal

import numpy as np
import pytest

import vqf
from conftest import FRAMES, HEIGHT, WIDTH


def test_a_sound_movie(path, tmp_path):
    result = vqf.verify(path)
    assert result.is_sound and (result.condition, result.findings, result.counts) == ("sound", (), {})
    assert (result.bytes, result.chunks, result.frames) == (path.stat().st_size, FRAMES + 3, FRAMES)
    copy = vqf.recover(path, tmp_path / "copy.vqf")
    assert copy.was_sound and copy.is_complete and (copy.header, copy.frames, copy.times) == ("movie", FRAMES, FRAMES)
    assert (tmp_path / "copy.vqf").read_bytes() == path.read_bytes()


def test_damage_is_found_and_mended(path, stack, tmp_path):
    data = bytearray(path.read_bytes())
    data[60 + 32 + 3] ^= 1  # in the mark of the second frame
    path.write_bytes(data)
    result = vqf.verify(path)
    assert (result.condition, result.is_sound) == ("damaged", False)
    errors = [finding for finding in result.findings if finding.severity == "error"]
    assert errors and errors[0].offset is not None and errors[0].advice
    assert result.counts[errors[0].name] >= 1
    mended = vqf.recover(path, tmp_path / "mended.vqf")
    assert (mended.frames, mended.mended_chunks, mended.losses, mended.guessed) == (FRAMES, 1, (), ())
    assert mended.verification.is_sound and np.array_equal(vqf.open(tmp_path / "mended.vqf").asarray(), stack)
    with pytest.raises(vqf.MovieError, match="exists") as caught:
        vqf.recover(path, tmp_path / "mended.vqf")
    assert (caught.value.code, caught.value.origin) == ("", vqf.Origin.FILE)
    assert pickle.loads(pickle.dumps(caught.value)).message == caught.value.message
    vqf.recover(path, tmp_path / "mended.vqf", replace=True)


def test_a_lost_header(path, stack, tmp_path):
    (tmp_path / "torn.vqf").write_bytes(path.read_bytes()[: 3 * (60 + 32) + 40])
    assert vqf.verify(tmp_path / "torn.vqf").condition == "unreadable"
    described = {"width": WIDTH, "height": HEIGHT, "pixtype": 5, "pixbits": 16}
    for help, header in (({"like": path}, "other-movie"), ({"attributes": described}, "arguments")):
        result = vqf.recover(tmp_path / "torn.vqf", tmp_path / "out.vqf", replace=True, **help)
        assert (result.header, result.frames, result.torn_bytes) == (header, 3, 40) and not result.is_complete
        assert np.array_equal(vqf.open(tmp_path / "out.vqf").asarray(), stack[:3])
    result = vqf.recover(tmp_path / "torn.vqf", in_place=True, like=path)
    assert result.frames == 3 and len(vqf.open(tmp_path / "torn.vqf")) == 3


def test_arguments_and_failures(path, tmp_path):
    for arguments in ({}, {"output": tmp_path / "o.vqf", "in_place": True}):
        with pytest.raises(ValueError):
            vqf.recover(path, **arguments)
    (tmp_path / "none.vqf").write_bytes(b"no movie at all")
    for use in (vqf.verify, lambda name: vqf.recover(name, tmp_path / "o.vqf")):
        with pytest.raises(vqf.MovieError):
            use(tmp_path / "missing.vqf")
    with pytest.raises(vqf.MovieError):
        vqf.recover(tmp_path / "none.vqf", tmp_path / "o.vqf")
    assert not (tmp_path / "o.vqf").exists()


def test_progress_and_interruption(path, tmp_path):
    (tmp_path / "torn.vqf").write_bytes(path.read_bytes()[:-3])
    seen = []
    vqf.recover(tmp_path / "torn.vqf", tmp_path / "o.vqf", progress=lambda done, total: seen.append((done, total)))
    assert seen and seen[-1][0] == FRAMES and seen == sorted(seen)
    before = sorted(tmp_path.iterdir())

    def stop(error):
        if error is KeyboardInterrupt:
            signal.raise_signal(signal.SIGINT)
        else:
            raise error

    for error in (ZeroDivisionError, KeyboardInterrupt):
        with pytest.raises(error):
            vqf.recover(tmp_path / "torn.vqf", tmp_path / "p.vqf", progress=lambda *_: stop(error))
        assert sorted(tmp_path.iterdir()) == before
