"""What lies in a folder, and how it may differ."""
import os
import shutil
import subprocess
import zlib


def snapshot(folder):
    """Everything below a folder: kind, permissions, bytes and extended attributes of each path."""
    found = {}
    for place in ("work", "tmp"):
        for parent, folders, files in os.walk(f"{folder}/{place}"):
            for name in folders + files:
                path = f"{parent}/{name}"
                found[os.path.relpath(path, f"{folder}/work")] = entry(path)
    return found


def entry(path):
    mode = os.lstat(path).st_mode
    if not os.path.isfile(path):
        return (mode,)
    with open(path, "rb") as file:
        content = file.read()
    return mode, content, tuple((name, os.getxattr(path, name)) for name in sorted(os.listxattr(path)))


def lay_out(folder, source, names):
    """Makes a folder anew, with some files of the workshop's in it."""
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder + "/work")
    os.makedirs(folder + "/tmp")
    for name in names:
        copy = shutil.copytree if os.path.isdir(f"{source}/{name}") else shutil.copy2
        copy(f"{source}/{name}", f"{folder}/work/{name}")


def is_same(path, one, other):
    """Whether two entries are the same file; videos hold random marks, so their frames count."""
    if one == other:
        return True
    if not path.endswith((".mkv", ".mp4")) or None in (one, other) or one[0] != other[0]:
        return False
    return frames_of(one[1]) == frames_of(other[1])


def frames_of(video):
    command = ["ffmpeg", "-v", "error", "-i", "pipe:0", "-f", "framemd5", "-"]
    ended = subprocess.run(command, input=video, capture_output=True, check=False)
    return ended.stdout if ended.returncode == 0 else video


def differing(one, other):
    return {path for path in {*one, *other} if not is_same(path, one.get(path), other.get(path))}


def rename(folder, old, new):
    os.rename(f"{folder}/work/{old}", f"{folder}/work/{new}")


def put(folder, name, entry):
    """Lays a file there as a snapshot has it."""
    path = f"{folder}/work/{name}"
    with open(path, "wb") as file:
        file.write(entry[1])
    os.chmod(path, entry[0] & 0o7777)
    for attribute, value in entry[2]:
        os.setxattr(path, attribute, value)


def told(entry):
    """A few words for an entry of a snapshot."""
    if entry is None or len(entry) == 1:
        return "none" if entry is None else "a folder"
    attributes = "".join(f" with {name}" for name, _ in entry[2])
    return f"{len(entry[1])} bytes {zlib.crc32(entry[1]):08x} {entry[0] & 0o777:o}{attributes}"


def tops(paths):
    """Paths without those below others."""
    return ", ".join(sorted(path for path in paths if os.path.dirname(path) not in paths))
