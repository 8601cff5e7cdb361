# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""A session of the program that a script leads, the takes it works on, and what comes out."""

import contextlib
import json
import os
import pathlib
import struct
import subprocess
import sys

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from wavbuilder import chunk, fmt, riff

CONVERSIONS = ["split", "combine", "copy"]
SOURCES = {"split": ["take.wav"], "combine": ["take_01.wav", "take_02.wav"], "copy": ["take.wav"]}

BLOCK = 524288  # bytes of a source that a conversion moves at once
START = 12 + 866  # bytes of RIFF header and generated bext
DATE = slice(12 + 8 + 320, 12 + 8 + 338)  # where that one says when it was made


# Takes

def samples(count, seed):
    """Bytes that differ from file to file and from block to block."""
    line = b"".join(struct.pack("<I", (seed * 2654435761 + i * 1103515245) & 0xFFFFFFFF)
                    for i in range(1021))
    return (line * (count // len(line) + 1))[:count]


def wav(channels, count, seed=1):
    """A file with `count` bytes of samples of 16 bits, and chunks before and after them."""
    return riff(fmt(channels), chunk(b"note", samples(600, seed + 7)),
                chunk(b"data", samples(count, seed)), chunk(b"tail", b"12345678"))


def take(count=3 * BLOCK):
    """The sources of each conversion, with `count` bytes of samples each."""
    return {"take.wav": wav(2, count), "take_01.wav": wav(1, count, 2),
            "take_02.wav": wav(1, count, 3)}


# Directories

def put(directory, files):
    os.makedirs(directory, exist_ok=True)
    for name, data in files.items():
        with open(os.path.join(directory, name), "wb") as file:
            file.write(data)


def forget(directory):
    """Lets go of what the system remembers of the files, so that it asks the medium again."""
    for name in os.listdir(directory):
        path = os.path.join(directory, name)
        if os.path.isfile(path):
            with open(path, "rb") as file:
                os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def files_in(directory):
    """Bytes by name, without the date of a generated bext."""
    found = {}
    for name in os.listdir(directory):
        path = os.path.join(directory, name)
        if name != "filler" and os.path.isfile(path):
            with open(path, "rb") as file:
                data = bytearray(file.read())
            if data[12:16] == b"bext":
                data[DATE] = bytes(18)[:len(data[DATE])]
            found[name] = bytes(data)
    return found


class Session:
    """The program, led by the script. It runs from the first try to the last one."""

    def __init__(self, program):
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, bufsize=1)

    def ask(self, line):
        with contextlib.suppress(BrokenPipeError):  # it says nothing then
            print(line, file=self.process.stdin, flush=True)
        line = self.process.stdout.readline()
        if not line:
            sys.exit(f"The program ended with {self.process.wait()}.")
        return line.strip()

    def list(self, directory, function):
        request = {"do": "list", "dir": directory, "function": function}
        return json.loads(self.ask(json.dumps(request)))

    def convert(self, conversion, sources, out, yes=0, at=None, then=None):
        """Converts, and calls `then` in the middle, when the progress is at `at` bytes."""
        request = {"do": conversion, "sources": sources, "out": out, "yes": yes}
        if at is not None:
            request["pauseAt"] = at
        line = self.ask(json.dumps(request))
        if line == "paused":
            then()
            line = self.ask("")
        elif at is not None:
            raise Surprise(f"no progress of {at} bytes: {line}")
        return json.loads(line)


class Surprise(Exception):
    """Something else than what the page says."""


def expect(what, seen, expected):
    if seen != expected:
        raise Surprise(f"{what}: {seen!r:.600}, expected {expected!r:.600}")


def expect_files(what, seen, expected):
    if seen != expected:
        sizes = [{name: len(data) for name, data in files.items()} for files in (seen, expected)]
        names = [name for name in seen if name in expected and seen[name] != expected[name]]
        raise Surprise(f"{what}: {sizes[0]}, expected {sizes[1]}; other bytes: {names}")
