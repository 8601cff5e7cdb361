#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Measures the program beside what people would use instead:
#     bench/run.sh [--quick] [--rounds N]
# --quick takes small files and one round, to see that everything runs. Tables: build/bench/.
# shellcheck disable=SC2015,SC2086 # tests in a row, lists of words
set -eu

rounds=7
mib=350
listing="1000 10000 50000"
starts=5
while [ $# -gt 0 ]; do
    case $1 in
    --quick)
        rounds=1
        mib=8
        listing="100 300 1000"
        starts=2
        ;;
    --rounds)
        rounds=${2:?"--rounds needs a number"}
        shift
        ;;
    *)
        sed -n '5,7s/^# *//p' "$0" >&2
        exit 2
        ;;
    esac
    shift
done

root=$(cd "$(dirname "$0")/.." && pwd)
. "$root/tools/packages.sh"

# A directory with room for the sources, eleven times the samples of one, the outputs and the files
# that are only listed.
choose_work() {
    need_kib=$(((mib * 13 + 768) * 1024))
    for place in /dev/shm "${XDG_RUNTIME_DIR:-}"; do
        [ -d "$place" ] && [ -w "$place" ] || continue
        [ "$(stat -f -c %T "$place")" = tmpfs ] || continue
        [ "$(df -Pk "$place" | awk 'NR == 2 { print $4 }')" -ge "$need_kib" ] || continue
        # Files in memory take memory away from the programs.
        available_kib=$(awk '/^MemAvailable/ { print $2 }' /proc/meminfo)
        [ "$available_kib" -ge "$((need_kib * 5 / 4))" ] || continue
        work=$(mktemp -d "$place/splicora-bench.XXXXXX")
        in_memory=--in-memory
        return
    done
    work=$(mktemp -d "${TMPDIR:-/tmp}/splicora-bench.XXXXXX")
    in_memory=
    echo "No memory-backed directory has $((need_kib / 1024)) MiB of room: the disk takes part." >&2
}

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages ffmpeg fonts-dejavu-core hyperfine libbenchmark-dev libgl1-mesa-dev \
    python3 sndfile-programs sox
cmake --preset release -S "$root" -B "$root/build/bench/release" -DSPLICORA_BUILD_BENCH=ON
cmake --build "$root/build/bench/release"

choose_work
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
echo "The material is in $work."
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8
python3 "$root/bench/bench.py" --programs "$root/build/bench/release/bench" --work "$work" \
    --results "$root/build/bench" --rounds "$rounds" --mib "$mib" --starts "$starts" \
    --listing $listing $in_memory
"$root/build/bench/release/bench/bench_samplecopy" --benchmark_min_time=0.1 \
    --benchmark_out="$root/build/bench/samplecopy.json" --benchmark_out_format=json
