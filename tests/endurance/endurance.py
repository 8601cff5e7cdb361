# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""What takes too long for every run of the tests: thousands of conversions in one process, files up
to the limits of the format, two processes on one directory. Every byte of the outputs is compared.

endurance.py SESSION"""

import os
import shutil
import struct
import sys
import tempfile
import threading

from session import BLOCK, Session, chunk, expect, expect_files, files_in, put, take, wav
from texts import ERRORS

CONVERSIONS = 2000
GIB = 1 << 30
STEP = 8 << 20  # bytes compared at once
SPACING = 64 << 20  # bytes from mark to mark in a sparse source


def memory(session):
    """Bytes of the process that are in memory."""
    with open(f"/proc/{session.process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith("VmRSS"))


def handles(session):
    return len(os.listdir(f"/proc/{session.process.pid}/fd"))


def many(session, work):
    """Each combine keeps the input buffer of each of its sources; nothing else may grow."""
    files = take(3000)
    put(work, files)
    requests = [("split", ["take.wav"]), ("combine", ["take_01.wav", "take_02.wav"]),
                ("copy", ["take.wav"])]
    out = os.path.join(work, "out")
    os.mkdir(out)
    kept = 0
    right = {}
    start = None
    print("conversions, memory in KiB, of it kept buffers, the rest, open handles")
    for done in range(1, CONVERSIONS + 1):
        conversion, names = requests[done % 3]
        result = session.convert(conversion, [os.path.join(work, name) for name in names], out,
                                 yes=2)
        expect("result", result["result"], 0)
        kept += len(names) if conversion == "combine" else 0
        seen = files_in(out)
        for name, data in seen.items():
            expect_files("outputs", {name: data}, {name: right.setdefault(name, data)})
        if done % 200 == 0:
            rest = memory(session) - kept * BLOCK
            print(f"{done}, {memory(session) >> 10}, {kept * BLOCK >> 10}, {rest >> 10}, "
                  f"{handles(session)}")
            start = start or (rest, handles(session))
    expect("names", sorted(right), ["take_01.wav", "take_02.wav", "take_bwf.wav",
                                    "take_combined.wav"])
    expect("handles", handles(session), start[1])
    expect("memory grows by what is kept alone", rest - start[0] < 1 << 20, True)


def sparse(path, channels, data_bytes, seed=1):
    """A file whose samples are zero but for a mark now and then and one at the end."""
    form = struct.pack("<HHIIHH", 1, channels, 48000, 96000 * channels, 2 * channels, 16)
    head = chunk(b"fmt ", form)
    riff = 4 + len(head) + 8 + data_bytes
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", riff) + b"WAVE" + head
                   + b"data" + struct.pack("<I", data_bytes))
        start = file.tell()
        for at in [*range(0, data_bytes - 64, SPACING), data_bytes - 64]:
            file.seek(start + at)
            file.write(bytes((at >> 20) + seed * 7 + k & 0xFF | 1 for k in range(64)))
    expect("size", os.path.getsize(path), 8 + riff)
    return start


def blocks(path, start, size):
    with open(path, "rb") as file:
        file.seek(start)
        while size > 0:
            data = file.read(min(STEP, size))
            if not data:
                raise OSError(f"{path} ends {size} bytes before its end")
            size -= len(data)
            yield data
        expect("bytes after the samples", file.read(), b"")


def expect_samples(path, size, expected):
    """The output's header says `size`, and its samples are those expected; the file ends there."""
    start = 12 + 866 + 24 + 8
    with open(path, "rb") as file:
        head = file.read(start)
    expect("data header", head[-8:], b"data" + struct.pack("<I", size))
    count = 0
    for seen, wanted in zip(blocks(path, start, size), expected, strict=True):
        count += len(seen)
        if seen != wanted:
            sys.exit(f"{path} has other samples at about {count} of {size} bytes")
    expect("bytes", count, size)


