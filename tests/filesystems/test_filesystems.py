#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Lists and converts takes on the file systems that recordings come on, whole and with everything
that happens to cards and shares. Prints how often each fault was tried and what was seen, and fails
when a try came to anything else.

test_filesystems.py SESSION

A file system that cannot be mounted here is left out, in a line that says why. If none can, the exit
status is that of a skipped test."""

import collections
import os
import shutil
import sys
import tempfile

import mounts
from session import (BLOCK, START, Session, Surprise, expect, expect_files, files_in, forget, put,
                     take, wav)
from texts import ERRORS, TEXTS

# As the page quotes them
OPEN, READ, CHUNK, WRITE, COPY = (
    f"“{TEXTS['Convert' + name]}”"
    for name in ("FileOpen", "FileRead", "DataRead", "DataWrite", "DataCopy"))

CONVERSIONS = ["split", "combine", "copy"]
SOURCES = {"split": ["take.wav"], "combine": ["take_01.wav", "take_02.wav"], "copy": ["take.wav"]}

# What is reported depends on whether the failure meets a header, samples or another body.
READ_ERRORS = {"split": [3, 4], "combine": [3, 4], "copy": [4, 7]}
WRITE_ERRORS = {"split": [6], "combine": [6], "copy": [6, 7]}

SKIPPED = 77  # the exit status that ctest takes for it


class Table:
    """What was tried: how often, by fault and file system."""

    def __init__(self):
        self.tries = collections.defaultdict(collections.Counter)
        self.seen = {}
        self.surprises = []

    def row(self, fault, seen):
        self.seen[fault] = seen
        return fault

    def count(self, fault, kind):
        self.tries[fault][kind] += 1

    def lines(self, kinds):
        names = [kind.name for kind in kinds]
        yield "| What happens | " + " | ".join(names) + " | What was seen |"
        yield "|---" * (len(names) + 2) + "|"
        for fault, seen in self.seen.items():
            if not self.tries[fault]:
                continue  # only on a file system that was left out
            cells = [str(self.tries[fault][name] or "") for name in names]
            yield f"| {fault} | " + " | ".join(cells) + f" | {seen} |"


class Tries:
    """All tries on one file system."""

    def __init__(self, place, session, table, work):
        self.place = place
        self.session = session
        self.table = table
        self.disk = os.path.join(work, "disk " + place.name)
        self.takes = os.path.join(self.disk, "takes")
        self.out = os.path.join(place.root, "out")
        put(self.takes, take())
        self.right = {conversion: self.on_disk(conversion) for conversion in CONVERSIONS}

    def on_disk(self, conversion, directory=None):
        """What a conversion writes on the system disk."""
        out = tempfile.mkdtemp(dir=self.disk)
        result = self.session.convert(conversion, self.sources(directory or self.takes, conversion),
                                      out)
        expect("on the system disk", (result["result"], result["boxes"]), (0, []))
        files = files_in(out)
        shutil.rmtree(out)
        return files

    @staticmethod
    def sources(directory, conversion):
        return [os.path.join(directory, name) for name in SOURCES[conversion]]

    def fresh(self, files=None):
        """The file system, empty but for these files, a file of somebody else and a directory for
        outputs that held files before."""
        self.place.prepare()
        self.place.mount()
        put(self.place.root, {"other.wav": wav(1, 4000, 9), **(files or {})})
        put(self.out, {"x" * 40: b"x"})
        os.remove(os.path.join(self.out, "x" * 40))
        self.before = files_in(self.place.root)
        forget(self.place.root)

    def one(self, fault, run):
        """One try, after which the program still works on another directory."""
        self.table.count(fault, self.place.name)
        try:
            run()
            expect_files("afterwards on the system disk", self.on_disk("split"),
                         self.right["split"])
        except (Surprise, OSError) as surprise:
            self.table.surprises.append(f"{self.place.name}: {fault}: {surprise}")
        finally:
            self.place.clean()

    def each(self, fault, run):
        for conversion in CONVERSIONS:
            self.one(f"{fault}", lambda c=conversion: run(c))

    def expect_result(self, conversion, result, *codes):
        """The box of one of the codes; none for 0 and 10. A plain copy has no result; 0 stands for
        its end without a word."""
        boxes = [[ERRORS[code]] if code not in (0, 10) else [] for code in codes]
        seen = [box for box in result["boxes"] if "overwrite?" not in box]
        expect(f"{conversion}: boxes {result['boxes']} are right", seen in boxes, True)
        if conversion != "copy":
            expect(f"{conversion}, result", result["result"], codes[boxes.index(seen)])

    def expect_on_medium(self, conversion, outputs, *options):
        """What is on the medium when it is mounted again."""
        self.place.mount_again(*options)
        expect_files(f"{conversion}, other files", files_in(self.place.root), self.before)
        expect_files(f"{conversion}, outputs", files_in(self.out), outputs)

    # Whole

    def whole(self):
        fault = self.table.row(
            "Nothing: takes are listed with both functions and converted",
            "the same rows and the same bytes as on the system disk, date and time aside; still "
            "there when mounted again, also read-only")

        def listing(function):
            self.fresh(take())
            os.remove(os.path.join(self.place.root, "other.wav"))
            expect("rows", self.session.list(self.place.root, function),
                   self.session.list(self.takes, function))

        def conversion_on_it(conversion):
            self.fresh(take())
            result = self.session.convert(conversion, self.sources(self.place.root, conversion),
                                          self.out)
            self.expect_result(conversion, result, 0)
            self.expect_on_medium(conversion, self.right[conversion])

        for function in 0, 1:
            self.one(fault, lambda f=function: listing(f))
        self.each(fault, conversion_on_it)

    # Full, read-only

    def full(self):
        for where, files, room in [("at the header", take(), 0),
                                   ("within the samples", take(), 100 * mounts.CLUSTER),
                                   ("at the last flush", take(6000), mounts.CLUSTER)]:
            fault = self.table.row(
                f"It is full {where}",
                f"{WRITE}, of a plain copy also {COPY}; no output but the "
                "start of the plain copy")

            def run(conversion, files=files, room=room):
                takes = os.path.join(self.disk, "full")
                put(takes, files)
                right = self.on_disk(conversion, takes)
                self.fresh()
                self.place.fill(room)
                result = self.session.convert(conversion, self.sources(takes, conversion), self.out)
                self.expect_result(conversion, result, *WRITE_ERRORS[conversion])
                self.place.mount_again()
                expect_files("other files", files_in(self.place.root), self.before)
                self.expect_unfinished(conversion, files_in(self.out), right)

            self.each(fault, run)

    @staticmethod
    def expect_unfinished(conversion, left, right):
        """Nothing is left but the start of a plain copy, which does not pass for the whole one."""
        if conversion != "copy":
            return expect_files("outputs", left, {})
        expect("names", list(left), list(right))
        data, whole = left["take_bwf.wav"], right["take_bwf.wav"]
        expect("shorter, or of RIFF size 0", len(data) < len(whole) or data[4:8] == bytes(4), True)
        # What a chunk lacks of its length is zero.
        start = data[8:].rstrip(b"\0")
        return expect("it is the start of the copy", whole[8:8 + len(start)] == start, True)

    def read_only(self):
        fault = self.table.row("Read-only, as the place of the outputs",
                               f"{OPEN}, a plain copy ends without a word; nothing "
                               "is changed")

        def to_it(conversion):
            self.fresh()
            self.place.mount_again("ro")
            result = self.session.convert(conversion, self.sources(self.takes, conversion),
                                          self.out)
            self.expect_result(conversion, result, 0 if conversion == "copy" else 2)
            self.expect_on_medium(conversion, {})

        self.each(fault, to_it)
        fault = self.table.row("Read-only, as the place of the takes", "the right files")

        def from_it(conversion):
            self.fresh(take())
            self.place.mount_again("ro")
            out = tempfile.mkdtemp(dir=self.disk)
            result = self.session.convert(conversion, self.sources(self.place.root, conversion),
                                          out)
            self.expect_result(conversion, result, 0)
            expect_files("outputs", files_in(out), self.right[conversion])

        self.each(fault, from_it)

    # Gone

    BLOCKS = {"in the first block": {"split": START + 12, "combine": START, "copy": START + 24},
              "in a later block": {"split": START + BLOCK // 2, "combine": BLOCK // 2 + START,
                                   "copy": START + 24 + 8 + 600}}

    def fails(self, what, fail):
        for where, at in self.BLOCKS.items():
            fault = self.table.row(
                f"{what} while a source is read, {where}",
                f"{READ} or, at a chunk, {CHUNK}, of a plain copy {COPY}, at once; "
                "no output but the start of the plain copy")

            def reading(conversion, at=at):
                self.fresh(take())
                self.place.mount_again()
                self.source_fails(conversion, at[conversion], fail)

            if fail:
                self.each(fault, reading)
            fault = self.table.row(
                f"{what} while an output is written, {where}",
                f"{WRITE} or, of a plain copy, {COPY}; no finished output, "
                "other files are whole")

            def writing(conversion, at=at):
                self.fresh(take())
                self.output_fails(conversion, at[conversion], fail)

            if fail:
                self.each(fault, writing)

    def source_fails(self, conversion, at, fail):
        out = tempfile.mkdtemp(dir=self.disk)
        result = self.session.convert(conversion, self.sources(self.place.root, conversion), out,
                                      at=at, then=fail)
        self.expect_result(conversion, result, *READ_ERRORS[conversion])
        expect("steps of the progress after it are few", result["steps"] <= 3, True)
        self.expect_unfinished(conversion, files_in(out), self.right[conversion])
        shutil.rmtree(out)

    def output_fails(self, conversion, at, fail):
        result = self.session.convert(conversion, self.sources(self.takes, conversion), self.out,
                                      at=at, then=fail)
        self.expect_result(conversion, result, *WRITE_ERRORS[conversion])
        self.place.mount_after_failure()
        expect_files("other files", files_in(self.place.root), self.before)
        right = self.right[conversion]
        expect("outputs that pass for finished",
               [name for name, data in files_in(self.out).items() if data == right[name]], [])

    def detached(self):
        for where, at in self.BLOCKS.items():
            fault = self.table.row(
                f"It is unmounted while a source is read, {where}",
                f"an output whose source is open comes to its right end; then {OPEN}")

            def reading(conversion, at=at):
                self.fresh(take())
                out = tempfile.mkdtemp(dir=self.disk)
                result = self.session.convert(
                    conversion, self.sources(self.place.root, conversion), out, at=at[conversion],
                    then=self.place.detach)
                self.expect_result(conversion, result, 0 if conversion == "copy" else 2)
                right = self.right[conversion]
                finished = {"split": ["take_01.wav"], "combine": [], "copy": ["take_bwf.wav"]}
                expect_files("outputs", files_in(out), {n: right[n] for n in finished[conversion]})
                shutil.rmtree(out)

            self.each(fault, reading)
            fault = self.table.row(
                f"It is unmounted while an output is written, {where}",
                f"{WRITE}: the file is not where it was to be")

            def writing(conversion, at=at):
                self.fresh()
                result = self.session.convert(
                    conversion, self.sources(self.takes, conversion), self.out, at=at[conversion],
                    then=self.place.detach)
                self.expect_result(conversion, result, *WRITE_ERRORS[conversion])
                expect("what is in its place", os.listdir(self.place.root), [])

            self.each(fault, writing)

    # Names

    SMALL = 2000  # bytes of samples

    def small(self, *names):
        """Small stereo files of these names, each with other samples."""
        return {name: wav(2, self.SMALL, seed) for seed, name in enumerate(names, 20)}

    def on_disk_of(self, conversion, files):
        """What a conversion writes on the system disk for sources of other names."""
        with tempfile.TemporaryDirectory(dir=self.disk) as directory:
            out = os.path.join(directory, "out")
            put(out, {})
            put(directory, files)
            result = self.session.convert(conversion, [os.path.join(directory, n) for n in files],
                                          out)
            expect("on the system disk", (result["result"], result["boxes"]), (0, []))
            return files_in(out)

    def folded_outputs(self):
        fault = self.table.row(
            "Two outputs whose names differ in case alone, and it takes them for one",
            "asked about; overwritten after Yes, kept after Cancel")
        for yes in 2, 1, 0:
            def run(yes=yes):
                self.fresh()
                takes = os.path.join(self.disk, "folded")
                put(takes, self.small("take.wav", "TAKE.wav"))
                first, second = (self.on_disk_of("split", {"take.wav": data})
                                 for data in self.small("take.wav", "TAKE.wav").values())
                result = self.session.convert(
                    "split", [os.path.join(takes, name) for name in ("take.wav", "TAKE.wav")],
                    self.out, yes=yes)
                self.expect_result("split", result, 0 if yes == 2 else 10)
                expect("questions", [box.split("\n")[1] for box in result["boxes"]],
                       ["TAKE_01.wav", "TAKE_02.wav"][:yes + 1])
                self.expect_on_medium("split", {name: (second if at < yes else first)[name]
                                                for at, name in enumerate(first)})
            self.one(fault, run)

    def folded_sources(self):
        fault = self.table.row(
            "An output that it takes for a source, whose name differs in case alone, or whose "
            "directory does",
            f"refused after Yes with {OPEN}, a plain copy ends without a word; "
            "nothing is changed")
        names = {"split": ["take.wav", "TAKE_01.WAV"], "copy": ["take.wav", "Take_BWF.wav"],
                 "combine": ["take_01.wav", "take_02.wav", "Take_Combined.wav"]}
        accented = {"split": ["pr\u00e4.wav", "PR\u00c4_01.wav"],
                    "copy": ["pr\u00e4.wav", "Pr\u00c4_bwf.wav"],
                    "combine": ["pr\u00e4_01.wav", "PR\u00c4_COMBINED.wav"]}
        same = {"split": ["take.wav", "take_01.wav"], "copy": ["take.wav", "take_bwf.wav"],
                "combine": ["take_01.wav", "take_combined.wav"]}
        for sources, out in [(names, "Dir"), (accented, "Dir"), (names, "DIR"), (same, "dIR")]:
            def run(conversion, sources=sources, out=out):
                self.fresh()
                directory = os.path.join(self.place.root, "Dir")
                put(directory, self.small(*sources[conversion]))
                before = files_in(directory)
                result = self.session.convert(
                    conversion, [os.path.join(directory, n) for n in sources[conversion]],
                    os.path.join(self.place.root, out), yes=1)
                expect_files("sources", files_in(directory), before)
                expect("number of questions", sum("overwrite?" in b for b in result["boxes"]), 1)
                self.expect_result(conversion, result, 0 if conversion == "copy" else 2)
            self.each(fault, run)

    def forbidden(self):
        fault = self.table.row("An output whose name it forbids: \" * : < > ? \\ \\|",
                               f"{OPEN}, a plain copy ends without a word")
        for character in '"*:<>?\\|':
            def run(conversion, character=character):
                self.fresh()
                takes = os.path.join(self.disk, "forbidden")
                files = [f"a{character}b{name}" for name in SOURCES[conversion]]
                put(takes, {name: wav(1 if conversion == "combine" else 2, self.SMALL)
                            for name in files})
                result = self.session.convert(
                    conversion, [os.path.join(takes, name) for name in files], self.out)
                self.expect_result(conversion, result, 0 if conversion == "copy" else 2)
                self.expect_on_medium(conversion, {})
            self.each(fault, run)

    def longest(self):
        endings = {"split": "_01.wav", "combine": "_combined.wav", "copy": "_bwf.wav"}
        for more, seen in [(0, "the right files"),
                           (1, f"{OPEN}, a plain copy ends without a word")]:
            fault = self.table.row(f"An output whose name has {255 + more} characters, none of "
                                   "them ASCII but its ending", seen)

            def run(conversion, more=more):
                stem = "\u00e4" * (255 + more - len(endings[conversion]))
                self.fresh({stem + n[4:]: data for n, data in take(self.SMALL).items()
                            if n in SOURCES[conversion]})
                right = self.on_disk_of(conversion, {n: data for n, data in
                                                     take(self.SMALL).items()
                                                     if n in SOURCES[conversion]})
                names = [os.path.join(self.place.root, stem + n[4:]) for n in SOURCES[conversion]]
                result = self.session.convert(conversion, names, self.out)
                self.expect_result(conversion, result,
                                   0 if conversion == "copy" or not more else 2)
                self.expect_on_medium(conversion, {} if more else
                                      {stem + n[4:]: data for n, data in right.items()})
            self.each(fault, run)

    def trailing(self):
        fault = self.table.row("Names and directories that end in dots or blanks",
                               "the right files")
        for end in ".", "..", " ", ". ", " .":
            def run(conversion, end=end):
                files = {n: data for n, data in take(self.SMALL).items()
                         if n in SOURCES[conversion]}
                right = self.on_disk_of(conversion, files)
                takes = os.path.join(self.disk, "trailing")
                put(takes, {f"take{end}{n[4:]}": data for n, data in files.items()})
                self.fresh()
                out = os.path.join(self.place.root, "Out" + end)
                os.mkdir(out)
                result = self.session.convert(
                    conversion, [os.path.join(takes, f"take{end}{n[4:]}") for n in files], out)
                self.expect_result(conversion, result, 0)
                self.place.mount_again()
                expect_files("outputs", files_in(out),
                             {f"take{end}{n[4:]}": data for n, data in right.items()})
            self.each(fault, run)

    def clock(self):
        fault = self.table.row("The file times that it reports jump while an output is written",
                               "the right files")
        for year in 1980, 2100:
            def run(conversion, year=year):
                self.fresh(take())

                def jump():
                    moment = (year - 1970) * 31556952
                    for directory in self.place.root, self.out:
                        for name in os.listdir(directory):
                            os.utime(os.path.join(directory, name), (moment, moment))
                result = self.session.convert(
                    conversion, self.sources(self.place.root, conversion), self.out,
                    at=self.BLOCKS["in a later block"][conversion], then=jump)
                self.expect_result(conversion, result, 0)
                self.expect_on_medium(conversion, self.right[conversion])
            self.each(fault, run)

    def cached_absence(self):
        fault = self.table.row(
            "An output's name is taken on the server, and the share has cached that there is no "
            "such file",
            "asked about; the file is kept after Cancel")

        def run(conversion):
            self.fresh(take())
            self.place.mount_again("negative_timeout=3600")
            name = next(iter(self.right[conversion]))
            expect("there", os.path.exists(os.path.join(self.out, name)), False)
            theirs = {name: wav(1, 4000, 9)}
            put(os.path.join(self.place.below, "out"), theirs)
            expect("seen", os.path.exists(os.path.join(self.out, name)), False)
            result = self.session.convert(
                conversion, self.sources(self.place.root, conversion), self.out)
            expect("number of questions", sum("overwrite?" in b for b in result["boxes"]), 1)
            self.expect_result(conversion, result, 0 if conversion == "copy" else 10)
            self.expect_on_medium(conversion, theirs)
        self.each(fault, run)

    def run_all(self):
        self.whole()
        self.full()
        self.read_only()
        self.fails("Its server ends", self.place.end_server)
        self.detached()
        self.place.has_device = True
        self.fails("The device below it is gone", getattr(self.place, "pull", None))
        self.clock()
        if isinstance(self.place, (mounts.Bindfs, mounts.Sshfs)):
            self.cached_absence()
        if isinstance(self.place, mounts.Exfat):
            self.folded_outputs()
            self.folded_sources()
            self.forbidden()
            self.longest()
            self.trailing()


KINDS = [mounts.Exfat, mounts.Ntfs, mounts.Bindfs, mounts.Sshfs]


def main():
    (program,) = sys.argv[1:]
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    missing = sorted({package for tool, package in mounts.PACKAGES.items()
                      if not shutil.which(tool)})
    if missing:
        sys.exit("These packages are missing: " + " ".join(missing))
    why = mounts.enter_own_view()
    table = Table()
    done = []
    with tempfile.TemporaryDirectory() as work:
        session = Session(program)
        for kind in KINDS:
            place, why_not = (None, why) if why else mounts.available(kind, work)
            if not place:
                print(f"Not tried on {kind.name}: {why_not}")
                continue
            Tries(place, session, table, work).run_all()
            done.append(kind)
    if not done:
        sys.exit(SKIPPED)
    print("\n".join(table.lines(done)))
    if table.surprises:
        sys.exit("\n".join(table.surprises))


if __name__ == "__main__":
    main()
