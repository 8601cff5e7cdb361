#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Feeds the outputs of all conversions to readers of other makers and compares what they decode
with the samples of the sources, channel by channel.

measure.py CONVERTFILES PAGE           fails unless PAGE says what is measured
measure.py CONVERTFILES PAGE --write   writes PAGE

Where readers have other versions than those that PAGE names, their words are their own, and they may
read what the earlier ones refuse. All else must be as PAGE says.
"""

import array
import collections
import ctypes
import difflib
import json
import os
import platform
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import wave

RATE = 48000
FRAMES = 40
PACKAGES = {"sox": "sox", "soxi": "sox", "ffmpeg": "ffmpeg", "ffprobe": "ffmpeg",
            "sndfile-convert": "sndfile-programs", "sndfile-info": "sndfile-programs",
            "exiftool": "libimage-exiftool-perl", "wavpack": "wavpack", "wvunpack": "wavpack"}


# Sources

def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def bext():
    return chunk(b"bext", b"A take".ljust(256, b"\0") + b"A recorder".ljust(32, b"\0")
                 + b"REF1".ljust(32, b"\0") + b"2026-01-0203:04:05" + struct.pack("<IIH", 7, 0, 0)
                 + b"\0" * 254)


def listing():
    return chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A take\0\0"))


def cue():
    return chunk(b"cue ", struct.pack("<I", 1)
                 + struct.pack("<II4sIII", 1, 10, b"data", 0, 0, 10))


def ixml():
    return chunk(b"iXML", b'<?xml version="1.0"?><BWFXML><TAPE>1</TAPE></BWFXML>  ')


class Source:
    """A kind of source: what its samples are and which chunks it has."""

    def __init__(self, name, bits, tag=1, extensible=False, before=(), after=(), frames=FRAMES):
        self.name = name
        self.bits = bits
        self.tag = tag
        self.extensible = extensible
        self.before = before
        self.after = after
        self.frames = frames

    def channel(self, number):
        """The samples of a channel, as they are stored: 16 bits of them vary."""
        state = number
        samples = []
        for _ in range(self.frames):
            state = (state * 1103515245 + 12345) & 0x7FFFFFFF
            value = (state >> 12) % 65536 - 32768
            if self.tag == 3:
                samples.append(struct.pack("<f", value / 32768))
            elif self.bits == 8:
                samples.append(bytes([(value >> 8) + 128]))
            else:
                low = state % (1 << (self.bits - 16)) if self.bits > 16 else 0
                whole = (value << (self.bits - 16)) + low
                samples.append(struct.pack("<q", whole)[:self.bits // 8])
        return samples

    def file(self, numbers):
        """A file of the channels of these numbers."""
        count = len(numbers)
        frame = count * self.bits // 8
        tag = 0xFFFE if self.extensible else self.tag
        body = struct.pack("<HHIIHH", tag, count, RATE, RATE * frame, frame, self.bits)
        if self.extensible:
            guid = struct.pack("<H", self.tag) + bytes.fromhex("000000001000800000aa00389b71")
            body += struct.pack("<HHI", 22, self.bits, (1 << count) - 1) + guid
        samples = b"".join(b"".join(f) for f in zip(*map(self.channel, numbers)))
        chunks = b"".join(self.before) + chunk(b"fmt ", body) + chunk(b"data", samples)
        chunks += b"".join(self.after)
        return b"RIFF" + struct.pack("<I", 4 + len(chunks)) + b"WAVE" + chunks


class Made(Source):
    """A kind of source that another program makes: `sox` or `ffmpeg` with these arguments."""

    def __init__(self, name, bits, *command, **format):
        super().__init__(name, bits, after=["what the program adds"], **format)
        self.command = command

    def channel(self, number):
        data = self.file([number])
        data = data[data.index(b"data") + 8:][:self.frames * self.bits // 8]
        return [data[at:at + self.bits // 8] for at in range(0, len(data), self.bits // 8)]

    def file(self, numbers):
        """A file with a tone for each of these numbers."""
        program, *encoding = self.command
        with tempfile.TemporaryDirectory() as work:
            path = os.path.join(work, "made.wav")
            if program == "sox":
                tones = [word for n in numbers for word in ("sine", str(500 * n))]
                command = ["sox", "-D", "-n", "-r", str(RATE), "-c", str(len(numbers)), *encoding,
                           path, "synth", f"{self.frames}s", *tones]
            else:
                tones = "|".join(f"sin(2*PI*{500 * n}*t)" for n in numbers)
                command = ["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                           f"aevalsrc=exprs={tones}:s={RATE}", "-af",
                           f"atrim=end_sample={self.frames}", *encoding, path]
            code, _, said = run(*command)
            if code != 0:
                sys.exit(f"{self.name}: {said}")
            with open(path, "rb") as file:
                return file.read()


def ffmpeg(codec, *metadata):
    words = [word for field in metadata for word in ("-metadata", field)]
    return ("ffmpeg", "-c:a", codec, *(words or ("-fflags", "+bitexact")))


SOURCES = [
    Source("8 bit", 8),
    Source("16 bit", 16),
    Source("24 bit", 24),
    Source("32 bit", 32),
    Source("32-bit float", 32, tag=3),
    Source("16 bit, extensible", 16, extensible=True),
    Source("24 bit, extensible", 24, extensible=True),
    Source("float, extensible", 32, tag=3, extensible=True),
    Source("16 bit with `bext`", 16, before=[bext()]),
    Source("16 bit with `LIST`", 16, after=[listing()]),
    Source("16 bit with `cue `", 16, after=[cue()]),
    Source("16 bit with `iXML`", 16, before=[ixml()]),
    Source("24 bit with all four", 24, before=[bext(), ixml()], after=[cue(), listing()]),
    Source("8 bit, odd channels", 8, frames=FRAMES + 1),
    Source("24 bit, odd channels", 24, frames=FRAMES + 1),
    Made("SoX, 8 bit", 8, "sox", "-b", "8"),
    Made("SoX, 16 bit", 16, "sox", "-b", "16"),
    Made("SoX, 24 bit, plain", 24, "sox", "-t", "wavpcm", "-b", "24"),
    Made("SoX, 24 bit, extensible", 24, "sox", "-b", "24"),
    Made("SoX, 32 bit, plain", 32, "sox", "-t", "wavpcm", "-b", "32"),
    Made("SoX, float with `fact`", 32, "sox", "-b", "32", "-e", "floating-point", tag=3),
    Made("FFmpeg, 8 bit", 8, *ffmpeg("pcm_u8")),
    Made("FFmpeg, 16 bit with `LIST`", 16, *ffmpeg("pcm_s16le", "title=Take 1")),
    Made("FFmpeg, 16 bit with `bext`", 16, *ffmpeg("pcm_s16le", "description=A take"),
         "-write_bext", "1"),
    Made("FFmpeg, 24 bit with `bext`", 24, *ffmpeg("pcm_s24le", "coding_history=A=PCM,W=24\n"),
         "-write_bext", "1"),
    Made("FFmpeg, 32 bit", 32, *ffmpeg("pcm_s32le")),
]


# Readers: each returns what it decoded, or None when it refuses the file, and what it said. The
# samples are one list of integers or floats, interleaved.

Decoded = collections.namedtuple("Decoded", "channels rate samples")


def run(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                          env=dict(os.environ, LC_ALL="C"))
    said = (done.stderr if command[0] != "exiftool" else b"").decode("utf-8", "replace").strip()
    return done.returncode, done.stdout, said


def numbers(raw, source):
    size = len(raw) // 4 * 4
    return array.array("f" if source.tag == 3 else "i", raw[:size]).tolist()


def read_sox(path, source, _work):
    encoding = "float" if source.tag == 3 else "signed"
    code, raw, said = run("sox", path, "-t", "raw", "-e", encoding, "-b", "32", "-")
    if code != 0:
        return None, said
    channels, rate = (int(run("soxi", field, path)[1]) for field in ("-c", "-r"))
    return Decoded(channels, rate, numbers(raw, source)), said


def read_ffmpeg(path, source, _work):
    code, raw, said = run("ffmpeg", "-nostdin", "-v", "warning", "-i", path, "-f",
                          "f32le" if source.tag == 3 else "s32le", "-")
    if code != 0:
        return None, said
    _, fields, _ = run("ffprobe", "-v", "error", "-of", "json", "-show_streams", path)
    stream = json.loads(fields)["streams"][0]
    return Decoded(stream["channels"], int(stream["sample_rate"]), numbers(raw, source)), said


def read_sndfile(path, source, work):
    raw = os.path.join(work, "sndfile.raw")
    code, out, said = run("sndfile-convert", "-float32" if source.tag == 3 else "-pcm32", path, raw)
    if code != 0:
        return None, (out.decode() + said)
    fields = dict(re.findall(r"^(Channels|Sample Rate) *: (\d+)$",
                             run("sndfile-info", path)[1].decode(), re.MULTILINE))
    with open(raw, "rb") as file:
        samples = numbers(file.read(), source)
    return Decoded(int(fields["Channels"]), int(fields["Sample Rate"]), samples), said


def widened(raw, source):
    """Samples as they are stored, as numbers of 32 bits."""
    if source.tag == 3:
        return numbers(raw, source)
    size = source.bits // 8
    values = []
    for at in range(0, len(raw) - size + 1, size):
        stored = raw[at:at + size]
        if size == 1:
            values.append((stored[0] - 128) << 24)
        else:
            values.append(int.from_bytes(stored, "little", signed=True) << (32 - source.bits))
    return values


def read_python(path, source, _work):
    try:
        with wave.open(path) as file:
            samples = widened(file.readframes(file.getnframes()), source)
            return Decoded(file.getnchannels(), file.getframerate(), samples), ""
    except (wave.Error, EOFError, RuntimeError) as error:
        return None, f"{type(error).__name__}: {error}".rstrip(": ")


def read_wavpack(path, source, work):
    packed = os.path.join(work, "packed.wv")
    raw = os.path.join(work, "unpacked.raw")
    code, _, said = run("wavpack", "-q", "-y", path, "-o", packed)
    if code != 0:
        return None, said
    code, _, said_too = run("wvunpack", "-q", "-y", "--raw", packed, "-o", raw)
    if code != 0:
        return None, said_too
    rate, _, _, channels = run("wvunpack", "-q", "-f", packed)[1].decode().split(";")[:4]
    with open(raw, "rb") as file:
        samples = widened(file.read(), source)
    return Decoded(int(channels), int(rate), samples), said + said_too


def read_exiftool(path, _source, _work):
    _, out, _ = run("exiftool", "-j", "-b", "-G", path)
    tags = json.loads(out)[0]
    said = tags.get("ExifTool:Error", tags.get("ExifTool:Warning", ""))
    return (None if "ExifTool:Error" in tags else tags), said


def found_in_chunks(tags):
    """Of what ExifTool found, what all outputs of a source have in common with it."""
    return {name: value for name, value in tags.items()
            if name.startswith(("RIFF:", "XML:"))
            and name not in ("RIFF:NumChannels", "RIFF:AvgBytesPerSec")}


READERS = {"SoX": read_sox, "FFmpeg": read_ffmpeg, "libsndfile": read_sndfile,
           "Python `wave`": read_python, "wavpack, wvunpack": read_wavpack,
           "ExifTool": read_exiftool}


def versions():
    """The versions of the readers, to the second number."""
    sndfile = ctypes.CDLL("libsndfile.so.1").sf_version_string
    sndfile.restype = ctypes.c_char_p
    said = {"SoX": run("sox", "--version")[1].decode(),
            "FFmpeg": run("ffmpeg", "-version")[1].decode(),
            "libsndfile": sndfile().decode(),
            "Python `wave`": platform.python_version(),
            "wavpack, wvunpack": run("wavpack", "--version")[1].decode(),
            "ExifTool": run("exiftool", "-ver")[1].decode()}
    found = {reader: re.search(r"\d+\.\d+", text) for reader, text in said.items()}
    return ", ".join(f"{reader} {number[0] if number else '?'}"
                     for reader, number in found.items())


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
AS_BEFORE = ""  # the reason of the line before

REASONS = [
    (r"^sox FAIL .*fmt chunk is too short", EXTENSIBLE),
    (r"codec none|unknown codec|Estimating duration", EXTENSIBLE),
    (r"Error while decoding|Consider increasing", AS_BEFORE),
    (r"unimplemented format|^Not able to open input file", EXTENSIBLE),
    (r"^FILE is an unsupported .WAV format", EXTENSIBLE),
    (r"^RuntimeError", RIFF_SIZE),
    (r"^Error: unknown format: (3|65534)$", INTEGER_ONLY),
    (r"missing extended part of fmt chunk", SHORT_FORMAT),
    (r"^Guessed Channel Layout", NO_LAYOUT),
    (r"Invalid PCM packet|Multiple frames in a packet", PAD_IN_SIZE),
    (r"^Data read error", PAD_OF_SOURCE),
]

INTRODUCTION = """
# What other makers' programs make of the outputs

