#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Installs the Debian package in a clean Debian 12, combines two files there through the window,
# removes the package and shows that nothing stays behind: try-install.sh [PACKAGE]
# Needs root and about 1 GB in TMPDIR. The new system holds the package and its dependencies alone:
# display and keyboard stay outside.
set -eu

if [ -z "${TRY_INSTALL_UNSHARED-}" ]; then
    # Mounts of an own namespace vanish with it, however the script ends.
    TRY_INSTALL_UNSHARED=1 exec unshare --mount --propagation private "$0" "$@"
fi

. "$(dirname "$0")/../tools/packages.sh"
need_packages alsa-utils debootstrap openbox sox xdotool xvfb

package=$(realpath "${1:-$(ls "$(dirname "$0")"/../build/release/splicora_*.deb)}")
mirror=${MIRROR:-http://deb.debian.org/debian}
work=$(mktemp -d)
root=$work/root
server=
window_manager=
program=
finish() {
    for process in $program $window_manager $server; do
        kill "$process" 2>/dev/null || true
    done
    umount "$root/proc" "$root/tmp/.X11-unix" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap finish EXIT

step() { echo "== $*"; }
in_root() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"; }
wait_for() { # wait_for WHAT COMMAND...
    what=$1
    shift
    for _ in $(seq 300); do
        if "$@" >/dev/null 2>&1; then return; fi
        sleep 0.1
    done
    echo "There was no $what." >&2
    cat "$work"/*.log >&2
    exit 1
}

step "Debian 12 from $mirror"
debootstrap --variant=minbase bookworm "$root" "$mirror" >"$work/debootstrap.log" 2>&1 ||
    { tail "$work/debootstrap.log"; exit 1; }
mount -t proc proc "$root/proc"
in_root useradd --create-home musician

step "Dependencies: $(dpkg-deb -f "$package" Depends)"
in_root apt-get -q update >"$work/apt.log"
in_root apt-get -qy satisfy --no-install-recommends "$(dpkg-deb -f "$package" Depends)" \
    >>"$work/apt.log" 2>&1 || { tail "$work/apt.log"; exit 1; }
in_root apt-get clean

# Everything but the package manager's own books.
snapshot() {
    (cd "$root" && find . -xdev \( -path ./var/lib/dpkg -o -path ./var/log \
        -o -path ./home/musician/take \) -prune -o \
        \( -type f -exec sha256sum {} + \) -o -printf '%y %m %u %p %l\n') | sort >"$1"
}
take=$root/home/musician/take
mkdir "$take"
sox /usr/share/sounds/alsa/Front_Left.wav "$take/voice_01.wav"
sox /usr/share/sounds/alsa/Front_Left.wav "$take/voice_02.wav" reverse
chroot "$root" chown -R musician: /home/musician/take
mkdir -p "$root/tmp/.X11-unix"
in_root install -d -o musician -m 700 /run/musician # as every desktop session has one
snapshot "$work/before"

step "Install"
cp "$package" "$root/splicora.deb"
in_root dpkg -i /splicora.deb
rm "$root/splicora.deb"

step "Start"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
server=$!
wait_for display test -s "$work/display"
DISPLAY=:$(cat "$work/display")
export DISPLAY
mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
openbox --startup "touch $work/managed" >"$work/openbox.log" 2>&1 &
window_manager=$!
wait_for "window manager" test -e "$work/managed"
chroot --userspec=musician "$root" env -i PATH=/usr/bin:/bin HOME=/home/musician LC_ALL=C.UTF-8 \
    XDG_RUNTIME_DIR=/run/musician DISPLAY="$DISPLAY" splicora >"$work/program.log" 2>&1 &
program=$!
window_has_focus() { [ "$(xdotool getwindowfocus getwindowname)" = Splicora ]; }
wait_for window window_has_focus

step "Combine voice_01.wav and voice_02.wav by keyboard"
keys() { xdotool key --delay 60 "$@"; }
keys Tab
xdotool type --delay 20 /home/musician/take
keys Return Tab Tab Tab Tab space # Browse, the files, Add, Add All
keys Tab Tab                      # the sources, Output to
xdotool type --delay 20 /home/musician/take
keys Tab Tab Tab Tab space        # Browse, Remove, Remove All, Convert
combined=$take/voice_combined.wav
is_finished() { [ -s "$combined" ] && [ "$(od -An -tu4 -j4 -N4 "$combined")" -ne 0 ]; }
wait_for "combined file" is_finished
keys alt+f Return # Quit
wait "$program"
program=
sox -M "$take/voice_01.wav" "$take/voice_02.wav" -t raw "$work/expected"
sox "$combined" -t raw "$work/got"
cmp "$work/expected" "$work/got"
step "The samples are right: $(soxi -c "$combined") channels, $(soxi -s "$combined") samples each"

step "Remove"
in_root dpkg --purge splicora
kill "$window_manager" "$server"
window_manager=
server=
umount "$root/tmp/.X11-unix"
snapshot "$work/after"
diff "$work/before" "$work/after"
[ "$(cd "$take" && echo *)" = "voice_01.wav voice_02.wav voice_combined.wav" ]
step "Nothing stayed behind"
