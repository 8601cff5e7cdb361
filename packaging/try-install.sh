#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Installs the Debian package in a clean Debian, does both conversions there as a user who is not
# root, purges the package and shows that nothing stays behind. Then it runs the package's own test
# (autopkgtest) in the same system: try-install.sh [SUITE]
# In bookworm, which is what it takes without SUITE, the package is what packaging/check.sh left. For
# any other SUITE it is built and checked in a system of that release first, and left in
# build/package-SUITE. Needs root and about 2 GB in TMPDIR. For the first half the new system holds
# the package and its dependencies alone: display, window manager and keyboard stay outside.
set -eu

if [ -z "${TRY_INSTALL_UNSHARED-}" ]; then
    # Mounts of an own namespace vanish with it, however the script ends.
    TRY_INSTALL_UNSHARED=1 exec unshare --mount --propagation private "$0" "$@"
fi

here=$(dirname "$(realpath "$0")")
. "$here/../tools/packages.sh"
. "$here/../tools/systems.sh"
# shellcheck disable=SC2086 # one word a package
need_packages $system_packages autopkgtest openbox sox xdotool xvfb

suite=${1:-bookworm}
work=$(mktemp -d)
chmod 755 "$work" # apt downloads as a user of its own
root=$work/root
finish() {
    umount "$root/proc" "$root/tmp/.X11-unix" "$work/builder/proc" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}
trap finish EXIT
trap 'exit 1' HUP INT TERM

step() { echo "== $*"; }
in_root() { in_system "$root" "$@"; }

# logged LOG COMMAND...: shows the end of the log if the command fails.
logged() {
    log=$1
    shift
    "$@" >>"$log" 2>&1 || { tail -n 30 "$log"; exit 1; }
}

# What newer releases of lintian remark, and why it stays:
# - appstream-metadata-validation-failed: Splicora has no home page that could be named.
explained='^W: splicora: appstream-metadata-validation-failed '

# build_package: as packaging/check.sh does, in a system of the suite
build_package() {
    builder=$work/builder
    step "Build in $suite"
    logged "$work/build.log" new_system "$suite" "$builder"
    mount -t proc proc "$builder/proc"
    mkdir -p "$builder/build/splicora"
    (cd "$here/.." && git ls-files -z --cached --others --exclude-standard |
        xargs -0 cp --parents -P -t "$builder/build/splicora")
    logged "$work/build.log" in_system "$builder" apt-get -q update
    logged "$work/build.log" in_system "$builder" apt-get -qy install --no-install-recommends \
        appstream build-essential dpkg-dev fakeroot lintian
    logged "$work/build.log" in_system "$builder" \
        apt-get -qy build-dep --no-install-recommends /build/splicora
    logged "$work/build.log" in_system "$builder" \
        sh -c 'cd /build/splicora && dpkg-buildpackage -us -uc'
    grep 'tests passed' "$work/build.log"
    step "$(in_system "$builder" lintian --version)"
    in_system "$builder" sh -c 'lintian --allow-root --fail-on none /build/*.changes' >"$work/lintian"
    cat "$work/lintian"
    if grep -v "$explained" "$work/lintian"; then
        echo "These lines are new." >&2
        exit 1
    fi
    umount "$builder/proc"
    rm -rf "$here/../build/package-$suite"
    mkdir -p "$here/../build/package-$suite"
    find "$builder/build" -maxdepth 1 -type f -exec cp -t "$here/../build/package-$suite" {} +
    rm -rf --one-file-system "$builder"
}

built=package
if [ "$suite" != bookworm ]; then
    built=package-$suite
    build_package
fi
package=$(realpath "$here/../build/$built"/splicora_*_"$(dpkg --print-architecture)".deb)

step "A clean $suite"
logged "$work/new.log" new_system "$suite" "$root"
mount -t proc proc "$root/proc"
in_root useradd --create-home musician

step "Dependencies: $(dpkg-deb -f "$package" Depends)"
logged "$work/apt.log" in_root apt-get -q update
logged "$work/apt.log" in_root apt-get -qy satisfy --no-install-recommends \
    "$(dpkg-deb -f "$package" Depends)"
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
