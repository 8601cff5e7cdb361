#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Feeds the outputs of all conversions to readers of other makers and compares what they decode
with the samples of the sources, channel by channel.

measure.py CONVERTFILES PAGE           fails unless PAGE says what is measured
measure.py CONVERTFILES PAGE --write   writes the tables and notes of PAGE

Where readers have other versions than those that PAGE names, their words are their own, and they may
read what the earlier ones refuse. All else must be as PAGE says.
"""

import array
import collections
import ctypes
import dataclasses
import difflib
import functools
import itertools
import json
import math
import os
import pathlib
import platform
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import wave

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
sys.dont_write_bytecode = True  # into the checkout
from wavbuilder import chunk, fmt, mixed, riff

FRAMES = 40
PACKAGES = {"sox": "sox", "ffmpeg": "ffmpeg", "sndfile-convert": "sndfile-programs",
            "exiftool": "libimage-exiftool-perl", "wavpack": "wavpack", "wvunpack": "wavpack"}


def run(*command):
    """The exit status, the output and what else was said."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                          env=dict(os.environ, LC_ALL="C"))
    said = (done.stderr if command[0] != "exiftool" else b"").decode("utf-8", "replace").strip()
    return done.returncode, done.stdout, said


# Sources

BEXT = chunk(b"bext", b"A take".ljust(256, b"\0") + b"A recorder".ljust(32, b"\0")
             + b"REF1".ljust(32, b"\0") + b"2026-01-0203:04:05" + struct.pack("<IIH", 7, 0, 0)
             + b"\0" * 254)
LIST = chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A take\0\0"))
CUE = chunk(b"cue ", struct.pack("<III4sIII", 1, 1, 10, b"data", 0, 0, 10))
IXML = chunk(b"iXML", b'<?xml version="1.0"?><BWFXML><TAPE>1</TAPE></BWFXML>  ')


