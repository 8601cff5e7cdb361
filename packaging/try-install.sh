#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Installs the Debian package in a clean Debian 12, does both conversions there as a user who is not
# root, purges the package and shows that nothing stays behind. Then it runs the package's own test
# (autopkgtest) in the same system: try-install.sh [PACKAGE]
# PACKAGE is what packaging/check.sh left, with its source beside it. Needs root and about 2 GB in
# TMPDIR. For the first half the new system holds the package and its dependencies alone: display,
# window manager and keyboard stay outside.
set -eu

if [ -z "${TRY_INSTALL_UNSHARED-}" ]; then
    # Mounts of an own namespace vanish with it, however the script ends.
    TRY_INSTALL_UNSHARED=1 exec unshare --mount --propagation private "$0" "$@"
fi

here=$(dirname "$(realpath "$0")")
. "$here/../tools/packages.sh"
need_packages autopkgtest debootstrap openbox sox xdotool xvfb

package=$(realpath "${1:-$(ls "$here"/../build/package/splicora_*_"$(dpkg --print-architecture)".deb)}")
mirror=${MIRROR:-http://deb.debian.org/debian}
work=$(mktemp -d)
root=$work/root
finish() {
    umount "$root/proc" "$root/tmp/.X11-unix" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap finish EXIT
trap 'exit 1' HUP INT TERM

step() { echo "== $*"; }
in_root() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"; }

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
in_root install -d -o musician /home/musician/take
in_root install -d -o musician -m 700 /run/musician # as every desktop session has one
mkdir -p /tmp/.X11-unix "$root/tmp/.X11-unix"
snapshot "$work/before"

step "Install"
cp "$package" "$root/splicora.deb"
in_root dpkg -i /splicora.deb
rm "$root/splicora.deb"

step "Convert as $(in_root id musician)"
mount --bind /tmp/.X11-unix "$root/tmp/.X11-unix"
"$here/../debian/tests/convert-by-keyboard" "$root" /home/musician/take \
    chroot --userspec=musician "$root" \
    env HOME=/home/musician PATH=/usr/bin:/bin XDG_RUNTIME_DIR=/run/musician splicora
umount "$root/tmp/.X11-unix"

step "Purge"
in_root dpkg --purge splicora
snapshot "$work/after"
diff "$work/before" "$work/after"
step "Nothing stayed behind"

step "autopkgtest"
umount "$root/proc" # it mounts its own
autopkgtest --no-built-binaries "$package" "${package%_*}.dsc" -- chroot "$root"
