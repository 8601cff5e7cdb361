#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Uses the running program as a screen reader does: test_accessibility.py PROGRAM"""

import struct
import sys
import unittest

import pyatspi

from programtest import (BUTTON, CHECK, COMBO, PATIENCE, TABLE, TEXT, ProgramTest, descendants, has,
                         wait_for)
from texts import TEXTS, TITLES
from wavbuilder import data, fmt, mixed, riff, write_sparse

# Every control of the window, in the order of the eye.
CONTROLS = [
    (COMBO, "Mono to Poly"),
    (TEXT, "Current Dir:"),
    (BUTTON, "Browse... Current Dir"),
    (TABLE, "File List"),
    (BUTTON, "Add"),
    (BUTTON, "Add All"),
    (TABLE, "Source File"),
    *[(CHECK, f"Channel {n}") for n in range(1, 9)],
    (TEXT, "Output to:"),
    (BUTTON, "Browse... Output to"),
    (BUTTON, "Remove"),
    (BUTTON, "Remove All"),
    (BUTTON, "Convert"),
]

CONTROL_ROLES = {role for role, _ in CONTROLS}


def is_finished(path):
    """The RIFF size is the last thing that is written."""
    return path.exists() and path.read_bytes()[4:8] not in (b"", bytes(4))


def press(node):
    action = node.queryAction()
    names = [action.getName(i) for i in range(action.nActions)]
    action.doAction(names.index("Press"))


class AccessibilityTest(ProgramTest):
    def quit(self):
        press(self.control(pyatspi.ROLE_MENU_ITEM, "Quit"))
        self.assertEqual(self.process.wait(PATIENCE), 0)

    def add_all_to_split(self, current, out):
        self.control(TEXT, "Current Dir:").queryEditableText().setTextContents(current)
        self.control(TEXT, "Output to:").queryEditableText().setTextContents(out)
        self.function_combo().queryComponent().grabFocus()
        wait_for("focused selector", lambda: has(self.function_combo(), pyatspi.STATE_FOCUSED))
        pyatspi.Registry.generateKeyboardEvent(0xff54, None, pyatspi.KEY_SYM)  # the key Down
        wait_for("function", lambda: self.function_combo().name == "Poly to Mono")
        wait_for("listed file", lambda: self.cells("File List"))
        press(self.control(BUTTON, "Add All"))
        wait_for("enabled Convert",
                 lambda: has(self.control(BUTTON, "Convert"), pyatspi.STATE_ENABLED))

    def test_every_control_has_its_name_and_role(self):
        found = [(node.getRole(), node.name) for node in descendants(self.window)
                 if node.getRole() in CONTROL_ROLES]
        self.assertCountEqual(found, CONTROLS)

    def test_the_program_and_its_logo_have_names(self):
        self.assertEqual(self.application().name, "splicora")
        self.assertIn("VELMAR", [node.name for node in descendants(self.window)])

    def test_the_window_takes_its_size_from_its_contents(self):
        box = self.window.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
        self.assertLess(box.width, 1280)
        self.assertLess(box.height, 900)

    def test_every_field_is_labelled_by_the_text_beside_it(self):
        fields = [
            (["Function:"], self.function_combo()),
            (["Current Dir:", "File List"], self.control(TEXT, "Current Dir:")),
            (["Output to:", "Source File"], self.control(TEXT, "Output to:")),
        ]
        for expected, field in fields:
            with self.subTest(expected[0]):
                labels = [relation.getTarget(i).name for relation in field.getRelationSet()
                          if relation.getRelationType() == pyatspi.RELATION_LABELLED_BY
                          for i in range(relation.getNTargets())]
                self.assertEqual(labels, expected)  # its own, then its group's

    def test_every_column_has_a_name_in_full(self):
        in_full = {"Ch": "Channels", "Bit": "Bits per sample", "Fs (Hz)": "Sample rate (Hz)"}
        for name, shown in (("File List", "fileTitles"), ("Source File", "sourceTitles")):
            titles = [in_full.get(title, title) for title in TITLES[shown]]
            with self.subTest(name):
                found = [node.name for node in descendants(self.control(TABLE, name))
                         if node.getRole() == pyatspi.ROLE_TABLE_COLUMN_HEADER]
                self.assertEqual(found, titles)

    def test_a_split_is_done_through_the_tree(self):
        left, right = (struct.pack("<600h", *range(-300 * step, 300 * step, step))
                       for step in (1, 7))
        (self.folder / "take.wav").write_bytes(riff(fmt(2), data(mixed(left, right))))
        out = self.folder / "out"
        out.mkdir()
        self.add_all_to_split(".", "out")
        self.assertEqual(self.cells("File List"),
                         [["take.wav", "WAV", "2", "16", "48000", "2.4KB"]])
        self.assertEqual(self.cells("Source File"), [["take.wav", "2", "16", "48000", "."]])
        press(self.control(BUTTON, "Convert"))
        wait_for("second channel", lambda: is_finished(out / "take_02.wav"))
        self.quit()
        self.assertEqual(sorted(path.name for path in out.iterdir()),
                         ["take_01.wav", "take_02.wav"])
        for name, samples in ("take_01.wav", left), ("take_02.wav", right):
            self.assertTrue((out / name).read_bytes().endswith(data(samples)), name)

    def test_the_progress_of_a_conversion_has_its_name(self):
        # Silence that takes seconds to split and no room on the disk
        header = riff(fmt(2, bits=8), data(b"", 1_800_000_000))
        write_sparse(self.folder / "take.wav", header, len(header) + 1_800_000_000)
        self.add_all_to_split(str(self.folder), str(self.folder))
        press(self.control(BUTTON, "Convert"))
        dialog = wait_for("progress dialog", lambda: next(
            w for w in self.application() if w.getRole() == pyatspi.ROLE_DIALOG))
        self.assertEqual(dialog.name, TEXTS["progress"])
        bar = wait_for("progress bar", lambda: next(
            n for n in descendants(dialog) if n.getRole() == pyatspi.ROLE_PROGRESS_BAR))
        self.assertEqual(bar.name, TEXTS["progress"])
        self.control(pyatspi.ROLE_LABEL, TEXTS["converting"] + "take_01.wav", dialog)
        press(self.control(BUTTON, "Cancel", dialog))
        wait_for("end of the conversion", lambda: len(self.application()) == 1)
        self.quit()
        self.assertEqual([path.name for path in self.folder.iterdir()], ["take.wav"])


if __name__ == "__main__":
    AccessibilityTest.program = sys.argv.pop(1)
    unittest.main(verbosity=2)
