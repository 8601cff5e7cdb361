#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# run.sh [DIRECTORY]: converts for a long time, very long files, and in two programs at once, with
# an optimised build. Takes minutes, and 8 GiB of DIRECTORY, else of TMPDIR.
set -eu
cd "$(dirname "$0")/../.."
. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages python3

cmake -B build/endurance -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=ON >/dev/null
cmake --build build/endurance --target session >/dev/null
QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 QT_LOGGING_RULES=default.warning=false \
    PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=tests/filesystems TMPDIR=${1:-${TMPDIR:-/tmp}} \
    python3 -u tests/endurance/endurance.py build/endurance/tests/session
