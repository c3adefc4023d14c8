#!/usr/bin/env python3
"""Runs the benchmarks in rounds, prints medians and ratios, and writes everything as JSON.

A round runs every variant once, in a new random order and, where whole files are moved, in a new process with new files:
what differs between two places in memory or on the disk then differs between rounds, and not between variants.

Other programs can join the rounds (--also): each is called as "PROGRAM --benchmark_out=FILE ..." like any program made
with Google Benchmark and writes its measurements to FILE in the same form, {"benchmarks": [{"name":
"JOB/FRAMES/PLACE/VARIANT", "run_type": "iteration", "real_time": 1.5, "cpu_time": 1.4, "time_unit": "ms"}, ...]}.
Variants of the same job are compared, wherever they come from.
"""

import argparse
import datetime
import json
import math
import os
import platform
import statistics
import subprocess
import sys
import tempfile
import time

US = "DataIO"


class Goal:
    """A ratio of two times: how many times as fast as `other` we are, or how many times as long we take. What `minus`
    takes is part of both and counts for neither."""

    def __init__(self, job, other, bound, minus=None, least=True):
        self.ours = f"{job}/{US}"
        self.minus = f"{job}/{minus}" if minus else None
        self.other = other if other.count("/") == 3 else f"{job}/{other}"
        self.bound = bound
        self.least = least

    def text(self):
        relation = "as fast as" if self.least else "as long as"
        sign = "≥" if self.least else "≤"
        return f"{self.ours.rsplit('/', 1)[0]}: {sign} {self.bound:g} × {relation} {self.other.rsplit('/', 1)[1]}"

    def ratio(self, time_of):
        common = time_of(self.minus) if self.minus else 0
        ours, other = time_of(self.ours) - common, time_of(self.other) - common
        if ours <= 0 or other <= 0:
            return math.nan  # the machine was too restless to tell
        return other / ours if self.least else ours / other

    def evaluate(self, results):
        """The ratio of the medians, of the times and of the processor's times, and those of the single rounds."""
        needed = [name for name in (self.ours, self.minus, self.other) if name]
        if any(name not in results for name in needed):
            return None
        value = self.ratio(lambda name: statistics.median(results[name]["times"]))
        rounds = min(len(results[name]["times"]) for name in needed)
        each = [self.ratio(lambda name, i=i: results[name]["times"][i]) for i in range(rounds)]
        each = [ratio for ratio in each if not math.isnan(ratio)] or [math.nan]
        return {"goal": self.text(), "bound": self.bound, "ratio": value, "min": min(each), "max": max(each),
                "cpu_ratio": self.ratio(lambda name: statistics.median(results[name]["cpu_times"])),
                "met": value >= self.bound if self.least else value <= self.bound}


def at_most(job, other, bound, **how):
    return Goal(job, other, bound, least=False, **how)


OPEN = "open/100000 frames"
GOALS = [
    Goal("write/576x576x16/disk", "raw", 1.1),
    Goal("write/576x576x16/disk", "libtiff", 1.2),
    Goal("write/576x576x16/disk", "HDF5 chunked", 1.3),
    Goal("write/64x64x8/disk", "raw", 0.85),
    Goal("write/64x64x8/disk", "libtiff", 3.5),
    Goal("write/64x64x8/disk", "HDF5 chunked", 2),
    *(Goal(f"read/576x576x16/{place}", other, 1.0)
      for place in ("disk", "tmpfs") for other in ("raw", "libtiff", "HDF5 chunked", "HDF5 contiguous")),
    *(Goal(f"read/64x64x8/{place}", "raw", 1.6) for place in ("disk", "tmpfs")),
    *(Goal(f"random/576x576x16/{place}", "raw", 1.0) for place in ("disk", "tmpfs")),
    *(at_most(f"{OPEN}/{place}", "bare reads", 3) for place in ("disk", "tmpfs")),
    *(Goal(f"{OPEN}/{place}", other, bound) for place in ("disk", "tmpfs")
      for other, bound in (("libtiff", 500), ("HDF5 chunked, with times", 1.0), ("HDF5 chunked", 1.0))),
    Goal("swap/576x576x16/memory", "memcpy", 0.9),
    Goal("swap/576x576x32/memory", "memcpy", 0.9),
    at_most("fibres/continuous/tmpfs", "fibres/chunk/memory/memcpy", 8),
    at_most("fibres/ellipse/tmpfs", "fibres/chunk/memory/memcpy", 20),
    Goal("fibres/sorted/tmpfs", "fibres/sorted/memory/std::sort", 10),
    *(goal for job in ("thumbnail/576x576x16/tmpfs", "thumbnail/576x576x16 noise/tmpfs") for goal in (
        at_most(job, "sampling", 2.5, minus="fetch the frame"),
        Goal(job, "scalar table", 5, minus="fetch the frame"))),
    at_most("header/200000 lines/tmpfs", "bare scan", 75),
    Goal("header/200000 lines/tmpfs", "split lists", 2),
    at_most("python whole/576x576x16/disk", "numpy.fromfile", 1.15),
    at_most("python frames/576x576x16/disk", "np.load mapped, copied", 1.3),
]


