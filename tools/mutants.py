#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Breaks the product in small ways, one at a time, and prints those that no test notices.

Lines of the product are drawn at random, the same ones for the same --seed: from all of it, from
the files whose paths hold one of the words, or from the lines that changed --since a commit. One
thing is changed in each. Then the test programs of the line's folder run, and those of the folders
above it, until one fails: first the one named like the file, then the quickest. All of them have
to pass without a mutant. A mutant that does not build is replaced by another one, and one that
keeps a program busy for too long counts apart. All work happens in a copy below build/mutants.
Ends with 1 when a mutant survived.
"""

import argparse
import collections
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
TREE = ROOT / "build" / "mutants" / "tree"
LAYERS = ["wave", "convert", "ui", "app"]  # Each uses those before it.
# Without its value a function could do anything; other warnings do not stop a mutant.
CONFIGURE = ["cmake", "--preset", "dev", "-DSPLICORA_WARNINGS_AS_ERRORS=OFF",
             "-DCMAKE_CXX_FLAGS=-Werror=return-type"]
# Comments, preprocessor lines, texts and characters
NO_CODE = re.compile(r"""//[^\n]*|/\*.*?\*/|^\#[^\n]*|"(\\.|[^"\\\n])*"|'(\\.|[^'\\\n])'""",
                     re.M | re.S)
# What is found in the code, and what it may become
CHANGES = [
    (r"(?<= )<(?= )", ["<="]), (r"(?<= )<=(?= )", ["<"]),
    (r"(?<= )>(?= )", [">="]), (r"(?<= )>=(?= )", [">"]),
    (r"(?<= )==(?= )", ["!="]), (r"(?<= )!=(?= )", ["=="]),
    (r"(?<= )&&(?= )", ["||"]), (r"(?<= )\|\|(?= )", ["&&"]),
    (r"(?<= )\+(?==? )", ["-"]), (r"(?<= )-(?==? )", ["+"]),
    (r"\btrue\b", ["false"]), (r"\bfalse\b", ["true"]),
    (r"(?<= )\?(?= )", ["&& false ?", "|| true ?"]),
    (r"(?<![\w.'\"])\d\w*(?![\w.])", ["({} + 1)", "({} - 1)"]),
    (r"(?<=\")\"+(?=\")", ["x{}"]),  # a text, see masked()
    (r"^ *case [^\n]*:$", [""]),
]
Mutant = collections.namedtuple("Mutant", "name line start end new")


def masked(source):
    """The source, as long as it was, with blanks for comments and quotes for texts."""
    return NO_CODE.sub(lambda found: found[0][0] * len(found[0]) if found[0][0] in "\"'"
                       else re.sub(r"\S", " ", found[0]), source)


def end_of(code, start, ends):
    """Where one of the characters `ends` comes first outside of brackets, or -1."""
    depth = 0
    for at in range(start, len(code)):
        if depth == 0 and code[at] in ends:
            return at
        depth += (code[at] in "([{") - (code[at] in ")]}")
        if depth < 0:
            return -1
    return -1


def changes(source):
    """Yields start, end and new text of everything that may be changed."""
    code = masked(source)
    for pattern, news in CHANGES:
        for found in re.finditer(pattern, code, re.M):
            for new in news:
                yield *found.span(), new.replace("{}", source[slice(*found.span())])
    for found in re.finditer(r"\b(if|while) \(", code):
        start, end = found.end(), end_of(code, found.end(), ")")
        yield start, end, f"!({source[start:end]})"
        if found[1] == "if":
            yield start, end, f"false && ({source[start:end]})"
    for found in re.finditer(r"[;{}:)]\s*\n    +(?=[\w*+])|\belse\s+(?=\w)", code):
        start, end = found.end(), end_of(code, found.end(), ";")
        if end > 0 and not re.match(r"(if|else|for|while|switch|case|default)\b", code[start:]):
            yield start, end + 1, "{}"  # instead of a statement
    for found in re.finditer(r"^ .*?\w\((?=\S)", code, re.M):
        first, comma = found.end(), end_of(code, found.end(), ",")
        while comma > 0:
            end = end_of(code, comma + 1, ",)")
            second = source[comma + 1:end].lstrip()
            yield first, end, f"{second}, {source[first:comma]}"  # two arguments swapped
            first, comma = end - len(second), end if code[end] == "," else -1


def changed_lines(since):
    """The numbers of the lines that differ from those of the commit, by file."""
    diff = subprocess.run(["git", "diff", "-U0", "--no-ext-diff", since, "--", *LAYERS], cwd=ROOT,
                          check=True, stdout=subprocess.PIPE, text=True).stdout
    lines = collections.defaultdict(set)
    for name, first, count in re.findall(r"^\+\+\+ b/(.*)|^@@ \S+ \+(\d+)(?:,(\d+))? @@",
                                         diff, re.M):
        if name:
            changed = lines[name]
        else:
            changed.update(range(int(first), int(first) + int(count or 1)))
    return lines


