#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Fails when a source file is not formatted as .clang-format says, and shows where.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

need_packages clang-format
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
echo "All sources are formatted."
