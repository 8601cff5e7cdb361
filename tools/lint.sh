#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Checks the rules of the project, then runs clang-tidy (with .clang-tidy) and cppcheck over the
# product; any finding fails.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages clang-tidy cppcheck python3

# none_found RULE COMMAND...: fails when the command, a search, finds a line.
none_found() {
    echo "== $1"
    shift
    ! "$@" || exit 1
}

# A folder includes itself and those below it; app/apptexts.h has no code.
includes_beside() {
    grep -n '^#include "' "$1"/*.h "$1"/*.cpp | grep -vE "#include \"($2)"
}
none_found "wave/ includes nothing above it" includes_beside wave 'wave/'
none_found "convert/ includes nothing above it" \
    includes_beside convert 'app/apptexts\.h"|convert/|wave/'
none_found "ui/ includes nothing above it" includes_beside ui 'app/apptexts\.h"|ui/|convert/|wave/'

none_found "nothing below the conversions includes the request" \
    grep -n '#include "convert/wavconverter.h"' convert/conversionprogress.* convert/converterror.h \
    convert/file* convert/outputfile.* convert/samplecopy.* convert/wavwriter.*

# Headers of Qt and of the C++ standard library have neither a suffix nor a folder.
none_found "no system header in the product" grep -nE '^ *# *include *<[^>]*[./]' \
    app/*.h app/*.cpp wave/*.h wave/*.cpp convert/*.h convert/*.cpp ui/*.h ui/*.cpp

echo "== one version everywhere"
versions=$(
    sed -n 's/^project(splicora VERSION \([^ ]*\).*/\1/p' CMakeLists.txt
    sed -n 's/.*g_appVersion = QStringLiteral("\(.*\)").*/\1/p' app/apptexts.h
    sed -n 's/^## \([^ ]*\) .*/\1/p' CHANGELOG.md | head -n 1
    sed -n 's/.*<release version="\([^"]*\)".*/\1/p' packaging/*.metainfo.xml | head -n 1
    sed -n 's/.*"Splicora \([0-9.]*\)".*/\1/p' packaging/splicora.1
    sed -n '1s/.*(\(.*\)).*/\1/p' debian/changelog
    grep -rhoE 'Ver\.[0-9.]+' tests | sed 's/Ver\.//'
)
if [ "$(echo "$versions" | wc -l)" -ne 7 ] || [ "$(echo "$versions" | sort -u | wc -l)" -ne 1 ]; then
    echo "Seven places name the version, and these are not seven times the same:"
    echo "$versions"
    exit 1
fi

cmake --preset ci >/dev/null
cmake --build --preset ci --target splicora # the generated sources are included
echo "== clang-tidy"
clang-tidy --quiet -p build/ci app/*.cpp wave/*.cpp convert/*.cpp ui/*.cpp
echo "== cppcheck"
cppcheck --quiet --std=c++20 --language=c++ --library=qt --error-exitcode=1 \
    --enable=warning,performance,portability -I . app wave convert ui
echo "== No findings"
