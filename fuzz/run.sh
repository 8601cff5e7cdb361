#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# fuzz/run.sh SECONDS [TARGET...]: builds the fuzzers and runs each (or each TARGET) for SECONDS,
# from seeds that SoX, FFmpeg and the builder of the tests make. What the runs add to the corpus
# stays in build/fuzz/corpus, what they find in build/fuzz/findings. Prints the executions, the
# coverage and the findings of each; exits with 1 if there is a finding.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET...]}
shift
[ $# -gt 0 ] || set -- fuzz_header fuzz_chunks fuzz_split fuzz_combine fuzz_plaintobwf

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages clang ffmpeg libclang-rt-14-dev libgl-dev llvm sox

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target makeseeds "$@"

# The files of a run live in memory where the system has room for them there.
memory=${TMPDIR:-/tmp}
[ ! -w /dev/shm ] || memory=/dev/shm
TMPDIR=$(mktemp -d "$memory/splicora-fuzz-XXXXXX")
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 130' INT TERM

build=build/fuzz
foreign=$TMPDIR/foreign
mkdir "$foreign"
sox -n -r 8000 -b 16 -c 2 "$foreign/sox-16.wav" synth 0.01 sine 440
sox -n -r 8000 -b 24 -c 3 "$foreign/sox-24.wav" synth 0.01 sine 440
sox -n -r 8000 -b 8 -c 1 "$foreign/sox-8.wav" synth 0.01 sine 440
sox -n -r 8000 -e float -b 32 -c 1 "$foreign/sox-float.wav" synth 0.01 sine 440
made="ffmpeg -v error -f lavfi -i sine=duration=0.01:sample_rate=8000"
$made -metadata title=take "$foreign/ffmpeg-list.wav"
$made -write_bext 1 -metadata originator=someone -ac 2 "$foreign/ffmpeg-bext.wav"
$made -c:a pcm_f64le -ac 4 "$foreign/ffmpeg-f64.wav"
UBSAN_OPTIONS=print_stacktrace=1 $build/fuzz/makeseeds "$build/seeds" "$foreign"/*.wav

# Besides what the program keeps on purpose: what the font library keeps of a first look-up.
cp tests/leaks.supp "$TMPDIR/leaks.supp"
echo leak:libfontconfig.so >>"$TMPDIR/leaks.supp"
ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=12
LSAN_OPTIONS=suppressions=$TMPDIR/leaks.supp:print_suppressions=0
UBSAN_OPTIONS=print_stacktrace=1
export ASAN_OPTIONS LSAN_OPTIONS UBSAN_OPTIONS

status=0
for target; do
    corpus=$build/corpus/$target
    findings=$build/findings/$target
    log=$build/$target.log
    mkdir -p "$corpus" "$findings"
    case $target in
    fuzz_header) seeds=$build/seeds/one ;;
    *) seeds=$build/seeds/several ;;
    esac
    result=0
    $build/fuzz/$target "$corpus" "$seeds" -artifact_prefix="$findings/" -dict=fuzz/wav.dict \
        -max_total_time="$seconds" -max_len=8192 -timeout=30 -report_slow_units=30 \
        -rss_limit_mb=3072 -use_value_profile=1 -print_final_stats=1 >"$log" 2>&1 || result=$?
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1)
    found=$(find "$findings" -type f | wc -l)
    echo "$target: ${executions:-no} executions, ${coverage:-no coverage}, $found findings"
    if [ "$result" -ne 0 ] || [ "$found" -ne 0 ]; then
        status=1
        echo "  exit code $result, see $log and $findings" >&2
    fi
done
exit $status
