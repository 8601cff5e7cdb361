#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Uses the installed program with keyboard and mouse: test_endtoend.py PROGRAM SCREENSHOTS"""

import os
import pathlib
import random
import shutil
import subprocess
import sys
import unittest

import pyatspi

from programtest import (BUTTON, CHECK, COMBO, PATIENCE, TABLE, TEXT, ProgramTest, descendants, has,
                         wait_for)
from texts import TEXTS
from wavbuilder import data, fmt, mixed, riff, write_silence

CHANNELS = [random.Random(seed).randbytes(9600) for seed in range(4)]  # of 16 bits


def xdotool(*words):
    return subprocess.run(["xdotool", *map(str, words)], check=True, capture_output=True).stdout


def title_in_front():
    return xdotool("getactivewindow", "getwindowname").decode().rstrip("\n")


def keys(*names):
    xdotool("key", "--delay", 60, *names)


def middle(node):
    """The middle of a control on the screen, once it is visible there."""
    def on_screen():
        if not has(node, pyatspi.STATE_SHOWING):
            return None
        box = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        if box.width <= 0 or box.height <= 0:
            return None
        return box.x + box.width // 2, box.y + box.height // 2
    return wait_for(f"{node.name!r} on the screen", on_screen)


def click(node, times=1):
    wait_for(f"enabled {node.name!r}", lambda: has(node, pyatspi.STATE_ENABLED))
    xdotool("mousemove", *middle(node), "click", "--repeat", times, "--delay", 20, 1)


class EndToEndTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.takes = self.folder / "takes"
        self.takes.mkdir()
        self.out = self.folder / "out"
        self.out.mkdir()

    # The files

    def make_take(self, name, *channels):
        (self.takes / name).write_bytes(riff(fmt(len(channels)), data(mixed(*channels))))

    def assert_written(self, **samples):
        """These files were written, each with its samples: take_01=CHANNELS[0]"""
        self.assertEqual(sorted(path.stem for path in self.out.iterdir()), sorted(samples))
        for name, content in samples.items():
            self.assertTrue((self.out / f"{name}.wav").read_bytes().endswith(data(content)), name)

    def opened(self):
        record = self.folder / "opened"
        return record.read_text().splitlines() if record.exists() else []

    def wait_for_opened(self, folder):
        wait_for("opened folder", self.opened)
        self.assertEqual(self.opened(), [f"file:///{folder}"])

    # The windows

    def dialog(self, what, role=pyatspi.ROLE_ALERT):
        """The dialog in front."""
        return wait_for(what, lambda: next(
            w for w in self.application()
            if w.getRole() == role and has(w, pyatspi.STATE_ACTIVE)))

    def wait_until_alone(self):
        """No other window of the program is left, and it has the keyboard again."""
        wait_for("return to the window",
                 lambda: len(self.application()) == 1 and has(self.window, pyatspi.STATE_ACTIVE))

    def choose_poly_to_mono(self):
        combo = self.function_combo()
        click(combo)
        choices = wait_for("list of functions", lambda: next(
            n for n in descendants(combo)
            if n.getRole() == pyatspi.ROLE_LIST and has(n, pyatspi.STATE_SHOWING)))
        click(self.control(pyatspi.ROLE_LIST_ITEM, "Poly to Mono", choices))
        wait_for("function", lambda: self.function_combo().name == "Poly to Mono")
        wait_for("end of the list", lambda: not has(choices, pyatspi.STATE_SHOWING))

    def type_into(self, name, text):
        field = self.control(TEXT, name)
        click(field)
        wait_for(f"focused {name!r}", lambda: has(field, pyatspi.STATE_FOCUSED))
        xdotool("type", text)
        wait_for(f"text {text!r}", lambda: field.queryText().getText(0, -1) == str(text))

    def select(self, name, within, times=1):
        """Clicks a row, once or as often as it takes to do something with it."""
        row = self.control(pyatspi.ROLE_TABLE_CELL, name, within)
        click(row, times)
        wait_for(f"selected {name!r}", lambda: has(row, pyatspi.STATE_SELECTED))

    def wait_for_rows(self, table, *names):
        wait_for(f"{names} in {table!r}",
                 lambda: [row[0] for row in self.cells(table)] == list(names))

    def wait_for_channel(self, number, is_on):
        check = self.control(CHECK, f"Channel {number}")
        wait_for(f"channel {number} {'on' if is_on else 'off'}",
                 lambda: has(check, pyatspi.STATE_CHECKED) == is_on)
        return check

    def add_all_to_split(self, *names):
        """Lists and adds the takes, which have these names."""
        self.choose_poly_to_mono()
        self.type_into("Output to:", self.out)
        self.type_into("Current Dir:", self.takes)
        xdotool("key", "Return")
        self.wait_for_rows("File List", *names)
        self.press("Add All")
        self.wait_for_rows("Source File", *names)

    def list_with_keys(self, *names):
        """Lists the takes, which have these names. Their table has the keyboard then."""
        self.tab_to(TEXT, "Current Dir:")
        xdotool("type", self.takes)
        keys("Return")
        self.wait_for_rows("File List", *names)
        self.tab_to(TABLE, "File List")

    def press(self, name):
        click(self.control(BUTTON, name))

    def quit(self):
        menu = next(n for n in descendants(self.window)
                    if n.getRole() == pyatspi.ROLE_MENU_ITEM and n.name == "File")
        click(menu)
        popup = wait_for("open menu", lambda: next(
            n for n in menu
            if n.getRole() == pyatspi.ROLE_POPUP_MENU and has(n, pyatspi.STATE_SHOWING)))
        click(self.control(pyatspi.ROLE_MENU_ITEM, "Quit", popup))
        self.assertEqual(self.process.wait(PATIENCE), 0)

    def tab_to(self, role, name, within=None):
        """Presses Tab until the control has the keyboard."""
        def focused():
            return next((n for n in descendants(within or self.window)
                         if n.getRole() in (COMBO, TEXT, BUTTON, TABLE, CHECK)
                         and has(n, pyatspi.STATE_FOCUSED)), None)
        node = self.control(role, name, within)
        for _ in range(30):
            if has(node, pyatspi.STATE_FOCUSED):
                return
            before = focused()
            keys("Tab")
            wait_for("next control", lambda: focused() not in (None, before))
        raise AssertionError(f"Tab does not lead to {name!r}.")

    def quit_with_keys(self):
        keys("alt+f", "Return")
        self.assertEqual(self.process.wait(PATIENCE), 0)

    def test_a_take_is_split_from_one_chosen_folder_into_another(self):
        self.make_take("take.wav", *CHANNELS)
        before = (self.takes / "take.wav").read_bytes()

        self.press("Browse... Current Dir")
        chooser = self.dialog("chooser", pyatspi.ROLE_DIALOG)
        self.assertEqual(title_in_front(), TEXTS["chooseDirectory"])
        self.select("takes", chooser)
        click(self.control(BUTTON, "Choose", chooser))
        box = self.dialog("message that there is no mono file in this folder")
        self.control(pyatspi.ROLE_LABEL, TEXTS["noFiles"] + TEXTS["monoFiles"], box)
        click(self.control(BUTTON, "OK", box))
        self.wait_until_alone()
        self.assertEqual(self.control(TEXT, "Current Dir:").queryText().getText(0, -1),
                         str(self.takes))

        self.press("Browse... Output to")
        chooser = self.dialog("chooser", pyatspi.ROLE_DIALOG)
        field = self.control(TEXT, "Directory:", chooser)
        wait_for("focused field", lambda: has(field, pyatspi.STATE_FOCUSED))
        xdotool("type", self.out)
        wait_for("typed path", lambda: field.queryText().getText(0, -1) == str(self.out))
        xdotool("key", "Return")
        self.wait_until_alone()
        self.assertEqual(self.control(TEXT, "Output to:").queryText().getText(0, -1),
                         str(self.out))

        self.choose_poly_to_mono()
        self.wait_for_rows("File List", "take.wav")
        self.select("take.wav", self.control(TABLE, "File List"), times=2)
        self.wait_for_rows("Source File", "take.wav")
        self.select("take.wav", self.control(TABLE, "Source File"))
        for channel in 1, 2, 4, 3:
            check = self.wait_for_channel(channel, True)
        click(check)
        self.wait_for_channel(3, False)

        self.press("Convert")
        self.wait_for_opened(self.out)
        self.wait_until_alone()
        self.quit()
        self.assert_written(take_01=CHANNELS[0], take_02=CHANNELS[1], take_04=CHANNELS[3])
        self.assertEqual((self.takes / "take.wav").read_bytes(), before)

    def test_a_long_split_is_cancelled(self):
        self.make_take("a_take.wav", *CHANNELS[:2])
        write_silence(self.takes / "long.wav", 1_800_000_000)  # seconds of work
        self.add_all_to_split("a_take.wav", "long.wav")

        self.press("Convert")
        # Each file has a dialog of its own; those of the short one are gone before they are seen.
        self.control(pyatspi.ROLE_LABEL, TEXTS["converting"] + "long_01.wav", self.application())
        dialog = self.dialog("progress", pyatspi.ROLE_DIALOG)
        bar = self.control(pyatspi.ROLE_PROGRESS_BAR, TEXTS["progress"], dialog)
        wait_for("progress", lambda: bar.queryValue().currentValue > 1_000_000)
        self.assertGreater((self.out / "long_01.wav").stat().st_size, 0)
        self.assertEqual(title_in_front(), "Splicora")
        click(self.control(BUTTON, "Cancel", dialog))
        self.wait_until_alone()
        self.assert_written(a_take_01=CHANNELS[0], a_take_02=CHANNELS[1])
        self.press("Remove All")
        self.wait_for_rows("Source File")  # no box is in front of the window
        self.quit()
        self.assertEqual(self.opened(), [])

    def test_closing_the_window_ends_a_split_that_has_no_end(self):
        take = self.takes / "cut.wav"
        write_silence(take, 1_000_000)
        os.truncate(take, 500_000)
        self.add_all_to_split("cut.wav")

        self.press("Convert")
        dialog = self.dialog("progress", pyatspi.ROLE_DIALOG)
        click(self.control(BUTTON, "Cancel", dialog))
        wait_for("hidden progress", lambda: not has(dialog, pyatspi.STATE_SHOWING))
        self.assertIsNone(self.process.poll())
        self.assertEqual([path.name for path in self.out.iterdir()], ["cut_01.wav"])
        self.quit()
        self.assert_written()
        self.assertEqual(self.opened(), [])

    def test_a_split_is_done_with_keys_alone(self):
        self.make_take("take.wav", *CHANNELS[:3])
        self.make_take("take_two.wav", *CHANNELS[:2])
        keys("Down")  # the selector has the keyboard at the start
        wait_for("function", lambda: self.function_combo().name == "Poly to Mono")
        self.list_with_keys("take.wav", "take_two.wav")
        keys("space", "Return")
        self.wait_for_rows("Source File", "take.wav")
        keys("Down", "KP_Enter")
        self.wait_for_rows("Source File", "take.wav", "take_two.wav")
        self.tab_to(TABLE, "Source File")
        keys("space", "Down", "Delete")
        self.wait_for_rows("Source File", "take.wav")
        keys("Up", "space")
        self.wait_for_channel(2, True)
        self.tab_to(CHECK, "Channel 2")
        keys("space")
        self.wait_for_channel(2, False)
        self.tab_to(TEXT, "Output to:")
        xdotool("type", self.out)
        self.tab_to(BUTTON, "Convert")
        keys("space")
        self.wait_for_opened(self.out)
        self.wait_until_alone()
        self.assert_written(take_01=CHANNELS[0], take_03=CHANNELS[2])
        self.quit_with_keys()

    def test_a_combine_is_done_with_keys_alone(self):
        self.make_take("song_01.wav", CHANNELS[0])
        self.make_take("song_02.wav", CHANNELS[1])
        self.list_with_keys("song_01.wav", "song_02.wav")
        keys("space", "shift+Down", "Return")
        self.wait_for_rows("Source File", "song_01.wav", "song_02.wav")
        self.tab_to(BUTTON, "Convert")
        keys("space")
        question = self.dialog("question about the directory")
        self.tab_to(BUTTON, "Yes", question)
        keys("Return")
        self.wait_for_opened(self.takes)
        self.wait_until_alone()
        combined = (self.takes / "song_combined.wav").read_bytes()
        self.assertTrue(combined.endswith(data(mixed(*CHANNELS[:2]))))
        self.quit_with_keys()


class PhotographingResult(unittest.TextTestResult):
    """Keeps the screen of a failure while it is still visible."""

    screenshots = None

    def addFailure(self, test, err):
        self.photograph(test)
        super().addFailure(test, err)

    def addError(self, test, err):
        self.photograph(test)
        super().addError(test, err)

    def photograph(self, test):
        self.screenshots.mkdir(parents=True, exist_ok=True)
        picture = self.screenshots / f"{test.id().rpartition('.')[2]}.png"
        taken = subprocess.run(["import", "-window", "root", str(picture)], check=False)
        self.stream.writeln(f"screenshot: {picture.name}"
                            if taken.returncode == 0 else "There is no screenshot.")


if __name__ == "__main__":
    EndToEndTest.program = sys.argv.pop(1)
    PhotographingResult.screenshots = pathlib.Path(sys.argv.pop(1))
    shutil.rmtree(PhotographingResult.screenshots, ignore_errors=True)
    unittest.main(testRunner=unittest.TextTestRunner(resultclass=PhotographingResult, verbosity=2))
