"""Runs a program with faults, quickly: see shim.cpp for what the program becomes."""
import os
import subprocess
from dataclasses import dataclass, field


@dataclass
class Call:
    name: str
    path: str
    size: int    # bytes of a transfer, else -1
    locked: bool  # whether the movie was locked by then


@dataclass
class Outcome:
    status: int     # exit code; minus the signal that ended it
    count: int      # calls, or requests for memory
    struck: bool
    locked: bool
    calls: list = field(default_factory=list)
    output: bytes = b""
    errors: str = ""


class Nursery:
    def __init__(self, program, shim):
        self.program = program
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        env={**os.environ, "LD_PRELOAD": shim, "LD_BIND_NOW": "1", "LC_ALL": "C.UTF-8"})

    def start(self, folder, arguments, event="", at=0, output=None):
        self.output, self.errors = output or f"{folder}/output{id(self)}", f"{folder}/errors{id(self)}"
        fields = [folder, event, str(at), self.output, self.errors, self.program, *arguments]
        self._send("\x1f".join(fields))

    def _send(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def answer(self):
        """Waits until the program has ended (an Outcome) or stopped (None)."""
        numbers = self.process.stdout.readline().split()
        if len(numbers) != 5:
            raise RuntimeError("the nursery is gone")
        status, count, struck, locked, length = map(int, numbers)
        log = self.process.stdout.read(length).decode(errors="replace").splitlines()
        if os.WIFSTOPPED(status):
            self.stopped = Outcome(0, count, True, locked == 1)
            return None
        calls = [Call(name, path, int(size), lock == "1") for name, path, size, lock in
                 (line.split("\t") for line in log)]
        code = os.waitstatus_to_exitcode(status)
        outcome = Outcome(code, count, struck == 1, locked == 1, calls)
        if os.path.isfile(self.output):
            with open(self.output, "rb") as output:
                outcome.output = output.read()
        with open(self.errors, errors="replace") as errors:
            outcome.errors = errors.read()
        return outcome

    def proceed(self):
        self._send("")
        return self.answer()

    def run(self, *arguments, **how):
        self.start(*arguments, **how)
        return self.answer()
