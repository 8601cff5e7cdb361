# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Starts the program for a test and finds its windows and controls in the accessible tree."""

import os
import pathlib
import subprocess
import tempfile
import time
import unittest

import pyatspi
from gi.repository import GLib

PATIENCE = 30  # seconds until a state that is waited for counts as missing

COMBO = pyatspi.ROLE_COMBO_BOX
TEXT = pyatspi.ROLE_TEXT
BUTTON = pyatspi.ROLE_PUSH_BUTTON
TABLE = pyatspi.ROLE_TABLE
CHECK = pyatspi.ROLE_CHECK_BOX


def wait_for(what, condition):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        result = None
        try:
            result = condition()
        except (StopIteration, GLib.GError):
            pass  # not there yet, or the tree changed under the walk
        except AttributeError as error:
            if error.obj is not None:  # what the tree gave for a node that is gone
                raise
        if result:
            return result
        time.sleep(0.02)
    raise AssertionError(f"There was no {what} within {PATIENCE} s.")


def descendants(node):
    for child in node:
        if child is not None:
            yield child
            yield from descendants(child)


def has(node, state):
    return node.getState().contains(state)


class ProgramTest(unittest.TestCase):
    program = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        # The program has no options: it passes over the first one. The toolkit has: what its own
        # say comes before the environment.
        self.process = subprocess.Popen([self.program, "--help", "-platform", "xcb"],
                                        cwd=self.folder,
                                        env={**os.environ, "QT_QPA_PLATFORM": "offscreen",
                                             "HOME": str(self.folder),
                                             "OPENED": str(self.folder / "opened")})
        self.addCleanup(self.process.wait)
        self.addCleanup(self.process.kill)
        self.window = wait_for("window", lambda: next(
            w for w in self.application() if w.getRole() == pyatspi.ROLE_FRAME))
        wait_for("active window", lambda: has(self.window, pyatspi.STATE_ACTIVE))

    def application(self):
        return next(a for a in pyatspi.Registry.getDesktop(0)
                    if a is not None and a.get_process_id() == self.process.pid)

    def control(self, role, name, within=None):
        return wait_for(f"{name!r}", lambda: next(
            node for node in descendants(within or self.window)
            if node.getRole() == role and node.name == name))

    def function_combo(self):
        return next(n for n in descendants(self.window) if n.getRole() == COMBO)

    def cells(self, name):
        table = self.control(TABLE, name).queryTable()
        return [[table.getAccessibleAt(row, column).name for column in range(table.nColumns)]
                for row in range(table.nRows)]
