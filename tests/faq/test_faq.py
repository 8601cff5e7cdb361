#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Runs every recipe of the page of questions as it stands there: test_faq.py CONVERTFILES PAGE

What comes out is read by SoX, FFmpeg and libsndfile, and converted when that is what the recipe is
for.
"""

import math
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

PACKAGES = {"sox": "sox", "ffmpeg": "ffmpeg", "sndfile-convert": "sndfile-programs"}
PRODUCT = ("ui", "convert", "app")
OTHER_TEXTS = ("Choose directory.", "An error occurred during a convert operation.",
               "The converted files will appear in the same directory as the originals.",
               "Click Yes to proceed.")


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True,
                          stdin=subprocess.DEVNULL, **options).stdout


def chunk(name, body, size=None):
    return name + struct.pack("<I", len(body) if size is None else size) + body + bytes(len(body) % 2)


def sound(samples, bits=16):
    """A tone of so many samples, as they are stored in whole numbers."""
    top = (1 << (bits - 1)) - 1
    return b"".join(
        struct.pack("<i", round(top * 0.5 * math.sin(n / 7)))[:bits // 8] for n in range(samples))


def fmt(channels=1, bits=16, tag=1, rate=48000):
    frame = channels * bits // 8
    body = struct.pack("<HHIIHH", tag, channels, rate, rate * frame, frame, bits)
    if tag == 0xFFFE:
        guid = struct.pack("<H", 1) + bytes.fromhex("000000001000800000aa00389b71")
        body += struct.pack("<HHI", 22, bits, (1 << channels) - 1) + guid
    return chunk(b"fmt ", body)


def riff(*chunks):
    body = b"WAVE" + b"".join(chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


class FaqTest(unittest.TestCase):
    convertfiles = None
    page = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.out = self.folder / "out"
        self.out.mkdir()

    # The page

    @classmethod
    def recipes(cls, title):
        """The commands below a title."""
        section = re.search(rf"^### {re.escape(title)}$(.*?)(?=^##|\Z)", cls.page,
                            re.MULTILINE | re.DOTALL)
        return re.findall(r"^```sh\n(.*?)^```$", section[1], re.MULTILINE | re.DOTALL)

    def follow(self, title, number=0):
        """Runs a command of the page in the directory of the files. Returns what it printed."""
        self.followed.add((title, number))
        return run("sh", "-e", "-c", self.recipes(title)[number], cwd=self.folder,
                   env={**os.environ, "LC_ALL": "C.UTF-8"}).decode()

    followed = set()

    # The files

    def write(self, name, content):
        (self.folder / name).write_bytes(content)
        return self.folder / name

    def names(self):
        return sorted(path.name for path in self.folder.iterdir() if path.is_file())

    def convert(self, conversion, *names, out=None):
        """Runs a conversion. Returns the texts of its boxes."""
        return subprocess.run(
            [self.convertfiles, conversion, out or self.out, *[self.folder / n for n in names]],
            check=False, capture_output=True, stdin=subprocess.DEVNULL, timeout=60).stdout.decode()

    def assert_readers_agree(self, path, samples, bits=16):
        """SoX, FFmpeg and libsndfile read exactly these samples."""
        raw = self.folder / "read.raw"
        readers = {
            "SoX": lambda: run("sox", "-V1", path, "-t", "raw", "-e", "signed", "-b", bits, "-"),
            "FFmpeg": lambda: run("ffmpeg", "-v", "error", "-i", path, "-f", f"s{bits}le",
                                  "-c:a", f"pcm_s{bits}le", "-"),
            "libsndfile": lambda: (run("sndfile-convert", f"-pcm{bits}", path, raw),
                                   raw.read_bytes())[1],
        }
        for name, read in readers.items():
            with self.subTest(name):
                self.assertEqual(read(), samples)

    # The messages

    def test_every_text_of_a_box_is_in_the_page(self):
        root = pathlib.Path(__file__).parents[2]
        source = "".join(path.read_text() for folder in PRODUCT
                         for path in sorted((root / folder).glob("*.cpp")))
        texts = re.findall(r'"([A-Z][^"\\]*[^."\\]\.)(?:\\n)*"', source)
        texts = [text for text in texts if text not in OTHER_TEXTS]
        texts += [f"Can not find any {kind} files." for kind in ("mono", "poly")]
        self.assertGreater(len(texts), 15)
        for text in texts:
            with self.subTest(text):
                self.assertTrue(text in self.page)

    def test_causes_of_can_not_open_file(self):
        take = riff(fmt(), chunk(b"data", sound(100)))
        os.mkdir(self.folder / "day2")
        for name in ("take_01.WAV", "song_1.wav", "song_Tr1.wav", "a_01.wav", "b_02.wav",
                     "day2/a_02.wav", "c_01.wav", "c_02.wav"):
            self.write(name, take)
        message = "An error occurred during a convert operation.\n\nCan not open file.\n"
        for why, sources, out in [
                ("ending in capitals", ["take_01.WAV"], "out"),
                ("number of one digit", ["song_1.wav"], "out"),
                ("number behind a word", ["song_Tr1.wav"], "out"),
                ("two takes", ["a_01.wav", "b_02.wav"], "out"),
                ("two directories", ["a_01.wav", "day2/a_02.wav"], "out"),
                ("output to a file", ["c_01.wav", "c_02.wav"], "b_02.wav"),
        ]:
            with self.subTest(why):
                self.assertEqual(self.convert("combine", *sources, out=self.folder / out), message)
        self.assertEqual(self.convert("combine", "c_01.wav", "c_02.wav"), "")

    # The recipes

    def test_rename_the_ending(self):
        for name in ("take_01.WAV", "take_02.WAV", "notes 1.WAV"):
            self.write(name, b"")
        self.follow("Rename a whole folder", 0)
        self.assertEqual(self.names(), ["notes 1.wav", "take_01.wav", "take_02.wav"])

    def test_rename_numbers_of_one_digit(self):
        for name in ("my take_1.wav", "my take_2.wav", "other_03.wav"):
            self.write(name, riff(fmt(), chunk(b"data", sound(100))))
        self.follow("Rename a whole folder", 1)
        self.assertEqual(self.names(), ["my take_01.wav", "my take_02.wav", "other_03.wav"])
        self.assertEqual(self.convert("combine", "my take_01.wav", "my take_02.wav"), "")

    def test_rename_numbers_behind_a_word(self):
        for name in ("take_Tr1.wav", "take_Tr8.wav", "take_01.wav"):
            self.write(name, name.encode())
        self.follow("Rename a whole folder", 2)
        self.assertEqual(self.names(), ["take_01.wav", "take_08.wav", "take_Tr1.wav"])
        self.assertEqual((self.folder / "take_01.wav").read_bytes(), b"take_01.wav")

    def test_look_into_a_file(self):
        samples = sound(33, bits=24)
        self.write("cut.wav", riff(fmt(), chunk(b"data", sound(100), size=5000)))
        self.write("odd.wav", riff(fmt(bits=24), chunk(b"note", b"odd"), chunk(b"data", samples)))
        self.write("whole.wav", riff(fmt(), chunk(b"data", sound(100))))
        self.write("zero.wav", b"")
        self.assertEqual(self.follow("Look into a file"),
                         "cut.wav: fmt  16\n"
                         "cut.wav: data 5000, but the file holds 200\n"
                         "odd.wav: fmt  16\n"
                         "odd.wav: note 3, odd\n"
                         "odd.wav: data 99, odd\n"
                         "whole.wav: fmt  16\n"
                         "whole.wav: data 200\n")

    def test_repair_a_recording_that_was_cut_off(self):
        left, right = sound(100), sound(200)[200:]
        samples = b"".join(left[n:n + 2] + right[n:n + 2] for n in range(0, 200, 2))
        for size in (1_000_000, 0):  # cut off, never finished
            with self.subTest(size):
                cut = riff(fmt(channels=2), chunk(b"data", samples, size)) + b"\1\2\3"
                path = self.write("repaired.wav", cut[:4] + bytes(4) + cut[8:])
                self.follow("Repair a recording that was cut off")
                self.assertEqual(path.read_bytes(),
                                 riff(fmt(channels=2), chunk(b"data", samples)))
                self.assert_readers_agree(path, samples)
                for output in self.out.iterdir():
                    output.unlink()
                self.assertEqual(self.convert("split", "repaired.wav"), "")
                self.assert_readers_agree(self.out / "repaired_01.wav", left)
                self.assert_readers_agree(self.out / "repaired_02.wav", right)

    def test_take_the_pad_byte_behind_data_away(self):
        samples = sound(33, bits=24)
        padded = riff(fmt(bits=24), chunk(b"data", samples))
        even = riff(fmt(bits=24), chunk(b"data", sound(34, bits=24)))
        for name in ("take_01.wav", "take_02.wav"):
            self.write(name, padded)
        self.write("take_03.wav", even)
        self.assertIn("Data read error.", self.convert("combine", "take_01.wav", "take_02.wav"))
        self.follow("Take the pad byte behind data away")
        self.assertEqual((self.folder / "take_03.wav").read_bytes(), even)
        self.assert_readers_agree(self.folder / "take_01.wav", samples, bits=24)
        self.assertEqual(self.convert("combine", "take_01.wav", "take_02.wav"), "")
        self.assert_readers_agree(
            self.out / "take_combined.wav",
            b"".join(2 * samples[n:n + 3] for n in range(0, len(samples), 3)), bits=24)

    def test_write_a_file_anew(self):
        samples = sound(50, bits=24)
        self.write("unreadable.wav",
                   riff(fmt(bits=24), chunk(b"note", b"odd"), chunk(b"data", samples)))
        self.follow("Write a file anew")
        path = self.folder / "readable.wav"
        self.assertEqual(path.read_bytes(), riff(fmt(bits=24), chunk(b"data", samples)))
        self.assert_readers_agree(path, samples, bits=24)

    def test_decode_a_compressed_file(self):
        self.write("plain.wav", riff(fmt(), chunk(b"data", sound(4000))))
        run("sox", "plain.wav", "-e", "ms-adpcm", "compressed.wav", cwd=self.folder)
        expected = run("sox", "compressed.wav", "-t", "raw", "-e", "signed", "-b", 16, "-",
                       cwd=self.folder)
        self.follow("Decode a compressed file")
        self.assert_readers_agree(self.folder / "decoded.wav", expected)
        shutil.copy(self.folder / "decoded.wav", self.folder / "decoded_01.wav")
        self.assertEqual(self.convert("combine", "decoded_01.wav"), "")

    def test_set_the_riff_size(self):
        samples = b"".join(2 * sound(n + 1)[2 * n:] for n in range(50))
        self.write("take.wav", riff(fmt(channels=2), chunk(b"data", samples)))
        self.assertEqual(self.convert("split", "take.wav", out=self.folder), "")
        path = self.folder / "take_01.wav"
        before = path.read_bytes()
        self.follow("Set the RIFF size")
        after = path.read_bytes()
        self.assertEqual(after, before[:4] + struct.pack("<I", len(before) - 8) + before[8:])
        self.assertNotEqual(after, before)
        self.assert_readers_agree(path, sound(50))

    def test_set_the_format_tag_of_an_extensible_split(self):
        samples = b"".join(2 * sound(n + 1)[2 * n:] for n in range(50))
        self.write("take.wav", riff(fmt(channels=2, tag=0xFFFE), chunk(b"data", samples)))
        self.assertEqual(self.convert("split", "take.wav", out=self.folder), "")
        path = self.folder / "take_02.wav"
        self.assertNotEqual(subprocess.run(["sox", path, "-n"], check=False,
                                           capture_output=True).returncode, 0)
        self.follow("Set the format tag of an extensible split")
        self.assert_readers_agree(path, sound(50))

    def test_zz_every_recipe_was_followed(self):
        titles = re.findall(r"^### (.*)$", self.page.partition("\n## Recipes\n")[2], re.MULTILINE)
        every = {(title, number) for title in titles
                 for number in range(len(self.recipes(title)))}
        self.assertEqual(self.followed, every)
        self.assertEqual(len(every), self.page.count("\n```sh\n"))

    def test_every_link_leads_to_a_title(self):
        anchors = {re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-")
                   for title in re.findall(r"^#+ (.*)$", self.page, re.MULTILINE)}
        links = re.findall(r"\]\(#([^)]*)\)", self.page)
        self.assertGreater(len(links), 10)
        for link in links:
            self.assertIn(link, anchors)


if __name__ == "__main__":
    missing = sorted({package for tool, package in PACKAGES.items() if not shutil.which(tool)})
    if missing:
        sys.exit("Please install these packages: " + " ".join(missing))
    FaqTest.convertfiles = sys.argv.pop(1)
    FaqTest.page = pathlib.Path(sys.argv.pop(1)).read_text(encoding="utf-8")
    unittest.main(verbosity=2)
