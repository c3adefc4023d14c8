"""A reader of movies written from the format alone, to compare the library's with."""
import struct

HEADER = 16
FRAME, INFO, TIMES, POWERS = 2, 5, 7, 8
INT32 = range(-2**31, 2**31)
LATIN1_SPACE = "\t\n\v\f\r \x85\xa0"


class Failure(Exception):
    """A report; its text is the code."""


def read_header(data, at, mark):
    """(type, size) of the header at an offset, None where there is no byte."""
    if at < 0 or at >= len(data):
        return None
    raw = data[at:at + HEADER]
    if len(raw) < HEADER:
        raise Failure("CHB_LDF_READ")
    if raw[:6] != b"\n<C" + mark or raw[14:] != b">\n":
        raise Failure("CHB_LFD_PARSE")
    return struct.unpack(">II", raw[6:14])


def chunk_at(data, at, kind):
    """Payload of the chunk that starts at an offset, None when it is another's or cut short."""
    header = read_header(data, at, b"STA") if at != 0xFFFFFFFF else None
    if header is None or header[0] != kind or at + HEADER + header[1] > len(data):
        return None
    return data[at + HEADER:at + HEADER + header[1]]


def last_chunk(data, kind):
    header = read_header(data, len(data) - HEADER, b"END")
    if header is None or header[0] != kind:
        return None
    start = len(data) - HEADER - header[1]
    return data[start:start + header[1]] if start >= 0 else None


def parse_index(info):
    if len(info) < 4 or 4 + 12 * struct.unpack_from("<I", info)[0] > len(info):
        raise Failure("CI_L_CHUNK")
    end = 4 + 12 * struct.unpack_from("<I", info)[0]
    index = {}
    for at in range(4, end, 12):
        kind, offset, length = struct.unpack_from("<III", info, at)
        index.setdefault(kind, []).append((offset, length))
    return index, info[end:]


def parse_attributes(text):
    attributes = {}
    for line in text.decode("latin-1").split("\n"):
        name, equals, value = line.strip(LATIN1_SPACE).partition("=")
        if name and equals and value and not name.startswith("#"):
            attributes[name] = value
    return attributes


def as_int(attributes, name):
    text = attributes.get(name, "").strip(LATIN1_SPACE)
    digits = text[1:] if text[:1] in ("+", "-") else text
    if not digits or any(c not in "0123456789" for c in digits) or int(text) not in INT32:
        return None
    return int(text)


def times_of(data, index, attributes):
    if TIMES in index:
        raw = chunk_at(data, index[TIMES][0][0], TIMES)
        return list(struct.iter_unpack("<ii", raw)) if raw is not None and len(raw) % 8 == 0 else []
    times = []
    if as_int(attributes, "frame_timer") is None:
        return times
    while True:
        seconds = as_int(attributes, f"frame_timer_n{len(times)}_sec")
        microseconds = as_int(attributes, f"frame_timer_n{len(times)}_usec")
        if seconds is None or microseconds is None:
            return times
        times.append((seconds, microseconds))


def powers_of(data, index, frames):
    raw = chunk_at(data, index[POWERS][0][0], POWERS) if POWERS in index else None
    return [-254 if byte == 255 else byte for byte in raw] if raw is not None and len(raw) == frames else [-254] * frames


def read(data):
    """Attributes, times, laser powers and frames of a movie. A frame is its bytes, None, or the failure to read it."""
    info = last_chunk(data, INFO)
    if info is None:
        raise Failure("IR_MISSINFO")
    index, text = parse_index(info)
    attributes = parse_attributes(text)
    frames = []
    for offset, _ in index.get(FRAME, []):
        try:
            frames.append(chunk_at(data, offset, FRAME))
        except Failure as failure:
            frames.append(failure)
    return attributes, times_of(data, index, attributes), powers_of(data, index, len(frames)), frames
