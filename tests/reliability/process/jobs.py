"""What the tool is told to do, and the files that it is done with."""
import os
import shutil
import struct
from dataclasses import dataclass

TIMES = ["--start", "2024-03-01T11:00:00Z", "--rate", "2"]


@dataclass(frozen=True)
class Job:
    command: str          # arguments, separated by blanks
    files: str = "m.vqf"  # what lies in the folder
    slow: bool = False    # runs ffmpeg

    @property
    def code(self):
        """The exit code without a fault."""
        if self.command in ("diff m.vqf later.vqf", "verify dead.vqf"):
            return 1
        return 3 if self.command.startswith(("recover", "join")) else 0

    @property
    def arguments(self):
        return [part.replace("_", " ") if "=" in part else part for part in self.command.split()]


EDITS = [Job(*job) for job in (
    ("append m.vqf more.tif " + " ".join(TIMES) + " --laser-power 0.5", "m.vqf more.tif"),
    ("replace m.vqf 1 more.tif --laser-power 0.5", "m.vqf more.tif"),
    ("order m.vqf --first 2",),
    ("attr set m.vqf note=a_longer_header_than_before operator=Noether",),
    ("attr set m.vqf operator=No",),
    ("attr rm m.vqf operator",),
    ("attr import m.vqf header.txt --replace", "m.vqf header.txt"),
    ("copy-header other.vqf m.vqf", "m.vqf other.vqf"),
    ("checksum add m.vqf",),
)]
REPAIRS = [Job(*job) for job in (
    ("recover --in-place dead.vqf", "dead.vqf dead.vqf-log"),
    ("recover --in-place torn.vqf", "torn.vqf"),
    ("recover --in-place edited.vqf", "edited.vqf edited.vqf-journal"),
    ("attr set edited.vqf probe=1", "edited.vqf edited.vqf-journal"),
)]
MAKES = [Job(*job) for job in (
    ("import more.tif -o new.vqf --times times.txt --laser-powers powers.txt --checksum",
     "more.tif times.txt powers.txt"),
    ("import more.tif -o m.vqf --force --rate 12 --comment x", "m.vqf more.tif"),
    ("import more.tif -o edited.vqf --force", "edited.vqf edited.vqf-journal more.tif"),
    ("import more.tif more2.tif -o new.vqf --table table.csv", "more.tif more2.tif table.csv"),
    ("import side.tif -o new.vqf", "side.tif side.tif.json"),
    ("import all.ome.tif -o new.vqf", "all.ome.tif"),
    ("import samples.bin -o new.vqf --size 4x3 --type u16", "samples.bin"),
    ("import all.raw -o new.vqf", "all.raw all.raw.json"),
    ("import all.npy -o new.vqf", "all.npy all.npy.json"),
    ("import pictures -o new.vqf", "pictures"),
    ("import pages -o new.vqf", "pages"),
    ("import pictures/frame-00001.png -o new.vqf", "pictures"),
    ("import video.mkv -o new.vqf", "video.mkv video.mkv.json", True),
    ("export m.vqf -o new.tif --sidecar",),
    ("export m.vqf -o side.tif --force --sidecar --frames 0:2", "m.vqf side.tif side.tif.json"),
    ("export m.vqf -o new.ome.tif --fiber-regions",),
    ("export m.vqf -o new --to png --frames 0:2",),
    ("export m.vqf -o pictures --to png --force --frames 1:3", "m.vqf pictures"),
    ("export m.vqf -o new --to tifs --depth 8 --frames 2:4",),
    ("export m.vqf -o new.raw",),
    ("export m.vqf -o new.npy",),
    ("export m.vqf -o new.csv",),
    ("export m.vqf -o - --to raw",),
    ("export m.vqf -o new.mkv", "m.vqf", True),
    ("export m.vqf -o new.mp4", "m.vqf", True),
    ("attr export m.vqf -o new.txt",),
    ("cut m.vqf -o new.vqf --frames 1:3",),
    ("cut m.vqf -o other.vqf --force --time 0:2s", "m.vqf other.vqf"),
    ("cut m.vqf -o - --frames 1:3",),
    ("join m.vqf later.vqf -o new.vqf", "m.vqf later.vqf"),
    ("split m.vqf --every 2",),
    ("anonymize m.vqf -o new.vqf --relative-times",),
    ("recover dead.vqf -o new.vqf", "dead.vqf dead.vqf-log"),
    ("recover edited.vqf -o new.vqf", "edited.vqf edited.vqf-journal"),
    ("recover torn.vqf -o other.vqf --force --like m.vqf", "torn.vqf m.vqf other.vqf"),
    ("thumb m.vqf -o new.png",),
    ("thumb m.vqf -o old.png --force", "m.vqf old.png"),
    ("sheet m.vqf -o old.png --force --side 32", "m.vqf old.png"),
    ("plot m.vqf -o old.png --force --size 300x200", "m.vqf old.png"),
)]
READS = [Job(*job) for job in (
    ("info m.vqf",),
    ("info m.vqf later.vqf --json", "m.vqf later.vqf"),
    ("ls . --format csv", "m.vqf later.vqf"),
    ("ls -r --json", "m.vqf later.vqf"),
    ("frames m.vqf --format csv",),
    ("frames m.vqf --stats",),
    ("fibers m.vqf --mode clamped",),
    ("attr list m.vqf",),
    ("attr get m.vqf comment",),
    ("attr export m.vqf",),
    ("diff m.vqf later.vqf", "m.vqf later.vqf"),
    ("diff m.vqf same.vqf", "m.vqf same.vqf"),
    ("verify checked.vqf", "checked.vqf"),
    ("verify dead.vqf", "dead.vqf dead.vqf-log"),
    ("chunks m.vqf --json",),
    ("anonymize m.vqf --list",),
    ("follow m.vqf --interval 0.02",),
    ("completion bash", ""),
)]
ALL = EDITS + REPAIRS + MAKES + READS


