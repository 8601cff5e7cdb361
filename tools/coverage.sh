#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Runs all tests with coverage and prints lines and branches of the product, file by file.
# The pages that show each line end up below build/coverage/html.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages $test_packages gcovr
cmake --preset coverage
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete
ctest --preset coverage --parallel "$(nproc)"

mkdir -p build/coverage/html
report() {
    gcovr --root . --object-directory build/coverage --filter '(app|wave|convert|ui)/' \
        --exclude '.*_autogen.*' --exclude-directories '.*CompilerIdCXX.*' \
        --exclude-throw-branches "$@"
}
report --html-details build/coverage/html/index.html --txt
report --branches --txt
