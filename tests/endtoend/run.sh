#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Installs the program out of a build directory into a folder of its own and uses it there with
# keyboard and mouse: run.sh BUILD [TEST...]
# Screenshots of failures end up below the build directory.
set -eu
here=$(dirname "$(realpath "$0")")
build=$(realpath "$1")
shift

# shellcheck source=tests/display/tools.sh
. "$here/../display/tools.sh"
need imagemagick command -v import
need xdotool command -v xdotool
end_if_missing

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

# Of all openers that the toolkit knows, the first xdg-open in PATH comes first. The toolkit does not
# find one whose path has a blank, as that of the repository may.
mkdir "$prefix/opener"
cp "$here/xdg-open" "$prefix/opener"
export PATH="$prefix/opener:$PATH"
unset BROWSER DEFAULT_BROWSER XDG_CURRENT_DESKTOP
"$here/../display/run.sh" "$here/test_endtoend.py" \
    "$prefix/bin/splicora" "$build/tests/endtoend/screenshots" "$@"
