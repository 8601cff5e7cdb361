#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# tools/valgrind.sh [TEST...]: runs all tests, or each TEST, under valgrind's memcheck and fails on
# any error, such as an uninitialised byte in a write to a file. Leaks are the business of the asan
# preset. Takes a long time; of the random cases there is one in each row.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages $test_packages valgrind

cmake --preset dev >/dev/null
if [ $# -gt 0 ]; then
    cmake --build --preset dev --target "$@"
else
    cmake --build --preset dev
    set -- $(cd build/dev/tests && find . -maxdepth 1 -type f -name 'tst_*' -perm -u+x -printf '%f\n' |
        sort)
fi

[ $# -gt 0 ] || { echo "There are no tests in build/dev." >&2; exit 1; }

QT_QPA_PLATFORM=offscreen
LC_ALL=C.UTF-8
QTEST_FUNCTION_TIMEOUT=3600000
QT_ENABLE_REGEXP_JIT=0 # memcheck does not see through code that is made on the way
SPLICORA_CASES=1
export QT_QPA_PLATFORM LC_ALL QTEST_FUNCTION_TIMEOUT QT_ENABLE_REGEXP_JIT SPLICORA_CASES

status=0
mkdir -p build/valgrind
for test; do
    log=build/valgrind/$test.log
    rm -f "$log"*
    result=0
    # A test may bring operators of its own for new and delete, and start itself again. What it
    # starts of other makers is not checked.
    valgrind --quiet --error-exitcode=99 --leak-check=no --num-callers=30 \
        --soname-synonyms=somalloc=nouserintercepts --suppressions=tools/valgrind.supp \
        --trace-children=yes --trace-children-skip='*/sox,*/ffmpeg' --log-file="$log.%p" \
        "build/dev/tests/$test" >"$log.out" 2>&1 || result=$?
    errors=$(cat "$log".[0-9]* | grep -c '^==[0-9]*== [A-Z]' || true)
    echo "$test: exit code $result, $errors errors, $(grep '^Totals' "$log.out" || echo 'no totals')"
    if [ "$result" -ne 0 ] || [ "$errors" -ne 0 ]; then
        status=1
        echo "  see $log.*" >&2
    fi
done
exit $status
