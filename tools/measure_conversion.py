#!/usr/bin/env python3
"""measure_conversion - the converter beside cp and ffmpeg, as whole processes.

    measure_conversion.py QUARRYPACK FOLDER [--pairs N] [--only PROGRAM]

Makes its inputs in FOLDER with make_bench_movie.py, unless they exist. Runs cp, ffmpeg with
-movflags +faststart, and the converter in turn, N times (5 by default) after a round that is not
counted, and prints a table: ratios are taken run by run, and the median is printed. The output
is removed before each run, because overwriting an existing file hides every difference. The figures
are not judged, only printed beside the targets. FOLDER takes 8 GB while it runs.

quarrypack-captions and quarrypack-embed are in the folder of QUARRYPACK. The first reads the captions of
the converted film in turn with cat. The second runs in turn with cp and quarrypack. It waits until its
output is on the disk; they do not. So each of these rows has another beside it, in which sync follows them,
for their output alone.

--only picks the rows of one program."""
import argparse
import collections
import math
import os
import pathlib
import re
import resource
import statistics
import subprocess
import sys
import time

TOOLS = pathlib.Path(__file__).resolve().parent
Run = collections.namedtuple("Run", "cpu wall")

# name: kind, seconds
INPUTS = {
    "bulk": ("bulk", 85),
    "bulk-2GiB": ("bulk", 340),
    "many": ("many", 10000),
    "many-tenth": ("many", 1000),
    "feature": ("feature", 7200),
    "frag": ("frag", 600),
    "nosync": ("nosync", 2700),
    "stss": ("feature", 2700),
    "onegroup": ("onegroup", 10000),
    "onegroup-tenth": ("onegroup", 1000),
}


