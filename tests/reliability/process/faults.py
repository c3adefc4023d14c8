"""Judges what a command leaves when one of its calls fails, is cut short or is its last."""
import re

import folders
import jobs

READING = {"read", "pread64", "preadv64", "readv"}
WRITING = {"write", "pwrite64", "pwritev64", "writev", "copy_file_range", "sendfile"}
GROWING = WRITING | {"fallocate64", "fsetxattr", "mkdir", "mkdtemp", "linkat", "link"}
REMOVING = {"unlink", "rmdir", "rename", "renameat2"}
CHANGING = GROWING | REMOVING | {"ftruncate64", "fremovexattr", "mkostemp64", "chmod", "fchmod"}
INTERRUPTIBLE = READING | WRITING | {"open", "open64", "fallocate64", "ftruncate64", "flock"}
CLEANING = REMOVING | {"open64", "statx", "opendir", "readdir64"}  # what removing a file or a folder takes
COMPANIONS = ("-journal", "-log", "-rescued")


class Judge:
    """What one job does without a fault, and what of that must hold with one."""

    def __init__(self, bench, job):
        self.bench, self.job, self.is_long = bench, job, bench.options.long
        bench.prepare(job)
        self.before = bench.state()
        self.reference = bench.run(job)
        self.after = bench.state()
        self.changed = folders.differing(self.before, self.after)
        self.movie = next((path for path in sorted(self.changed) if path.endswith(".vqf")), None)
        self.edits = job in jobs.EDITS + jobs.REPAIRS
        self.call, self.restores = None, None

    def all(self):
        if self.reference.status != self.job.code:
            return self.report("", 0, f"exit {self.reference.status}: {self.reference.errors}", f"exit {self.job.code}")
        for at, self.call in enumerate(self.reference.calls, 1):
            if self.is_long or not self.job.slow or at % 8 == 0:
                for event in self.faults(at):
                    self.fault(event, at)
                for event in self.deaths(at):
                    self.death(event, at)
        self.call = None
        self.full_output()
        return self.memory()

    def faults(self, at):
        """What is done to a call; in the short round at least one thing."""
        name, nth = self.call.name, lambda n: self.is_long or at % n == 0
        yield "EIO"
        if name in READING | WRITING and self.call.size > 1:
            yield from ("short", "half") if self.is_long else ("short",) if nth(3) else ()
        if name in READING and nth(4):
            yield "zero"
        if name in INTERRUPTIBLE and nth(6):
            yield "EINTR"
        if name in GROWING and nth(4):
            yield from ("full", "ENOSPC") if self.is_long else ("full",)

    def deaths(self, at):
        if self.job in jobs.READS:
            return
        writes = self.call.name in WRITING
        if self.is_long or self.call.name in CHANGING and not (writes and at % 2):
            yield "before"
        if writes and (self.is_long or at % 2):
            yield "inside"
        if at == len(self.reference.calls):
            yield "after"

    def report(self, event, at, seen, should):
        self.bench.report(self.job.command, event, self.call, at, seen, should)

    def fault(self, event, at):
        self.bench.prepare(self.job)
        outcome = self.bench.run(self.job, event, at)
        if not outcome.struck:
            return self.report(event, at, "the call did not come again", "runs are repeatable")
        if event in ("EINTR", "short", "half") and outcome.status != self.reference.status:
            self.report(event, at, f"exit {outcome.status}: {outcome.errors}", "such calls are carried on")
        self.judge(outcome, event, at)

    def judge(self, outcome, event, at):
        """What holds for a program that came to its own end."""
        state, status = self.bench.state(), outcome.status
        is_diff = self.job.command.startswith("diff")
        if status < 0:
            self.report(event, at, f"signal {-status}: {outcome.errors[-200:]}", "no signal")
        elif status == 0 or is_diff and status == self.reference.status:
            self.judge_success(outcome, state, event, at)
        elif status not in ((2,) if is_diff else (1, 3)):
            self.report(event, at, f"exit {status}: {outcome.errors}", f"exit {'2' if is_diff else '1 or 3'}")
        else:
            if not self.is_told(outcome):
                self.report(event, at, f"exit {status}, said {outcome.errors!r}", "one or a few lines")
            if self.job in jobs.REPAIRS or event == "full" and self.edits:
                self.restore(event, at)
            else:
                self.judge_failure(status, state, event, at)

    def judge_success(self, outcome, state, event, at):
        shown = self.job in jobs.READS or "-o -" in self.job.command
        if shown and outcome.output != self.reference.output:
            self.report(event, at, f"exit {outcome.status}, printed {outcome.output[:200]}", "what was asked for")
        wrong = folders.differing(state, self.after)
        if self.call and self.call.name in ("chmod", "fchmod"):  # what is made for its owner alone may stay so
            wrong = {path for path in wrong if state.get(path, ())[1:] != self.after.get(path, ())[1:]}
        if wrong:
            self.report(event, at, f"exit {outcome.status}, but {self.tell(wrong, state)}", "everything after exit 0")

    def is_told(self, outcome):
        """Whether there is a line about the failure, and no more than a few; some commands list damage as result."""
        lines = outcome.errors.splitlines()
        results = self.job.command.startswith(("verify", "recover", "chunks")) and outcome.output
        return (lines or results) and len(lines) <= 6 and all(re.match("vqf: |  |[^ ]+: ", line) for line in lines)

    def judge_failure(self, status, state, event, at):
        extra = set(state) - {*self.before, *self.after}
        if extra and not (self.call and self.call.name in CLEANING):
            self.report(event, at, f"exit {status}, left {folders.tops(extra)}", "nothing is left")
        for path in folders.differing(state, self.before) - self.changed - extra:
            self.report(event, at, f"exit {status}, changed {path}", "sources stay")
        sides = {path: self.side(path, state) for path in sorted(self.changed) if not path.endswith(COMPANIONS)}
        mixed = [path for path, side in sides.items() if side == "neither"]
        if status == 3 and not self.edits:  # what was lost is told, and the rest is sound
            mixed = [path for path in mixed if path.endswith(".vqf") and not self.verifies(path)]
        if mixed:
            self.report(event, at, f"exit {status}, neither old nor new: {self.tell(mixed, state)}", "old or new")
        elif status != 3 and len({*sides.values()}) > 1:
            self.report(event, at, f"exit {status}, some old, some new: {sides}", "all or none")

    def side(self, path, state):
        if folders.is_same(path, state.get(path), self.before.get(path)):
            return "old"
        return "new" if folders.is_same(path, state.get(path), self.after.get(path)) else "neither"

    def tell(self, paths, state):
        return ", ".join(f"{path} ({folders.told(self.before.get(path))} > {folders.told(self.after.get(path))}, "
                         f"is {folders.told(state.get(path))})" for path in sorted(paths))

    def verifies(self, path):
        return self.bench.run(jobs.Job(f"verify {path}")).status == 0

    def death(self, event, at):
        self.die(event, at)
        state = self.bench.state()
        for path in folders.differing(state, self.before) - self.changed:
            if path in self.before and not path.endswith(COMPANIONS):
                self.report(event, at, f"changed {path}", "sources stay")
        if self.edits or self.movie in self.before and at % 2:
            self.restore(event, at)
        else:
            self.redo(event, at, state)

    def die(self, event, at):
        self.bench.prepare(self.job)
        return self.bench.run(self.job, event, at)

    def redo(self, event, at, state):
        """A killed job that makes files has made none or all, and the same job later sweeps up."""
        for path in self.changed:
            if self.side(path, state) == "neither":
                self.report(event, at, f"killed: {self.tell([path], state)}", "old or new")
        force = "" if "--force" in self.job.command or "-o -" in self.job.command else " --force"
        again = self.bench.run(jobs.Job(self.job.command + force))
        state = self.bench.state()
        if again.status != self.reference.status:
            self.report(event, at, f"killed, and again: exit {again.status}: {again.errors}", "the job can be repeated")
        elif folders.differing(state, self.after):
            wrong = folders.differing(state, self.after)
            self.report(event, at, f"killed, and again: differs in {folders.tops(wrong)}", "the next job sweeps up")

    def restores_of(self):
        """How the movie comes back after a death, and what it may be then: the old one or the new one."""
        if self.restores is None:
            old, new = self.before[self.movie], self.after[self.movie]
            if self.movie == "edited.vqf":
                old = folders.entry(self.bench.source + "/m.vqf")
            elif self.job in jobs.REPAIRS:
                old = new
            self.restores = [(jobs.Job(f"recover --in-place {self.movie}"), (old, new))]
            if self.movie not in ("dead.vqf", "torn.vqf"):
                self.restores.append((jobs.Job(f"attr set {self.movie} probe=1"), (self.edit(old), self.edit(new))))
        return self.restores

    def edit(self, entry):
        """A movie after the edit that follows a death."""
        folders.lay_out(self.bench.folder, self.bench.source, [])
        folders.put(self.bench.folder, "m.vqf", entry)
        self.bench.run(jobs.Job("attr set m.vqf probe=1"))
        return self.bench.state()["m.vqf"]

    def restore(self, event, at):
        """The next edit, or a recovery, undoes a killed edit or completes it; also when it is killed itself."""
        restores = self.restores_of()
        for job, good in restores if self.is_long else [restores[at % len(restores)]]:
            told = f"{event}, then {job.arguments[0]}"
            self.die(event, at)
            calls = self.restored(job, good, told, at)
            if not self.is_long and (event != "inside" or at != self.middle()):
                continue
            for n in range(1, len(calls) + 1, 1 if self.is_long else 10):
                for way in ("before", "inside"):
                    self.die(event, at)
                    self.bench.run(job, way, n)
                    self.restored(job, good, f"{told} killed {way}", f"{at}/{n}")

    def middle(self):
        """The call in the middle of those that write to the movie."""
        writes = [at for at, call in enumerate(self.reference.calls, 1)
                  if call.name in WRITING and call.path.endswith(self.movie)]
        return writes[len(writes) // 2] if writes else 0

    def restored(self, job, good, told, at):
        ended, rescued = self.bench.run(job), self.movie + "-rescued"
        state = self.bench.state()
        now = state.get(self.movie)
        if ended.status not in (0, 3):
            self.report(told, at, f"exit {ended.status}: {ended.errors}", "the movie comes back")
        elif now not in good:
            either = " nor ".join(map(folders.told, good))
            self.report(told, at, f"neither {either} but {folders.told(now)}", "old or new")
        extra = {path for path in set(state) - {*self.before, *self.after, rescued}
                 if self.edits or not path.startswith(".")}
        if extra:
            self.report(told, at, f"left {folders.tops(extra)}", "nothing is left")
        if rescued in state and not self.verifies(rescued):
            self.report(told, at, f"{rescued} is damaged", "what is rescued is a movie")
        return ended.calls

    def full_output(self):
        """Standard output on a full disk."""
        if self.reference.output:
            self.bench.prepare(self.job)
            outcome = self.bench.run(self.job, output="/dev/full")
            if outcome.status not in (1, 2) or not outcome.errors:
                self.report("full output", 0, f"exit {outcome.status}: {outcome.errors}", "exit 1 and a line")

    def memory(self):
        """Requests for memory that are refused, once or from then on."""
        total = self.die("nomemory", 1 << 30).count
        rounds = total if self.is_long else 2 if self.job.slow else 8
        for i in range(rounds):
            for event in ("nomemory", "nevermemory") if self.is_long else (("nomemory", "nevermemory")[i % 2],):
                outcome = self.die(event, 1 + i * total // rounds)
                if outcome.struck:
                    self.judge(outcome, event, 1 + i * total // rounds)
