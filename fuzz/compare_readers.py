#!/usr/bin/env python3
"""Compares the library's reader with the reference reader on movies and on mutants of them:
compare_readers.py DESCRIBE_MOVIES FOLDER [MUTANTS] [SEED]. Prints what was compared; fails at the first difference."""
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

import reference_reader

NUMBERS = (0, 1, 4, 16, 31, 32, 2**31 - 1, 2**31, 2**32 - 32, 2**32 - 1)


def mutant(data, chance):
    """One to three changes: other bytes, hostile numbers in either byte order, a cut, bytes that repeat."""
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


def library_lines(program, paths):
    result = subprocess.run([program], input="\n".join(map(str, paths)), capture_output=True, text=True, check=True)
    return result.stdout.splitlines()


def main():
    program, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    mutants = int(sys.argv[3]) if len(sys.argv) > 3 else 3000
    chance = random.Random(int(sys.argv[4]) if len(sys.argv) > 4 else 1)
    seeds = [path.read_bytes() for path in sorted(folder.iterdir())]
    movies = seeds + [mutant(chance.choice(seeds), chance) for _ in range(mutants)]
    with tempfile.TemporaryDirectory() as place:
        paths = [pathlib.Path(place) / str(number) for number in range(len(movies))]
        for path, movie in zip(paths, movies):
            path.write_bytes(movie)
        lines = library_lines(program, paths)
    if len(lines) != len(movies):
        sys.exit(f"{len(movies)} movies, but {len(lines)} descriptions")
    opened = 0
    for movie, line in zip(movies, lines):
        expected = reference_reader.describe(movie)
        if line != expected:
            sys.exit(f"readers differ on {movie.hex()}\nlibrary:   {line}\nreference: {expected}")
        opened += line.startswith("header")
    if not 0 < opened < len(movies):
        sys.exit("nothing was compared: all movies open, or none")
    print(f"{len(movies)} movies, {opened} of them open; the readers agree")


if __name__ == "__main__":
    main()
