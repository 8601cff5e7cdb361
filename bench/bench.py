#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Measures the program beside other ways to do the same work; bench/run.sh calls this.

Every round runs every row once, one after the other, so that a disturbance of the machine meets all
of them. CPU seconds are user and system time together. The medians of the rounds are compared.
"""

import argparse
import array
import contextlib
import itertools
import json
import mmap
import os
import platform
import random
import shutil
import statistics
import struct
import subprocess
import sys
import time
from pathlib import Path

MIB = 1 << 20
RATE = 48000  # Hz


# The material

class Format:
    """Sample format of a file: bits per sample and whether they are a floating point number."""

    def __init__(self, bits, is_float=False):
        self.bits = bits
        self.is_float = is_float
        self.name = "32-bit float" if is_float else f"{bits}-bit"
        self.codec = "pcm_f32le" if is_float else f"pcm_s{bits}le"

    def pattern(self, channels):
        """About 1 MiB of whole sample frames that no tool changes: noise within full scale."""
        noise = random.Random(channels)
        samples = (MIB // (self.bits // 8) // channels) * channels
        if self.is_float:
            return array.array("f", (noise.uniform(-1, 1) for _ in range(samples))).tobytes()
        return noise.randbytes(samples * self.bits // 8)


def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body


def write_wav(path, channels, fmt, data_bytes):
    """Writes a file with `bext`, `fmt ` and `data`, close to data_bytes long. Returns its path."""
    pattern = fmt.pattern(channels)
    repeats = max(1, round(data_bytes / len(pattern)))
    frame = channels * fmt.bits // 8
    head = chunk(b"bext", bytes(602)) + chunk(b"fmt ", struct.pack(
        "<HHIIHH", 3 if fmt.is_float else 1, channels, RATE, RATE * frame, frame, fmt.bits))
    size = repeats * len(pattern)
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", 4 + len(head) + 8 + size) + b"WAVE" + head)
        file.write(b"data" + struct.pack("<I", size))
        for _ in range(repeats):
            file.write(pattern)
    return path


def write_listing(directory, count):
    """A directory of mono files of a few KiB."""
    directory.mkdir()
    first = write_wav(directory / "file_00000.wav", 1, Format(24), 1)
    content = first.read_bytes()[:6000]
    for number in range(count):
        (directory / f"file_{number:05}.wav").write_bytes(content)
    return directory


def data_of(path):
    """The body of the `data` chunk."""
    with open(path, "rb") as file:
        content = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    at = 12
    while content[at:at + 4] != b"data":
        at += 8 + (struct.unpack_from("<I", content, at + 4)[0] + 1) // 2 * 2
    size = struct.unpack_from("<I", content, at + 4)[0]
    return memoryview(content)[at + 8:at + 8 + size]


def same_bytes(a, b):
    """In pieces of bytes, which compare a good deal faster than views of memory do."""
    return len(a) == len(b) and all(bytes(a[at:at + MIB]) == bytes(b[at:at + MIB])
                                    for at in range(0, len(a), MIB))


def same_samples(out, kept):
    """True when both directories, file by file in the order of names, hold the same samples."""
    pairs = itertools.zip_longest(sorted(out.iterdir()), sorted(kept.iterdir()))
    return all(a and b and same_bytes(data_of(a), data_of(b)) for a, b in pairs)


def same_files(out, kept):
    return all(path.read_bytes() == (out / path.name).read_bytes() for path in kept.iterdir())


# The runs

class Run:
    """What one run used."""

    def __init__(self, cpu, wall, **memory):
        self.cpu = cpu
        self.wall = wall
        self.peak_mib = (memory["peak_kib"] - memory["idle_kib"]) / 1024 if memory else None


def run_command(command):
    """Runs a whole program and takes its time from the kernel."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    complaints = process.stderr.read()
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - begin
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{command[0]} failed: {complaints.decode(errors='replace')}")
    return Run(usage.ru_utime + usage.ru_stime, wall)


def run_commands(commands):
    runs = [run_command(command) for command in commands]
    return Run(sum(run.cpu for run in runs), sum(run.wall for run in runs))


def run_reporting(command):
    """Runs one of our programs, which measures its piece of work itself and prints the figures."""
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        sys.exit(f"{command[0]} failed: {result.stderr}")
    return Run(**json.loads(result.stdout))


