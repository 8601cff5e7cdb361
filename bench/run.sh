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
listing="1000 3000 10000"
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
packages="cmake ninja-build g++ qt6-base-dev libgl1-mesa-dev libbenchmark-dev hyperfine
          fonts-dejavu-core sox ffmpeg sndfile-programs python3"

missing_packages() {
    for package in $packages; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' \
            || echo "$package"
    done
}

install_missing() {
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        for tool in cmake ninja c++ hyperfine sox ffmpeg sndfile-deinterleave python3; do
            command -v "$tool" >/dev/null && continue
            echo "No $tool here, and no apt-get to install it. Needed (names of Debian):" >&2
            echo $packages >&2
            exit 1
        done
        return
    fi
    missing=$(missing_packages)
    [ -n "$missing" ] || return 0
    as_root=
    [ "$(id -u)" -eq 0 ] || as_root=sudo
    echo "Installing with apt-get:" $missing
    $as_root apt-get update
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
}

# A directory with room for the sources, eleven times the samples of one, and the outputs.
choose_work() {
    need_kib=$(((mib * 13 + 256) * 1024))
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

install_missing
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
