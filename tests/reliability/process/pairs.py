"""Two programs change one movie at once: one stands still before one of its calls while the other runs, or both run."""
import itertools

import folders

BUSY = "is being recorded or changed by another program"

# Each with two forms, so that the changes of both programs can be told apart.
KINDS = {
    "append": (["append", "m.vqf", "more.tif"], ["append", "m.vqf", "more2.tif"]),
    "replace": (["replace", "m.vqf", "0", "more.tif"], ["replace", "m.vqf", "1", "more.tif"]),
    "order": (["order", "m.vqf", "--first", "1"], ["order", "m.vqf", "--first", "2"]),
    "attr set": (["attr", "set", "m.vqf", "one=1"], ["attr", "set", "m.vqf", "other=a longer value"]),
    "copy-header": (["copy-header", "other.vqf", "m.vqf"], ["copy-header", "later.vqf", "m.vqf"]),
    "checksum add": (["checksum", "add", "m.vqf", "--replace"],) * 2,
    "recover": (["recover", "--in-place", "m.vqf"],) * 2,
    "import": (["import", "more.tif", "more2.tif", "-o", "m.vqf", "--force"],
               ["import", "samples.bin", "-o", "m.vqf", "--force", "--size", "4x3", "--type", "u16"]),
    "record": (["m.vqf", "untimed"],) * 2,
}
FILES = ["untimed.vqf", "more.tif", "more2.tif", "other.vqf", "later.vqf", "samples.bin"]
ALL = list(itertools.product(KINDS, KINDS))


class Pair:
    """The first form of one kind against the second form of another."""

    def __init__(self, bench, first, second):
        self.bench, self.first, self.second = bench, first, second
        self.one, self.other = ((kind, KINDS[kind][form]) for form, kind in enumerate((first, second)))

    def prepare(self):
        folders.lay_out(self.bench.folder, self.bench.source, FILES)
        folders.rename(self.bench.folder, "untimed.vqf", "m.vqf")

    def program(self, kind, seat):
        return self.bench.recorders[seat] if kind == "record" else self.bench.tools[seat]

    def start(self, change, seat, **how):
        self.bench.counts["program of a pair"] += 1
        self.program(change[0], seat).start(self.bench.folder, change[1], **how)
        return self.program(change[0], seat)

    def alone(self, *changes):
        """The folder after changes one after the other, and the calls of the last one."""
        self.prepare()
        for change in changes:
            outcome = self.start(change, 0).answer()
            if outcome.status != 0:
                self.report(0, None, f"{change[0]} alone: exit {outcome.status}: {outcome.errors}", "exit 0")
        return folders.snapshot(self.bench.folder), outcome.calls if changes else []

    def all(self):
        old, (one, calls), (other, _) = self.alone()[0], self.alone(self.one), self.alone(self.other)
        both = [self.alone(self.one, self.other)[0], self.alone(self.other, self.one)[0]]
        self.allowed = {(0, 0): both, (0, 1): [one], (1, 0): [other], (1, 1): [old]}
        step = 1 if self.bench.options.long else max(1, len(calls) // 3)
        for at in range(step // 2 + 1, len(calls) + 1, step):
            self.interleave(at, calls[at - 1])
        for _ in range(200 if self.bench.options.long else 1):
            self.prepare()
            programs = self.start(self.one, 0), self.start(self.other, 1)
            self.judge([program.answer() for program in programs], 0, None)

    def interleave(self, at, call):
        """The first stops before its n-th call; the second runs from beginning to end."""
        self.prepare()
        first = self.start(self.one, 0, event="stop", at=at)
        outcome = first.answer()
        if outcome is not None:
            return self.report(at, call, f"exit {outcome.status} before the call", "runs are repeatable")
        second = self.start(self.other, 1).answer()
        if first.stopped.locked and second.status == 0:
            self.report(at, call, f"{self.second}: exit 0 while the movie was locked", "refused")
        self.judge([first.proceed(), second], at, call)

    def judge(self, outcomes, at, call):
        codes = tuple(outcome.status for outcome in outcomes)
        state = folders.snapshot(self.bench.folder)
        told = f"exits {codes[0]} and {codes[1]}"
        for outcome in outcomes:
            if outcome.status != 0 and (outcome.status != 1 or BUSY not in outcome.errors):
                self.report(at, call, f"{told}: {outcome.errors}", f'exit 1, "{BUSY}"')
        if codes in self.allowed and state not in self.allowed[codes]:
            wrong = folders.differing(state, self.allowed[codes][0])
            self.report(at, call, f"{told}, but {sorted(wrong)} differ", "changes are there after exit 0 alone")

    def report(self, at, call, seen, should):
        self.bench.report(f"{self.first} + {self.second}", "between" if call else "at once", call, at, seen, should)
