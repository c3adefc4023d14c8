#!/usr/bin/env python3
"""Writes the first inputs of the fuzz targets: fuzz/make_corpus.py [FOLDER], default the corpus beside this file.

Movies are put together byte by byte. Inputs that a fuzzer found lie in the same folders and are left alone.
"""
import hashlib
import pathlib
import struct
import sys


def header(mark, kind, size):
    return b"\n<C" + mark + struct.pack(">II", kind & 0xFFFFFFFF, size & 0xFFFFFFFF) + b">\n"


def chunk(kind, payload):
    return header(b"STA", kind, len(payload)) + payload + header(b"END", kind, len(payload))


class Movie:
    def __init__(self, **attributes):
        self.attributes = {key: str(value) for key, value in attributes.items()}
        self.chunks = b""
        self.index = []

    def add(self, kind, payload):
        self.index.append((kind, len(self.chunks), len(payload)))
        self.chunks += chunk(kind, payload)
        return self

    def info(self):
        records = b"".join(struct.pack("<III", *record) for record in sorted(self.index, key=lambda r: r[0]))
        text = "".join(f"{key}={value}\n" for key, value in sorted(self.attributes.items()))
        return struct.pack("<I", len(self.index)) + records + text.encode("latin-1")

    def file(self):
        return self.chunks + chunk(5, self.info())


BITS = {1: 32, 2: 64, 3: 8, 4: 8, 5: 16, 6: 16, 7: 32, 8: 32, 9: 32, 10: 32, 11: 24, 12: 32}
FIBERS = struct.pack("<6I", 0x3FFFFFFF, 0x7FFFFFFF, 0, 0xFFFFFFFF, 0x9FFFFFFF, 0x1FFFFFFF)


