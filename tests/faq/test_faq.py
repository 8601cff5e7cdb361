#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Runs every recipe of the page of questions as it is written there: test_faq.py CONVERTFILES PAGE

Those that set files right meet one set of files: what needs no repair has to stay the same to the
byte, what is broken has to become right, and each file gets its line. The copies are read by SoX,
FFmpeg and libsndfile, and converted. On exFAT the files are renamed too, where it can be mounted.
"""

import collections
import contextlib
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
sys.path += [str(ROOT / "tests/filesystems"), str(ROOT / "tests/support")]
sys.dont_write_bytecode = True  # into the checkout
import mounts
from texts import ERRORS, TEXTS
from wavbuilder import channel_of, chunk, data, fmt, mixed, riff, write_sparse

WAVTOOL = ROOT / "examples/wavtool"
INSTALLED = "/usr/share/doc/splicora/"
PACKAGES = {"sox": "sox", "ffmpeg": "ffmpeg", "sndfile-convert": "sndfile-programs"}
PRODUCT = ("ui", "convert", "app")
NO_MESSAGES = {TEXTS[name].strip() for name in ("chooseDirectory", "failed", "sameDir", "clickYes")}

UNKNOWN = 0xFFFFFFFF
GIB = 1 << 30


def run(*command, content=b"", folder=None):
    return subprocess.run(command, check=True, capture_output=True, input=content,
                          cwd=folder).stdout


# Parts of files

def sound(size, seed=1):
    """Samples of so many bytes, none of them text."""
    return bytes((n * 37 + seed) % 96 + 150 for n in range(size))


def short_fmt(*format):
    """The first 16 bytes of an extensible format, as a split keeps it."""
    return chunk(b"fmt ", fmt(*format, tag=0xFFFE)[8:24])


def made_by_ffmpeg(content, *options):
    """A file in another format."""
    with tempfile.NamedTemporaryFile(suffix=".wav") as file:
        run("ffmpeg", "-y", "-i", "-", "-fflags", "+bitexact", *options, file.name, content=content)
        return pathlib.Path(file.name).read_bytes()


BEXT = chunk(b"bext", b"A take".ljust(602, b"\0"))
LIST = chunk(b"LIST", b"INFO" + chunk(b"INAM", b"A take\0\0"))
DS64 = chunk(b"ds64", struct.pack("<QQQI", 552, 480, 0, 0))
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
Case = collections.namedtuple("Case", "content results length")
# Names that are not printed as they are
SHOWN = {" a\nb\t\x1b[31m<b>c\\ .wav": " a\\nb\\t\\x1b[31m<b>c\\ .wav",
         "caf\udce9.wav": "caf\\xe9.wav", "<b>\n\t_1.WAV": "<b>\\n\\t_1.WAV"}


def case(content, otherwise, length=None, **results):
    return Case(content, {**dict.fromkeys(COMMANDS, otherwise), **results}, length)


def healthy(content, **more):
    return case(content, NOTHING, **more)


def refused(content, **more):
    return case(content, LEFT, **more)


def broken(content, copy):
    """Cut off: to be repaired before anything else."""
    return case(content, LEFT, repair=copy, even=NOTHING)


WHOLE = riff(fmt(2), data(STEREO))
CUT = riff(fmt(2), data(STEREO, 5000))
PADDED = riff(fmt(bits=24), chunk(b"data", ODD_SAMPLES))
FILES = {
    "16 bits": healthy(WHOLE),
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
    "cut off and odd": case(riff(ODD, fmt(2), data(STEREO, 5000)), LEFT,
                            repair=riff(ODD, fmt(2), data(STEREO)),
                            even=riff(EVEN, fmt(2), data(STEREO, 5000))),
    " a\nb\t\x1b[31m<b>c\\ ": broken(CUT, WHOLE),
    "caf\udce9": broken(CUT, WHOLE),
    "long" * 61: broken(CUT, WHOLE),

    "odd chunks before data": healthy(
        riff(ODD, BEXT, fmt(2), chunk(b"note", b"odd"), data(STEREO), LIST),
        even=riff(EVEN, BEXT, fmt(2), chunk(b"note", b"odd\0"), data(STEREO), LIST)),
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

    "garbage at the end": healthy(WHOLE + b"\xff\xfe\xfd" * 9, riffsize=LEFT),
    "seven bytes at the end": healthy(WHOLE + b"TAGTAGT", riffsize=LEFT),
    "header before the samples": healthy(riff(fmt(2), data(STEREO, 40)), riffsize=LEFT),
    "pad byte and garbage": healthy(PADDED + b"\xff\xfe\xfd" * 9, unpad=LEFT, riffsize=LEFT),
    "last chunk cut": healthy(riff(fmt(2), data(STEREO), LIST[:-4]), riffsize=LEFT),
    "no size but chunks": refused(riff(fmt(2), data(STEREO, UNKNOWN), LIST, IXML), even=NOTHING),
    "size 0 but chunks": refused(riff(fmt(2), data(STEREO, 0), LIST, ODD), even=NOTHING),
    "size 0, then a cut chunk": refused(riff(fmt(2), data(b"", 0), LIST[:-4]), even=NOTHING),
    "no fmt, cut off": refused(riff(data(STEREO, 5000))),
    "fmt cut after data": healthy(riff(data(STEREO), b"fmt " + struct.pack("<I", 16) + b"abc"),
                                  even=LEFT, riffsize=LEFT),
    "short fmt, cut off": refused(riff(chunk(b"fmt ", fmt(2)[8:22]), data(STEREO, 5000))),
    "frame 0": refused(riff(fmt(tag=2, bits=4, frame=0), data(STEREO, 5000)), even=NOTHING),
    "frame of another format": refused(riff(fmt(2, frame=5), data(STEREO, 5000)), even=NOTHING),
    "more bits than a frame": refused(riff(fmt(2, frame=2), data(STEREO, 5000)), even=NOTHING),
    "less than a frame": refused(riff(fmt(2), data(b"\1\2\3", 5000)), even=NOTHING),
    "no data": refused(riff(fmt(2), LIST)),
    "id of control bytes": refused(riff(fmt(2), b"\x1b[2J" + bytes(4), data(STEREO))),
    "sizes in ds64": refused(riff(DS64, fmt(2), data(STEREO, UNKNOWN))),
    "very many chunks": refused(riff(fmt(2), chunk(b"JUNK", b"") * 50_000, data(STEREO))),
    "data is text": broken(riff(fmt(2), data(b"\0\0" + b"LIST\0\0\0\0" * 50_000 + b"\0\0", 0)),
                           riff(fmt(2), data(b"\0\0" + b"LIST\0\0\0\0" * 50_000 + b"\0\0"))),
    "RF64": refused(riff(DS64, fmt(2), data(STEREO, UNKNOWN), size=UNKNOWN, name=b"RF64")),
    "BW64": refused(riff(DS64, fmt(2), data(STEREO, UNKNOWN), size=UNKNOWN, name=b"BW64")),
    "Wave64": refused(b"riff" + bytes.fromhex("2e91cf11a5d628db04c10000") + STEREO),
    "RIFX": refused(riff(fmt(2), data(STEREO), name=b"RIFX")),
    "AIFF": refused(riff(fmt(2), data(STEREO), name=b"FORM", form=b"AIFF")),
    "AVI": refused(riff(fmt(2), data(STEREO), form=b"AVI ")),
    "MP3": refused(b"\xff\xfb\x90\x64" + sound(400)),
    "empty": refused(b""),
    "RIFF alone": refused(b"RIFF"),
    "5 GiB": refused(riff(fmt(2), data(b"", 1000)), length=5 * GIB),
    "5 GiB, cut off": refused(riff(fmt(2), data(b"", UNKNOWN), size=UNKNOWN), length=5 * GIB),
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

    # The page

    @classmethod
    def recipes(cls, title):
        """The commands below a title."""
        section = re.search(rf"^##+ {re.escape(title)}$(.*?)(?=^##|\Z)", cls.page,
                            re.MULTILINE | re.DOTALL)
        return re.findall(r"^```sh\n(.*?)^```$", section[1], re.MULTILINE | re.DOTALL)

    @classmethod
    def command(cls, title, number=0):
        """A command of the page, and before it the line that makes the script known."""
        (alias,) = cls.recipes("Recipes")
        assert alias == f"alias wavtool={INSTALLED}examples/wavtool\n", alias
        return alias.replace(INSTALLED, f"{ROOT}/") + cls.recipes(title)[number]

    def follow(self, title, number=0, folder=None, status=0, repeated=1):
        """Runs a command of the page twice in the directory of the files. It leaves all files as
        they were, unless it renames them, and makes none but what it names last. The second time
        it does nothing. Its exit status is `status`, the second time `repeated`, and 2 each time
        for wrong words; FFmpeg's for a file that is there depends on its version. Returns what it
        printed each time."""
        folder = folder or self.folder
        self.followed.update({("Recipes", 0), (title, number)})
        command = self.command(title, number)
        made = folder / command.split()[-1]
        printed = []
        for again in False, True:
            before = self.snapshot(folder)
            done = subprocess.run(["sh", "-c", command], check=False, capture_output=True,
                                  stdin=subprocess.DEVNULL, timeout=200, cwd=folder,
                                  env={**os.environ, "LC_ALL": "C.UTF-8"})
            if not (again and "ffmpeg" in command):
                self.assertEqual(done.returncode, repeated if again and status != 2 else status,
                                 done.stderr[-300:])
            if "ffmpeg" not in command and status != 2:
                self.assertEqual(done.stderr, b"")
            after = self.snapshot(folder)
            if again or status == 2:
                self.assertEqual(after, before)
            elif title != "Rename a whole folder":
                self.assertEqual({path: about for path, about in after.items()
                                  if path in before or not path.is_relative_to(made)}, before)
            printed.append(done.stdout.decode())
        return printed

    # The files

    def write(self, name, content, length=None):
        write_sparse(self.folder / name, content, length or len(content))
        return self.folder / name

    def write_set(self):
        """The set, with names that end in .wav."""
        for name, file in FILES.items():
            if file.content is not None:
                self.write(name + ".wav", file.content, file.length)
        os.mkdir(self.folder / "directory.wav")
        os.mkfifo(self.folder / "pipe.wav")
        for name, target in [("device", "/dev/zero"), ("link", "cut off.wav"),
                             ("link to nowhere", "nowhere")]:
            os.symlink(target, self.folder / f"{name}.wav")

    @staticmethod
    def snapshot(folder):
        """All that could change of the files below a directory."""
        seen = {}
        for path in sorted(folder.rglob("*")):
            about = path.lstat()
            small = stat.S_ISREG(about.st_mode) and about.st_size < 1 << 20
            seen[path] = (about.st_mode, about.st_ino, about.st_size, about.st_blocks,
                          path.read_bytes() if small else None,
                          about.st_mtime_ns if not path.is_dir() else None)
        return seen

    @staticmethod
    def contents(folder):
        return {path.name: path.read_bytes() for path in folder.iterdir() if path.is_file()}

    def lines(self, printed, names, indented=None):
        """What is said of each file: a line that begins with its name. Others are `indented`."""
        lines = printed.splitlines()
        for line in lines:
            self.assertTrue(line.isprintable(), line)
        lines = [line for line in lines if not (indented and line.startswith(indented))]
        self.assertEqual(len(lines), len(names))
        said = {}
        for name in names:
            start = f"./{SHOWN.get(name, name)}: "
            (said[name],) = [line[len(start):] for line in lines if line.startswith(start)]
        return said

    def convert(self, conversion, out, *names):
        """Runs a conversion of files that can be listed. Returns the texts of its boxes."""
        done = subprocess.run(
            [self.convertfiles, conversion, out, *[self.folder / name for name in names]],
            check=False, capture_output=True, stdin=subprocess.DEVNULL, timeout=60)
        self.assertGreaterEqual(done.returncode, 0, done.stderr)
        return done.stdout.decode()

    def assert_converted(self, conversion, *names, **outputs):
        """A conversion that shows no box has these samples in its outputs."""
        with tempfile.TemporaryDirectory() as out:
            self.assertEqual(self.convert(conversion, out, *names), "")
            for name, samples in outputs.items():
                content = pathlib.Path(out, f"{name}.wav").read_bytes()
                self.assertEqual(content[content.index(b"data"):][:8 + len(samples)],
                                 data(samples))

    def assert_readers_agree(self, path, samples, bits=16):
        """SoX, FFmpeg and libsndfile read exactly these samples. Floating point is read by FFmpeg
        alone: the others clip or scale what is louder than 1."""
        width = "f32le" if bits == "float" else f"s{bits}le"
        readers = [f"ffmpeg -v error -i '{path}' -f {width} -c:a pcm_{width} -"]
        if bits != "float":
            readers += [f"sndfile-convert -pcm{bits} '{path}' ../out.raw && cat ../out.raw",
                        f"sox -V1 '{path}' -t raw -e signed -b {bits} -"]
        for command in readers:
            with self.subTest(command):
                self.assertEqual(run("sh", "-c", command, folder=self.folder), samples)

    # The messages

    def test_every_text_of_a_box_is_in_the_page(self):
        source = "".join(path.read_text() for folder in PRODUCT
                         for path in sorted((ROOT / folder).glob("*.cpp")))
        texts = set(re.findall(r'"([A-Z][^"\\]*[^."\\]\.)(?:\\n)*"', source)) - NO_MESSAGES
        texts |= {TEXTS["noFiles"] + TEXTS[kind] for kind in ("monoFiles", "polyFiles")}
        self.assertGreater(len(texts), 15)
        for text in texts:
            with self.subTest(text):
                self.assertTrue(text in self.page)

    # The recipes over the set

    def check_command(self, command):
        """Each file gets its line, and those that need it a copy."""
        self.write_set()
        title = COMMANDS[command]
        names = [name + ".wav" for name in FILES]
        said, again = (self.lines(printed, names) for printed in self.follow(title, status=1))
        directory = self.folder / self.command(title).split()[-1]
        copies = {}
        for name, file in zip(names, FILES.values()):
            result = file.results[command]
            with self.subTest(name):
                if isinstance(result, bytes):
                    copies[name] = result
                    self.assertRegex(said[name], " written, ")
                    self.assertTrue(again[name].startswith(LEFT), again[name])
                    self.assertEqual((directory / name).stat().st_mtime_ns,
                                     (self.folder / name).stat().st_mtime_ns)
                elif result == NOTHING:
                    self.assertEqual(said[name], NOTHING)
                else:
                    self.assertTrue(said[name].startswith(result), said[name])
        self.assertEqual(self.contents(directory), copies)

    def test_repair_a_recording_that_was_cut_off(self):
        self.check_command("repair")
        self.assert_converted("split", "repaired/from a pipe.wav",
                              **{"from a pipe_01": LEFT_SIDE, "from a pipe_02": RIGHT_SIDE})

    def test_make_an_odd_chunk_even(self):
        self.check_command("even")
        even = "odd chunks before data"
        self.assert_converted("split", f"readable/{even}.wav",
                              **{f"{even}_01": LEFT_SIDE, f"{even}_02": RIGHT_SIDE})
        self.assert_readers_agree(self.folder / f"readable/{even}.wav", STEREO)

    def test_remove_the_pad_byte_after_data(self):
        self.check_command("unpad")
        for name in "take_01.wav", "take_02.wav":
            shutil.copy(self.folder / "unpadded/pad byte.wav", self.folder / name)
        self.assert_converted("combine", "take_01.wav", "take_02.wav",
                              take_combined=mixed(ODD_SAMPLES, ODD_SAMPLES, bits=24))

    def test_set_the_riff_size(self):
        self.check_command("riffsize")

    def test_set_the_format_tag_of_an_extensible_split(self):
        for sub_tag, bits, samples in (1, 16, STEREO), (3, 32, LOUD):
            with self.subTest(sub_tag):
                self.write("take.wav", riff(fmt(2, bits, 0xFFFE, sub_tag=sub_tag), data(samples)))
                self.assertEqual(self.convert("split", self.folder, "take.wav"), "")
                for name, content in [("3", riff(fmt(1, bits), data(samples))),
                                      ("4", riff(short_fmt(1, 8), data(samples))), ("5", b""),
                                      ("6", riff(fmt(1, bits, 0xFFFE), data(samples)))]:
                    self.write(f"take_0{name}.wav", content)
                said, _ = self.follow("Set the format tag of an extensible split", status=1)
                self.assertEqual([line.split(": ", 1)[1][:9] for line in said.splitlines()],
                                 ["tagged/ta", "tagged/ta", NOTHING[:9], LEFT[:9], LEFT[:9],
                                  NOTHING[:9]])
                tagged = self.folder / "tagged"
                self.assertEqual(sorted(self.contents(tagged)), ["take_01.wav", "take_02.wav"])
                for number in 0, 1:
                    self.assert_readers_agree(tagged / f"take_0{number + 1}.wav",
                                              channel_of(samples, number, bits=bits),
                                              bits if sub_tag == 1 else "float")
                shutil.rmtree(tagged)
                for path in self.folder.glob("take*"):
                    path.unlink()

    def test_format_tag_needs_an_extensible_source(self):
        self.write("take_01.wav", riff(short_fmt(2), data(STEREO)))
        for source in (WHOLE, b"", riff(fmt(2, tag=0xFFFE, sub_tag=2), data(STEREO)),
                       riff(fmt(2, tag=0xFFFE)[:-1] + b"\0", data(STEREO))):
            self.write("take.wav", source)
            said = self.follow("Set the format tag of an extensible split", status=2)
            self.assertEqual(said, ["", ""])

    def test_look_into_a_file(self):
        self.write_set()
        printed, _ = self.follow("Look into a file", status=1)
        self.assertLess(printed.count("\n"), 3000)
        said = self.lines(printed, [name + ".wav" for name in FILES], indented="    ")
        for name, file in FILES.items():
            with self.subTest(name):
                wanted = [command for command in COMMANDS
                          if isinstance(file.results[command], bytes)]
                line = said[name + ".wav"]
                advised = re.search(r"\bwavtool (.*)", line)
                self.assertEqual(advised[1].split(", ") if advised else [], wanted)
                if name in ("RF64", "BW64", "Wave64", "RIFX", "AIFF", "MP3"):
                    self.assertIn(name + ", not RIFF/WAVE", line)
                self.assertEqual(line == NOTHING, set(file.results.values()) == {NOTHING})

    def test_look_into_chunks(self):
        self.write("a.wav", riff(BEXT, ODD, fmt(2), data(STEREO, 5000)))
        self.write("b.wav", WHOLE + b"abc")
        self.write("c.wav", riff(fmt(2), data(chunk(b"like", bytes(2)) + b"\xff" * 90, 0)))
        printed, _ = self.follow("Look into a file", repeated=0)
        chunks = [line.strip() for line in printed.splitlines() if line.startswith("    ")]
        form = "format tag 1, 2 channels, 48000 Hz, 16 bits, 4 bytes a frame"
        self.assertEqual(chunks, [
            "RIFF 1152", "bext 602", "iXML 17, odd", "fmt  16", form,
            "data 5000, but the file holds 480",
            "RIFF 516, but the file holds 519", "fmt  16", form, "data 480",
            "3 bytes that are no chunk",
            "RIFF 136", "fmt  16", form, "data 0", "100 bytes that are no chunk"])

    # FFmpeg

    def check_ffmpeg(self, title, why, content, samples, bits=16):
        """FFmpeg's copy has these samples, for all readers and for Splicora."""
        words = self.command(title).split()
        copy = self.folder / words[-1]
        with self.subTest(why):
            self.write(words[words.index("-i") + 1], content)
            self.follow(title)
            self.assert_readers_agree(copy, samples, bits)
            width = 32 if bits == "float" else bits
            self.assert_converted("split", copy.name, **{
                f"{copy.stem}_0{number + 1}": channel_of(samples, number, bits=width)
                for number in (0, 1)})
            copy.unlink()

    def test_recover_what_the_header_leaves_out(self):
        self.check_ffmpeg("Recover what the header leaves out", "stopped",
                          riff(fmt(2), data(STEREO, 40), size=76), STEREO)

    def test_rewrite_a_file(self):
        large = made_by_ffmpeg(WHOLE, "-rf64", "always")
        self.assertEqual(large[:4], b"RF64")
        wide = mixed(sound(300, 1), sound(300, 2), bits=24)
        for why, content, *samples in [
                ("RF64", large, STEREO),
                ("BW64", b"BW64" + large[4:], STEREO),
                ("Wave64 of 24 bits", made_by_ffmpeg(riff(fmt(2, 24), data(wide)), "-c:a",
                                                     "pcm_s24le", "-f", "w64"), wide, 24),
                ("garbage at the end", WHOLE + b"\xff\xfe\xfd" * 9, STEREO),
                ("big chunk after data", riff(fmt(2), data(STEREO), chunk(b"JUNK", b"", 1 << 31)),
                 STEREO),
                ("loud float", riff(fmt(2, 32, tag=3), data(LOUD), b"garbage at the end"), LOUD,
                 "float"),
        ]:
            self.check_ffmpeg("Rewrite a file", why, content, *samples)

    def test_decode_a_compressed_file(self):
        tone = b"".join(struct.pack("<2h", *2 * [n % 200 * 100]) for n in range(5000))
        for why, options in [("ADPCM", ["-c:a", "adpcm_ms"]), ("an MP3 file", ["-f", "mp3"]),
                             ("A-law", ["-c:a", "pcm_alaw"])]:
            packed = self.write("packed", made_by_ffmpeg(riff(fmt(2), data(tone)), *options))
            expected = run("ffmpeg", "-i", packed, "-f", "s16le", "-")
            self.assertGreater(len(expected), 19_000)
            self.check_ffmpeg("Decode a compressed file", why, packed.read_bytes(), expected)

    # Names

    def folders(self):
        """A directory, and that of a card where one can be mounted."""
        yield self.folder
        if self.why_no_mounts:
            self.skipTest(self.why_no_mounts)
        exfat, why = mounts.available(mounts.Exfat, self.folder.parent)
        if not exfat:
            self.skipTest(why)
        self.addCleanup(exfat.clean)
        exfat.prepare()
        exfat.mount()
        yield pathlib.Path(exfat.root)

    def test_rename_a_whole_folder(self):
        """Names as recorders make them, on any file system. Splicora finds the files then. A copy
        is made there too."""
        for folder in self.folders():
            odd_name = "<b>\n\t" if folder == self.folder else "(b"
            names = {
                "A_01.WAV": "A_01.wav", "A_02.Wav": "A_02.wav", "A_3.wav": "A_03.wav",
                "A_004.wav": "A_04.wav", "A_05.wav": "A_05.wav",
                "ZOOM1_Tr1.WAV": "ZOOM1_01.wav", "ZOOM1_Tr2.WAV": "ZOOM1_02.wav",
                "my take_Track 7.wav": "my take_07.wav", "-n_ch1.wav": "-n_01.wav",
                f"{odd_name}_1.WAV": f"{odd_name}_01.wav",
                "D_01.wav": "D_01.wav", "e_01.wav": "e_01.wav",
                # left alone
                **{name: None for name in ("B_Boom.WAV", "B_10.wav", "B_0.wav", "B.WAV", "7.wav",
                                           "C_Mix1.wav", "C_Tr1.wav", "D_1.WAV", "E_1.WAV",
                                           "dir_1.wav")},
            }
            samples = {name: name.encode().ljust(20) for name in names if name != "dir_1.wav"}
            for name, content in samples.items():
                (folder / name).write_bytes(riff(fmt(), data(content)))
            (folder / "dir_1.wav").mkdir()
            take = [name for name in names if name.startswith("ZOOM1")]
            with self.subTest(folder):
                self.assertEqual(self.convert("combine", self.folder, *map(folder.joinpath, take)),
                                 ERRORS[2] + "\n")
                printed, again = self.follow("Rename a whole folder", folder=folder, status=1)
                for old, line in self.lines(printed, names).items():
                    self.assertTrue(line.startswith(
                        LEFT if names[old] is None else NOTHING if names[old] == old
                        else "now ./"), (old, line))
                self.assertEqual(self.contents(folder), {
                    names[old] or old: riff(fmt(), data(content))
                    for old, content in samples.items()})
                self.assertNotIn(": now ", again)
                self.assert_converted("combine", *(folder / names[name] for name in take),
                                      ZOOM1_combined=mixed(*(samples[name] for name in take)))
                (folder / "cut.wav").write_bytes(CUT)
                self.follow("Repair a recording that was cut off", folder=folder, status=1)
                self.assertEqual(self.contents(folder / "repaired"), {"cut.wav": WHOLE})

    def test_rename_where_nothing_matches(self):
        printed, _ = self.follow("Rename a whole folder", status=1)
        self.assertEqual(printed.count("\n"), 1)

    def test_number_a_take(self):
        files = self.command("Rename a whole folder", 1).split()[-3:]
        takes = {name: riff(fmt(), data(sound(20, len(name)))) for name in files}
        now = {name: f"Scene_0{number}.wav" for number, name in enumerate(files, 1)}
        for folder in self.folders():
            for name, content in takes.items():
                (folder / name).write_bytes(content)
            with self.subTest(folder):
                printed, again = self.follow("Rename a whole folder", 1, folder)
                self.assertEqual(printed,
                                 "".join(f"{name}: now ./{now[name]}\n" for name in files))
                self.assertEqual(again.count("\n"), 3)
                self.assertEqual(self.contents(folder), {now[name]: takes[name] for name in files})
                (folder / files[1]).write_bytes(b"another")
                self.follow("Rename a whole folder", 1, folder, status=1)

    def test_disk_is_full(self):
        for name in "ac":
            self.write(f"{name}.wav", CUT)
        self.write("b.wav", riff(fmt(2), data(STEREO * 1000, GIB)))
        before = self.snapshot(self.folder)
        done = self.wavtool("repair", "a.wav", "b.wav", "c.wav", "repaired",
                            limit=(resource.RLIMIT_FSIZE, 10_000))
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertEqual([line.split(": ")[1] for line in done.stdout.decode().splitlines()],
                         ["repaired/a.wav written, 480 bytes of samples", "failed",
                          "repaired/c.wav written, 480 bytes of samples"])
        self.assertEqual(self.contents(self.folder / "repaired"), {"a.wav": WHOLE, "c.wav": WHOLE})
        shutil.rmtree(self.folder / "repaired")
        self.assertEqual(self.snapshot(self.folder), before)

    # What happens while a copy is written

    @contextlib.contextmanager
    def long_repair(self, *left):
        """A long repair, when the copy has begun. In the end these files are `left` of it."""
        self.write("long.wav", riff(fmt(2), data(b"", UNKNOWN)), 256 << 20)
        running = subprocess.Popen([WAVTOOL, "repair", "long.wav", "repaired"], cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        while not (self.folder / "repaired/long.wav.part").exists():
            self.assertIsNone(running.poll())
        yield running
        self.assertEqual(sorted(path.name for path in self.folder.rglob("*.wav*")),
                         ["long.wav", *left])

    def test_ended_while_a_copy_is_written(self):
        for ending in signal.SIGTERM, signal.SIGINT, signal.SIGHUP:
            with self.subTest(ending), self.long_repair() as running:
                running.send_signal(ending)
                self.assertEqual((*running.communicate(), running.returncode), (b"", b"", 130))

    def test_killed_while_a_copy_is_written(self):
        with self.long_repair("long.wav.part") as running:
            running.kill()
            self.assertEqual(running.communicate(), (b"", b""))
        printed, _ = self.follow("Repair a recording that was cut off", status=1)
        self.assertIn(f"./long.wav: {LEFT}repaired/long.wav.part exists", printed)

    def test_recorder_still_writes(self):
        with self.long_repair() as running:
            with open(self.folder / "long.wav", "ab") as file:
                file.write(STEREO)
            self.assertEqual((*running.communicate(), running.returncode), (
                f"long.wav: {LEFT}it changed while it was read\n".encode(), b"", 1))
        self.assertEqual((self.folder / "long.wav").stat().st_size, (256 << 20) + len(STEREO))

    def test_memory_is_constant(self):
        self.write("long.wav", riff(fmt(2), data(b"", UNKNOWN)), 300 << 20)
        for words in ["list", "long.wav"], ["repair", "long.wav", "repaired"]:
            done = self.wavtool(*words, limit=(resource.RLIMIT_AS, 150 << 20))
            self.assertEqual((done.returncode, done.stderr), (0, b""), done)
        with open(self.folder / "repaired/long.wav", "rb") as file:
            self.assertEqual(file.read(44), riff(fmt(2), data(b"", (300 << 20) - 44),
                                                 size=(300 << 20) - 8))

    # The words

    def wavtool(self, *words, limit=None, stdout=subprocess.PIPE):
        """Runs the script with a limit of a resource: its kind and value."""
        return subprocess.run(
            [WAVTOOL, *words], cwd=self.folder, stdout=stdout, stderr=subprocess.PIPE, check=False,
            stdin=subprocess.DEVNULL,
            preexec_fn=limit and (lambda: resource.setrlimit(limit[0], (limit[1], limit[1]))))

    def test_names_with_a_dash(self):
        self.write("-e.wav", CUT)
        self.write("--help", WHOLE)
        for words in ["-e.wav", "--help"], ["--", "-e.wav", "--help"]:
            done = self.wavtool("list", *words)
            self.assertEqual((done.returncode, done.stdout.count(b"\n-") + 1), (0, 2), done)

    def test_wrong_words(self):
        for name, content in [("a.wav", CUT), ("b.wav", CUT), ("notes", b""),
                              ("extensible.wav", riff(fmt(2, tag=0xFFFE), data(STEREO)))]:
            self.write(name, content)
        before = self.snapshot(self.folder)
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
                self.assertEqual(self.snapshot(self.folder), before)
        self.assertEqual(self.wavtool("--help").returncode, 0)

    def test_copies_never_replace_a_file(self):
        (self.folder / "out").mkdir()
        for name, content in ("a.wav", CUT), ("b.wav", CUT), ("out/a.wav", b"another"):
            self.write(name, content)
        os.symlink("nowhere", self.folder / "out/b.wav")
        before = self.snapshot(self.folder)
        for directory in "out", ".", "./":
            done = self.wavtool("repair", "a.wav", "b.wav", directory)
            self.assertEqual((done.returncode, done.stdout.count(LEFT.encode())), (1, 2))
            self.assertEqual(self.snapshot(self.folder), before)

    def test_output_that_can_not_be_written(self):
        self.write("a.wav", CUT)
        with open("/dev/full", "wb") as full:
            done = self.wavtool("list", "a.wav", stdout=full)
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
