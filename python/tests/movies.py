"""Movies put together byte by byte, and damaged ones."""

import struct


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


def movie(pixel_type=5, width=4, height=2, frames=2, endian=2):
    bits = BITS[pixel_type]
    made = Movie(endian=endian, width=width, height=height, pixtype=pixel_type, pixbits=bits)
    for number in range(frames):
        made.add(2, bytes((number * 64 + i) & 0xFF for i in range(width * height * bits // 8)))
    return made


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
