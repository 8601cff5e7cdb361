#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Uses the running program as a screen reader does: test_accessibility.py PROGRAM"""

import sys
import unittest

import pyatspi

from programtest import (BUTTON, CHECK, COMBO, PATIENCE, TABLE, TEXT, ProgramTest, descendants, has,
                         wait_for)
from texts import TEXTS, TITLES
from wavbuilder import write_silence

CONTROLS = {
    COMBO: ["Mono to Poly"],
    TEXT: ["Current Dir:", "Output to:"],
    BUTTON: ["Browse... Current Dir", "Add", "Add All", "Browse... Output to", "Remove",
             "Remove All", "Convert"],
    TABLE: ["File List", "Source File"],
    CHECK: [f"Channel {n}" for n in range(1, 9)],
}


def press(node):
    action = node.queryAction()
    names = [action.getName(i) for i in range(action.nActions)]
    action.doAction(names.index("Press"))


class AccessibilityTest(ProgramTest):
    def test_every_control_has_its_name_and_role(self):
        for role, names in CONTROLS.items():
            with self.subTest(role):
                self.assertCountEqual([node.name for node in descendants(self.window)
                                       if node.getRole() == role], names)

    def test_the_program_and_its_logo_have_names(self):
        self.assertEqual(self.application().name, "splicora")
        self.assertIn("VELMAR", [node.name for node in descendants(self.window)])

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

    def test_a_long_split_is_done_through_the_tree(self):
        write_silence(self.folder / "take.wav", 1_800_000_000)  # seconds of work
        for field in "Current Dir:", "Output to:":
            self.control(TEXT, field).queryEditableText().setTextContents(".")
        self.function_combo().queryComponent().grabFocus()
        wait_for("focused selector", lambda: has(self.function_combo(), pyatspi.STATE_FOCUSED))
        pyatspi.Registry.generateKeyboardEvent(0xff54, None, pyatspi.KEY_SYM)  # the key Down
        wait_for("function", lambda: self.function_combo().name == "Poly to Mono")
        wait_for("listed file", lambda: self.cells("File List"))
        press(self.control(BUTTON, "Add All"))
        convert = self.control(BUTTON, "Convert")
        wait_for("enabled Convert", lambda: has(convert, pyatspi.STATE_ENABLED))
        self.assertEqual(self.cells("File List"),
                         [["take.wav", "WAV", "2", "8", "48000", "1.7GB"]])
        self.assertEqual(self.cells("Source File"), [["take.wav", "2", "8", "48000", "."]])
        press(convert)
        dialog = self.control(pyatspi.ROLE_DIALOG, TEXTS["progress"], self.application())
        self.control(pyatspi.ROLE_PROGRESS_BAR, TEXTS["progress"], dialog)
        self.control(pyatspi.ROLE_LABEL, TEXTS["converting"] + "take_01.wav", dialog)
        press(self.control(BUTTON, "Cancel", dialog))
        wait_for("end of the conversion", lambda: len(self.application()) == 1)
        press(self.control(pyatspi.ROLE_MENU_ITEM, "Quit"))
        self.assertEqual(self.process.wait(PATIENCE), 0)
        self.assertEqual([path.name for path in self.folder.glob("*.wav")], ["take.wav"])


if __name__ == "__main__":
    AccessibilityTest.program = sys.argv.pop(1)
    unittest.main(verbosity=2)
