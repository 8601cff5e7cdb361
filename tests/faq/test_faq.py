#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Runs every recipe of the page of questions as it is written there: test_faq.py CONVERTFILES PAGE

Those that set files right meet one set of files: what needs no repair has to stay the same to the
byte, what is broken has to become right, and each file gets its line. The copies are read by SoX,
FFmpeg and libsndfile, and converted. On exFAT the files are renamed too, where it can be mounted.
"""

import collections
import os
import pathlib
import re
import resource
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).parents[2]
sys.path.append(str(ROOT / "tests/filesystems"))
sys.dont_write_bytecode = True  # into the checkout
import mounts

WAVTOOL = ROOT / "examples/wavtool"
INSTALLED = "/usr/share/doc/splicora/"
PACKAGES = {"sox": "sox", "ffmpeg": "ffmpeg", "sndfile-convert": "sndfile-programs"}
PRODUCT = ("ui", "convert", "app")
OTHER_TEXTS = ("Choose directory.", "An error occurred during a convert operation.",
               "The converted files will appear in the same directory as the originals.",
               "Click Yes to proceed.")
MESSAGE = "An error occurred during a convert operation.\n\n{}\n"

GUID_END = bytes.fromhex("000000001000800000aa00389b71")
UNKNOWN = 0xFFFFFFFF
GIB = 1 << 30


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True,
                          stdin=subprocess.DEVNULL, **options).stdout


# Parts of files

def chunk(name, body, size=None):
    return (name + struct.pack("<I", len(body) if size is None else size) + body
            + bytes(len(body) % 2))


def sound(size, seed=1):
    """Samples of so many bytes, none of them text."""
    return bytes((n * 37 + seed) % 96 + 150 for n in range(size))


def fmt(channels=1, bits=16, tag=1, frame=None, sub_tag=1):
    frame = channels * bits // 8 if frame is None else frame
    body = struct.pack("<HHIIHH", tag, channels, 48000, 48000 * frame, frame, bits)
    if tag == 0xFFFE:
        body += struct.pack("<HHIH", 22, bits, (1 << channels) - 1, sub_tag) + GUID_END
    return chunk(b"fmt ", body)


def data(body, size=None):
    """Without the pad byte of a whole chunk."""
    return b"data" + struct.pack("<I", len(body) if size is None else size) + body


def riff(*chunks, size=None, name=b"RIFF", form=b"WAVE"):
    body = form + b"".join(chunks)
    return name + struct.pack("<I", len(body) if size is None else size) + body


def rf64(name, samples, channels=2, bits=16):
    length = len(samples)
    return riff(chunk(b"ds64", struct.pack("<QQQI", length + 72, length, 0, 0)),
                fmt(channels, bits), data(samples, UNKNOWN), name=name, size=UNKNOWN)


def wave64(samples, channels=2, bits=16):
    def part(name, end, body):
        padded = body + bytes(-len(body) % 8)
        return name + bytes.fromhex(end) + struct.pack("<Q", 24 + len(body)) + padded
    end = "f3acd3118cd100c04f8edb8a"
    parts = b"wave" + bytes.fromhex(end) + part(b"fmt ", end, fmt(channels, bits)[8:]) \
        + part(b"data", end, samples)
    return (b"riff" + bytes.fromhex("2e91cf11a5d628db04c10000")
            + struct.pack("<Q", 24 + len(parts)) + parts)


def mixed(*channels, bits=16):
    width = bits // 8
    return b"".join(channel[n:n + width] for n in range(0, len(channels[0]), width)
                    for channel in channels)


BEXT = chunk(b"bext", b"A take".ljust(602, b"\0"))
LIST = chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A take\0\0"))
IXML = chunk(b"iXML", b"<BWFXML></BWFXML> ")
ODD = chunk(b"iXML", b"<BWFXML></BWFXML>")
EVEN = chunk(b"iXML", b"<BWFXML></BWFXML>\0")
LEFT_SIDE, RIGHT_SIDE = sound(240, 1), sound(240, 2)
STEREO = mixed(LEFT_SIDE, RIGHT_SIDE)
LOUD = struct.pack("<6f", 3.5, -2.0, 0.1, 1e-9, -3.5, 1.0)
ODD_SAMPLES = sound(99)

# The set: what each command says of a file, or the copy that it makes

NOTHING, LEFT, FAILED = "nothing to do", "left alone: ", "failed: "
COMMANDS = {"repair": "Repair a recording that was cut off", "even": "Make an odd chunk even",
            "unpad": "Remove the pad byte after data", "riffsize": "Set the RIFF size"}
Case = collections.namedtuple("Case", "content results length shown")


def case(content, otherwise, length=None, shown=None, **results):
    return Case(content, {**dict.fromkeys(COMMANDS, otherwise), **results}, length, shown)


def healthy(content, **more):
    return case(content, NOTHING, **more)


def refused(content, **more):
    return case(content, LEFT, **more)


def broken(content, copy, **more):
    """Cut off: to be repaired before anything else."""
    return case(content, LEFT, **{"repair": copy, "even": NOTHING, **more})


WHOLE = riff(fmt(2), data(STEREO))
CUT = riff(fmt(2), data(STEREO, 5000))
PADDED = riff(fmt(bits=24), chunk(b"data", ODD_SAMPLES))
FILES = {
    "8 bits": healthy(riff(fmt(bits=8), data(sound(100)))),
    "16 bits": healthy(WHOLE),
    "24 bits": healthy(riff(fmt(3, bits=24), data(sound(90)))),
    "float": healthy(riff(fmt(tag=3, bits=32), data(LOUD))),
    "64-bit float": healthy(riff(fmt(tag=3, bits=64), data(sound(80)))),
    "extensible": healthy(riff(fmt(2, tag=0xFFFE), data(STEREO))),
    "compressed": healthy(riff(fmt(tag=2, bits=4, frame=256), data(sound(512)))),
    "all chunks": healthy(riff(BEXT, IXML, fmt(2), data(STEREO), LIST, IXML)),
    "odd chunk after data": healthy(riff(fmt(2), data(STEREO), ODD, LIST)),
    "odd chunk without a pad byte": healthy(riff(fmt(2), ODD[:-1], data(STEREO))),
    "no pad byte, then text": healthy(riff(fmt(2), ODD[:-1], data(STEREO[:64]))),
    "half a frame more": healthy(riff(fmt(2), data(STEREO + b"ab"))),
    "data before fmt": healthy(riff(data(STEREO), fmt(2))),
    "no samples": healthy(riff(fmt(2), data(b""))),
    "no samples but chunks": healthy(riff(fmt(2), data(b""), LIST, IXML)),

    "cut off": broken(CUT, WHOLE),
    "cut in a frame": broken(riff(BEXT, fmt(2), data(STEREO + b"\1\2\3", 5000)),
                             riff(BEXT, fmt(2), data(STEREO))),
    "cut by a byte": broken(riff(fmt(bits=24), data(ODD_SAMPLES, 100), size=136),
                            riff(fmt(bits=24), data(ODD_SAMPLES))),
    "never finished": broken(riff(fmt(2), data(STEREO, 0), size=0), WHOLE),
    "from a pipe": broken(riff(fmt(2), LIST, data(STEREO, UNKNOWN), size=UNKNOWN),
                          riff(fmt(2), LIST, data(STEREO))),
    "cut off and odd": broken(riff(ODD, fmt(2), data(STEREO, 5000)),
                              riff(ODD, fmt(2), data(STEREO)),
                              even=riff(EVEN, fmt(2), data(STEREO, 5000))),
    "-e": broken(CUT, WHOLE),
    "--": broken(CUT, WHOLE),
    " a\nb\t\x1b[31m<b>c\\ ": broken(CUT, WHOLE, shown=" a\\nb\\t\\x1b[31m<b>c\\ "),
    "caf\udce9": broken(CUT, WHOLE, shown="caf\\xe9"),
    "long" * 61: broken(CUT, WHOLE),

    "odd chunk before data": healthy(riff(fmt(2), ODD, data(STEREO)),
                                     even=riff(fmt(2), EVEN, data(STEREO))),
    "odd chunks before fmt": healthy(
        riff(ODD, BEXT, chunk(b"note", b"odd"), fmt(2), data(STEREO), LIST),
        even=riff(EVEN, BEXT, chunk(b"note", b"odd\0"), fmt(2), data(STEREO), LIST)),
    "pad byte that is text": healthy(
        riff(fmt(2), ODD[:-1] + b"x", data(STEREO[:64])),
        even=riff(fmt(2), chunk(b"iXML", b"<BWFXML></BWFXML>x"), data(STEREO[:64]))),
    "odd data before fmt": healthy(riff(chunk(b"data", ODD_SAMPLES), fmt(bits=24)), even=LEFT,
                                   unpad=riff(data(ODD_SAMPLES), fmt(bits=24))),
    "pad byte": healthy(PADDED, unpad=riff(fmt(bits=24), data(ODD_SAMPLES))),
    "pad byte and chunks": healthy(
        riff(fmt(bits=24), chunk(b"data", ODD_SAMPLES), LIST),
        unpad=riff(fmt(bits=24), data(ODD_SAMPLES), LIST)),
    "pad byte of 255": healthy(
        riff(fmt(bits=24), data(ODD_SAMPLES), b"\xff", LIST),
        unpad=riff(fmt(bits=24), data(ODD_SAMPLES), LIST)),
    "RIFF size": healthy(riff(fmt(2), data(STEREO), LIST, size=77),
                         riffsize=riff(fmt(2), data(STEREO), LIST)),
    "RIFF size 0": healthy(riff(fmt(2), data(STEREO), size=0), riffsize=WHOLE),

    "garbage at the end": healthy(WHOLE + b"\xff\xfe\xfd" * 9, riffsize=LEFT),
    "three bytes at the end": healthy(WHOLE + b"TAG", riffsize=LEFT),
    "header before the samples": healthy(riff(fmt(2), data(STEREO, 40)), riffsize=LEFT),
    "pad byte and garbage": healthy(PADDED + b"\xff\xfe\xfd" * 9, unpad=LEFT, riffsize=LEFT),
    "last chunk cut": healthy(riff(fmt(2), data(STEREO), LIST[:-4]), riffsize=LEFT),
    "no size but chunks": refused(riff(fmt(2), data(STEREO, UNKNOWN), LIST, IXML), even=NOTHING),
    "size 0 but chunks": refused(riff(fmt(2), data(STEREO, 0), LIST, ODD), even=NOTHING),
    "size 0, then a cut chunk": refused(riff(fmt(2), data(b"", 0), LIST[:-4]), even=NOTHING),
    "no fmt": refused(riff(data(STEREO)), unpad=NOTHING, riffsize=NOTHING, repair=NOTHING),
    "no fmt, cut off": refused(riff(data(STEREO, 5000))),
    "cut fmt": refused(riff(b"fmt " + struct.pack("<I", 16) + b"abc")),
    "fmt cut after data": healthy(riff(data(STEREO), b"fmt " + struct.pack("<I", 16) + b"abc"),
                                  even=LEFT, riffsize=LEFT),
    "short fmt, cut off": refused(riff(chunk(b"fmt ", fmt(2)[8:22]), data(STEREO, 5000))),
    "frame 0": healthy(riff(fmt(2, frame=0), data(STEREO))),
    "frame 0, cut off": refused(riff(fmt(2, frame=0), data(STEREO, 5000)), even=NOTHING),
    "compressed, frame 0, cut off": refused(
        riff(fmt(tag=2, bits=4, frame=0), data(STEREO, 5000)), even=NOTHING),
    "frame of another format": refused(riff(fmt(2, frame=5), data(STEREO, 5000)), even=NOTHING),
    "more bits than a frame": refused(riff(fmt(2, frame=2), data(STEREO, 5000)), even=NOTHING),
    "less than a frame": refused(riff(fmt(2), data(b"\1\2\3", 5000)), even=NOTHING),
    "no data": refused(riff(fmt(2), LIST)),
    "header alone": refused(riff()),
    "id of control bytes": refused(riff(fmt(2), b"\x1b[2J" + bytes(4), data(STEREO))),
    "big chunk before data": refused(riff(fmt(2), chunk(b"JUNK", b"", 1 << 31), data(STEREO))),
    "sizes in ds64": refused(riff(chunk(b"ds64", bytes(28)), fmt(2), data(STEREO, UNKNOWN))),
    "very many chunks": refused(riff(fmt(2), chunk(b"JUNK", b"") * 50_000, data(STEREO))),
    "data is text": broken(riff(fmt(2), data(b"\0\0" + b"LIST\0\0\0\0" * 50_000 + b"\0\0", 0)),
                           riff(fmt(2), data(b"\0\0" + b"LIST\0\0\0\0" * 50_000 + b"\0\0"))),
    "RF64": refused(rf64(b"RF64", STEREO)),
    "BW64": refused(rf64(b"BW64", STEREO)),
    "Wave64": refused(wave64(STEREO)),
    "RIFX": refused(riff(fmt(2), data(STEREO), name=b"RIFX")),
    "AIFF": refused(riff(fmt(2), data(STEREO), name=b"FORM", form=b"AIFF")),
    "AVI": refused(riff(fmt(2), data(STEREO), form=b"AVI ")),
    "MP3": refused(b"\xff\xfb\x90\x64" + sound(400)),
    "MP3 with a tag": refused(b"ID3\3\0\0\0\0\0\0" + sound(400)),
    "empty": refused(b""),
    "one byte": refused(b"R"),
    "RIFF alone": refused(b"RIFF"),
    "5 GiB": refused(riff(fmt(2), data(b"", 1000)), length=5 * GIB),
    "5 GiB, cut off": refused(riff(fmt(2), data(b"", UNKNOWN), size=UNKNOWN), length=5 * GIB),
    "5 GiB RF64": refused(rf64(b"RF64", b""), length=5 * GIB),
    "5 GiB, odd": refused(riff(fmt(2), chunk(b"JUNK", b"", UNKNOWN)), length=5 * GIB),
    "directory": refused(None),
    "pipe": refused(None),
    "device": refused(None),
    "link": case(None, NOTHING, repair=WHOLE, riffsize=LEFT, unpad=LEFT),
    "link to nowhere": case(None, FAILED),
}


class FaqTest(unittest.TestCase):
    convertfiles = None
    page = None
    why_no_mounts = ""
    followed = set()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name) / "takes"
        self.folder.mkdir()
        self.out = self.folder / "out"
        self.out.mkdir()

    # The page

    @classmethod
    def recipes(cls, title):
        """The commands below a title."""
        section = re.search(rf"^##+ {re.escape(title)}$(.*?)(?=^##|\Z)", cls.page,
                            re.MULTILINE | re.DOTALL)
        return re.findall(r"^```sh\n(.*?)^```$", section[1], re.MULTILINE | re.DOTALL)

    @classmethod
    def commands(cls, title, number=0):
        """A command of the page, and before it the line that makes the script known."""
        (alias,) = cls.recipes("Recipes")
        assert alias == f"alias wavtool={INSTALLED}examples/wavtool\n", alias
        return alias.replace(INSTALLED, f"{ROOT}/") + cls.recipes(title)[number]

    def follow(self, title, number=0, folder=None):
        """Runs a command of the page in the directory of the files."""
        self.followed.update({("Recipes", 0), (title, number)})
        return subprocess.run(["sh", "-c", self.commands(title, number)], check=False,
                              capture_output=True, stdin=subprocess.DEVNULL, timeout=200,
                              cwd=folder or self.folder, env={**os.environ, "LC_ALL": "C.UTF-8"})

    def followed_well(self, title, number=0, folder=None):
        done = self.follow(title, number, folder)
        self.assertEqual(done.returncode, 0, done.stderr[-300:])
        return done.stdout.decode()

    # The files

    def write(self, name, content, length=None):
        with open(self.folder / name, "wb") as file:
            file.write(content)
            if length:
                file.truncate(length)
        return self.folder / name

    def write_set(self):
        """The set, with names that end in .wav. Returns what belongs to each name."""
        for name, file in FILES.items():
            if file.content is not None:
                self.write(name + ".wav", file.content, file.length)
        os.mkdir(self.folder / "directory.wav")
        os.mkfifo(self.folder / "pipe.wav")
        for name, target in [("device", "/dev/zero"), ("link", "cut off.wav"),
                             ("link to nowhere", "nowhere")]:
            os.symlink(target, self.folder / f"{name}.wav")
        return {name + ".wav": file for name, file in FILES.items()}

    def snapshot(self, *but):
        """All that could change of the files below the directory."""
        seen = {}
        for path in sorted(self.folder.rglob("*")):
            about = path.lstat()
            small = stat.S_ISREG(about.st_mode) and about.st_size < GIB
            if path.relative_to(self.folder).parts[0] not in but:
                seen[path] = (about.st_mode, about.st_ino, about.st_size, about.st_blocks,
                              path.read_bytes() if small else None, about.st_mtime_ns
                              if not path.is_dir() else None)
        return seen

    def names(self, folder=None):
        return sorted(path.name for path in (folder or self.folder).iterdir() if path.is_file())

    def lines(self, output, names, indented=""):
        """What is said of each file: a line that begins with its name."""
        lines = output.decode("utf-8").splitlines()
        for line in lines:
            self.assertTrue(line.isprintable(), line)
        lines = [line for line in lines if not (indented and line.startswith(indented))]
        said = {}
        for name, file in names.items():
            start = "./" + (file.shown + ".wav" if file.shown else name) + ": "
            (said[name],) = [line[len(start):] for line in lines if line.startswith(start)]
        self.assertEqual(len(lines), len(names))
        return said

    def convert(self, conversion, *names, out=None):
        """Runs a conversion of files that can be listed. Returns the texts of its boxes."""
        done = subprocess.run(
            [self.convertfiles, conversion, out or self.out, *[self.folder / n for n in names]],
            check=False, capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
        self.assertGreaterEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode()

    def assert_readers_agree(self, path, samples, bits=16):
        """SoX, FFmpeg and libsndfile read exactly these samples. Floating point is read by FFmpeg
        alone: the others clip or scale what is louder than 1."""
        raw = path.with_suffix(".raw")
        width = "f32le" if bits == "float" else f"s{bits}le"
        readers = {"FFmpeg": lambda: run("ffmpeg", "-v", "error", "-i", path, "-f", width,
                                         "-c:a", f"pcm_{width}", "-")}
        if bits != "float":
            readers["libsndfile"] = lambda: (run("sndfile-convert", f"-pcm{bits}", path, raw),
                                             raw.read_bytes())[1]
            readers["SoX"] = lambda: run("sox", "-V1", path, "-t", "raw", "-e", "signed",
                                         "-b", bits, "-")
        for name, read in readers.items():
            with self.subTest(name):
                self.assertEqual(read(), samples)
        raw.unlink(missing_ok=True)

    # The messages

    def test_every_text_of_a_box_is_in_the_page(self):
        source = "".join(path.read_text() for folder in PRODUCT
                         for path in sorted((ROOT / folder).glob("*.cpp")))
        texts = re.findall(r'"([A-Z][^"\\]*[^."\\]\.)(?:\\n)*"', source)
        texts = [text for text in texts if text not in OTHER_TEXTS]
        texts += [f"Can not find any {kind} files." for kind in ("mono", "poly")]
        self.assertGreater(len(texts), 15)
        for text in texts:
            with self.subTest(text):
                self.assertTrue(text in self.page)

    def test_causes_of_can_not_open_file(self):
        take = riff(fmt(), data(sound(100)))
        os.mkdir(self.folder / "day2")
        for name in ("take_01.WAV", "song_1.wav", "song_Tr1.wav", "a_01.wav", "b_02.wav",
                     "day2/a_02.wav", "c_01.wav", "c_02.wav"):
            self.write(name, take)
        for why, sources, out in [
                ("ending in capitals", ["take_01.WAV"], "out"),
                ("number of one digit", ["song_1.wav"], "out"),
                ("number after a word", ["song_Tr1.wav"], "out"),
                ("two takes", ["a_01.wav", "b_02.wav"], "out"),
                ("two directories", ["a_01.wav", "day2/a_02.wav"], "out"),
                ("output to a file", ["c_01.wav", "c_02.wav"], "b_02.wav"),
        ]:
            with self.subTest(why):
                self.assertEqual(self.convert("combine", *sources, out=self.folder / out),
                                 MESSAGE.format("Can not open file."))
        self.assertEqual(self.convert("combine", "c_01.wav", "c_02.wav"), "")

    # The recipes over the set

    def test_set_is_large(self):
        self.assertGreater(len(FILES), 60)

    def check_command(self, command):
        """Each file gets its line, those that need it a copy; nothing else changes."""
        names = self.write_set()
        directory = self.commands(COMMANDS[command]).split()[-1]
        before = self.snapshot()
        done = self.follow(COMMANDS[command])
        self.assertEqual((done.returncode, done.stderr), (1, b""))  # some were left alone
        self.assertEqual(self.snapshot(directory), before)
        self.check_copies(command, names, self.folder / directory)
        for name, said in self.lines(done.stdout, names).items():
            result = names[name].results[command]
            with self.subTest(name):
                if isinstance(result, bytes):
                    self.assertRegex(said, " written, ")
                elif result == NOTHING:
                    self.assertEqual(said, NOTHING)
                else:
                    self.assertTrue(said.startswith(result), said)

        after = self.snapshot()
        again = self.follow(COMMANDS[command])
        self.assertEqual((again.returncode, again.stderr), (1, b""))
        self.assertEqual(self.snapshot(), after)
        for name, said in self.lines(again.stdout, names).items():
            if isinstance(names[name].results[command], bytes):
                self.assertTrue(said.startswith(LEFT), said)
        return self.folder / directory

    def check_copies(self, command, names, directory):
        copies = {name: file.results[command] for name, file in names.items()
                  if isinstance(file.results[command], bytes)}
        self.assertEqual(self.names(directory), sorted(copies))
        for name, content in copies.items():
            with self.subTest(name):
                self.assertEqual((directory / name).read_bytes(), content)
                self.assertEqual((directory / name).stat().st_mtime_ns,
                                 (self.folder / name).stat().st_mtime_ns)

    def check_conversions(self, directory, but=()):
        """Splicora lists the copies, and splits or combines what the file was made of."""
        for name in self.names(directory):
            if name in but:
                continue
            with self.subTest(name):
                content = (directory / name).read_bytes()
                if STEREO in content:
                    self.write("take.wav", content)
                    self.assertEqual(self.convert("split", "take.wav"), "")
                    self.assert_samples("take_01.wav", LEFT_SIDE)
                    self.assert_samples("take_02.wav", RIGHT_SIDE)
                elif ODD_SAMPLES in content:
                    self.write("take_01.wav", content)
                    self.write("take_02.wav", content)
                    self.assertEqual(self.convert("combine", "take_01.wav", "take_02.wav"), "")
                    self.assert_samples("take_combined.wav",
                                        mixed(ODD_SAMPLES, ODD_SAMPLES, bits=24))
                else:
                    self.write("take.wav", content)
                    self.assertEqual(self.convert("split", "take.wav"), "")
            for output in self.out.iterdir():
                output.unlink()

    def assert_samples(self, name, samples):
        content = (self.out / name).read_bytes()
        self.assertEqual(content[content.index(b"data"):][:8 + len(samples)], data(samples))

    def test_repair_a_recording_that_was_cut_off(self):
        directory = self.check_command("repair")
        self.check_conversions(directory, ["cut off and odd.wav"])
        self.assert_readers_agree(directory / "from a pipe.wav", STEREO)
        self.assert_readers_agree(directory / "cut by a byte.wav", ODD_SAMPLES, bits=24)

    def test_make_an_odd_chunk_even(self):
        directory = self.check_command("even")
        self.check_conversions(directory, ["cut off and odd.wav"])
        self.assert_readers_agree(directory / "odd chunks before fmt.wav", STEREO)

    def test_remove_the_pad_byte_after_data(self):
        self.write("take_01.wav", PADDED)
        self.assertEqual(self.convert("combine", "take_01.wav"), MESSAGE.format("Data read error."))
        (self.folder / "take_01.wav").unlink()
        directory = self.check_command("unpad")
        self.check_conversions(directory, ["odd data before fmt.wav"])
        self.assert_readers_agree(directory / "pad byte.wav", ODD_SAMPLES, bits=24)

    def test_set_the_riff_size(self):
        self.check_conversions(self.check_command("riffsize"))

    def test_set_the_riff_size_of_outputs(self):
        self.write("take.wav", riff(BEXT, fmt(2), data(STEREO), LIST))
        self.assertEqual(self.convert("split", "take.wav", out=self.folder), "")
        os.unlink(self.folder / "take.wav")
        said = self.followed_well("Set the RIFF size")
        self.assertEqual(said.count(" written, "), 2)
        copy = self.folder / "right/take_02.wav"
        self.assertEqual(copy.read_bytes(), riff(BEXT, fmt(1), data(RIGHT_SIDE), LIST))
        self.assert_readers_agree(copy, RIGHT_SIDE)

    def test_repair_and_make_even(self):
        self.write("take.wav", riff(ODD, fmt(2), data(STEREO, 5000)))
        self.followed_well("Repair a recording that was cut off")
        self.followed_well("Make an odd chunk even", folder=self.folder / "repaired")
        self.assertEqual((self.folder / "repaired/readable/take.wav").read_bytes(),
                         riff(EVEN, fmt(2), data(STEREO)))

    def test_set_the_format_tag_of_an_extensible_split(self):
        for sub_tag, bits, samples in (1, 16, STEREO), (3, 32, LOUD):
            with self.subTest(sub_tag):
                self.write("take.wav", riff(fmt(2, bits, 0xFFFE, sub_tag=sub_tag), data(samples)))
                self.assertEqual(self.convert("split", "take.wav", out=self.folder), "")
                self.write("take_03.wav", riff(fmt(1, bits), data(samples)))
                self.write("take_04.wav", riff(fmt(1, 8, 0xFFFE)[:4] + struct.pack("<I", 16)
                                               + fmt(1, 8, 0xFFFE)[8:24], data(samples)))
                self.write("take_05.wav", b"")
                self.write("take_06.wav", riff(fmt(1, bits, 0xFFFE), data(samples)))
                before = self.snapshot("tagged")
                done = self.follow("Set the format tag of an extensible split")
                self.assertEqual((done.returncode, done.stderr), (1, b""))
                self.assertEqual(self.snapshot("tagged"), before)
                said = [line.split(": ", 1)[1][:9] for line in done.stdout.decode().splitlines()]
                self.assertEqual(said, ["tagged/ta", "tagged/ta", NOTHING[:9], LEFT[:9], LEFT[:9],
                                        NOTHING[:9]])
                self.assertEqual(self.names(self.folder / "tagged"), ["take_01.wav", "take_02.wav"])
                for number in 1, 2:
                    width = bits // 8
                    channel = b"".join(samples[n:n + width] for n in range(
                        (number - 1) * width, len(samples), 2 * width))
                    self.assert_readers_agree(self.folder / f"tagged/take_0{number}.wav", channel,
                                              bits if sub_tag == 1 else "float")
                after = self.snapshot()
                self.follow("Set the format tag of an extensible split")
                self.assertEqual(self.snapshot(), after)
                shutil.rmtree(self.folder / "tagged")
                for path in self.folder.glob("take*"):
                    path.unlink()

    def test_format_tag_needs_an_extensible_source(self):
        extensible = fmt(2, 16, 0xFFFE)
        self.write("take_01.wav", riff(extensible[:4] + struct.pack("<I", 16) + extensible[8:24],
                                       data(STEREO)))
        for source in (WHOLE, b"", riff(fmt(2, 16, 0xFFFE, sub_tag=2), data(STEREO)),
                       riff(extensible[:-1] + b"\0", data(STEREO))):
            self.write("take.wav", source)
            done = self.follow("Set the format tag of an extensible split")
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertFalse((self.folder / "tagged").exists())

    def test_look_into_a_file(self):
        names = self.write_set()
        before = self.snapshot()
        done = self.follow("Look into a file")
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertEqual(self.snapshot(), before)
        self.assertLess(done.stdout.count(b"\n"), 3000)
        for name, said in self.lines(done.stdout, names, "    ").items():
            with self.subTest(name):
                results = names[name].results
                wanted = [command for command in COMMANDS if isinstance(results[command], bytes)]
                advised = re.search(r"\bwavtool (.*)", said)
                self.assertEqual(advised[1].split(", ") if advised else [], wanted)
                if name.split(".")[0] in ("RF64", "BW64", "Wave64", "RIFX", "AIFF", "MP3"):
                    self.assertIn(name.split(".")[0] + ", not RIFF/WAVE", said)
                self.assertEqual(said == NOTHING,
                                 all(result == NOTHING for result in results.values()))

    def test_look_into_chunks(self):
        self.write("a.wav", riff(BEXT, ODD, fmt(2), data(STEREO, 5000)))
        self.write("b.wav", riff(fmt(2), data(STEREO, 0), size=0))
        self.write("c.wav", WHOLE + b"abc")
        self.write("d.wav", riff(fmt(2), data(chunk(b"like", bytes(2)) + b"\xff" * 90, 0)))
        chunks = [line.strip() for line in self.followed_well("Look into a file").splitlines()
                  if line.startswith("    ")]
        form = "format tag 1, 2 channels, 48000 Hz, 16 bits, 4 bytes a frame"
        self.assertEqual(chunks, [
            "RIFF 1152", "bext 602", "iXML 17, odd", "fmt  16", form,
            "data 5000, but the file holds 480",
            "RIFF 0, but the file holds 516", "fmt  16", form, "data 0",
            "480 bytes that are no chunk",
            "RIFF 516, but the file holds 519", "fmt  16", form, "data 480",
            "3 bytes that are no chunk",
            "RIFF 136", "fmt  16", form, "data 0", "100 bytes that are no chunk"])

    # FFmpeg

    def test_recover_what_the_header_leaves_out(self):
        stopped = self.write("stopped.wav", riff(fmt(2), data(STEREO, 40), size=76))
        before = self.snapshot("recovered.wav")
        self.followed_well("Recover what the header leaves out")
        self.assertEqual(self.snapshot("recovered.wav"), before)
        self.assertEqual(stopped.stat().st_size, 524)
        self.assert_readers_agree(self.folder / "recovered.wav", STEREO)
        self.assertEqual(self.convert("split", "recovered.wav"), "")
        self.assert_samples("recovered_02.wav", RIGHT_SIDE)
        self.assert_second_run_changes_nothing("Recover what the header leaves out")

    def test_rewrite_a_file(self):
        wide = mixed(sound(300, 1), sound(300, 2), bits=24)
        for why, content, samples, bits in [
                ("RF64", rf64(b"RF64", STEREO), STEREO, 16),
                ("BW64", rf64(b"BW64", STEREO), STEREO, 16),
                ("Wave64", wave64(STEREO), STEREO, 16),
                ("Wave64 of 24 bits", wave64(wide, bits=24), wide, 24),
                ("garbage at the end", WHOLE + b"\xff\xfe\xfd" * 9, STEREO, 16),
                ("big chunk after data", riff(fmt(2), data(STEREO), chunk(b"JUNK", b"", 1 << 31)),
                 STEREO, 16),
                ("loud float", riff(fmt(2, 32, tag=3), data(LOUD), b"garbage at the end"), LOUD,
                 "float"),
        ]:
            with self.subTest(why):
                self.write("unreadable.wav", content)
                before = self.snapshot("readable.wav")
                self.followed_well("Rewrite a file")
                self.assertEqual(self.snapshot("readable.wav"), before)
                self.assert_readers_agree(self.folder / "readable.wav", samples, bits)
                self.assertEqual(self.convert("split", "readable.wav"), "")
                width = 4 if bits == "float" else bits // 8
                self.assert_samples("readable_01.wav", b"".join(
                    samples[n:n + width] for n in range(0, len(samples), 2 * width)))
                self.assert_second_run_changes_nothing("Rewrite a file")
                for path in self.folder / "readable.wav", *self.out.iterdir():
                    path.unlink()

    def test_decode_a_compressed_file(self):
        tone = mixed(*2 * [b"".join(struct.pack("<h", n % 200 * 100) for n in range(5000))])
        self.write("plain.wav", riff(fmt(2), data(tone)))
        for why, options in [("ADPCM", ["-c:a", "adpcm_ms"]), ("an MP3 file", ["-f", "mp3"]),
                             ("A-law", ["-c:a", "pcm_alaw"])]:
            with self.subTest(why):
                run("ffmpeg", "-y", "-i", "plain.wav", *options, "compressed.wav", cwd=self.folder)
                expected = run("ffmpeg", "-i", "compressed.wav", "-f", "s16le", "-",
                               cwd=self.folder)
                self.followed_well("Decode a compressed file")
                self.assertGreater(len(expected), 19_000)
                self.assert_readers_agree(self.folder / "decoded.wav", expected)
                self.assertEqual(self.convert("split", "decoded.wav"), "")
                self.assert_samples("decoded_01.wav", b"".join(
                    expected[n:n + 2] for n in range(0, len(expected), 4)))
                self.assert_second_run_changes_nothing("Decode a compressed file")
                for path in self.folder / "decoded.wav", *self.out.iterdir():
                    path.unlink()

    def assert_second_run_changes_nothing(self, title):
        before = self.snapshot()
        self.follow(title)
        self.assertEqual(self.snapshot(), before)

    # Names

    def check_rename(self, folder):
        """Names as recorders make them, on any file system."""
        names = {
            "A_01.WAV": "A_01.wav", "A_02.Wav": "A_02.wav", "A_3.wav": "A_03.wav",
            "A_004.wav": "A_04.wav", "A_05.wav": "A_05.wav",
            "ZOOM1_Tr1.WAV": "ZOOM1_01.wav", "ZOOM1_Tr2.WAV": "ZOOM1_02.wav",
            "my take_Track 7.wav": "my take_07.wav", "-n_ch1.wav": "-n_01.wav",
            "<b>\n\t_1.WAV" if folder == self.folder else "<b_1.WAV".replace("<", "("):
                "<b>\n\t_01.wav" if folder == self.folder else "(b_01.wav",
            # left alone
            "B_Boom.WAV": None, "B_10.wav": None, "B_0.wav": None, "B.WAV": None, "7.wav": None,
            "C_Mix1.wav": None, "C_Tr1.wav": None, "D_1.WAV": None, "D_01.wav": "D_01.wav",
            "E_1.WAV": None, "e_01.wav": "e_01.wav",
        }
        for name in names:
            (folder / name).write_bytes(name.encode())
        (folder / "dir_1.wav").mkdir()
        done = self.follow("Rename a whole folder", folder=folder)
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        now = {new or old: old for old, new in names.items()}
        self.assertEqual(self.names(folder), sorted(now))
        for new, old in now.items():
            self.assertEqual((folder / new).read_bytes(), old.encode())
        self.assertEqual(len(done.stdout.splitlines()), len(names) + 1)
        self.assertEqual(done.stdout.count(NOTHING.encode()), 3)
        self.assertEqual(done.stdout.count(LEFT.encode()), 1 + list(names.values()).count(None))
        self.assertEqual(done.stdout.count(b": now "), sum(new not in (None, old)
                                                            for old, new in names.items()))
        again = self.follow("Rename a whole folder", folder=folder)
        self.assertEqual((again.returncode, again.stdout.count(b": now ")), (1, 0))
        self.assertEqual(self.names(folder), sorted(now))

    def check_number(self, folder):
        files = self.commands("Rename a whole folder", 1).split()[-3:]
        for name in files:
            (folder / name).write_bytes(riff(fmt(), data(sound(20, len(name)))))
        done = self.follow("Rename a whole folder", 1, folder)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        take = [f"Scene_0{number}.wav" for number in (1, 2, 3)]
        self.assertEqual(self.names(folder), take)
        for name, new in zip(files, take):
            self.assertEqual((folder / new).read_bytes(), riff(fmt(), data(sound(20, len(name)))))
            self.assertIn(f"{name}: now ./{new}\n".encode(), done.stdout)
        again = self.follow("Rename a whole folder", 1, folder)
        self.assertEqual((again.returncode, len(again.stdout.splitlines())), (1, 3))
        self.assertEqual(self.names(folder), take)
        (folder / files[1]).write_bytes(b"another")
        self.follow("Rename a whole folder", 1, folder)
        self.assertEqual((folder / files[1]).read_bytes(), b"another")

    def test_rename_a_whole_folder(self):
        self.check_rename(self.folder)

    def test_number_a_take(self):
        self.check_number(self.folder)
        self.assertEqual(self.convert("combine", "Scene_01.wav", "Scene_02.wav"), "")

    def test_renamed_take_is_combined(self):
        for number in "12":
            self.write(f"my take_Tr{number}.WAV", riff(fmt(), data(sound(240, int(number)))))
        self.followed_well("Rename a whole folder")
        self.assertEqual(self.convert("combine", "my take_01.wav", "my take_02.wav"), "")
        self.assert_samples("my take_combined.wav", STEREO)

    def test_rename_where_nothing_matches(self):
        done = self.follow("Rename a whole folder")
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertEqual(done.stdout.count(b"\n"), 1)

    def test_exfat(self):
        if self.why_no_mounts:
            self.skipTest(self.why_no_mounts)
        exfat, why = mounts.available(mounts.Exfat, str(self.folder))
        if not exfat:
            self.skipTest(why)
        self.addCleanup(exfat.clean)
        card = pathlib.Path(exfat.root)
        for check in self.check_rename, self.check_number:
            exfat.prepare()
            exfat.mount()
            check(card)
            exfat.unmount()
        exfat.prepare()
        exfat.mount()
        (card / "a.wav").write_bytes(CUT)
        (card / "b.wav").write_bytes(riff(fmt(2), data(STEREO * 1000, 1 << 30)))
        (card / "c.wav").write_bytes(CUT)
        self.assertIn(" written, ", self.follow("Repair a recording that was cut off", 0,
                                                card).stdout.decode())
        for path in (card / "repaired").iterdir():
            path.unlink()
        before = {path: path.read_bytes() for path in card.iterdir() if path.suffix == ".wav"}
        exfat.fill(3 * mounts.CLUSTER)
        done = self.follow("Repair a recording that was cut off", folder=card)
        said = [line.split(": ")[1] for line in done.stdout.decode().splitlines()]
        self.assertEqual(done.returncode, 1)
        self.assertEqual(said, ["repaired/a.wav written, 480 bytes of samples", "failed",
                                "repaired/c.wav written, 480 bytes of samples"])
        self.assertEqual(self.names(card / "repaired"), ["a.wav", "c.wav"])
        self.assertEqual({path: path.read_bytes() for path in before}, before)
        exfat.unmount()

    # What happens while a copy is written

    def start_long_repair(self):
        """Starts the repair of a file that takes a while, and waits for the copy to begin."""
        self.write("long.wav", riff(fmt(2), data(b"", UNKNOWN)), 256 << 20)
        running = subprocess.Popen([WAVTOOL, "repair", "long.wav", "repaired"], cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.part = self.folder / "repaired/long.wav.part"
        while not self.part.exists():
            self.assertIsNone(running.poll())
        return running

    def test_ended_while_a_copy_is_written(self):
        for ending in signal.SIGTERM, signal.SIGINT, signal.SIGHUP:
            before = self.snapshot("long.wav", "repaired")
            running = self.start_long_repair()
            running.send_signal(ending)
            self.assertEqual((*running.communicate(), running.returncode), (b"", b"", 130))
            self.assertEqual(self.names(self.folder / "repaired"), [])
            self.assertEqual(self.snapshot("long.wav", "repaired"), before)

    def test_killed_while_a_copy_is_written(self):
        running = self.start_long_repair()
        running.kill()
        self.assertEqual(running.communicate(), (b"", b""))
        self.assertEqual(self.names(self.folder / "repaired"), ["long.wav.part"])
        done = self.follow("Repair a recording that was cut off")
        self.assertIn(f"./long.wav: {LEFT}repaired/long.wav.part exists", done.stdout.decode())
        self.part.unlink()

    def test_recorder_still_writes(self):
        running = self.start_long_repair()
        with open(self.folder / "long.wav", "ab") as file:
            file.write(STEREO)
        said = running.communicate()[0].decode()
        self.assertEqual((said, running.returncode),
                         (f"long.wav: {LEFT}it changed while it was read\n", 1))
        self.assertEqual(self.names(self.folder / "repaired"), [])
        self.assertEqual((self.folder / "long.wav").stat().st_size, (256 << 20) + len(STEREO))

    def limited(self, kind, limit, *words):
        return subprocess.run([WAVTOOL, *words], cwd=self.folder, capture_output=True, check=False,
                              preexec_fn=lambda: resource.setrlimit(kind, (limit, limit)))

    def test_disk_is_full(self):
        for name, content in ("a", CUT), ("b", riff(fmt(2), data(bytes(20_000), 0))), ("c", CUT):
            self.write(name + ".wav", content)
        before = self.snapshot("repaired")
        done = self.limited(resource.RLIMIT_FSIZE, 10_000, "repair", "a.wav", "b.wav", "c.wav",
                            "repaired")
        said = [line.split(": ")[1] for line in done.stdout.decode().splitlines()]
        self.assertEqual([text.split()[0] for text in said],
                         ["repaired/a.wav", "failed", "repaired/c.wav"])
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertEqual(self.names(self.folder / "repaired"), ["a.wav", "c.wav"])
        self.assertEqual(self.snapshot("repaired"), before)

    def test_memory_is_constant(self):
        self.write("long.wav", riff(fmt(2), data(b"", UNKNOWN)), 300 << 20)
        for words in ["list", "long.wav"], ["repair", "long.wav", "repaired"]:
            done = self.limited(resource.RLIMIT_AS, 150 << 20, *words)
            self.assertEqual((done.returncode, done.stderr), (0, b""), done)
        with open(self.folder / "repaired/long.wav", "rb") as file:
            self.assertEqual(file.read(44), riff(fmt(2), data(b"", (300 << 20) - 44),
                                                 size=(300 << 20) - 8))

    # The words

    def wavtool(self, *words, **more):
        return subprocess.run([WAVTOOL, *words], cwd=self.folder, capture_output=True, check=False,
                              stdin=subprocess.DEVNULL, **more)

    def test_names_with_a_dash(self):
        self.write("-e.wav", CUT)
        self.write("--help", WHOLE)
        for words in ["-e.wav", "--help"], ["--", "-e.wav", "--help"]:
            done = self.wavtool("list", *words)
            self.assertEqual((done.returncode, done.stdout.count(b"\n-") + 1), (0, 2), done)

    def test_wrong_words(self):
        self.write("a.wav", CUT)
        self.write("b.wav", CUT)
        self.write("notes", b"")
        self.write("extensible.wav", riff(fmt(2, tag=0xFFFE), data(STEREO)))
        before = self.snapshot()
        for words in ([], ["repair"], ["repair", "a.wav"], ["repair", "a.wav", "b.wav"],
                      ["repair", "a.wav", "notes"],
                      ["repair", "a.wav", "c.wav"], ["mend", "a.wav", "out"], ["--repair", "a.wav"],
                      ["formattag", "extensible.wav", "out"], ["number", "T"],
                      ["number", "", "a.wav"],
                      ["number", "../T", "a.wav"], ["number", "T", "a.wav", "out/b.wav"],
                      ["number", "T", "a.wav", "a.wav"],
                      ["number", "T", *map(str, range(9))]):
            with self.subTest(words):
                done = self.wavtool(*words)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertNotIn(b"Traceback", done.stderr)
                self.assertEqual(self.snapshot(), before)
        self.assertEqual(self.wavtool("--help").returncode, 0)

    def test_copies_never_replace_a_file(self):
        self.write("a.wav", CUT)
        self.write("out/a.wav", b"another")
        os.symlink("nowhere", self.out / "b.wav")
        self.write("b.wav", CUT)
        before = self.snapshot()
        for directory in "out", ".", "./":
            done = self.wavtool("repair", "a.wav", "b.wav", directory)
            self.assertEqual((done.returncode, done.stdout.count(LEFT.encode())), (1, 2))
            self.assertEqual(self.snapshot(), before)

    def test_output_that_can_not_be_written(self):
        self.write("a.wav", CUT)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([WAVTOOL, "list", "a.wav"], cwd=self.folder, stdout=full,
                                  stderr=subprocess.PIPE, check=False)
        self.assertEqual((done.returncode, done.stderr.count(b"\n")), (1, 1))

    # The whole page

    def test_zz_every_recipe_was_followed(self):
        titles = re.findall(r"^##+ (.*)$", self.page[self.page.index("\n## Recipes\n"):],
                            re.MULTILINE)
        every = {(title, number) for title in titles
                 for number in range(len(self.recipes(title)))}
        self.assertEqual(self.followed, every)
        self.assertEqual(len(every), self.page.count("\n```sh\n"))

    def test_every_link_leads_to_a_title_or_a_file(self):
        anchors = {re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-")
                   for title in re.findall(r"^#+ (.*)$", self.page, re.MULTILINE)}
        links = re.findall(r"\]\(#([^)]*)\)", self.page)
        self.assertGreater(len(links), 10)
        for other in ROOT / "README.md", *(ROOT / "docs").glob("*.md"):
            links += re.findall(r"faq\.md#([^)]*)\)", other.read_text(encoding="utf-8"))
        for link in links:
            with self.subTest(link):
                self.assertIn(link, anchors)
        for link in re.findall(r"\]\(([^#)][^)]*)\)", self.page):
            self.assertTrue((ROOT / "docs" / link).is_file(), link)


if __name__ == "__main__":
    missing = sorted({package for tool, package in PACKAGES.items() if not shutil.which(tool)})
    if missing:
        sys.exit("Please install these packages: " + " ".join(missing))
    FaqTest.why_no_mounts = mounts.enter_own_view()
    FaqTest.convertfiles = sys.argv.pop(1)
    FaqTest.page = pathlib.Path(sys.argv.pop(1)).read_text(encoding="utf-8")
    unittest.main(verbosity=2)