This page is written by `tests/interoperability/measure.py`, and a test fails when it does not say
what is measured. Each source is converted by all three conversions; each output is given to the
readers, and the samples that they decode are compared with those of the source, channel by channel.

*exact*: channels and rate are right, every sample is equal, and there are as many. *reads*:
channels, rate and width are right, and what is found in the other chunks is that of the source; this
reader decodes no samples. *refuses*: no sample comes out. What a reader says, and why, is in the
notes. *Odd channels* have an odd number of bytes; the other kinds have an even one.
"""

# Newer readers may read more than these.
VERSIONS = "The versions of the readers: {}."


class Page:
    """The notes, by reason, with what the readers said, and what is in the chunks of the take."""

    def __init__(self):
        self.notes = {}
        self.unexplained = set()
        self.found_in_take = {}

    def mark(self, reason, line=""):
        lines = self.notes.setdefault(reason, [])
        if line and line not in lines:
            lines.append(line)
        return f" [{list(self.notes).index(reason) + 1}]"

    def marks(self, reader, said, path):
        """The notes on what a reader said about the file at a path."""
        marks = []
        before = None
        for line in said.splitlines():
            line = re.sub(r"0x[0-9a-f]+", "0x...", line.replace(path, "FILE")).strip()
            line = re.sub(r"\(Audio: none, .*?\)", "(...)", line)
            line = re.sub(r"(Input Stream .*: ).*", r"\1...", line)
            if not line:
                continue
            reason = next((why for pattern, why in REASONS if re.search(pattern, line)), None)
            if reason == AS_BEFORE:
                reason = before
            before = reason
            if reason is None:
                self.unexplained.add(f"{reader}: {line}")
                continue
            mark = self.mark(reason, f"{reader}: \u201c{line}\u201d")
            if mark not in marks:
                marks.append(mark)
        return "".join(marks)

    def verdict(self, reader, path, source, channels, take, work):
        """What a reader makes of the file at a path, which holds these channels of a take."""
        decoded, said = READERS[reader](path, source, work)
        marks = self.marks(reader, said, path)
        if decoded is None:
            return "refuses" + marks
        if reader == "ExifTool":
            right = (decoded.get("RIFF:NumChannels") == len(channels)
                     and decoded.get("RIFF:SampleRate") == RATE
                     and decoded.get("RIFF:BitsPerSample") == source.bits)
            if source.before or source.after:
                found = found_in_chunks(decoded)
                if path == take:  # which comes before its outputs
                    self.found_in_take = found
                right = right and self.found_in_take.items() <= found.items()
            return ("reads" if right else "**differs**") + marks
        expected = [widened(b"".join(source.channel(number)), source) for number in channels]
        if (decoded.channels, decoded.rate) != (len(channels), RATE):
            return "**differs**" + marks
        found = [decoded.samples[k::len(channels)] for k in range(len(channels))]
        more = len(found[0]) - source.frames
        common = min(len(found[0]), source.frames)
        if any(have[:common] != want[:common] for have, want in zip(found, expected)):
            return "**differs**" + marks
        if more > 0:
            return f"exact, then {more} more" + marks + self.mark(PAD_IN_SIZE)
        if more < 0:
            return f"**the last {-more} missing**" + marks + self.mark(RIFF_SIZE)
        return "exact" + marks


def tables(driver, work, page):
    """Rows of verdicts: per table, per source, per reader."""
    result = {"The sources themselves": [], "Poly to mono split, both channels": [],
              "Mono to poly combine": [], "Plain WAV to BWF": []}

    def convert(conversion, out, files):
        done = subprocess.run([driver, conversion, out, *files], capture_output=True, check=False)
        return "" if done.returncode == 0 else done.stdout.decode().strip().splitlines()[-1]

    for index, source in enumerate(SOURCES):
        here = os.path.join(work, str(index))
        out = os.path.join(here, "out")
        os.makedirs(out)
        files = {"take.wav": [1, 2], "mono_01.wav": [1], "mono_02.wav": [2]}
        for name, channels in files.items():
            with open(os.path.join(here, name), "wb") as file:
                file.write(source.file(channels))
        take, first, second = (os.path.join(here, name) for name in files)
        failures = ["", convert("split", out, [take]), convert("combine", out, [first, second]),
                    convert("copy", out, [take])]
        outputs = [[(take, [1, 2])],
                   [(f"{out}/take_01.wav", [1]), (f"{out}/take_02.wav", [2])],
                   [(f"{out}/mono_combined.wav", [1, 2])],
                   [(f"{out}/take_bwf.wav", [1, 2])]]
        for rows, paths, failure in zip(result.values(), outputs, failures):
            row = [source.name]
            if failure:
                marks = page.marks("Splicora", failure, take)
                rows.append(row + ["not converted" + marks] * len(READERS))
                continue
            for reader in READERS:
                verdicts = []
                for path, channels in paths:
                    verdict = page.verdict(reader, path, source, channels, take, work)
                    if verdict not in verdicts:
                        verdicts.append(verdict)
                row.append("; ".join(verdicts))
            rows.append(row)
    return result


def text_of(result, page):
    lines = INTRODUCTION.strip().splitlines() + ["", VERSIONS.format(versions())]
    for title, rows in result.items():
        lines += ["", f"## {title}", "", "| Source | " + " | ".join(READERS) + " |",
                  "|---" * (len(READERS) + 1) + "|"]
        lines += ["| " + " | ".join(row) + " |" for row in rows]
    lines += ["", "## Notes", ""]
    for number, (reason, said) in enumerate(page.notes.items(), 1):
        lines += [f"{number}. {reason}"] + [f"   - {line}" for line in said]
    return "\n".join(lines) + "\n"


def facts_of(text):
    """The cells of the tables without their notes, by table, source and reader."""
    facts = {}
    title = readers = None
    for line in text.splitlines():
        if line.startswith("## "):
            title = line
            readers = None
        elif line.startswith("| "):
            source, *cells = re.sub(r" \[\d+\]", "", line).strip("| ").split(" | ")
            readers = readers or cells
            facts.update(((title, source, reader), cell) for reader, cell in zip(readers, cells))
    return facts


def differences(written, measured):
    """What a page that other versions were measured for says otherwise than is measured."""
    written, measured = facts_of(written), facts_of(measured)
    for place in sorted(written.keys() | measured.keys()):
        was, now = (facts.get(place, "nothing") for facts in (written, measured))
        reads_more = now == "exact" and was.startswith(("refuses", "**the last", "exact, then"))
        if now != was and not reads_more:
            yield " ".join(place) + f": {was} in the page, {now} here\n"


def main():
    driver, page_path = sys.argv[1:3]
    missing = sorted({package for tool, package in PACKAGES.items() if not shutil.which(tool)})
    if missing:
        sys.exit("These packages are missing: " + " ".join(missing))
    page = Page()
    with tempfile.TemporaryDirectory() as work:
        measured = text_of(tables(driver, work, page), page)
    written = ""
    if sys.argv[3:] != ["--write"]:
        with open(page_path, encoding="utf-8") as file:
            written = file.read()
        if VERSIONS.format(versions()) not in written.splitlines():
            print(VERSIONS.format(versions()), "The page names others; their words are not compared.")
            sys.stdout.writelines(found := list(differences(written, measured)))
            sys.exit(f"{page_path} does not say what is measured." if found else 0)
    if page.unexplained:
        sys.exit("Not explained:\n" + "\n".join(sorted(page.unexplained)))
    if not written:
        with open(page_path, "w", encoding="utf-8") as file:
            file.write(measured)
    elif written != measured:
        sys.stdout.writelines(difflib.unified_diff(written.splitlines(True),
                                                   measured.splitlines(True), page_path,
                                                   "measured"))
        sys.exit(f"{page_path} does not say what is measured; write it again with --write.")


if __name__ == "__main__":
    main()
