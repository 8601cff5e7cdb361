# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""What takes too long for every run of the tests: thousands of conversions in one process, files up
to the limits of the format, two processes on one directory. Every byte of the outputs is compared.

endurance.py SESSION"""

import concurrent.futures
import os
import shutil
import subprocess
import sys
import tempfile

from session import (BLOCK, CONVERSIONS, SOURCES, Session, expect, expect_files, files_in, put,
                     take, wav)
from texts import ERRORS
from wavbuilder import channel_of, data, fmt, mixed, riff, write_sparse

ROUNDS = 2000
GIB = 1 << 30
SPACING = 64 << 20  # bytes from mark to mark in a long source
HEAD = 12 + 866 + 24 + 8  # bytes of an output before its samples


def memory(session):
    """Bytes of the process that are in memory."""
    with open(f"/proc/{session.process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith("VmRSS"))


def handles(session):
    return len(os.listdir(f"/proc/{session.process.pid}/fd"))


def many(session, work):
    """Each combine keeps the input buffer of each of its sources; nothing else may grow."""
    put(work, take(3000))
    out = os.path.join(work, "out")
    os.mkdir(out)
    kept = 0
    right = {}
    start = None
    print("conversions, memory in KiB, of it kept buffers, the rest, open handles")
    for done in range(1, ROUNDS + 1):
        conversion = CONVERSIONS[done % 3]
        names = SOURCES[conversion]
        result = session.convert(conversion, [os.path.join(work, name) for name in names], out,
                                 yes=2)
        expect("result", result["result"], 0)
        kept += len(names) if conversion == "combine" else 0
        for name, content in files_in(out).items():
            expect_files("outputs", {name: content}, {name: right.setdefault(name, content)})
        if done % 200 == 0:
            rest = memory(session) - kept * BLOCK
            print(f"{done}, {memory(session) >> 10}, {kept * BLOCK >> 10}, {rest >> 10}, "
                  f"{handles(session)}")
            start = start or (rest, handles(session))
    expect("names", sorted(right), ["take_01.wav", "take_02.wav", "take_bwf.wav",
                                    "take_combined.wav"])
    expect("handles", handles(session), start[1])
    expect("memory grows by what is kept alone", rest - start[0] < 1 << 20, True)


def mark(at, seed):
    return bytes((at >> 20) + seed * 7 + k & 0xFF | 1 for k in range(64))


def write_marked(path, head, size, marks):
    """A file of `size` bytes of samples after its head, which are zero but for marks by place."""
    write_sparse(path, head, len(head) + size)
    with open(path, "r+b") as file:
        for at, content in marks.items():
            file.seek(len(head) + at)
            file.write(content)


def long(session, work, conversion, size, failure=None):
    """Converts sources of `size` bytes of samples that differ now and then and at the end."""
    channels = 1 if conversion == "combine" else 2
    sources = [f"take_0{n}.wav" for n in range(1, 9)] if channels == 1 else ["take.wav"]
    places = [*range(0, size - 64, SPACING), size - 64]
    with tempfile.TemporaryDirectory(dir=work) as here:
        out = os.path.join(here, "out")
        os.mkdir(out)
        paths = [os.path.join(here, name) for name in sources]
        for seed, path in enumerate(paths):
            write_marked(path, riff(fmt(channels), data(b"", size), size=36 + size), size,
                         {at: mark(at, seed) for at in places})
        result = session.convert(conversion, paths, out)
        expect("boxes", result["boxes"], [ERRORS[failure]] if failure else [])
        if conversion != "copy":
            expect("result", result["result"], failure or 0)
        if failure:
            left = sorted(os.listdir(out))
            expect("outputs", left, [] if conversion == "combine" else ["take_bwf.wav"])
            for name in left:
                with open(os.path.join(out, name), "rb") as file:
                    expect("RIFF size of what was not finished", file.read(8)[4:], bytes(4))
            print(f"{conversion} of {size} bytes of samples: {result['boxes']}")
            return
        if conversion == "split":
            right = {f"take_0{n + 1}.wav": (size // 2, {at // 2: channel_of(mark(at, 0), n)
                                                        for at in places}) for n in (0, 1)}
        elif conversion == "combine":
            right = {"take_combined.wav": (8 * size, {
                8 * at: mixed(*(mark(at, seed) for seed in range(8))) for at in places})}
        else:
            right = {"take_bwf.wav": (size, {at: mark(at, 0) for at in places})}
        expect("outputs", sorted(os.listdir(out)), sorted(right))
        for name, (length, marks) in right.items():
            expect_samples(os.path.join(out, name), length, marks)
    print(f"{conversion} of {size} bytes of samples: all bytes are right")


def expect_samples(path, size, marks):
    """The header says `size`, these samples follow, and there the file ends."""
    with open(path, "rb") as file:
        head = file.read(HEAD)
    expect("data header", head[-8:], data(b"", size))
    write_marked(path + ".right", head, size, marks)
    subprocess.run(["cmp", path, path + ".right"], check=True)


def two_at_once(sessions, work):
    """Each has takes of its own; both write into one directory."""
    out = os.path.join(work, "both")
    for letter in "ab":
        put(work, {f"{letter}.wav": wav(2, 3 * BLOCK, ord(letter)),
                   f"{letter}_01.wav": wav(1, BLOCK, ord(letter) + 1),
                   f"{letter}_02.wav": wav(1, BLOCK, ord(letter) + 2)})

    def convert_all(session, letter):
        for conversion in CONVERSIONS:
            sources = [os.path.join(work, letter + name[4:]) for name in SOURCES[conversion]]
            result = session.convert(conversion, sources, out)
            expect("result", (result["result"], result["boxes"]), (0, []))

    os.mkdir(out)
    for session, letter in zip(sessions, "ab"):
        convert_all(session, letter)
    right = files_in(out)
    for _ in range(50):
        shutil.rmtree(out)
        os.mkdir(out)
        with concurrent.futures.ThreadPoolExecutor() as pool:
            list(pool.map(convert_all, sessions, "ab"))
        expect_files("outputs", files_in(out), right)
    print("two processes on one directory, 50 times three conversions each: right files")


def main():
    program = sys.argv[1]
    with tempfile.TemporaryDirectory() as work:
        free = shutil.disk_usage(work).free
        if free < 8 * GIB:
            sys.exit(f"{work} has {free} bytes free, and this needs {8 * GIB}.")
        session = Session(program)
        many(session, work)
        long(session, work, "split", 3 * GIB)
        long(session, work, "split", 4 * GIB - 64)
        long(session, work, "copy", 2 * GIB - 4)
        long(session, work, "copy", 3 * GIB, failure=7)
        long(session, work, "copy", 4 * GIB - 64, failure=7)
        long(session, work, "combine", GIB // 4 - 40)  # eight RIFF sizes are less than 2 GiB
        long(session, work, "combine", GIB // 4 - 36, failure=9)
        two_at_once([session, Session(program)], work)


if __name__ == "__main__":
    main()
