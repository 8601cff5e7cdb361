#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# demo/run.sh PROGRAM DIRECTORY
# The main job on a virtual display: PROGRAM drives the real window, SoX compares what it wrote.
# All files and the screenshots stay below DIRECTORY. Fails when a sample differs.
set -eu
program=$(realpath "$1")
rm -rf "$2"
mkdir -p "$2"
cd "$2"
mkdir take without_channel_3 split combined screenshots
voices=/usr/share/sounds/alsa

sox -M "$voices/Front_Left.wav" "$voices/Front_Right.wav" \
    "$voices/Rear_Left.wav" "$voices/Rear_Right.wav" -t wavpcm take/take.wav

xvfb-run --auto-servernum --server-args="-screen 0 1000x700x24" \
    env QT_QPA_PLATFORM=xcb "$program" "$PWD"

# facts FILE: channels, bits, rate and size
facts() {
    printf '%s ch  %s bit  %s Hz  %8s bytes' "$(soxi -c "$1")" "$(soxi -b "$1")" \
        "$(soxi -r "$1")" "$(stat -c %s "$1")"
}

# samples FILE [CHANNEL]: the sample bytes, of one channel or of all
samples() {
    if [ $# -gt 1 ]; then
        sox -D "$1" -t raw - remix "$2"
    else
        sox -D "$1" -t raw -
    fi
}

failures=0
# compare WRITTEN READ [CHANNEL]
compare() {
    file=$1
    shift
    samples "$@" >expected.raw
    if ! samples "$file" | cmp -s expected.raw -; then
        failures=$((failures + 1))
        result=DIFFERENT
    else
        result="$(stat -c %s expected.raw) sample bytes equal"
    fi
    printf 'compared  %-30s  %s%s: %s\n' "$file" "$1" "${2:+, channel $2}" "$result"
    rm -f expected.raw
}

echo
printf 'read      %-30s  %s\n' take/take.wav "$(facts take/take.wav)"
for file in without_channel_3/*.wav split/*.wav combined/*.wav; do
    printf 'written   %-30s  %s\n' "$file" "$(facts "$file")"
done
for channel in 1 2 4; do
    compare "without_channel_3/take_0$channel.wav" take/take.wav "$channel"
done
for channel in 1 2 3 4; do
    compare "split/take_0$channel.wav" take/take.wav "$channel"
done
compare combined/take_combined.wav take/take.wav
written=$(find without_channel_3 split combined -type f | wc -l)
if [ "$written" -ne 8 ]; then
    echo "8 files were to be written, there are $written."
    failures=$((failures + 1))
fi
echo "Screenshots: $PWD/screenshots"
if [ "$failures" -ne 0 ]; then
    echo "$failures of the checks failed."
    exit 1
fi
echo "Every sample byte came through."
