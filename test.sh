#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Builds Splicora and runs all its tests. test.sh PRESET takes another preset than dev.
set -eu
cd "$(dirname "$0")"
. tools/packages.sh

preset=${1:-dev}
# shellcheck disable=SC2086 # one word a package
need_packages $build_packages $test_packages
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset" --parallel "$(nproc)"