class Bench:
    def __init__(self, program, folder, pairs):
        self.program, self.folder, self.pairs = program, folder, pairs
        self.output = folder / "out.mp4"
        self.captioned = folder / "captioned.mp4"  # the film with captions in its pictures
        self.samples = {}

    def source(self, name):
        return self.folder / f"{name}.mov"

    def make_inputs(self, names):
        for name in names:
            kind, seconds = INPUTS[name]
            count = self.folder / f"{name}.samples"
            if not count.exists():
                print(f"== input: {name}", file=sys.stderr)
                made = subprocess.run(
                    [sys.executable, TOOLS / "make_bench_movie.py", kind, self.source(name),
                     "--seconds", str(seconds)], check=True, capture_output=True, text=True)
                count.write_text(made.stdout)
            self.samples[name] = int(count.read_text())

    def make_captioned(self):
        if self.source("feature").exists() and not self.captioned.exists():
            subprocess.run([self.program, "--input-file", self.source("feature"), "--output-file",
                            self.captioned], check=True, stdout=subprocess.DEVNULL)

    def command(self, tool, name):
        if tool == "cat":
            return ["cat", self.captioned]
        if tool == "captions":
            return [self.program.with_name("quarrypack-captions"), "--source", "pictures",
                    "--output-file", self.output, self.captioned]
        if tool in ("embed", "embed-unverified"):
            plain = ["--no-verify"] if tool == "embed-unverified" else []
            return [self.program.with_name("quarrypack-embed"), *plain, self.source(name), self.output]
        if tool == "cp":
            return ["cp", self.source(name), self.output]
        if tool == "ffmpeg":
            return ["ffmpeg", "-nostdin", "-v", "quiet", "-y", "-i", self.source(name), "-map", "0:v",
                    "-map", "0:a", "-c", "copy", "-movflags", "+faststart", self.output]
        return [self.program, "--input-file", self.source(name), "--output-file", self.output]

    def once(self, tool, name, wrapper=()):
        """One run of a tool. With ", sync" after its name the run ends when its output is on the disk."""
        tool, _, sync = tool.partition(", ")
        self.output.unlink(missing_ok=True)
        before, start = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
        subprocess.run([*wrapper, *self.command(tool, name)], check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        if sync:
            subprocess.run([sync, self.output], check=True)
        wall, after = time.monotonic() - start, resource.getrusage(resource.RUSAGE_CHILDREN)
        self.output.unlink(missing_ok=True)
        cpu = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return Run(cpu, wall)

    def in_turn(self, *runs):
        """Pairs of a tool and an input, run in turn; a list of runs for each."""
        rounds = [[self.once(*run) for run in runs] for _ in range(self.pairs + 1)]
        return list(zip(*rounds[1:]))

    def peak(self, name, tool="quarrypack"):
        """Peak resident memory in bytes. The shell is too small to be the peak itself."""
        report = self.folder / "peak.txt"
        self.once(tool, name, ["/usr/bin/time", "-f", "%M", "-o", report])
        return int(report.read_text()) * 1024

    def calls(self, name):
        """Read, write and seek calls of the system."""
        report = self.folder / "calls.txt"
        self.once("quarrypack", name, ["strace", "-f", "-c", "-o", report])
        # A row begins with a share of time, a time and a mean, and ends with the name of the call.
        rows = [line.split() for line in report.read_text().splitlines()]
        return sum(int(row[3]) for row in rows
                   if len(row) >= 5 and re.fullmatch(r"p?(read|write)(64|v|v2)?|lseek", row[-1]))


def ratio(ours, theirs, field):
    return statistics.median(getattr(a, field) / getattr(b, field) for a, b in zip(ours, theirs))


def growth(tenth, whole, samples_tenth, samples):
    return math.log(ratio(whole, tenth, "cpu")) / math.log(samples / samples_tenth)


def print_row(subject, figure, value, must, aim):
    print(f"{subject:14} {figure:54} {value:>10} {must:>10} {aim:>10}", flush=True)


def measure_converter(bench):
    mib, samples = 2**20, bench.samples
    cp, ffmpeg, own = bench.in_turn(("cp", "bulk"), ("ffmpeg", "bulk"), ("quarrypack", "bulk"))
    print_row("bulk", "processor time against cp", f"{ratio(own, cp, 'cpu'):.2f}", "1.8", "1.4")
    print_row("bulk", "wall time against ffmpeg", f"{ratio(own, ffmpeg, 'wall'):.2f}", "0.7", "0.45")

    ffmpeg, own, tenth = bench.in_turn(("ffmpeg", "many"), ("quarrypack", "many"),
                                       ("quarrypack", "many-tenth"))
    for field, figure in (("wall", "samples a second"), ("cpu", "samples a second of processor time")):
        rate = samples["many"] / statistics.median(getattr(run, field) for run in own) / 1e6
        print_row("many", figure, f"{rate:.2f} M", "2 M", "5 M")
    print_row("many", "wall time against ffmpeg", f"{ratio(own, ffmpeg, 'wall'):.3f}", "0.18", "0.06")
    print_row("many", "growth of processor time, exponent",
              f"{growth(tenth, own, samples['many-tenth'], samples['many']):.2f}", "1.10", "1.03")

    for name, must, aim in (("feature", "3.5", "2.2"), ("frag", "4", "2.2")):
        cp, own = bench.in_turn(("cp", name), ("quarrypack", name))
        print_row(name, "processor time against cp", f"{ratio(own, cp, 'cpu'):.2f}", must, aim)

    own, sync = bench.in_turn(("quarrypack", "nosync"), ("quarrypack", "stss"))
    for field, figure in (("wall", "wall time"), ("cpu", "processor time")):
        print_row("nosync", f"{figure} against the same with stss", f"{ratio(own, sync, field):.2f}",
                  "1.5", "1.1")

    tenth, own = bench.in_turn(("quarrypack", "onegroup-tenth"), ("quarrypack", "onegroup"))
    print_row("onegroup", "growth of processor time, exponent",
              f"{growth(tenth, own, samples['onegroup-tenth'], samples['onegroup']):.2f}", "1.15",
              "1.05")

    for name in ("bulk", "bulk-2GiB"):
        print_row(name, "peak resident memory, MiB", f"{bench.peak(name) / mib:.1f}", "32", "12")
    for name in ("many", "nosync"):
        above = max(bench.peak(name) - 16 * mib, 0) / samples[name]
        print_row(name, "peak memory above 16 MiB, bytes a sample", f"{above:.1f}", "96", "32")
    print_row("many", "read, write and seek calls, 1000 samples",
              f"{bench.calls('many') * 1000 / samples['many']:.2f}", "100", "5")


def measure_captions(bench):
    cat, own = bench.in_turn(("cat", "feature"), ("captions", "feature"))
    # Starting, opening and writing take a time of their own, which the target allows.
    beyond = statistics.median(max(a.wall - 0.3, 0) / b.wall for a, b in zip(own, cat))
    print_row("captioned", "captions read: wall time less 0.3 s against cat", f"{beyond:.2f}", "1.5",
              "0.5")
    print_row("captioned", "captions read: processor time against cat",
              f"{ratio(own, cat, 'cpu'):.2f}", "-", "-")
    print_row("captioned", "captions read: peak resident memory, MiB",
              f"{bench.peak('feature', 'captions') / 2**20:.1f}", "32", "32")


def measure_embed(bench):
    for name, other, plain_targets, targets in (("bulk", "cp", ("1.15", "1.0"), ("2.2", "1.8")),
                                                ("feature", "quarrypack", ("1.0", "0.8"), ("-", "-")),
                                                ("many", "quarrypack", ("1.0", "0.8"), ("-", "-"))):
        theirs, synced, plain, verified = bench.in_turn(
            (other, name), (f"{other}, sync", name), ("embed-unverified", name), ("embed", name))
        for figure, ours, (must, aim) in (("embedding, not verified", plain, plain_targets),
                                          ("embedding", verified, targets)):
            print_row(name, f"{figure}: wall time against {other}", f"{ratio(ours, theirs, 'wall'):.2f}",
                      must, aim)
            print_row(name, f"{figure}: against {other} and sync", f"{ratio(ours, synced, 'wall'):.2f}",
                      "-", "-")
        print_row(name, f"embedding, not verified: processor time against {other}",
                  f"{ratio(plain, theirs, 'cpu'):.2f}", "-", "-")
    for name in ("bulk", "feature", "many"):
        above = max(bench.peak(name, "embed") - 32 * 2**20, 0) / bench.samples[name]
        print_row(name, "embedding: peak memory above 32 MiB, bytes a sample", f"{above:.1f}", "24",
                  "12")


# For each program its measure and the inputs of that.
MEASURES = {"converter": (measure_converter, tuple(INPUTS)),
            "captions": (measure_captions, ("feature",)),
            "embed": (measure_embed, ("bulk", "feature", "many"))}


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--pairs", type=int, default=5)
    parser.add_argument("--only", choices=MEASURES, help="the rows of one program")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    bench = Bench(arguments.program.resolve(), arguments.folder.resolve(), arguments.pairs)
    chosen = [MEASURES[name] for name in MEASURES if arguments.only in (None, name)]
    bench.make_inputs(dict.fromkeys(name for _, inputs in chosen for name in inputs))
    bench.make_captioned()
    print_row("input", "figure", "measured", "must", "aim")
    for measure, _ in chosen:
        measure(bench)


if __name__ == "__main__":
    main()
