#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Renders app/images/*.svg into the icon and the logo that are compiled into the program and into
# the icons that are installed (packaging/icons). The sizes up to 48 have drawings of their own.
# Needs rsvg-convert, icotool, pngquant and optipng (Debian: librsvg2-bin icoutils pngquant optipng).
set -eu
cd "$(dirname "$0")/../app/images"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

rsvg-convert -w 256 -h 256 -o "$work/256.png" appicon.svg
for size in 48 32 24 16; do
    rsvg-convert -o "$work/$size.png" "appicon-$size.svg"
done
icotool --create --bit-depth=32 --raw="$work/256.png" \
    "$work/48.png" "$work/32.png" "$work/24.png" "$work/16.png" --output=appicon.ico

rsvg-convert -o "$work/velmar.png" velmar.svg
pngquant --force --speed 1 --strip --output velmar.png 256 "$work/velmar.png"

icons=../../packaging/icons
for size in 16 24 32 48 64 128 256; do
    drawing=appicon-$size.svg
    [ -f "$drawing" ] || drawing=appicon.svg
    mkdir -p "$icons/${size}x$size"
    icon=$icons/${size}x$size/splicora.png
    rsvg-convert -w "$size" -h "$size" -o "$icon" "$drawing"
    optipng -quiet -strip all "$icon"
done