class Load:
    """What other programs make of the machine meanwhile, in processors."""

    def __init__(self):
        self.start = self._now()

    @staticmethod
    def _now():
        with open("/proc/stat") as stat:
            user, nice, system, _, _, irq, softirq, steal = map(int, stat.readline().split()[1:9])
        own = os.times()
        busy = (user + nice + system + irq + softirq + steal) / os.sysconf("SC_CLK_TCK")
        return time.monotonic(), busy - sum(own[:4])

    def others(self):
        then, busy_then = self.start
        now, busy = self._now()
        return max(0.0, (busy - busy_then) / (now - then))


def wait_for_calm(seconds):
    """Waits until others leave the machine alone for a moment, but no longer than `seconds`."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        load = Load()
        time.sleep(0.5)
        if load.others() < 0.1:
            return


def run(program, arguments, environment):
    """Runs one benchmark program; returns what its JSON says."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [program, f"--benchmark_out={out.name}", "--benchmark_out_format=json",
                   "--benchmark_enable_random_interleaving=true", *arguments]
        done = subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            sys.exit(f"{program} failed:\n{done.stderr}")
        text = out.read()
        return json.loads(text) if text else {"benchmarks": [], "context": {}}  # the filter left nothing


def collect(results, report):
    for entry in report["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        name = "/".join(entry["name"].split("/")[:4])
        if entry.get("error_occurred"):
            sys.exit(f"{name}: {entry['error_message']}")
        result = results.setdefault(name, {"unit": entry["time_unit"], "times": [], "cpu_times": [], "counters": {}})
        result["times"].append(entry["real_time"])
        result["cpu_times"].append(entry["cpu_time"])
        result["counters"].update({key: value for key, value in entry.items() if key.endswith("_MiB")})


def measure(options, rounds):
    """The results by name, what Google Benchmark says of the machine, and the load by others in each step."""
    results = {}
    context = {}
    loads = []
    environment = dict(os.environ)
    environment.setdefault("DATAIO_BENCH_DISK", options.programs)
    arguments = [f"--benchmark_filter={options.filter}"] if options.filter else []

    def take(step, program, *more):
        print(f"\r{step:30}", end="", file=sys.stderr, flush=True)
        wait_for_calm(options.calm)
        load = Load()
        report = run(program, [*arguments, *more], environment)
        loads.append(load.others())
        context.update(report.get("context", {}))
        collect(results, report)

    def ours(name):
        return os.path.join(options.programs, name)

    for number in range(rounds):
        for program in (ours("frames_bench"), *options.also):
            take(f"round {number + 1} of {rounds}", program)
    # Their files take long to make and are only read: one process serves all rounds.
    for name in ("open_bench", "convert_bench"):
        take(name, ours(name), f"--benchmark_repetitions={rounds}")
    if not options.smoke:
        take("memory_bench", ours("memory_bench"))
    print("\r" + " " * 30 + "\r", end="", file=sys.stderr)
    return results, context, loads


def in_order(results):
    """Job, variant and result of every measured time: by job, the fastest first."""
    measured = [(*name.rsplit("/", 1), result) for name, result in results.items() if not name.startswith("memory/")]
    return sorted(measured, key=lambda entry: (entry[0], statistics.median(entry[2]["times"])))


def print_table(results):
    header = f"{'job, frames, place':38}{'variant':26}{'median':>10}{'min':>10}{'max':>10}       times ours"
    print(header + "\n" + "-" * len(header))
    last = None
    for job, variant, result in in_order(results):
        if last not in (None, job):
            print()
        last = job
        times = result["times"]
        median = statistics.median(times)
        ours = results.get(f"{job}/{US}")
        ratio = ""
        if ours is not None and variant != US:
            each = [theirs / mine for theirs, mine in zip(times, ours["times"])]
            ratio = f"{median / statistics.median(ours['times']):8.2f} ({min(each):.2f} to {max(each):.2f})"
        print(f"{job:38}{variant:26}{median:10.4g}{min(times):10.4g}{max(times):10.4g} {result['unit']}{ratio}")
    print()


def print_goals(goals):
    print(f"{'goal':84}{'ratio':>8}   {'rounds':18}{'processor':>10}")
    for goal in goals:
        rounds = f"{goal['min']:.2f} to {goal['max']:.2f}"
        print(f"{goal['goal']:84}{goal['ratio']:8.2f}   {rounds:18}{goal['cpu_ratio']:10.2f}   "
              f"{'met' if goal['met'] else 'NOT MET'}")


def memory_goals(results):
    """The limit and what a reader took, for each movie of 2 GB that was walked through."""
    return [{"goal": name.rsplit("/", 1)[0], **{key[:-4]: value for key, value in result["counters"].items()},
             "met": result["counters"]["peak_MiB"] <= result["counters"]["limit_MiB"]}
            for name, result in results.items() if name.startswith("memory/")]


def print_memory(goals):
    for goal in goals:
        print(f"{goal['goal']}: a reader of 2 GB took {goal['peak']:.1f} MiB at its peak, limit {goal['limit']:.1f} MiB; "
              f"{goal['later']:.1f} MiB more after the first twentieth   {'met' if goal['met'] else 'NOT MET'}")


def write_markdown(path, results, goals, memory):
    """The same as tables for a document."""
    with open(path, "w") as out:
        def row(*cells):
            out.write("| " + " | ".join(str(cell) for cell in cells) + " |\n")

        row("goal", "ratio", "single rounds", "")
        row("---", "---", "---", "---")
        for goal in goals:
            row(goal["goal"], f"{goal['ratio']:.2f}", f"{goal['min']:.2f} to {goal['max']:.2f}",
                "met" if goal["met"] else "**not met**")
        for goal in memory:
            row(f"{goal['goal']}, a reader's memory: ≤ {goal['limit']:.1f} MiB", f"{goal['peak']:.1f} MiB",
                f"{goal['later']:.1f} MiB after the first twentieth", "met" if goal["met"] else "**not met**")
        out.write("\n")
        row("job, frames, place", "variant", "median", "min to max", "times ours")
        row("---", "---", "---", "---", "---")
        for job, variant, result in in_order(results):
            median = statistics.median(result["times"])
            ours = results.get(f"{job}/{US}")
            ratio = "" if ours is None or variant == US else f"{median / statistics.median(ours['times']):.2f}"
            row(job, variant, f"{median:.4g} {result['unit']}",
                f"{min(result['times']):.4g} to {max(result['times']):.4g}", ratio)


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", help="folder of the benchmark programs")
    parser.add_argument("--quick", action="store_true", help="few rounds: enough to see a ratio of 2, not one of 1.1")
    parser.add_argument("--smoke", action="store_true", help="one round without the movies of 2 GB: whether all works")
    parser.add_argument("--rounds", type=int, help="how many rounds (default: 15, quick 3)")
    parser.add_argument("--calm", type=float, default=0, metavar="SECONDS",
                        help="before each round, wait up to so long until nothing else runs")
    parser.add_argument("--also", action="append", default=[], metavar="PROGRAM", help="a program that joins the rounds")
    parser.add_argument("--json", default="bench-results.json", help="where the results go (default: %(default)s)")
    parser.add_argument("--markdown", help="also write the tables to this file, for a document")
    parser.add_argument("--filter", help="only benchmarks whose name matches")
    return parser.parse_args()


def main():
    options = parse_options()
    rounds = options.rounds or (1 if options.smoke else 3 if options.quick else 15)
    results, context, loads = measure(options, rounds)
    goals = [evaluated for goal in GOALS if (evaluated := goal.evaluate(results))]
    memory = memory_goals(results)
    print_table(results)
    print_goals(goals)
    print_memory(memory)
    if options.markdown:
        write_markdown(options.markdown, results, goals, memory)
    with open(options.json, "w") as out:
        json.dump({"date": datetime.date.today().isoformat(), "system": platform.platform(), "rounds": rounds,
                   "others": loads, "context": context, "results": results, "goals": goals, "memory": memory},
                  out, indent=1)
    print(f"\n{rounds} rounds. Meanwhile others kept {statistics.median(loads):.2f} of {os.cpu_count()} processors busy "
          f"({min(loads):.2f} to {max(loads):.2f}). All times are in {options.json}.")


if __name__ == "__main__":
    main()
