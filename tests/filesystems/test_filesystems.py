#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Lists and converts takes on the file systems that recordings come on, whole and with everything
that happens to cards and shares. Prints how often each fault was tried, and fails when a try did
not end as it should.

test_filesystems.py SESSION

A file system that cannot be mounted here is left out, in a line that says why. If none can, the
exit status is that of a skipped test."""

import collections
import functools
import os
import shutil
import sys
import tempfile

import mounts
from session import (BLOCK, CONVERSIONS, SOURCES, START, Session, Surprise, expect, expect_files,
                     files_in, forget, put, take, wav)
from texts import ERRORS

# What is reported depends on whether the failure meets a header, samples or another body.
READ_ERRORS = {"split": [3, 4], "combine": [3, 4], "copy": [4, 7]}
WRITE_ERRORS = {"split": [6], "combine": [6], "copy": [6, 7]}

# Bytes of progress at which something happens
FIRST = {"split": START + 12, "combine": START, "copy": START + 24}
LATER = {"split": START + BLOCK // 2, "combine": BLOCK // 2 + START, "copy": START + 24 + 8 + 600}


class Tries:
    """All tries on one file system: how often there was which, and what came as a surprise."""

    def __init__(self, place, session, work):
        self.counts = collections.Counter()
        self.surprises = []
        self.place = place
        self.session = session
        self.disk = os.path.join(work, "disk " + place.name)
        self.takes = os.path.join(self.disk, "takes")
        self.out = os.path.join(place.root, "out")
        put(self.takes, take())
        self.right = {conversion: self.on_disk(conversion, take()) for conversion in CONVERSIONS}

    # What a try is made of

    def each(self, fault, run, *more, conversions=CONVERSIONS):
        """Tries it with each conversion, with each of `more` where there is more than one way."""
        for conversion in conversions:
            for words in more or [()]:
                self.one(fault, functools.partial(run, conversion, *words))

    def one(self, fault, run):
        """One try, after which the program still works on another directory."""
        self.counts[fault] += 1
        try:
            run()
            expect_files("afterwards on the system disk", self.on_disk("split", take()),
                         self.right["split"])
        except (Surprise, OSError) as surprise:
            self.surprises.append(f"{self.place.name}: {fault}: {surprise}")
        finally:
            self.place.clean()

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

    def convert(self, conversion, codes, directory, out, names=None, **how):
        """Converts the take that is in a directory. It comes to one of the codes: there is its box,
        or none for 0 and 10. A plain copy has no result, and is silent where it can not open."""
        names = names or SOURCES[conversion]
        result = self.session.convert(conversion, [os.path.join(directory, n) for n in names], out,
                                      **how)
        if conversion == "copy":
            codes = [0 if code == 2 else code for code in codes]
        boxes = [[ERRORS[code]] if code not in (0, 10) else [] for code in codes]
        seen = [box for box in result["boxes"] if "overwrite?" not in box]
        expect(f"{conversion}: boxes {result['boxes']} are right", seen in boxes, True)
        if conversion != "copy":
            expect(f"{conversion}, result", result["result"], codes[boxes.index(seen)])
        return result

    def convert_to_disk(self, conversion, codes, directory, **how):
        """Returns the outputs, and the result."""
        with tempfile.TemporaryDirectory(dir=self.disk) as out:
            result = self.convert(conversion, codes, directory, out, **how)
            return files_in(out), result

    def on_disk(self, conversion, files):
        """What a conversion makes of a take on the system disk."""
        with tempfile.TemporaryDirectory(dir=self.disk) as directory:
            put(directory, files)
            return self.convert_to_disk(conversion, [0], directory)[0]

    def expect_on_medium(self, conversion, outputs, out=None):
        """What is on the medium when it is mounted again."""
        self.place.mount_again()
        expect_files(f"{conversion}, other files", files_in(self.place.root), self.before)
        expect_files(f"{conversion}, outputs", files_in(out or self.out), outputs)

    @staticmethod
    def expect_unfinished(conversion, left, right):
        """Nothing is left but the start of a plain copy, which does not pass for the whole one."""
        expect("names", list(left), list(right) if conversion == "copy" else [])
        for name, data in left.items():
            whole = right[name]
            expect("shorter, or of RIFF size 0", len(data) < len(whole) or data[4:8] == bytes(4),
                   True)
            # What a chunk lacks of its length is zero.
            start = data[8:].rstrip(b"\0")
            expect("it is the start of the copy", whole[8:8 + len(start)] == start, True)

    # On every file system

    def listing(self, function):
        self.fresh(take())
        os.remove(os.path.join(self.place.root, "other.wav"))
        expect("rows", self.session.list(self.place.root, function),
               self.session.list(self.takes, function))

    def whole(self, conversion):
        self.fresh(take())
        self.convert(conversion, [0], self.place.root, self.out)
        self.expect_on_medium(conversion, self.right[conversion])

    def full(self, conversion, count, room):
        """Nothing is left but the start of a plain copy."""
        files = take(count)
        takes = os.path.join(self.disk, "full")
        put(takes, files)
        self.fresh()
        self.place.fill(room)
        self.convert(conversion, WRITE_ERRORS[conversion], takes, self.out)
        self.place.mount_again()
        expect_files("other files", files_in(self.place.root), self.before)
        self.expect_unfinished(conversion, files_in(self.out), self.on_disk(conversion, files))

    def to_read_only(self, conversion):
        self.fresh()
        self.place.mount_again("ro")
        self.convert(conversion, [2], self.takes, self.out)
        self.expect_on_medium(conversion, {})

    def from_read_only(self, conversion):
        self.fresh(take())
        self.place.mount_again("ro")
        outputs, _ = self.convert_to_disk(conversion, [0], self.place.root)
        expect_files("outputs", outputs, self.right[conversion])

    def source_fails(self, conversion, at, fail):
        """It is noticed at once."""
        self.fresh(take())
        self.place.mount_again()
        outputs, result = self.convert_to_disk(
            conversion, READ_ERRORS[conversion], self.place.root, at=at[conversion], then=fail)
        expect("steps of the progress after it are few", result["steps"] <= 3, True)
        self.expect_unfinished(conversion, outputs, self.right[conversion])

    def output_fails(self, conversion, at, fail):
        self.fresh(take())
        self.convert(conversion, WRITE_ERRORS[conversion], self.takes, self.out, at=at[conversion],
                     then=fail)
        self.place.mount_after_failure()
        expect_files("other files", files_in(self.place.root), self.before)
        right = self.right[conversion]
        expect("outputs that pass for finished",
               [name for name, data in files_in(self.out).items() if data == right[name]], [])

    def source_detached(self, conversion, at):
        """An output whose source is open comes to its right end."""
        self.fresh(take())
        outputs, _ = self.convert_to_disk(conversion, [2], self.place.root, at=at[conversion],
                                          then=self.place.detach)
        finished = {"split": ["take_01.wav"], "combine": [], "copy": ["take_bwf.wav"]}[conversion]
        expect_files("outputs", outputs, {n: self.right[conversion][n] for n in finished})

    def output_detached(self, conversion, at):
        """The file is not where it was to be."""
        self.fresh()
        self.convert(conversion, WRITE_ERRORS[conversion], self.takes, self.out, at=at[conversion],
                     then=self.place.detach)
        expect("what is in its place", os.listdir(self.place.root), [])

    # On a share

    def cached_absence(self, conversion):
        self.fresh(take())
        self.place.mount_again("negative_timeout=3600")
        name = next(iter(self.right[conversion]))
        expect("there", os.path.exists(os.path.join(self.out, name)), False)
        theirs = {name: wav(1, 4000, 9)}
        put(os.path.join(self.place.below, "out"), theirs)
        expect("seen", os.path.exists(os.path.join(self.out, name)), False)
        result = self.convert(conversion, [10], self.place.root, self.out)
        expect("number of questions", sum("overwrite?" in b for b in result["boxes"]), 1)
        self.expect_on_medium(conversion, theirs)

    # On a card, where upper and lower case are one and not every name is possible

    SMALL = 2000  # bytes of samples

    def folded_outputs(self, conversion, yes):
        self.fresh()
        takes = os.path.join(self.disk, "folded")
        files = {"take.wav": wav(2, self.SMALL, 20), "TAKE.wav": wav(2, self.SMALL, 21)}
        put(takes, files)
        first, second = (self.on_disk(conversion, {"take.wav": data}) for data in files.values())
        result = self.convert(conversion, [0 if yes == 2 else 10], takes, self.out, list(files),
                              yes=yes)
        expect("questions", [box.split("\n")[1] for box in result["boxes"]],
               ["TAKE_01.wav", "TAKE_02.wav"][:yes + 1])
        self.expect_on_medium(conversion, {name: (second if at < yes else first)[name]
                                           for at, name in enumerate(first)})

    def folded_source(self, conversion, out, names):
        """The last name is that of a source, and for the card that of an output of the first."""
        self.fresh()
        directory = os.path.join(self.place.root, "Dir")
        names = names[conversion]
        put(directory, {name: wav(2, self.SMALL, seed) for seed, name in enumerate(names, 20)})
        before = files_in(directory)
        result = self.convert(conversion, [2], directory, os.path.join(self.place.root, out),
                              names, yes=1)
        expect_files("sources", files_in(directory), before)
        expect("number of questions", sum("overwrite?" in b for b in result["boxes"]), 1)

    def named(self, conversion, code, stem, on_disk=True, out="out"):
        """The take has another stem, and so have the outputs."""
        def renamed(files):
            return {stem + name[len("take"):]: data for name, data in files.items()}
        files = {name: take(self.SMALL)[name] for name in SOURCES[conversion]}
        self.fresh({} if on_disk else renamed(files))
        out = os.path.join(self.place.root, out)
        os.makedirs(out, exist_ok=True)
        takes = self.place.root
        if on_disk:
            takes = os.path.join(self.disk, "named")
            put(takes, renamed(files))
        self.convert(conversion, [code], takes, out, list(renamed(files)))
        self.expect_on_medium(conversion,
                              {} if code else renamed(self.on_disk(conversion, files)), out)

    def longest(self, conversion, more):
        ending = {"split": "_01.wav", "combine": "_combined.wav", "copy": "_bwf.wav"}[conversion]
        self.named(conversion, 2 if more else 0, "\u00e4" * (255 + more - len(ending)),
                   on_disk=False)

    # All of them

    def run_all(self):
        whole = "Nothing: takes are listed with both functions and converted"
        self.each(whole, self.whole)
        for function in 0, 1:
            self.one(whole, functools.partial(self.listing, function))
        self.each("It is full at the header", self.full, (3 * BLOCK, 0))
        self.each("It is full within the samples", self.full, (3 * BLOCK, 100 * mounts.CLUSTER))
        self.each("It is full at the last flush", self.full, (6000, mounts.CLUSTER))
        self.each("Read-only, as the place of the outputs", self.to_read_only)
        self.each("Read-only, as the place of the takes", self.from_read_only)
        self.goes_away("It is unmounted", self.source_detached, self.output_detached)
        self.goes_away("Its server ends", self.source_fails, self.output_fails,
                       self.place.end_server)
        if hasattr(self.place, "pull"):
            self.place.has_device = True
            self.goes_away("The device below it is gone", self.source_fails, self.output_fails,
                           self.place.pull)
        if isinstance(self.place, mounts.Sshfs):
            self.each("An output's name is taken on the server, and the share has cached that "
                      "there is no such file", self.cached_absence)
        if isinstance(self.place, mounts.Exfat):
            self.names()

    def goes_away(self, what, of_source, of_output, *cause):
        for where, at in ("in the first block", FIRST), ("in a later block", LATER):
            self.each(f"{what} while a source is read, {where}", of_source, (at, *cause))
            self.each(f"{what} while an output is written, {where}", of_output, (at, *cause))

    def names(self):
        self.each("Two outputs whose names differ in case alone, and it takes them for one",
                  self.folded_outputs, (2,), (1,), (0,), conversions=["split"])
        names = {"split": ["pr\u00e4.wav", "PR\u00c4_01.WAV"],
                 "copy": ["pr\u00e4.wav", "Pr\u00c4_BWF.wav"],
                 "combine": ["pr\u00e4_01.wav", "pr\u00e4_02.wav", "PR\u00c4_Combined.wav"]}
        same = {"split": ["take.wav", "take_01.wav"], "copy": ["take.wav", "take_bwf.wav"],
                "combine": ["take_01.wav", "take_combined.wav"]}
        self.each("An output that it takes for a source, whose name differs in case alone, or "
                  "whose directory does", self.folded_source,
                  ("Dir", names), ("DIR", names), ("dIR", same))
        self.each("An output whose name it forbids: \" * : < > ? \\ |", self.named,
                  *((2, f"a{character}b") for character in '"*:<>?\\|'))
        self.each("An output whose name has 255 or 256 characters, none of them ASCII but its "
                  "ending", self.longest, (0,), (1,))
        self.each("Names and directories that end in dots or blanks", self.named,
                  *((0, "take" + end, True, "Out" + end) for end in (".", "..", " ", ". ", " .")))


def main():
    (program,) = sys.argv[1:]
    os.environ["PATH"] += ":/usr/sbin:/sbin"
    missing = sorted({package for tool, package in mounts.PACKAGES.items()
                      if not shutil.which(tool)})
    if missing:
        sys.exit("These packages are missing: " + " ".join(missing))
    why = mounts.enter_own_view()
    done = []
    with tempfile.TemporaryDirectory() as work:
        session = Session(program)
        for kind in mounts.Exfat, mounts.Ntfs, mounts.Bindfs, mounts.Sshfs:
            place, why_not = (None, why) if why else mounts.available(kind, work)
            if not place:
                print(f"Not tried on {kind.name}: {why_not}")
                continue
            done.append(Tries(place, session, work))
            done[-1].run_all()
    if not done:
        sys.exit(77)  # ctest takes it for a skipped test
    for fault in dict.fromkeys(fault for tries in done for fault in tries.counts):
        print(f"{fault}:", ", ".join(f"{tries.place.name} {tries.counts[fault]}"
                                     for tries in done if tries.counts[fault]))
    surprises = [surprise for tries in done for surprise in tries.surprises]
    if surprises:
        sys.exit("\n".join(surprises))


if __name__ == "__main__":
    main()
