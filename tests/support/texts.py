# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""The texts of texts.h for the scripts: TEXTS["noDirectory"], TEXTS["ConvertFileOpen"]."""

import json
import pathlib
import re

_HEADER = pathlib.Path(__file__).with_suffix(".h").read_text()
TEXTS = {name: json.loads(text) for name, text in re.findall(
    r'\b(?:g_)?(\w+)(?: =|,)\s*QStringLiteral\((".*")\)[;}]', _HEADER)}
TITLES = {name: re.findall(r'"(.*?)"', body) for name, body in re.findall(
    r"g_(\w+Titles) = \{(.*?)\};", _HEADER, re.S)}

# What the box of an error says, by its code
ERRORS = {code: TEXTS["failed"] + TEXTS[name] for code, name in enumerate(
    (name for name in TEXTS if name.startswith("Convert")), 1)}
