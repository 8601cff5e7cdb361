#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Runs the accessibility test on a display and a session bus of its own: run.sh PROGRAM
# Needs Debian's at-spi2-core, python3-pyatspi, dbus, xvfb (with xauth) and openbox;
# fails without them.
set -eu

for tool in dbus-run-session xvfb-run xauth openbox /usr/bin/python3; do
    command -v "$tool" >/dev/null || { echo "$tool is not installed" >&2; exit 1; }
done
/usr/bin/python3 -c 'import pyatspi' || { echo "python3-pyatspi is not installed" >&2; exit 1; }

XDG_RUNTIME_DIR=$(mktemp -d)
HOME=$XDG_RUNTIME_DIR
trap 'rm -rf "$XDG_RUNTIME_DIR"' EXIT
export XDG_RUNTIME_DIR HOME
export QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1

# A window manager gives the keyboard to the window in front. It ends with the display.
export managed="$XDG_RUNTIME_DIR/managed"
# shellcheck disable=SC2016
xvfb-run -a -s "-screen 0 1280x1024x24" dbus-run-session -- sh -c '
    openbox --startup "touch $managed" &
    while [ ! -e "$managed" ]; do sleep 0.1; done
    exec "$@"' sh \
    /usr/bin/python3 -B -W ignore::DeprecationWarning \
    "$(dirname "$0")/test_accessibility.py" "$1"
