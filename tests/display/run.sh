#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Runs a Python test on a display and a session bus of its own: run.sh TEST [ARGUMENT...]
# The test finds programtest.py beside this script. Fails when a tool is missing, with the names of
# Debian's packages.
set -eu
here=$(dirname "$(realpath "$0")")

# shellcheck source=tests/display/tools.sh
. "$here/tools.sh"
need at-spi2-core test -e /usr/share/dbus-1/services/org.a11y.Bus.service
need dbus command -v dbus-run-session
need openbox command -v openbox
need python3-pyatspi /usr/bin/python3 -c 'import pyatspi'
need xauth command -v xauth
need xvfb command -v xvfb-run
end_if_missing

XDG_RUNTIME_DIR=$(mktemp -d)
HOME=$XDG_RUNTIME_DIR
trap 'rm -rf "$XDG_RUNTIME_DIR"' EXIT
export XDG_RUNTIME_DIR HOME
unset XDG_CONFIG_HOME QT_FATAL_WARNINGS QT_LOGGING_RULES QT_QPA_PLATFORMTHEME QT_STYLE_OVERRIDE
export PYTHONPATH="$here:$here/../support" QT_QPA_PLATFORM=xcb QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1

# A window manager gives the keyboard to the window in front. It ends with the display.
export managed="$XDG_RUNTIME_DIR/managed"
# shellcheck disable=SC2016
xvfb-run -a -s "-screen 0 1280x1024x24" dbus-run-session -- sh -c '
    openbox --startup "touch $managed" &
    while [ ! -e "$managed" ]; do sleep 0.1; done
    exec "$@"' sh \
    /usr/bin/python3 -B -W ignore::DeprecationWarning "$@"