class Workshop:
    """Makes the files of all jobs in `folder`/work, with the programs themselves."""

    def __init__(self, folder, tool, recorder):
        self.folder, self.tool, self.recorder = folder, tool, recorder
        os.makedirs(folder + "/work")
        os.makedirs(folder + "/tmp")

    def vqf(self, command, **how):
        outcome = self.tool.run(self.folder, command.split(), **how)
        if not how and outcome.status != 0:
            raise RuntimeError(f"vqf {command}: {outcome.status} {outcome.errors}")
        return outcome

    def path(self, name):
        return f"{self.folder}/work/{name}"

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def copy(self, source, name):
        shutil.copy2(self.path(source), self.path(name))

    def make(self):
        self.recorder.run(self.folder, ["m.vqf"])
        self.write("times.txt", b"1709287300\n1709287301.5\n")
        self.write("powers.txt", b"0.25\n-1\n")
        rows = (b"%d,170928730%d,0.5\n" % (i, i) for i in range(4))
        self.write("table.csv", b"index,time,laser_power\n" + b"".join(rows))
        self.write("samples.bin", struct.pack("<48H", *range(48)))
        self.write("header.txt", b"operator=Meitner\ncomment=other\n")
        self.copy("m.vqf", "same.vqf")
        self.recorder.run(self.folder, ["untimed.vqf", "untimed"])
        for name, command in {
                "pictures": "export m.vqf -o pictures --to png --frames 0:3",
                "pages": "export m.vqf -o pages --to tifs --frames 0:2",
                "side.tif": "export m.vqf -o side.tif --sidecar", "all.ome.tif": "export m.vqf -o all.ome.tif",
                "all.raw": "export m.vqf -o all.raw", "all.npy": "export m.vqf -o all.npy",
                "video.mkv": "export m.vqf -o video.mkv", "more.tif": "export m.vqf -o more.tif --frames 0:2",
                "more2.tif": "export m.vqf -o more2.tif --frames 2:4",
                "other.vqf": "import samples.bin -o other.vqf --size 4x3 --type u16 --attr operator=Hahn --attr lab=B",
                "later.vqf": "import more.tif -o later.vqf --rate 1 --start 2024-03-01T12:00:00Z --laser-power 0.25",
                "old.png": "thumb m.vqf -o old.png --size 20x20"}.items():
            if name != "video.mkv" or shutil.which("ffmpeg"):
                self.vqf(command)
        self.copy("m.vqf", "checked.vqf")
        self.vqf("checksum add checked.vqf")
        self.copy("m.vqf", "torn.vqf")
        os.truncate(self.path("torn.vqf"), os.path.getsize(self.path("torn.vqf")) - 30)
        self.die_recording()
        self.die_editing()

    def die_recording(self):
        """A recording with a log that is killed inside its third frame."""
        frames = [n for n, call in enumerate(self.recorder.run(self.folder, ["dead.vqf", "log"]).calls, 1)
                  if call.name == "pwritev64" and call.path.endswith("dead.vqf")]
        os.unlink(self.path("dead.vqf"))
        self.recorder.run(self.folder, ["dead.vqf", "log"], event="inside", at=frames[2])

    def die_editing(self):
        """An edit that is killed when it has half of its first write to the movie."""
        command = "append edited.vqf more.tif " + " ".join(TIMES)
        self.copy("m.vqf", "edited.vqf")
        calls = self.vqf(command).calls
        writes = [n for n, call in enumerate(calls, 1) if "write" in call.name and call.path.endswith("edited.vqf")]
        self.copy("m.vqf", "edited.vqf")
        self.vqf(command, event="inside", at=writes[1])
        if not os.path.exists(self.path("edited.vqf-journal")):
            raise RuntimeError("the edit that died left no journal")
