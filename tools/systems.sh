# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Sourced by the scripts that need another release of Debian: a small system of it in a directory.
# The script must run in a mount namespace of its own (unshare --mount).

system_packages="debian-archive-keyring mmdebstrap"

# new_system SUITE ROOT: makes the smallest system of that release that has apt. Its apt takes an
# archive whose validity has expired, as unstable has between two updates of a mirror, and the
# proxies of the host's. $MIRROR is another mirror.
new_system() {
    apt_options=$(mktemp)
    {
        echo 'Acquire::Check-Valid-Until "false";'
        apt-config dump | grep -i '^Acquire::.*Proxy' || true
    } >"$apt_options"
    new_status=0
    mmdebstrap --quiet --mode=root --variant=minbase --aptopt="$apt_options" "$1" "$2" \
        "${MIRROR:-http://deb.debian.org/debian}" || new_status=$?
    rm "$apt_options"
    return $new_status
}

# in_system ROOT COMMAND...: with an empty environment but for the proxies
in_system() {
    system=$1
    shift
    chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive ${http_proxy:+"http_proxy=$http_proxy"} \
        ${https_proxy:+"https_proxy=$https_proxy"} ${no_proxy:+"no_proxy=$no_proxy"} "$@"
}
