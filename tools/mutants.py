#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Breaks the product in small ways, one at a time, and prints those that no test notices.

Changes of the product are drawn at random, the same ones for the same --seed: of all of it, of the
files whose paths hold a word, or of the lines that changed --since a commit. Then the test program
named like the file runs, then those of the file's folder and of the folders above it, two at once,
until one fails. All of them must pass on the unchanged product. A mutant that does not build is
replaced by another one, and one that keeps a program busy for too long counts apart. All work
happens in a copy below build/mutants. Ends with 1 if one survived.
"""

import argparse
import collections
import functools
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TREE = ROOT / "build" / "mutants"
LAYERS = ["wave", "convert", "ui", "app"]  # Each uses those before it.
# Without its value a function could do anything; other warnings do not stop a mutant.
CONFIGURE = ["cmake", "--preset", "dev", "-DCMAKE_CXX_FLAGS=-Werror=return-type"]
# Comments, preprocessor lines, texts and characters
NO_CODE = re.compile(r"""//[^\n]*|/\*.*?\*/|^\#[^\n]*|"(\\.|[^"\\\n])*"|'(\\.|[^'\\\n])'""",
                     re.M | re.S)
BALANCED = r"(?:[^()]|\((?:[^()]|\((?:[^()]|\([^()]*\))*\))*\))*"
BRACES = r"\{(?:[^;{}]|\{[^;{}]*\})*\}"
ARGUMENT = rf"(?:[^(),;{{}}]|\({BALANCED}\))+"
# What is found in the code, and what it may become: {0} is all of it, {1} and {2} are its groups
CHANGES = [
    (rf"\bif \(({BALANCED})\)", ["if (!({1}))", "if (false && ({1}))"]),
    (rf"\bwhile \(({BALANCED})\)", ["while (!({1}))"]),
    (r"(?<= )\?(?= )", ["&& false ?", "|| true ?"]),
    (rf"^ {{4,}}[\w*+](?:[^;{{}}()]|\({BALANCED}\)|{BRACES})*;(?= *$)", ["{{}}"]),  # a statement
    (r"^ *case [^\n]*:$", [""]),
    (rf"(?:(?<=\w\()|(?<=,\s))({ARGUMENT}),\s+({ARGUMENT})(?=[,)])", ["{2}, {1}"]),
    (r"(?<![\w.'\"])\d\w*(?![\w.])", ["({0} + 1)", "({0} - 1)"]),
    (r"(?<=[^\"]\")\"+(?=\")", ["x{0}"]),  # a text, see masked()
    (r"\btrue\b", ["false"]),
    (r"\bfalse\b", ["true"]),
    *((rf"(?<= ){re.escape(sign)}(?= )", [other]) for pair in (
        ("<", "<="), (">", ">="), ("==", "!="), ("&&", "||"), ("+", "-"), ("+=", "-="))
      for sign, other in (pair, pair[::-1])),
]
Mutant = collections.namedtuple("Mutant", "name line start end old new")


def masked(source):
    """The source, as long as it was, with blanks for comments and quotes for texts."""
    return NO_CODE.sub(lambda found: found[0][0] * len(found[0]) if found[0][0] in "\"'"
                       else re.sub(r"\S", " ", found[0]), source)


def changes(source):
    """Yields start, end and new text of everything that may be changed."""
    code = masked(source)
    for pattern, news in CHANGES:
        at = 0
        while found := re.compile(pattern, re.M).search(code, at):
            at = found.start() + 1  # Matches may overlap.
            parts = [source[slice(*found.span(group))] for group in range(found.re.groups + 1)]
            for new in news:
                yield *found.span(), new.format(*parts)


def lines_since(commit, name):
    """The numbers of the lines of a file that the commit does not have."""
    diff = subprocess.run(["git", "diff", "--unified=0", commit, "--", name], cwd=ROOT, check=True,
                          text=True, stdout=subprocess.PIPE).stdout
    return {int(first) + number for first, count in re.findall(r"^@@ .*\+(\d+)(?:,(\d+))? @@", diff,
                                                               re.MULTILINE)
            for number in range(int(count or 1))}