def draw(names, options):
    """All mutants in the order of their turns: each line has one before any has a second."""
    names = [name for name in names if re.fullmatch(rf"({'|'.join(LAYERS)})/\w+\.(cpp|h)", name)]
    for word in options.words:
        if not any(word in name for name in names):
            sys.exit(f"No file of the product has {word!r} in its path.")
    lines = changed_lines(options.since) if options.since else None
    found = []
    for name in names:
        if options.words and not any(word in name for word in options.words):
            continue
        source = (TREE / name).read_text()
        for start, end, new in changes(source):
            line = source.count("\n", 0, start) + 1
            if new != source[start:end] and (lines is None or line in lines[name]):
                found.append(Mutant(name, line, start, end, new))
    if not found:
        sys.exit("There is nothing to change in these lines.")
    random.Random(options.seed).shuffle(found)
    turns = collections.Counter()

    def turn(mutant):
        turns[mutant[:2]] += 1
        return turns[mutant[:2]]
    return sorted(found, key=turn)


def copy_tree():
    """Brings the copy up to date, leaves unchanged files as old as they are, returns all names."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    names = [name for name in listed.split("\0") if (ROOT / name).is_file()]
    for name in names:
        source, target = ROOT / name, TREE / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.is_file() or target.read_bytes() != source.read_bytes():
            shutil.copy(source, target)
    return names


def run(command, timeout=None):
    """The command's result, or None when it was ended after `timeout` seconds."""
    with subprocess.Popen(command, cwd=TREE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="replace", start_new_session=True) as process:
        try:
            output, _ = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)  # and the tests that it started
            return None
        return subprocess.CompletedProcess(command, process.returncode, output)


def result_of(test, timeout=None):
    """What the test makes of the product that is in the copy: nothing when it passes."""
    target = test.partition(".")[0] if test.startswith("tst_") else "all"
    if run(["cmake", "--build", "--preset", "dev", "--target", target]).returncode != 0:
        return "does not build"
    result = run(["ctest", "--preset", "dev", "--no-tests=error", "--tests-regex",
                  f"^{re.escape(test)}$"], timeout)
    if result is None:
        return f"out of time in {test}"
    return f"noticed by {test}" if result.returncode != 0 else ""


def layers_of_tests():
    """The tests, each with the place of its label in LAYERS."""
    listed = json.loads(run(["ctest", "--preset", "dev", "--show-only=json-v1"]).stdout)["tests"]
    layers = {test["name"]: LAYERS.index(label) for test in listed for item in test["properties"]
              if item["name"] == "LABELS" for label in item["value"] if label in LAYERS}
    if len(set(layers.values())) != len(LAYERS):
        sys.exit("There is a folder of the product without a test.")
    return layers


def lowest_layer(name):
    """The first layer whose tests see the file; app/apptexts.h is included in convert/ too."""
    return LAYERS.index("convert" if name == "app/apptexts.h" else name.partition("/")[0])


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--count", type=int, default=100, help="how many mutants (100)")
    parser.add_argument("--seed", type=int, default=int(time.time()), help="draw the same ones")
    parser.add_argument("--since", metavar="COMMIT", help="change lines that differ from it")
    parser.add_argument("words", metavar="WORD", nargs="*", help="part of a path")
    options = parser.parse_args()
    os.nice(10)
    mutants = draw(copy_tree(), options)
    configured = run(CONFIGURE)
    if configured.returncode != 0:
        sys.exit(configured.stdout)
    layers = layers_of_tests()
    seconds = {}
    for test in layers:
        if layers[test] >= min(lowest_layer(mutant.name) for mutant in mutants):
            start = time.monotonic()
            result = result_of(test)
            if result:
                sys.exit(f"Without a mutant: {result}")
            seconds[test] = time.monotonic() - start  # and the time to build it

    print(f"seed {options.seed}, {len(mutants)} mutants to draw from", flush=True)
    found = collections.Counter()
    for mutant in mutants:
        path = TREE / mutant.name
        source = path.read_text()
        path.write_text(source[:mutant.start] + mutant.new + source[mutant.end:])
        tests = [test for test in seconds if layers[test] >= lowest_layer(mutant.name)]
        tests.sort(key=lambda test: (layers[test], test != f"tst_{path.stem}", seconds[test]))
        results = (result_of(test, 60 + 10 * seconds[test]) for test in tests)
        result = next(filter(None, results), "survived")
        path.write_text(source)
        if result == "does not build":
            continue
        found[result.partition(" ")[0]] += 1
        print(f"{found.total():3}/{options.count} {result}, {mutant.name}:{mutant.line}: "
              f"{source[mutant.start:mutant.end]!r} -> {mutant.new!r}", flush=True)
        if found.total() == options.count:
            break
    print(", ".join(f"{count} {result}" for result, count in sorted(found.items())))
    sys.exit(found["survived"] != 0)


if __name__ == "__main__":
    main()
