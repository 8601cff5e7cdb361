# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Sourced by the scripts of this repository: what they need from Debian, and how to get it.

build_packages="build-essential cmake ninja-build qt6-base-dev"
package_packages="debhelper dpkg-dev"
test_packages="at-spi2-core bindfs dbus exfat-fuse exfatprogs ffmpeg fonts-dejavu-core
    imagemagick libimage-exiftool-perl ntfs-3g openbox openssh-sftp-server python3
    python3-pyatspi sndfile-programs sox sshfs wavpack xauth xdotool xvfb"

# need_packages NAME...: installs those that are missing and says which. On a system without
# Debian's package tools it names them all and ends the script.
need_packages() {
    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        echo "This script installs what it needs on Debian. Here, please install these" >&2
        echo "packages or their counterparts first, and build with the presets of CMake:" >&2
        printf '    %s\n' "$@" >&2
        exit 1
    fi
    missing=
    for package in "$@"; do
        status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
        [ "$status" = installed ] || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        as_root=sudo
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing, and neither root nor sudo is at hand:$missing" >&2
            exit 1
        fi
    fi
    echo "Installing:$missing"
    $as_root apt-get -o DPkg::Lock::Timeout=600 update -qq
    # shellcheck disable=SC2086 # one word a package
    $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends $missing >/dev/null
}
