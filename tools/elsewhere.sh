#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# tools/elsewhere.sh [--write] [SUITE...]: runs ./run.sh and ./test.sh of this checkout in a small
# system of each release of Debian (bookworm, trixie and sid) and prints one line for each. What
# Qt Test counts as a test is one, and so is each other entry of ctest. --write records the lines in
# docs/systems.txt and writes the table of README.md from there, if everything passed.
# The systems are made at the first use and kept in $SYSTEMS (/var/cache/splicora); remove one to
# have it made again. The logs end up below build/elsewhere. Needs root, and 3 GB for each system.
#
# tools/elsewhere.sh --check: fails unless README.md has the table of docs/systems.txt.
set -eu

if [ "${1-}" != --check ] && [ -z "${ELSEWHERE_UNSHARED-}" ]; then
    if [ "$(id -u)" -ne 0 ]; then
        echo "$0 makes systems and mounts file systems in them: please run it as root." >&2
        exit 1
    fi
    # Mounts and processes of own namespaces vanish with them, however the script ends.
    ELSEWHERE_UNSHARED=1 exec unshare --mount --propagation private --pid --fork --kill-child \
        --mount-proc "$0" "$@"
fi

cd "$(dirname "$0")/.."
. tools/packages.sh
. tools/systems.sh

record=docs/systems.txt
begin='<!-- Written by tools/elsewhere.sh --write. -->'
end='<!-- Up to here. -->'

# README.md with the table of the record
readme() {
    awk -F '\t' -v record="$record" -v begin="$begin" -v end="$end" '
        $0 == end { inside = 0 }
        !inside { print }
        $0 == begin {
            inside = 1
            print ""
            while ((getline <record) > 0) {
                if ($0 ~ /^#/)
                    continue
                if (!rows++) {
                    print "Both passed on these systems:\n"
                    print "| System | Qt | GCC | Tests passed | Skipped | Date |\n|---|---|---|---|---|---|"
                }
                printf "| %s | %s | %s | %s | %s | %s |\n", $2, $3, $4, $5, $6, $7
            }
            if (rows)
                print ""
        }' README.md
}

if [ "${1-}" = --check ]; then
    grep -qF "$begin" README.md
    readme | diff README.md -
    exit
fi

write=
if [ "${1-}" = --write ]; then
    write=yes
    shift
fi
[ $# -gt 0 ] || set -- bookworm trixie sid
# shellcheck disable=SC2086 # one word a package
need_packages $system_packages

systems=${SYSTEMS:-/var/cache/splicora}
logs=$PWD/build/elsewhere
mkdir -p "$systems" "$logs"
tab=$(printf '\t')
status=0

# The tests in a log of ctest: passed, failed and skipped, separated by tabs. An entry that failed
# without a failed test counts as one.
count_tests() {
    awk '
        function count() {
            passed += good && !totals ? 1 : p
            failed += good ? 0 : f ? f : 1
            skipped += s
        }
        /^[0-9]+\/[0-9]+ Testing: / {
            if (entries++)
                count()
            good = totals = p = f = s = 0
        }
        /^Totals: / { totals = 1; p = $2; f = $4; s = $6 }
        /^Not tried on / { s++ } # a file system that cannot be mounted
        /^Test (Passed\.|Pass Reason:)$/ { good = 1 }
        END {
            if (entries)
                count()
            printf "%d\t%d\t%d\n", passed, failed, skipped
        }' "$1"
}

# The files of the checkout, as they are now, in a new directory
copy_checkout() {
    rm -rf "$1"
    mkdir "$1"
    git -c safe.directory="$PWD" ls-files -z --cached --others --exclude-standard |
        xargs -0 cp --parents --no-dereference --preserve=mode -t "$1"
}

row='%-16s %-8s %-8s %7s %7s %7s %8s\n'
# shellcheck disable=SC2059
printf "$row" system Qt GCC passed failed skipped minutes
for suite in "$@"; do
    root=$systems/$suite
    started=$(date +%s)
    if [ ! -d "$root" ]; then
        rm -rf --one-file-system "$root.new"
        new_system "$suite" "$root.new" >"$logs/$suite.new" 2>&1 ||
            { cat "$logs/$suite.new" >&2; exit 1; }
        mv "$root.new" "$root"
    fi
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    mount --bind "$root" "$root" # a mount point, as tests that unshare mounts ask of /
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    copy_checkout "$root/splicora"

    commands_failed=
    for command in run.sh test.sh; do
        in_system "$root" sh -c "cd /splicora && exec ./$command" >"$logs/$suite.$command" 2>&1 ||
            commands_failed="$commands_failed $command"
    done
    tests=$root/splicora/build/dev/Testing/Temporary/LastTest.log
    if [ -e "$tests" ]; then
        cp "$tests" "$logs/$suite.tests"
    else
        : >"$logs/$suite.tests"
    fi

    version=$(cat "$root/etc/debian_version")
    case $version in
    [0-9]*) system="Debian $version" ;;
    *) system="Debian $suite" ;;
    esac
    # shellcheck disable=SC2016 # dpkg's variable
    qt=$(in_system "$root" dpkg-query --show --showformat='${Version}' qt6-base-dev || echo -)
    qt=${qt%%+*}
    gcc=$(in_system "$root" g++ -dumpfullversion || echo -)
    IFS=$tab read -r passed failed skipped <<END
$(count_tests "$logs/$suite.tests")
END
    # shellcheck disable=SC2059
    printf "$row" "$system" "$qt" "$gcc" "$passed" "$failed" "$skipped" \
        $((($(date +%s) - started + 59) / 60))
    for command in $commands_failed; do
        status=1
        echo "    ./$command failed: see build/elsewhere/$suite.$command"
    done
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$suite" "$system" "$qt" "$gcc" "$passed" "$skipped" \
        "$(date -u +%F)" >"$logs/$suite.record"
done

if [ -n "$write" ] && [ $status -eq 0 ]; then
    {
        sed -n '/^#/p' "$record"
        {
            sed '/^#/d' "$record"
            for suite in "$@"; do
                cat "$logs/$suite.record"
            done
        } | awk -F '\t' '{ last[$1] = $0 } END { for (suite in last) print last[suite] }' |
            sort -t "$tab" -k 2
    } >"$record.new"
    mv "$record.new" "$record"
    readme >README.md.new
    mv README.md.new README.md
fi
exit $status
