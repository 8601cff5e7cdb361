#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# tools/anywhere.sh [--all] [WORD...]: runs the tests of the preset dev as other machines and callers
# would, line by line, and prints a table; a failure, a warning or something left behind fails the
# line. With words only the lines whose names hold one of them run. --all takes tst_properties too,
# and ends with a build and all tests, endtoend included, below a path with blanks.
# The logs end up below build/anywhere.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

all=
if [ "${1-}" = --all ]; then
    all=yes
    shift
fi
words="$*"

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages $test_packages locales
cmake --preset dev >/dev/null
cmake --build --preset dev

logs=$PWD/build/anywhere
rm -rf "$logs"
mkdir -p "$logs"
work=$(mktemp -d)
trap 'chmod -R u+rwX "$work"; rm -rf "$work"' EXIT
chmod 755 "$work"
mkdir "$work/bin"
for test in build/dev/tests/tst_*; do
    if [ -f "$test" ] && [ -x "$test" ]; then
        case $test in
        *properties) [ -n "$all" ] && cp "$test" "$work/bin" ;;
        *) cp "$test" "$work/bin" ;;
        esac
    fi
done

unset DISPLAY WAYLAND_DISPLAY QT_FATAL_WARNINGS QT_LOGGING_RULES QT_QPA_PLATFORM \
    QT_QPA_PLATFORMTHEME QT_STYLE_OVERRIDE TZ XDG_RUNTIME_DIR
LC_ALL=C.UTF-8
export LC_ALL

status=0
row='%-44s %8s %7s %9s %5s %6s\n'

is_wanted() {
    [ -n "$words" ] || return 0
    for word in $words; do
        case $1 in *"$word"*) return 0 ;; esac
    done
    return 1
}