def draw(options):
    """All mutants in a random order."""
    found = []
    for path in (path for layer in LAYERS for path in sorted((TREE / layer).glob("*.[ch]*"))):
        name, source = str(path.relative_to(TREE)), path.read_text()
        if options.word not in name:
            continue
        wanted = lines_since(options.since, name) if options.since else None
        for start, end, new in changes(source):
            line = source.count("\n", 0, start) + 1
            if new != source[start:end] and (wanted is None or line in wanted):
                found.append(Mutant(name, line, start, end, source[start:end], new))
    random.Random(options.seed).shuffle(found)
    return found or sys.exit("There is nothing to change.")


def copy_checkout():
    shutil.rmtree(TREE, ignore_errors=True)
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, check=True, text=True, stdout=subprocess.PIPE).stdout
    for name in listed.split("\0"):
        if (ROOT / name).is_file():  # else it was removed
            (TREE / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, TREE / name)


def run(*command):
    return subprocess.run(command, cwd=TREE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="replace", check=False)


def result_of(tests):
    """What the tests make of the product that is in the copy: nothing when they pass."""
    targets = {test.partition(".")[0] if test.startswith("tst_") else "splicora" for test in tests}
    if run("cmake", "--build", "--preset", "dev", "--target", *targets).returncode != 0:
        return "does not build"
    done = run("ctest", "--preset", "dev", "--no-tests=error", "--stop-on-failure", "--parallel",
               "2", "--output-on-failure", "--tests-regex", f"^({'|'.join(tests)})$")
    if done.returncode == 0:
        return ""
    failed = re.search(r"Test +#\d+: (\S+) .*\*\*\*", done.stdout) or sys.exit(done.stdout)
    is_late = re.search(r"\*\*\*Timeout|Test function timed out", done.stdout)
    return f"{'out of time in' if is_late else 'noticed by'} {failed[1]}"


@functools.cache
def tests_of(folder):
    listed = run("ctest", "--preset", "dev", "--show-only", "--label-regex", f"^{folder}$")
    return re.findall(r"Test +#\d+: (\S+)", listed.stdout) or sys.exit(f"{folder}/ has no test.")


def groups_of_tests(name):
    """The tests that see a file: the one named like it, then those of a folder at a time."""
    first = "convert" if name == "app/apptexts.h" else name.partition("/")[0]
    groups = [tests_of(folder) for folder in LAYERS[LAYERS.index(first):]]
    own = f"tst_{pathlib.Path(name).stem}"
    return [[own]] * any(own in group for group in groups) + groups


def result_of_mutant(mutant):
    path = TREE / mutant.name
    source = path.read_text()
    path.write_text(source[:mutant.start] + mutant.new + source[mutant.end:])
    results = (result_of(tests) for tests in groups_of_tests(mutant.name))
    result = next(filter(None, results), "survived")
    path.write_text(source)
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--count", type=int, default=100, help="how many mutants (100)")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6), help="the same ones")
    parser.add_argument("--since", metavar="COMMIT",
                        help="change lines that it does not have, of files that git knows")
    parser.add_argument("word", metavar="WORD", nargs="?", default="", help="part of a path")
    options = parser.parse_args()
    os.nice(10)
    copy_checkout()
    mutants = draw(options)
    if (configured := run(*CONFIGURE)).returncode != 0:
        sys.exit(configured.stdout)
    print(f"seed {options.seed}, {len(mutants)} mutants to draw from", flush=True)
    if result := result_of({test for name in {mutant.name for mutant in mutants}
                            for tests in groups_of_tests(name) for test in tests}):
        sys.exit(f"Without a mutant: {result}")
    found = collections.Counter()
    for mutant in mutants:
        result = result_of_mutant(mutant)
        if result == "does not build":
            continue
        found[result.partition(" ")[0]] += 1
        print(f"{found.total():3}/{options.count} {result}, {mutant.name}:{mutant.line}: "
              f"{mutant.old!r} -> {mutant.new!r}", flush=True)
        if found.total() >= options.count:
            break
    print(", ".join(f"{count} {result}" for result, count in sorted(found.items()))
          or "No mutant builds.")
    sys.exit(found["survived"] != 0 or not found)


if __name__ == "__main__":
    main()