def run_starts(programs, repeats, work):
    """Lets hyperfine start each of the programs a few times. Returns a run for each, by name."""
    export = work / "starts.json"
    subprocess.run(["hyperfine", "--shell=none", "--style=none", "--warmup=1", f"--runs={repeats}",
                    f"--export-json={export}", *programs.values()],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    results = json.loads(export.read_text())["results"]
    return {name: Run(result["user"] + result["system"], result["median"])
            for name, result in zip(programs, results)}


# The rows

class Row:
    """One piece of work and every way to do it: a function of the output directory, or a command
    line for run_starts()."""

    def __init__(self, title, ways, targets=()):
        self.title = title
        self.ways = ways
        self.targets = targets
        self.rewritten = set()  # ways that do not keep every sample
        self.runs = {name: [] for name in ways}

    def cpu(self, name):
        return statistics.median(run.cpu for run in self.runs[name])

    def wall(self, name):
        return statistics.median(run.wall for run in self.runs[name])

    def peak(self, name="Splicora"):
        return max(run.peak_mib for run in self.runs[name])

    def ratio(self, name):
        """How many times the CPU time of the way called `name` the program takes."""
        return self.cpu("Splicora") / self.cpu(name)


class AtMost:
    """The program takes at most `limit` times the CPU time of another way."""

    def __init__(self, way, limit):
        self.way = way
        self.limit = limit

    def judge(self, row):
        ratio = row.ratio(self.way)
        return (f"{row.title}: CPU time beside {self.way}", f"{ratio:.2f} x",
                f"at most {self.limit:.2f} x", ratio <= self.limit)


class Bench:
    def __init__(self, programs, work, mib, listing_sizes):
        self.programs = programs
        self.work = work
        self.mib = mib
        self.listing_sizes = listing_sizes
        self.rows = []
        self.growth_rows = []
        self.listing_rows = []
        self.width_rows = []
        self.start_row = None

    def program(self, name):
        return str(self.programs / name)

    def conversion_row(self, title, kind, sources, ways, targets):
        def product(out):
            return run_reporting([self.program("bench_convert"), kind, str(out), *sources])

        def tuned(out):
            return run_reporting([self.program("bench_floor"), kind, str(out), *sources])

        def bare(out):
            return run_reporting([self.program("bench_floor"), f"bare-{kind}", str(out), *sources])

        def copy(out):
            return run_commands([["cp", source, str(out)] for source in sources])

        return Row(title, {"Splicora": product, "tuned loop": tuned, "bare transfer": bare, **ways,
                           "cp": copy}, [*targets, AtMost("tuned loop", 1.15),
                                         AtMost("bare transfer", 1.5)])

    def add_split(self, channels, fmt):
        source = self.work / f"split{channels}_{fmt.codec}.wav"
        write_wav(source, channels, fmt, self.mib * MIB)
        layout = {2: "stereo", 4: "4.0", 8: "7.1"}[channels]

        def target(out, number):
            return str(out / f"{source.stem}_0{number}.wav")

        def deinterleave(out):  # writes next to its source
            link = out / source.name
            link.symlink_to(source)
            run = run_command(["sndfile-deinterleave", str(link)])
            link.unlink()
            return run

        def ffmpeg(out):
            pads = "".join(f"[c{k}]" for k in range(channels))
            command = ["ffmpeg", "-v", "error", "-i", str(source), "-filter_complex",
                       f"[0:a]channelsplit=channel_layout={layout}{pads}"]
            for k in range(channels):
                command += ["-map", f"[c{k}]", "-c:a", fmt.codec, target(out, k + 1)]
            return run_command(command)

        def sox(out):
            return run_commands([["sox", "-D", str(source), target(out, k + 1), "remix", str(k + 1)]
                                 for k in range(channels)])

        targets = [AtMost("FFmpeg", 1 / 3), AtMost("SoX", 1 / 3)]
        if channels < 8:
            targets.append(AtMost("sndfile-deinterleave", 1))
        self.rows.append(self.conversion_row(
            f"split, {channels} channels, {fmt.name}", "split", [str(source)],
            {"sndfile-deinterleave": deinterleave, "FFmpeg": ffmpeg, "SoX": sox}, targets))

    def add_combine(self, channels, fmt):
        sources = [str(write_wav(self.work / f"combine{channels}_0{k + 1}.wav", 1, fmt,
                                 self.mib * MIB / channels)) for k in range(channels)]
        name = f"combine{channels}_combined.wav"

        def interleave(out):
            return run_command(["sndfile-interleave", *sources, "-o", str(out / name)])

        def ffmpeg(out):
            inputs = [part for source in sources for part in ("-i", source)]
            return run_command(["ffmpeg", "-v", "error", *inputs, "-filter_complex",
                                f"amerge=inputs={channels}", "-c:a", fmt.codec, str(out / name)])

        def sox(out):
            return run_command(["sox", "-D", "-M", *sources, str(out / name)])

        self.rows.append(self.conversion_row(
            f"combine, {channels} files, {fmt.name}", "combine", sources,
            {"sndfile-interleave": interleave, "FFmpeg": ffmpeg, "SoX": sox},
            [AtMost("FFmpeg", 1 / 3), AtMost("sndfile-interleave", 1)]))

    def add_growth(self, part):
        """The program alone at 1/part of the length."""
        fmt = Format(24)
        split = write_wav(self.work / f"part{part}.wav", 8, fmt, self.mib * MIB / part)
        monos = [str(write_wav(self.work / f"part{part}_0{k + 1}.wav", 1, fmt,
                               self.mib * MIB / part / 8)) for k in range(8)]
        for kind, sources in (("split", [str(split)]), ("combine", monos)):
            def product(out, kind=kind, sources=sources):
                return run_reporting([self.program("bench_convert"), kind, str(out), *sources])
            self.growth_rows.append(Row(f"{kind}, 8 channels, 1/{part} of the length",
                                        {"Splicora": product}))

    def add_listing(self, count):
        directory = str(write_listing(self.work / f"listing{count}", count))

        def product(_):
            return run_reporting([self.program("bench_listing"), "list", directory, str(count)])

        def loop(_):
            return run_reporting([self.program("bench_floor"), "list", directory])

        def width(_):
            return run_reporting([self.program("bench_listing"), "width", directory, str(count)])

        def fit(_):
            return run_reporting([self.program("bench_listing"), "fit", directory, str(count)])

        self.listing_rows.append(Row(f"listing of {count:,} files",
                                     {"Splicora": product, "plain loop": loop}))
        self.width_rows.append(Row(f"change of the width with {count:,} files",
                                   {"Splicora": width, "one fit": fit}))

    def make_material(self):
        for channels in (2, 4, 8):
            self.add_split(channels, Format(24))
        self.add_split(2, Format(16))
        self.add_split(2, Format(32, is_float=True))
        for channels in (2, 4, 8):
            self.add_combine(channels, Format(24))
        for part in (4, 2):
            self.add_growth(part)
        for count in self.listing_sizes:
            self.add_listing(count)
        empty = self.program("bench_emptywindow")
        self.start_row = Row("start to the first frame", {
            "Splicora": self.program("bench_start"),
            "empty window": empty,
            "window with a word": f"{empty} word",
        })

    def all_rows(self):
        return [*self.rows, *self.growth_rows, *self.listing_rows, *self.width_rows]

    @contextlib.contextmanager
    def output(self):
        """An empty output directory, removed afterwards."""
        out = self.work / "out"
        out.mkdir()
        yield out
        shutil.rmtree(out)

    def check_outputs(self):
        """Once before the rounds: every way writes the same samples, the tuned loop the same
        files. The bare transfer has no samples of its own to write."""
        kept = self.work / "kept"
        for row in self.rows:
            with self.output() as out:
                row.ways["Splicora"](out)
                out.rename(kept)
                out.mkdir()
            for name in row.ways.keys() - {"Splicora", "bare transfer", "cp"}:
                with self.output() as out:
                    row.ways[name](out)
                    if not same_samples(out, kept):
                        row.rewritten.add(name)
                    if name == "tuned loop" and not same_files(out, kept):
                        sys.exit(f"{row.title}: the tuned loop writes other files than the program")
            shutil.rmtree(kept)

    def run_round(self, start_repeats):
        for row in self.all_rows():
            for name, way in row.ways.items():
                with self.output() as out:
                    row.runs[name].append(way(out))
        starts = run_starts(self.start_row.ways, start_repeats, self.work)
        for name, run in starts.items():
            self.start_row.runs[name].append(run)

    # The results

    def judgements(self):
        for row in (*self.rows, self.start_row):
            for target in row.targets:
                yield target.judge(row)
        files = self.listing_sizes[-1] / self.listing_sizes[0]
        limit = 1.1 * files
        for first, *_, last in (self.listing_rows, self.width_rows):
            growth = last.cpu("Splicora") / first.cpu("Splicora")
            yield (f"{last.title} beside {self.listing_sizes[0]:,}", f"{growth:.2f} x",
                   f"at most {limit:.1f} x", growth <= limit)
        yield AtMost("one fit", 1.5).judge(self.width_rows[-1])
        for kind, limit in (("split", 2), ("combine", 10)):
            peak = self.peak(kind)
            yield (f"{kind}, 8 channels: memory above the idle window", f"{peak:.2f} MiB",
                   f"at most {limit} MiB", peak <= limit)

    def full_row(self, kind):
        return next(row for row in self.rows if row.title.startswith(f"{kind}, 8"))

    def peak(self, kind):
        return self.full_row(kind).peak()

    def report(self):
        lines = ["## Conversions and start", "",
                 "Splicora, the tuned loop and the bare transfer (the same reads and writes, no "
                 "sample copied): the conversion alone. The others: the whole program.", "",
                 "| Work | Way | CPU s | Wall s | Splicora's CPU beside it |",
                 "|---|---|---:|---:|---:|"]
        for row in (*self.rows, self.start_row):
            for name in row.ways:
                note = " (changes samples)" if name in row.rewritten else ""
                ratio = "" if name == "Splicora" else f"{row.ratio(name):.2f} x"
                lines.append(f"| {row.title} | {name}{note} | {row.cpu(name):.3f} "
                             f"| {row.wall(name):.3f} | {ratio} |")
        lines += ["", "## Listing", "", "| Work | Way | CPU ms | Wall ms | CPU us per file |",
                  "|---|---|---:|---:|---:|"]
        for row, count in zip((*self.listing_rows, *self.width_rows), self.listing_sizes * 2):
            for name in row.ways:
                lines.append(f"| {row.title} | {name} | {row.cpu(name) * 1e3:.1f} "
                             f"| {row.wall(name) * 1e3:.1f} | {row.cpu(name) / count * 1e6:.1f} |")
        lines += ["", "## Growth", "",
                  "| Work | CPU s | Beside the first | Peak above idle, MiB |",
                  "|---|---:|---:|---:|"]
        for kind in ("split", "combine"):
            by_length = [row for row in self.growth_rows if row.title.startswith(kind)]
            by_channels = [row for row in self.rows
                           if row.title.startswith(kind) and row.title.endswith(", 24-bit")]
            for rows in ([*by_length, self.full_row(kind)], by_channels):
                for row in rows:
                    cpu = row.cpu("Splicora")
                    beside = cpu / rows[0].cpu("Splicora")
                    lines.append(f"| {row.title} | {cpu:.3f} | {beside:.2f} x | {row.peak():.2f} |")
        lines += ["", "## Targets", "", "| Target | Reached | Wanted | |", "|---|---:|---:|---|"]
        for title, reached, wanted, met in self.judgements():
            lines.append(f"| {title} | {reached} | {wanted} | {'met' if met else 'NOT MET'} |")
        return lines


def machine_facts(args):
    def first_line(command):
        if not shutil.which(command[0]):
            return "(version unknown)"
        return subprocess.run(command, capture_output=True, text=True,
                              check=False).stdout.split("\n")[0]

    def version(package):
        return first_line(["dpkg-query", "-W", "-f=${Version}", package])

    cpu = next((line.split(":")[1].strip() for line in Path("/proc/cpuinfo").open()
                if line.startswith("model name")), platform.machine())
    memory = int(Path("/proc/meminfo").read_text().split()[1]) // 1024
    release = platform.freedesktop_os_release().get("PRETTY_NAME", platform.system())
    return [f"- {cpu}, {os.cpu_count()} processors, {memory} MiB of memory",
            f"- {release}, Linux {platform.release()}",
            f"- {first_line(['c++', '--version'])}",
            f"- Qt {first_line(['qmake6', '-query', 'QT_VERSION'])}",
            f"- FFmpeg {version('ffmpeg')}, SoX {version('sox')}, "
            f"sndfile-programs {version('sndfile-programs')}",
            f"- load of the machine before the rounds: {os.getloadavg()[0]:.2f}",
            f"- {args.rounds} rounds, {args.mib} MiB of samples a conversion, "
            f"in {'memory' if args.in_memory else 'a directory that is NOT memory-backed'}"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", type=Path, required=True)
    parser.add_argument("--work", type=Path, required=True)
    parser.add_argument("--in-memory", action="store_true")
    parser.add_argument("--results", type=Path, required=True)
    parser.add_argument("--rounds", type=int, required=True)
    parser.add_argument("--mib", type=int, required=True)
    parser.add_argument("--listing", type=int, nargs="+", required=True)
    parser.add_argument("--starts", type=int, required=True)
    args = parser.parse_args()

    facts = machine_facts(args)
    bench = Bench(args.programs, args.work, args.mib, args.listing)
    print("Making the material ...", flush=True)
    bench.make_material()
    print("Comparing the outputs ...", flush=True)
    bench.check_outputs()
    for number in range(args.rounds):
        print(f"Round {number + 1} of {args.rounds} ...", flush=True)
        bench.run_round(args.starts)

    table = ["# Medians of one run", "", *facts, "", *bench.report(), ""]
    (args.results / "table.md").write_text("\n".join(table))
    rounds = {row.title: {name: [vars(run) for run in runs] for name, runs in row.runs.items()}
              for row in (*bench.all_rows(), bench.start_row)}
    (args.results / "rounds.json").write_text(json.dumps(rounds, indent=1) + "\n")
    print("\n".join(table))


if __name__ == "__main__":
    main()