def channel(data, number):
    picked = bytearray(len(data) // 2)
    picked[0::2] = data[2 * number::4]
    picked[1::2] = data[2 * number + 1::4]
    return picked


def paired(steps):
    """Joins pairs of half steps into whole ones."""
    for step in steps:
        try:
            yield step + next(steps)
        except StopIteration:
            yield step


def split_long(session, work, data_bytes):
    with tempfile.TemporaryDirectory(dir=work) as here:
        source = os.path.join(here, "take.wav")
        start = sparse(source, 2, data_bytes)
        out = os.path.join(here, "out")
        os.mkdir(out)
        result = session.convert("split", [source], out)
        expect("split", (result["result"], result["boxes"]), (0, []))
        for number in 0, 1:
            expected = paired(channel(data, number)
                              for data in blocks(source, start, data_bytes))
            expect_samples(os.path.join(out, f"take_0{number + 1}.wav"), data_bytes // 2, expected)
    print(f"split of {data_bytes} bytes of samples: all bytes are right")


def copy_long(session, work, data_bytes):
    with tempfile.TemporaryDirectory(dir=work) as here:
        source = os.path.join(here, "take.wav")
        start = sparse(source, 2, data_bytes)
        out = os.path.join(here, "out")
        os.mkdir(out)
        result = session.convert("copy", [source], out)
        copy = os.path.join(out, "take_bwf.wav")
        if data_bytes >= 1 << 31:
            expect("boxes", result["boxes"], [ERRORS[7]])
            with open(copy, "rb") as file:
                expect("RIFF size", file.read(8)[4:], bytes(4))
            print(f"copy of {data_bytes} bytes of samples: {result['boxes']}, RIFF size 0")
            return
        expect("boxes", result["boxes"], [])
        expect_samples(copy, data_bytes, blocks(source, start, data_bytes))
    print(f"copy of {data_bytes} bytes of samples: all bytes are right")


def combine_long(session, work, riff_size):
    """Eight sources whose RIFF headers say `riff_size`."""
    with tempfile.TemporaryDirectory(dir=work) as here:
        data_bytes = riff_size - 4 - 24 - 8
        names = [os.path.join(here, f"take_0{k}.wav") for k in range(1, 9)]
        starts = [sparse(name, 1, data_bytes, k) for k, name in enumerate(names)]
        out = os.path.join(here, "out")
        os.mkdir(out)
        result = session.convert("combine", names, out)
        if 8 * riff_size >= 1 << 31:
            expect("limit", (result["result"], result["boxes"]), (9, [ERRORS[9]]))
            expect("outputs", os.listdir(out), [])
            print(f"combine of eight files of RIFF size {riff_size}: {result['boxes']}, no output")
            return
        expect("combine", (result["result"], result["boxes"]), (0, []))

        def joined():
            readers = [blocks(name, start, data_bytes) for name, start in zip(names, starts)]
            for parts in zip(*readers, strict=True):
                whole = bytearray(8 * len(parts[0]))
                for k, part in enumerate(parts):
                    whole[2 * k::16] = part[0::2]
                    whole[2 * k + 1::16] = part[1::2]
                for at in range(0, len(whole), STEP):
                    yield bytes(whole[at:at + STEP])

        expect_samples(os.path.join(out, "take_combined.wav"), 8 * data_bytes, joined())
    print(f"combine of eight files of RIFF size {riff_size}: all bytes are right")


def two_at_once(sessions, work):
    """Each has takes of its own; both write into one directory."""
    out = os.path.join(work, "both")
    rounds = 50
    takes = []
    for letter in "ab":
        here = os.path.join(work, letter)
        files = {f"{letter}.wav": wav(2, 3 * BLOCK, ord(letter)),
                 f"{letter}_01.wav": wav(1, BLOCK, ord(letter) + 1),
                 f"{letter}_02.wav": wav(1, BLOCK, ord(letter) + 2)}
        put(here, files)
        takes.append([os.path.join(here, name) for name in files])

    def convert_all(session, names, directory):
        for conversion, sources in [("split", names[:1]), ("combine", names[1:]),
                                    ("copy", names[:1])]:
            result = session.convert(conversion, sources, directory)
            expect("result", (result["result"], result["boxes"]), (0, []))

    os.mkdir(out)
    for session, names in zip(sessions, takes):
        convert_all(session, names, out)
    right = files_in(out)
    failures = []

    def work_on(session, names):
        try:
            convert_all(session, names, out)
        except Exception as failure:  # pylint: disable=broad-except # reported below
            failures.append(failure)

    for _ in range(rounds):
        shutil.rmtree(out)
        os.mkdir(out)
        threads = [threading.Thread(target=work_on, args=pair) for pair in zip(sessions, takes)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        expect("failures", failures, [])
        expect_files("outputs", files_in(out), right)
    print(f"two processes on one directory, {rounds} times three conversions each: right files")


def main():
    program = sys.argv[1]
    with tempfile.TemporaryDirectory() as work:
        free = shutil.disk_usage(work).free
        if free < 8 * GIB:
            sys.exit(f"{work} has {free} bytes free, and this needs {8 * GIB}.")
        session = Session(program)
        many(session, work)
        split_long(session, work, 3 * GIB)
        split_long(session, work, (1 << 32) - 64)
        copy_long(session, work, (1 << 31) - 4)
        copy_long(session, work, 3 * GIB)
        copy_long(session, work, (1 << 32) - 64)
        combine_long(session, work, (1 << 28) - 4)
        combine_long(session, work, 1 << 28)
        two_at_once([session, Session(program)], work)


if __name__ == "__main__":
    main()