# on NAME COMMAND...: runs each test program as the last argument of the command, in a temporary
# directory of its own ($TMPDIR, which the line may have set).
on() {
    name=$1
    shift
    is_wanted "$name" || return 0
    log=$logs/$(echo "$name" | tr -c 'A-Za-z0-9\n' _)
    mkdir "$log"
    below=${directory-plain}
    mkdir -p "$work/tmp/$below"
    chmod -R 777 "$work/tmp"
    TMPDIR=$work/tmp/$below
    export TMPDIR
    started=$(date +%s)
    # shellcheck disable=SC2016
    printf '%s\0' "$work"/bin/tst_* | xargs -0 -P "$(nproc)" -I '{}' sh -c '
        log=$1/$(basename "$2")
        test=$2
        shift 2
        cd "$TMPDIR"
        result=0
        timeout 600 "$@" "$test" >"$log" 2>&1 </dev/null || result=$?
        [ "$result" -eq 0 ] || echo "exit code $result" >>"$log"' sh "$log" '{}' "$@"
    seconds=$(($(date +%s) - started))
    passed=$(cat "$log"/* | awk '/^Totals: / { n += $2 } END { print n + 0 }')
    failed=$(cat "$log"/* | grep -cE '^(FAIL!|XPASS|exit code)' || true)
    warned=$(cat "$log"/* | grep -cE '^Q(WARN|CRITICAL|FATAL)' || true)
    find "$work/tmp/$below" -mindepth 1 >"$log/left"
    left=$(wc -l <"$log/left")
    rm -rf "$work/tmp"
    # shellcheck disable=SC2059
    printf "$row" "$name" "$passed" "$failed" "$warned" "$left" "$seconds"
    if [ "$passed" -eq 0 ] || [ "$failed" -ne 0 ] || [ "$warned" -ne 0 ] || [ "$left" -ne 0 ]; then
        status=1
        grep -lE '^(FAIL!|XPASS|exit code|/|Q(WARN|CRITICAL|FATAL))' "$log"/* |
            sed "s|^$PWD/|    see |"
    fi
}

# below DIRECTORY NAME: with such a temporary directory.
below() {
    directory=$1
    on "$2" env
    unset directory
}

# in_locale NAME: with a locale that is made for the line.
in_locale() {
    is_wanted "locale $1" || return 0
    mkdir -p "$work/locales"
    localedef -i "$1" -f UTF-8 "$work/locales/$1.UTF-8" 2>/dev/null || true # warnings count there
    on "locale $1" env "LOCPATH=$work/locales" "LC_ALL=$1.UTF-8"
}

# in_font NAME PACKAGE: with the only font of a package, which is not installed for that.
in_font() {
    is_wanted "$1 as the default font" || return 0
    mkdir -p "$work/fonts"
    chmod 777 "$work/fonts" # apt downloads as a user of its own
    if ! (cd "$work/fonts" && apt-get -qq download "$2" && dpkg -x ./*.deb .) >/dev/null 2>&1; then
        echo "$1 as the default font: not run, $2 cannot be had"
        return
    fi
    cat >"$work/fonts.conf" <<END
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
    <dir>$work/fonts</dir>
    <cachedir>$work/fontcache</cachedir>
    <alias binding="same"><family>sans-serif</family><prefer><family>$1</family></prefer></alias>
</fontconfig>
END
    on "$1 as the default font" env "FONTCONFIG_FILE=$work/fonts.conf"
}

# shellcheck disable=SC2059
printf "$row" line passed failed warnings left seconds
on "as it is" env
if [ "$(id -u)" -eq 0 ]; then
    mkdir -m 777 "$work/home"
    on "another user" setpriv --reuid=65534 --regid=65534 --clear-groups env "HOME=$work/home"
fi
for locale in tr_TR de_DE ar_EG ja_JP fa_IR; do
    in_locale "$locale"
done
on "locale C" env LC_ALL=C

# Zones whose clocks were changed within the hour that has just begun.
hour=$(date -u +%H | sed 's/^0//')
day=$(($(date -u +%j | sed 's/^0*//') - 1))
on "the hour after clocks went back" env "TZ=XXX0YYY-1,0/0,$day/$((hour + 1))"
on "the hour after clocks went forward" env "TZ=XXX0YYY-1,$day/$hour,364/24"

# shellcheck disable=SC2016
for mask in 000 077; do
    on "umask $mask" sh -c 'umask "$1"; shift; exec "$@"' sh "$mask"
done
on "scale 2" env QT_SCALE_FACTOR=2
on "144 dpi" env QT_FONT_DPI=144
in_font "Noto Sans" fonts-noto-core
on "Windows style" env QT_STYLE_OVERRIDE=Windows
on "a display that is not there" env QT_QPA_PLATFORM=xcb

letters=$(printf '%040d' 0)
below "$letters" "a path of $((${#work} + 5 + 40)) characters"
below "$letters/$letters" "a path of $((${#work} + 5 + 81)) characters"
below '100% of a%20b%1' "a path with percent signs"
below 'Ü 録音' "a path with letters beyond ASCII"
below 'a b  c' "a path with blanks"
on "no HOME" env -u HOME
# shellcheck disable=SC2016
on "a working directory that is gone" \
    sh -c 'mkdir "$TMPDIR/gone.$$"; cd "$TMPDIR/gone.$$"; rmdir "$TMPDIR/gone.$$"; exec "$@"' sh
# shellcheck disable=SC2016
on "functions in reverse order" sh -c 'exec "$1" $("$1" -functions | tac | tr -d "()")' sh

# What the caller set for Qt is kept out by ctest.
if is_wanted "the caller's settings for Qt"; then
    started=$(date +%s)
    log=$logs/settings
    env QT_FATAL_WARNINGS=1 QT_LOGGING_RULES='*=true' QT_QPA_PLATFORMTHEME=gtk3 \
        QT_STYLE_OVERRIDE=Windows ctest --preset dev --parallel "$(nproc)" \
        --tests-regex '^tst_' --exclude-regex properties >"$log" 2>&1 || status=1
    # shellcheck disable=SC2059
    printf "$row" "the caller's settings for Qt" "$(grep -c ' Passed ' "$log")" \
        "$(grep -c '\*\*\*' "$log")" - - "$(($(date +%s) - started))"
fi

if [ -n "$all" ] && is_wanted "a checkout below a path with blanks"; then
    mkdir "$work/a check out"
    git ls-files -z | xargs -0 cp --parents -t "$work/a check out"
    started=$(date +%s)
    log=$logs/checkout
    mkdir -p "$work/tmp" # the directory of the line before is gone
    (cd "$work/a check out" && TMPDIR=$work/tmp ./test.sh) >"$log" 2>&1 || status=1
    # shellcheck disable=SC2059
    printf "$row" "a checkout below a path with blanks" "$(grep -c ' Passed ' "$log")" \
        "$(grep -c '\*\*\*' "$log")" - - "$(($(date +%s) - started))"
fi
exit $status
