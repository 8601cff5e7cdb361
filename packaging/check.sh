#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Checks the licence of every file and the files of this folder; builds the Debian package with its
# tests, checks it and builds it again elsewhere; builds and installs the program without presets and
# checks its hardening and its name. Any remark fails. The package is left in build/package.
set -eu
cd "$(dirname "$0")/.."

. tools/packages.sh

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages $package_packages appstream blhc desktop-file-utils devscripts \
    faketime lintian locales man-db mandoc reuse

step() {
    echo "== $*"
    "$@"
}

step reuse lint
step desktop-file-validate packaging/splicora.desktop
step appstreamcli validate --no-net --pedantic packaging/example.splicora.splicora.metainfo.xml
step mandoc -T lint -W style packaging/splicora.1
echo "== man --warnings"
warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z \
    packaging/splicora.1 2>&1 >/dev/null)
if [ -n "$warnings" ]; then
    echo "$warnings"
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/splicora"
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -P -t "$work/splicora"
echo "== dpkg-buildpackage"
(cd "$work/splicora" && dpkg-buildpackage -us -uc) >"$work/build.log" 2>&1 ||
    { cat "$work/build.log"; exit 1; }
grep 'tests passed' "$work/build.log"
rm -rf build/package
mkdir -p build/package
cp "$work"/*.deb "$work"/*.dsc "$work"/*.tar.* "$work"/*.buildinfo "$work"/*.changes build/package

root=
[ "$(id -u)" -ne 0 ] || root=--allow-root
step lintian $root --info --display-info --display-experimental --pedantic \
    --fail-on error,warning,info,pedantic,experimental build/package/splicora_*.changes

echo "== The same package from another directory, time, time zone, locale and umask"
mkdir "$work/elsewhere" "$work/elsewhere/locales"
localedef -i tr_TR -f UTF-8 "$work/elsewhere/locales/tr_TR.UTF-8"
tar -xf build/package/splicora_*.tar.* -C "$work/elsewhere"
(cd "$work"/elsewhere/splicora* && umask 027 &&
    DEB_BUILD_OPTIONS=nocheck LOCPATH="$work/elsewhere/locales" LC_ALL=tr_TR.UTF-8 TZ=Asia/Kolkata \
    faketime -f +400d dpkg-buildpackage -us -uc -b) >"$work/elsewhere.log" 2>&1 ||
    { cat "$work/elsewhere.log"; exit 1; }
for package in build/package/*.deb; do
    step cmp "$package" "$work/elsewhere/$(basename "$package")"
done

# No function copies to a place whose size the compiler knows, so none is fortified; blhc sees the
# flag in every call of the compiler. Control flow integrity is not among Debian's flags.
check_hardening() { step hardening-check --nofortify --nocfprotection "$1"; }
dpkg-deb -x build/package/splicora_*.deb "$work/package"
check_hardening "$work/package/usr/bin/splicora"
step "$work/package/usr/share/doc/splicora/examples/wavtool" --help
step blhc --all "$work/build.log"

echo "== cmake -B build && cmake --build build && cmake --install build"
cmake -B "$work/plain" >/dev/null
cmake --build "$work/plain" --parallel "$(nproc)" >/dev/null
cmake --install "$work/plain" --prefix "$work/installed" >/dev/null
check_hardening "$work/installed/bin/splicora"
step appstreamcli validate-tree --no-net "$work/installed"
step packaging/check-name.sh "$work/installed"
# commands DIRECTORY: how its sources are compiled
commands() { grep -o '"command": .* -o ' "$1/compile_commands.json" | sed "s|$1||g" | sort; }
commands "$work/plain" >"$work/commands"
if grep -v -e '-O3 .*-fstack-protector-strong .*-D_FORTIFY_SOURCE=2' "$work/commands"; then
    exit 1
fi
cmake --preset release >/dev/null
commands "$PWD/build/release" | step diff "$work/commands" -
grep -q 'LINK_FLAGS = .*-z,relro,-z,now' build/release/build.ninja

echo "== Build without Qt 6"
if cmake -B "$work/qt5" -DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON >"$work/qt5.log" 2>&1; then
    echo "It should have failed." >&2
    exit 1
fi
grep -A3 'Splicora needs Qt 6' "$work/qt5.log"
echo "== All checks passed"
