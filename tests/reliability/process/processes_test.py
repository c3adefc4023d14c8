#!/usr/bin/env python3
"""Runs every command of vqf with each of its calls failing, cut or deadly, and two at once; judges what is left.

Exits with 1 when something is not as it should be, and says where; with 77 where programs cannot be run so."""
import argparse
import collections
import multiprocessing
import os
import re
import shutil
import sys
import tempfile

import faults
import folders
import jobs
import pairs
from nursery import Nursery


class Bench:
    """A worker's place: a folder of its own, and programs to run in it."""

    def __init__(self, options, source, folder):
        self.options, self.source, self.folder = options, source, folder
        self.tools, self.recorders = ([Nursery(program, options.shim) for _ in range(2)]
                                      for program in (options.vqf, options.recorder))
        self.counts, self.findings = collections.Counter(), []

    def prepare(self, job):
        folders.lay_out(self.folder, self.source, job.files.split())

    def run(self, job, event="", at=0, output=None):
        self.counts[event or "without a fault"] += 1
        return self.tools[0].run(self.folder, job.arguments, event=event, at=at, output=output)

    def state(self):
        return folders.snapshot(self.folder)

    def report(self, job, event, call, at, seen, should):
        told = f"{call.name} {call.path.replace(self.folder, '')}" if call else ""
        told, seen = (re.sub(r"\.vqf-[A-Za-z0-9]{6}\b", ".vqf-*", text) for text in (told, seen))
        self.findings.append((job, event, told, " ".join(seen.split()), should, at))


def start(options, source, root):
    global bench
    bench = Bench(options, source, tempfile.mkdtemp(dir=root) + "/case")


def judge(unit):
    bench.counts, bench.findings = collections.Counter(), []
    if isinstance(unit, jobs.Job):
        faults.Judge(bench, unit).all()
    else:
        pairs.Pair(bench, *unit).all()
    return bench.counts, bench.findings


def chosen(pattern):
    has_ffmpeg = shutil.which("ffmpeg") is not None
    if not has_ffmpeg:
        print("  videos: skipped, there is no ffmpeg")
    commands = [job for job in jobs.ALL if re.search(pattern, job.command) and (has_ffmpeg or not job.slow)]
    return sorted(commands, key=lambda job: not job.slow) + [
        pair for pair in pairs.ALL if re.search(pattern, " + ".join(pair))]


def judge_all(options, root):
    os.mkdir(root + "/home", 0o700)
    os.environ.update(HOME=root + "/home", XDG_RUNTIME_DIR=root + "/home")
    programs = Nursery(options.vqf, options.shim), Nursery(options.recorder, options.shim)
    jobs.Workshop(root + "/workshop", *programs).make()
    counts, failures = collections.Counter(), 0
    with multiprocessing.Pool(2, start, (options, root + "/workshop/work", root)) as pool:
        for counted, findings in pool.imap_unordered(judge, chosen(options.only)):
            counts += counted
            failures += len(findings)
            print(*rows(findings), sep="\n", end="\n" if findings else "", flush=True)
    return counts, failures


def rows(findings):
    """One row for what was seen at several calls."""
    table = {}
    for finding in findings:
        table.setdefault(finding[:-1], []).append(str(finding[-1]))
    return [f"| {' | '.join(row)} | {', '.join(ats[:8] + ['...'] * (len(ats) > 8))} |" for row, ats in table.items()]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("vqf", "shim", "recorder"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--long", action="store_true", default=os.environ.get("DATAIO_LONG", "0") not in ("", "0"))
    parser.add_argument("--only", default="", help="commands and pairs that match this pattern")
    parser.add_argument("--sanitizers", default="", help="what the programs are built with")
    options = parser.parse_args()
    if options.sanitizers:
        print(f"skipped: the sanitizers' runtime ({options.sanitizers}) must be loaded before every other library")
        return 77
    root = tempfile.mkdtemp(prefix="process-")
    try:
        counts, failures = judge_all(options, root)
    finally:
        shutil.rmtree(root, ignore_errors=True)
    for event, count in counts.most_common():
        print(f"  {event}: {count}")
    print(f"  runs: {sum(counts.values())}\n  findings: {failures}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
