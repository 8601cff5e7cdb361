#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Builds the Debian package and checks it and the files of this folder; any warning fails.
set -eu
cd "$(dirname "$0")/.."

. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages appstream desktop-file-utils dpkg-dev lintian man-db mandoc

step() {
    echo "== $*"
    "$@"
}

step desktop-file-validate packaging/com.velmar.Splicora.desktop
step appstreamcli validate --no-net --pedantic packaging/com.velmar.Splicora.metainfo.xml
step mandoc -T lint -W style packaging/splicora.1
echo "== man --warnings"
warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z \
    packaging/splicora.1 2>&1 >/dev/null)
if [ -n "$warnings" ]; then
    echo "$warnings"
    exit 1
fi

cmake --preset release
cmake --build --preset release
rm -f build/release/splicora_*.deb
(cd build/release && cpack)
root=
[ "$(id -u)" -ne 0 ] || root=--allow-root
step lintian $root --fail-on error,warning --info build/release/splicora_*.deb
echo "== All checks passed"
