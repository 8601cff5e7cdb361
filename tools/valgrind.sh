#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# tools/valgrind.sh [TEST...]: runs all tests, or each TEST, under valgrind's memcheck and fails on
# any error, such as an uninitialised byte in a write to a file. Leaks are the business of the asan
# preset. Takes a long time; the random cases are cut down to those of two channels, and tst_memory
# is left out: memcheck brings an allocator of its own, by which it cannot count.
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
        grep -v '^tst_memory$' | sort)
fi

QT_QPA_PLATFORM=offscreen
LC_ALL=C.UTF-8
QTEST_FUNCTION_TIMEOUT=3600000
QT_ENABLE_REGEXP_JIT=0 # machine code made on the fly is beyond memcheck
export QT_QPA_PLATFORM LC_ALL QTEST_FUNCTION_TIMEOUT QT_ENABLE_REGEXP_JIT

two_channels() {
    for function in splitThenCombineGivesBackEverySampleByte secondSplitEqualsTheFirst \
        combineOrderIsListOrder disabledChannelsWriteNothing otherChunkBodiesComeThroughUnchanged; do
        for width in 8 16 24 32; do
            echo "$function:2 channels of $width bits"
        done
    done
}

status=0
mkdir -p build/valgrind
for test; do
    log=build/valgrind/$test.log
    result=0
    run() {
        valgrind --quiet --error-exitcode=99 --leak-check=no --num-callers=30 \
            --suppressions=tools/valgrind.supp --log-file="$log" "build/dev/tests/$test" "$@" \
            >"$log.out" 2>&1 || result=$?
    }
    if [ "$test" = tst_properties ]; then
        old_ifs=$IFS
        IFS='
'
        run $(two_channels)
        IFS=$old_ifs
    else
        run
    fi
    errors=$(grep -c '^==[0-9]*== [A-Z]' "$log" || true)
    echo "$test: exit code $result, $errors errors, $(grep '^Totals' "$log.out" || echo 'no totals')"
    if [ "$result" -ne 0 ] || [ "$errors" -ne 0 ]; then
        status=1
        echo "  see $log and $log.out" >&2
    fi
done
exit $status