@dataclasses.dataclass(frozen=True)
class Source:
    """A kind of source: what its samples are and which chunks it has."""

    name: str
    bits: int
    tag: int = 1
    extensible: bool = False
    before: tuple = ()
    after: tuple = ()
    frames: int = FRAMES
    maker: tuple = ()  # SoX or FFmpeg with these arguments makes it of the plain file

    def samples(self, numbers):
        """The samples of the channels of these numbers, as they are stored."""
        return mixed(*map(self.channel, numbers), bits=self.bits)

    def channel(self, number):
        seeded = random.Random(number)
        if self.tag != 3:
            return seeded.randbytes(self.frames * self.bits // 8)
        return b"".join(struct.pack("<f", seeded.randrange(-32768, 32768) / 32768)
                        for _ in range(self.frames))

    def write(self, path, numbers):
        """Writes a file of the channels of these numbers."""
        form = fmt(len(numbers), self.bits, 0xFFFE if self.extensible else self.tag,
                   sub_tag=self.tag)
        pathlib.Path(path).write_bytes(
            riff(*self.before, form, chunk(b"data", self.samples(numbers)), *self.after))
        if self.maker:
            program, *encoding = self.maker
            plain = path + ".plain"
            os.rename(path, plain)
            options = ["-D"] if program == "sox" else ["-nostdin", "-v", "error", "-i"]
            code, _, said = run(program, *options, plain, *encoding, path)
            if code != 0:
                sys.exit(f"{self.name}: {said}")


def sox(name, bits, *encoding, tag=1):
    return Source("SoX, " + name, bits, tag, maker=("sox", "-b", str(bits), *encoding))


def ffmpeg(name, bits, codec, *options):
    return Source("FFmpeg, " + name, bits, maker=("ffmpeg", "-c:a", codec, *options))


SOURCES = [
    Source("8 bit", 8),
    Source("16 bit", 16),
    Source("24 bit", 24),
    Source("32 bit", 32),
    Source("32-bit float", 32, tag=3),
    Source("16 bit, extensible", 16, extensible=True),
    Source("24 bit, extensible", 24, extensible=True),
    Source("float, extensible", 32, tag=3, extensible=True),
    Source("16 bit with `bext`", 16, before=(BEXT,)),
    Source("16 bit with `LIST`", 16, after=(LIST,)),
    Source("16 bit with `cue `", 16, after=(CUE,)),
    Source("16 bit with `iXML`", 16, before=(IXML,)),
    Source("24 bit with all four", 24, before=(BEXT, IXML), after=(CUE, LIST)),
    Source("8 bit, odd channels", 8, frames=FRAMES + 1),
    Source("24 bit, odd channels", 24, frames=FRAMES + 1),
    sox("8 bit", 8),
    sox("16 bit", 16),
    sox("24 bit, plain", 24, "-t", "wavpcm"),
    sox("24 bit, extensible", 24),
    sox("32 bit, plain", 32, "-t", "wavpcm"),
    sox("float with `fact`", 32, "-e", "floating-point", tag=3),
    ffmpeg("8 bit", 8, "pcm_u8", "-fflags", "+bitexact"),
    ffmpeg("16 bit with `LIST`", 16, "pcm_s16le", "-metadata", "title=Take 1"),
    ffmpeg("16 bit with `bext`", 16, "pcm_s16le", "-metadata", "description=A take",
           "-write_bext", "1"),
    ffmpeg("24 bit with `bext`", 24, "pcm_s24le", "-metadata", "coding_history=A=PCM,W=24\n",
           "-write_bext", "1"),
    ffmpeg("32 bit", 32, "pcm_s32le", "-fflags", "+bitexact"),
]

# What the readers are given: of each conversion the sources, and the outputs with their channels
TABLES = {
    "The sources themselves": (None, [], {"take.wav": [1, 2]}),
    "Poly to mono split, both channels":
        ("split", ["take.wav"], {"out/take_01.wav": [1], "out/take_02.wav": [2]}),
    "Mono to poly combine":
        ("combine", ["mono_01.wav", "mono_02.wav"], {"out/mono_combined.wav": [1, 2]}),
    "Plain WAV to BWF": ("copy", ["take.wav"], {"out/take_bwf.wav": [1, 2]}),
}


# Readers: each returns what it decoded, or None when it refuses the file, and what it said. The
# samples are one array of integers of 32 bits or floats, interleaved.

Decoded = collections.namedtuple("Decoded", "channels rate samples")


def numbers_of(raw, source):
    return array.array("f" if source.tag == 3 else "i", raw[:len(raw) // 4 * 4])


def widened(raw, source):
    """Samples as they are stored, in 32 bits."""
    size = source.bits // 8
    if size == 1:
        raw = bytes(byte ^ 128 for byte in raw)
    return numbers_of(b"".join(bytes(4 - size) + raw[at:at + size]
                               for at in range(0, len(raw) - size + 1, size)), source)


def converting(command, integers, floats):
    """A reader that converts IN to OUT, an AU file, whose header is six 4-byte fields."""
    def read(path, source, work):
        words = {"IN": path, "OUT": os.path.join(work, "decoded.au"),
                 "AS": floats if source.tag == 3 else integers}
        code, output, said = run(*(words.get(word, word) for word in command.split()))
        if code != 0:
            return None, output.decode() + said
        content = pathlib.Path(words["OUT"]).read_bytes()
        _, start, _, _, rate, channels = struct.unpack_from(">4s5I", content)
        samples = numbers_of(content[start:], source)
        samples.byteswap()
        return Decoded(channels, rate, samples), said
    return read


def read_python(path, source, _work):
    try:
        with wave.open(path) as file:
            samples = widened(file.readframes(file.getnframes()), source)
            return Decoded(file.getnchannels(), file.getframerate(), samples), ""
    except (wave.Error, EOFError, RuntimeError) as error:
        return None, f"{type(error).__name__}: {error}".rstrip(": ")


def read_wavpack(path, source, work):
    packed = os.path.join(work, "packed.wv")
    code, _, said = run("wavpack", "-q", "-y", path, "-o", packed)
    if code != 0:
        return None, said
    code, raw, said_too = run("wvunpack", "-q", "--raw", packed, "-o", "-")
    if code != 0:
        return None, said_too
    rate, _, _, channels = run("wvunpack", "-q", "-f", packed)[1].decode().split(";")[:4]
    return Decoded(int(channels), int(rate), widened(raw, source)), said + said_too


@functools.cache
def read_exiftool(path, _source, _work):
    tags = json.loads(run("exiftool", "-j", "-b", "-G", path)[1])[0]
    said = tags.get("ExifTool:Error", tags.get("ExifTool:Warning", ""))
    return (None if "ExifTool:Error" in tags else tags), said


READERS = {
    "SoX": converting("sox IN -b 32 -e AS OUT", "signed", "float"),
    "FFmpeg": converting("ffmpeg -nostdin -y -v warning -i IN -c:a AS OUT", "pcm_s32be",
                         "pcm_f32be"),
    "libsndfile": converting("sndfile-convert AS IN OUT", "-pcm32", "-float32"),
    "Python `wave`": read_python,
    "wavpack, wvunpack": read_wavpack,
    "ExifTool": read_exiftool,
}


def versions():
    """The versions of the readers, to the second number."""
    sndfile = ctypes.CDLL("libsndfile.so.1").sf_version_string
    sndfile.restype = ctypes.c_char_p
    said = [run("sox", "--version")[1], run("ffmpeg", "-version")[1], sndfile(),
            platform.python_version().encode(), run("wavpack", "--version")[1],
            run("exiftool", "-ver")[1]]
    found = [re.search(r"\d+\.\d+", text.decode()) for text in said]
    return ", ".join(f"{reader} {number[0] if number else '?'}"
                     for reader, number in zip(READERS, found))


# What readers say, and why: the first pattern that is found in a line gives its reason. A line that
# none explains is an error.

EXTENSIBLE = (
    "The split and the combine write a format body of 16 bytes and keep the format tag. Of an "
    "extensible source the tag, 0xFFFE, is kept, while the part that says what it stands for is not.")
RIFF_SIZE = (
    "The RIFF size that the split writes is a running count, 4 for every chunk but `data`. It is "
    "smaller than the file, and this reader does not look beyond it.")
PAD_IN_SIZE = (
    "The split counts the pad byte of an odd channel into the size of `data`: with 8 bits it is a "
    "frame of its own, with 24 bits an incomplete one, which is dropped.")
PAD_OF_SOURCE = (
    "The pad byte after the odd `data` of a mono source is not skipped: the combine takes it for "
    "the start of a chunk header that the file does not hold whole.")
INTEGER_ONLY = "This reader knows integer PCM with the tag 1 alone."
SHORT_FORMAT = (
    "SoX looks for a longer format body of a floating-point format, even of an extensible one. The "
    "samples are read all the same.")
NO_LAYOUT = "A format body of 16 bytes does not say which loudspeakers its channels are for."

REASONS = [
    (r"^sox FAIL .*fmt chunk is too short", EXTENSIBLE),
    (r"codec none|unknown codec|Estimating duration|Consider increasing", EXTENSIBLE),
    (r"unimplemented format|^Not able to open input file", EXTENSIBLE),
    (r"^FILE is an unsupported .WAV format", EXTENSIBLE),
    (r"^RuntimeError", RIFF_SIZE),
    (r"^Error: unknown format: (3|65534)$", INTEGER_ONLY),
    (r"missing extended part of fmt chunk", SHORT_FORMAT),
    (r"^Guessed Channel Layout", NO_LAYOUT),
    (r"Invalid PCM packet|Multiple frames in a packet|Error while decoding", PAD_IN_SIZE),
    (r"^Data read error", PAD_OF_SOURCE),
]

# Newer readers may read more than these.
VERSIONS = "The versions of the readers: {}."


class Notes:
    """What the readers said, by its reason."""

    def __init__(self):
        self.lines = {}
        self.unexplained = set()

    def mark(self, reason, line=""):
        lines = self.lines.setdefault(reason, [])
        if line and line not in lines:
            lines.append(line)
        return f" [{list(self.lines).index(reason) + 1}]"

    def marks(self, reader, said, path):
        """The notes on what a reader said about the file at a path."""
        marks = {}  # in the order of the lines
        for line in said.splitlines():
            line = re.sub(r"0x[0-9a-f]+", "0x...", line.replace(path, "FILE")).strip()
            line = re.sub(r"\(Audio: none, .*?\)", "(...)", line)
            line = re.sub(r"(Input Stream .*: ).*", r"\1...", line)
            reason = next((why for pattern, why in REASONS if re.search(pattern, line)), None)
            if reason:
                marks[self.mark(reason, f"{reader}: \u201c{line}\u201d")] = None
            elif line:
                self.unexplained.add(f"{reader}: {line}")
        return "".join(marks)


def has_fields(tags, source, channels, work):
    """ExifTool finds the format, and all that the take has beside it."""
    take, _ = read_exiftool(os.path.join(work, "take.wav"), source, work)
    found = (tags.get("RIFF:NumChannels"), tags.get("RIFF:SampleRate"),
             tags.get("RIFF:BitsPerSample"))
    return take is not None and found == (len(channels), 48000, source.bits) and all(
        tags.get(name) == value for name, value in take.items()
        if name.startswith(("RIFF:", "XML:"))
        and name not in ("RIFF:NumChannels", "RIFF:AvgBytesPerSec"))


def verdict(notes, reader, path, source, channels, work):
    """What a reader makes of the file at a path, which holds these channels of the take."""
    decoded, said = READERS[reader](path, source, work)
    marks = notes.marks(reader, said, path)
    if decoded is None:
        return "refuses" + marks
    if reader == "ExifTool":
        right = has_fields(decoded, source, channels, work)
        return ("reads" if right else "**differs**") + marks
    expected = widened(source.samples(channels), source)
    common = min(len(decoded.samples), len(expected))
    if ((decoded.channels, decoded.rate) != (len(channels), 48000)
            or decoded.samples[:common] != expected[:common]):
        return "**differs**" + marks
    more = len(decoded.samples) - len(expected)
    frames = math.ceil(abs(more) / len(channels))
    if more > 0:
        return f"exact, then {frames} more" + marks + notes.mark(PAD_IN_SIZE)
    if more < 0:
        return f"**the last {frames} missing**" + marks + notes.mark(RIFF_SIZE)
    return "exact" + marks


def tables(driver, work, notes):
    """Rows of verdicts: per table, per source, per reader."""
    result = {title: [] for title in TABLES}
    for index, source in enumerate(SOURCES):
        here = os.path.join(work, str(index))
        out = os.path.join(here, "out")
        os.makedirs(out)
        for name, channels in ("take.wav", [1, 2]), ("mono_01.wav", [1]), ("mono_02.wav", [2]):
            source.write(os.path.join(here, name), channels)
        for title, (conversion, names, outputs) in TABLES.items():
            row = [source.name]
            result[title].append(row)
            if conversion:
                code, boxes, _ = run(driver, conversion, out,
                                     *(os.path.join(here, name) for name in names))
                if code != 0:
                    said = boxes.decode().strip().splitlines()[-1]
                    row += ["not converted" + notes.marks("Splicora", said, here)] * len(READERS)
                    continue
            for reader in READERS:
                verdicts = [verdict(notes, reader, os.path.join(here, name), source, channels, here)
                            for name, channels in outputs.items()]
                row.append("; ".join(dict.fromkeys(verdicts)))
    return result


def text_of(introduction, result, notes):
    lines = [introduction + VERSIONS.format(versions())]
    for title, rows in result.items():
        lines += ["", f"## {title}", "", "| Source | " + " | ".join(READERS) + " |",
                  "|---" * (len(READERS) + 1) + "|"]
        lines += ["| " + " | ".join(row) + " |" for row in rows]
    lines += ["", "## Notes", ""]
    for number, (reason, said) in enumerate(notes.lines.items(), 1):
        lines += [f"{number}. {reason}"] + [f"   - {line}" for line in said]
    return "\n".join(lines) + "\n"


def differences(written, measured):
    """The rows of a page for other versions that are not as measured, the notes aside."""
    def rows(page):
        return [re.sub(r" \[\d+\]", "", line).split(" | ") for line in page.splitlines()
                if line.startswith(("| ", "## "))]

    def agree(was, now):
        return now == was or (now == "exact"
                              and was.startswith(("refuses", "**the last", "exact, then")))
    for was, now in itertools.zip_longest(rows(written), rows(measured), fillvalue=[]):
        if len(was) != len(now) or not all(map(agree, was, now)):
            yield f"In the page: {' | '.join(was)}\nHere:        {' | '.join(now)}\n"


def main():
    driver, page_path = sys.argv[1:3]
    missing = sorted({package for tool, package in PACKAGES.items() if not shutil.which(tool)})
    if missing:
        sys.exit("These packages are missing: " + " ".join(missing))
    page = pathlib.Path(page_path)
    written = page.read_text(encoding="utf-8")
    introduction = written.partition(VERSIONS.partition("{")[0])[0]
    notes = Notes()
    with tempfile.TemporaryDirectory() as work:
        measured = text_of(introduction, tables(driver, work, notes), notes)
    is_checked = sys.argv[3:] != ["--write"]
    if is_checked and VERSIONS.format(versions()) not in written.splitlines():
        print(VERSIONS.format(versions()), "The page names others; their words are not compared.")
        sys.stdout.writelines(found := list(differences(written, measured)))
        sys.exit(f"{page_path} does not say what is measured." if found else 0)
    if notes.unexplained:
        sys.exit("Not explained:\n" + "\n".join(sorted(notes.unexplained)))
    if not is_checked:
        page.write_text(measured, encoding="utf-8")
    elif written != measured:
        sys.stdout.writelines(difflib.unified_diff(written.splitlines(True),
                                                   measured.splitlines(True), page_path,
                                                   "measured"))
        sys.exit(f"{page_path} does not say what is measured; write it again with --write.")


if __name__ == "__main__":
    main()
