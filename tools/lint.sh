#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Runs clang-tidy (with .clang-tidy) and cppcheck over the product; any finding fails.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages clang-tidy cppcheck

cmake --preset dev >/dev/null
cmake --build --preset dev --target splicora # the generated sources are included
echo "== clang-tidy"
clang-tidy --quiet -p build/dev app/*.cpp wave/*.cpp convert/*.cpp ui/*.cpp
echo "== cppcheck"
cppcheck --quiet --std=c++20 --language=c++ --library=qt --error-exitcode=1 \
    --enable=warning,performance,portability -I . app wave convert ui
echo "== No findings"