def movie(pixel_type=5, width=4, height=2, frames=2, sides=(), **attributes):
    attributes = {"endian": 2, "width": width, "height": height, "pixtype": pixel_type,
                  "pixbits": BITS.get(pixel_type, 8), **attributes}
    made = Movie(**attributes)
    size = width * height * ((BITS.get(pixel_type, 8) + 7) // 8)
    for number in range(frames):
        made.add(2, bytes((number * 64 + i) & 0xFF for i in range(size)))
    for side in sides:
        payload = {6: FIBERS, 7: struct.pack("<2i", 10, 5) * frames, 8: bytes([127, 255] * frames)[:frames]}[side]
        made.add(side, payload)
    return made


def palette(nodes):
    values = {"palette": 1, "pal_name": "p", "pal_cropMin": 0, "pal_cropMax": 200, "pal_nbcols": nodes}
    for n in range(nodes):
        for key, value in zip(("val", "r", "g", "b"), (n / max(1, nodes - 1), 0.1, 0.5, 0.9)):
            values[f"pal_n{n}_{key}"] = f"{value:e}"
    return values


def movies():
    whole = movie(sides=(6, 7, 8), bbox_min_x="0.000000e+00", bbox_min_y="0.000000e+00",
                  bbox_max_x="3.000000e+00", bbox_max_y="1.000000e+00", comment="a\x07b", **palette(2))
    yield "whole", whole.file()
    for pixel_type in range(0, 13):
        yield f"type{pixel_type}", movie(pixel_type, sides=(8,), **palette(2)).file()
        yield f"swapped{pixel_type}", movie(pixel_type, endian=1, sides=(6,)).file()
    for side in (6, 7, 8):
        yield f"side{side}", movie(sides=(side,)).file()
    yield "no_frames", movie(frames=0, sides=(7, 8)).file()
    yield "empty_info", Movie().file()
    times = {"frame_timer": 1, "utc_offset_seconds": 3600}
    for n in range(2):
        times |= {f"frame_timer_n{n}_sec": 10 + n, f"frame_timer_n{n}_usec": n}
    yield "times_in_header", movie(**times).file()
    backwards = movie(frames=3, sides=(8,))
    backwards.index[:3] = backwards.index[2::-1]
    yield "reordered", backwards.file()
    yield "one_wide", movie(3, 1, 6, sides=(6,)).file()
    yield "large", movie(5, 64, 48, frames=1, sides=(6,), datadimension=2, **palette(4)).file()
    yield "line_scan", movie(5, 512, 1, frames=1, datadimension=1).file()
    yield "foreign_chunk", movie().add(99, b"other").file()


def hostile():
    file = movie(sides=(6, 7, 8)).file()
    info = movie(sides=(6, 7, 8)).info()
    yield "empty", b""
    yield "fifteen", file[-15:]
    yield "claims_all", header(b"END", 5, 0xFFFFFFFF)
    yield "claims_more", b"\0\0\0\0" + header(b"END", 5, 4)
    yield "claims_much", header(b"STA", 2, 0xF0000000) + bytes(34)
    yield "count_wraps", chunk(5, b"\x55\x55\x55\x15")
    yield "no_count", chunk(5, b"")
    yield "no_info", file[:-len(info) - 32]
    yield "torn", file[:-1]
    yield "twice", file + file
    for name, values in {"zero": (0, 0), "negative": (-1, -1), "huge": (65536, 65536), "wide": (2147483647, 2)}.items():
        for endian in (1, 2):
            damaged = movie(5, sides=(6,), endian=endian, frames=1, datadimension=2)
            damaged.attributes |= {"width": str(values[0]), "height": str(values[1])}
            yield f"{name}_size{endian}", damaged.file()
    for name, value in {"type": 99, "bits": -16, "dimension": 7}.items():
        damaged = movie()
        damaged.attributes["pix" + name if name != "dimension" else "datadimension"] = str(value)
        yield f"odd_{name}", damaged.file()
    for name, record in {"far": (2, 0xFFFFFF00, 16), "long": (2, 0, 0x00100000), "into_tail": (2, 96, 16),
                         "same": (2, 0, 16)}.items():
        damaged = movie()
        damaged.index.append(record)
        yield f"record_{name}", damaged.file()
    odd = movie(frames=0).add(6, b"12345").add(7, b"123").add(8, b"")
    yield "odd_sides", odd.file()
    bad = movie(3, 16, 12, frames=1, **palette(3))
    bad.attributes |= {"pal_n1_val": "nan", "pal_n0_r": "1e30", "pal_nbcols": "2147483647", "pal_cropMin": "9"}
    yield "odd_palette", bad.file()
    short = movie(5, 1000, 1000, frames=0).add(2, b"x")
    yield "short_frame", short.file()


def crc16(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0x8408 if crc & 1 else 0)
    return struct.pack("<H", crc ^ 0xFFFF)


def recording_log(*records):
    """A log of records, which are pairs of kind and payload."""
    contents = [kind + struct.pack("<I", len(payload)) + payload for kind, payload in records]
    return b"VQFRLOG1" + b"".join(content + crc16(content) for content in contents)


def journal(*records):
    """A journal of records, which are triples of kind, number and bytes."""
    fields = [(kind + struct.pack("<qq", number, len(content)), content) for kind, number, content in records]
    return b"VQFJRNL1" + b"".join(head + hashlib.sha1(head + content).digest() + content for head, content in fields)


def interrupted():
    """Movies whose recording or editing died, with what they left beside them: kind, that, movie."""
    whole = movie(sides=(6, 7, 8))
    file, tail, info = whole.file(), 2 * 48, whole.info()
    frames = [struct.pack("<Iiif?", offset, 10, 5, 0.5, True) for offset in (0, 48)]
    log = recording_log((b"H", b"endian=2\nheight=2\npixtype=5\nwidth=4\n"), (b"C", struct.pack("<4f", 1, 1, 2, 0)),
                        *((b"F", frame) for frame in frames))
    yield "log", 1, log, file[:tail]
    yield "log_torn", 1, log[:-9], file[:tail + 40]
    pieces = (b"P", tail, file[tail:]), (b"P", 48, file[48:96])
    yield "journal", 2, journal(*pieces), file[:48] + chunk(2, b"r" * 16) + chunk(2, b"appended")
    yield "journal_new_end", 2, journal(*pieces, (b"E", len(file), hashlib.sha1(info).digest())), file[:-20] + b"\0" * 20
    yield "journal_torn", 2, journal(*pieces)[:-9], file[:tail]
    yield "journal_of_more", 2, journal((b"P", 1 << 40, b"far")), file[:tail]


NUMBERS = (0, 1, 4, 16, 31, 32, 2**31 - 1, 2**31, 2**32 - 32, 2**32 - 1)


def mutant(data, chance):
    """A movie with one to three changes: other bytes, hostile numbers in either byte order, a cut, bytes that repeat."""
    data = bytearray(data)
    for _ in range(chance.randint(1, 3)):
        at = chance.randrange(len(data) + 1)
        change = chance.randrange(5)
        if change == 0 and at < len(data):
            data[at] = chance.randrange(256)
        elif change == 1:
            data[at:at + 4] = struct.pack(chance.choice("<>") + "I", chance.choice(NUMBERS))
        elif change == 2 and len(data) > 64:
            del data[at:at + chance.randint(1, 40)]
        elif change == 3:
            start = chance.randrange(len(data) + 1)
            data[at:at] = data[start:start + chance.randint(1, 64)]
        elif change == 4:
            near_end = max(0, len(data) - chance.randint(1, 200))
            data[near_end:near_end + 1] = bytes([chance.randrange(256)])
    return bytes(data)


def steps(*numbers):
    return bytes([len(numbers)]) + bytes(numbers)


def everything():
    files = dict(movies()) | dict(hostile())
    for name, content in files.items():
        yield "fz_open", name, content
        yield "fz_modify", name, bytes([0, 1, 16, *range(16), 9, 2, 0, 77, 0, 5, 3]).ljust(32, b"\0") + content
        yield "fz_recover", name, b"\0" + content
    for name, kind, beside, content in interrupted():
        yield "fz_recover", name, bytes([kind]) + struct.pack(">I", len(beside)) + beside + content
    for name in ("whole", "claims_more", "claims_much", "no_info", "torn", "foreign_chunk", "empty"):
        content = files[name]
        yield "fz_container", name + "_forward", steps(0, 0, *(5, 0) * 12) + content
        yield "fz_container", name + "_back", steps(0, 1, *(3, 0) * 12) + content
        yield "fz_container", name + "_mixed", steps(0, 0, 5, 0, 5, 0, 3, 0, 2, 0, 0, 0, 16, 6, 200, 1, 4, 0) + content
        yield "fz_container", name + "_write", steps(1, 6, 0, 1, 5, 0, 2, 3, 2, 3, 65, 66, 67, 4, 4, 7, 0) + content
        yield "fz_container", name + "_append", steps(1, 1, 3, 5, 4, 1, 2, 3, 4, 3, 6, 0, 5, 0, 5, 0, 2) + content
    for name, content in {"whole": movie(sides=(6, 7, 8)).info(), "none": b"", "count": b"\1\0\0\0",
                          "wraps": b"\x55\x55\x55\x15", "text": b"\0\0\0\0a=b\n# c\n=d\ne=\n f=g=h \r\nlast=1"}.items():
        yield "fz_info", name, content
    text = "\n".join(f"{key}={value}" for key, value in palette(3).items())
    for name, content in {"lines": "# header\nwidth=512\n  height=480  \ncomment=first part=second\ngain = 2\noffset=\n=7\n",
                          "palette": text, "unbounded": "pal_nbcols=2147483647\npal_n0_val=nan\npal_n0_r=inf",
                          "times": "frame_timer=1\nframe_timer_n0_sec=-1\nframe_timer_n0_usec=2\nframe_timer_n1_sec=3",
                          "unicode": "caf\u00e9=\u4e2d\u6587\n\u00a0x=y\u0085"}.items():
        yield "fz_attr", name, content.encode("utf-8")
    add = [4, 1, 5, 65, 66, 67, 68, 69, 10, 2, 127]
    for name, script in {"record": add * 3, "replace": add * 2 + [1, 1, 1, 90, 1], "edit": add * 2 + [0, 1, 0, 1, 1, *add],
                         "attributes": add + [0, 1, 0, 1, 1, 3, 1, 9], "rotate": add * 3 + [2, 1, 0, 1, 1, 1],
                         "fault": [4, 0, 5, 65, 66, 67, 68, 69, 1, 2, 3, 0, 3, 1, 2] * 3}.items():
        yield "fz_api", name, bytes([0, 0, 1] + script)
        yield "fz_api", name + "_logged", bytes([0, 1, 1] + script)


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).parent / "corpus"
    for target, name, content in everything():
        (folder / target).mkdir(parents=True, exist_ok=True)
        (folder / target / name).write_bytes(content)


if __name__ == "__main__":
    main()
