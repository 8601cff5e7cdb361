#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Shows that desktops find the menu entry and the icons of the window: check-name.sh PREFIX
# Starts the program installed there under a window manager of X11 and under a Wayland compositor,
# neither of which needs a display, and asks them for the name of its window.
set -eu
prefix=$(realpath "$1")
entry=$prefix/share/applications/splicora.desktop

. "$(dirname "$0")/../tools/packages.sh"
need_packages openbox qt6-wayland weston x11-utils xdotool xvfb

work=$(mktemp -d)
processes=
finish() {
    for process in $processes; do
        kill "$process" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 1' HUP INT TERM
run_beside() { # run_beside LOG COMMAND...
    log=$work/$1
    shift
    "$@" >"$log" 2>&1 &
    processes="$! $processes"
}
wait_for() { # wait_for WHAT COMMAND...
    what=$1
    shift
    for _ in $(seq 600); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    echo "There was no $what." >&2
    tail "$work"/*.log >&2
    exit 1
}
same() { # same WHAT FOUND EXPECTED
    echo "$1: $2"
    [ "$2" = "$3" ] || { echo "expected: $3" >&2; exit 1; }
}
unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM
export XDG_RUNTIME_DIR="$work"

value() { sed -n "s/^$1=//p" "$entry"; }
name=$(basename "$entry" .desktop)
same "Program" "$(value Exec)" "$name"
same "Window class" "$(value StartupWMClass)" "$name"
icons=$prefix/share/icons/hicolor
for size in 16 24 32 48 64 128 256; do
    test -s "$icons/${size}x$size/apps/$(value Icon).png"
done
test -s "$icons/scalable/apps/$(value Icon).svg"

Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
processes=$!
wait_for display test -s "$work/display"
DISPLAY=:$(cat "$work/display")
export DISPLAY
run_beside openbox.log openbox --startup "touch $work/managed"
wait_for "window manager" test -e "$work/managed"
run_beside x11.log "$prefix/bin/splicora"
has_focus() { [ "$(xdotool getwindowfocus getwindowname)" = Splicora ]; }
wait_for "window on X11" has_focus
property() { xprop -notype -id "$(xdotool getwindowfocus)" "$1" | sed 's/.* = //'; }
same "X11, WM_CLASS" "$(property WM_CLASS)" "\"$name\", \"$name\""
same "X11, as the window manager has it" "$(property _OB_APP_CLASS)" "\"$name\""
unset DISPLAY

export WAYLAND_DISPLAY=splicora-test
run_beside weston.log env WAYLAND_DEBUG=server weston --backend=headless-backend.so \
    --socket=$WAYLAND_DISPLAY --no-config
wait_for compositor test -S "$work/$WAYLAND_DISPLAY"
run_beside wayland.log env QT_QPA_PLATFORM=wayland "$prefix/bin/splicora"
wait_for "window under Wayland" grep -q set_app_id "$work/weston.log"
same "Wayland, app_id" \
    "$(sed -n 's/.*xdg_toplevel.*set_app_id("\(.*\)").*/\1/p' "$work/weston.log")" "$name"
