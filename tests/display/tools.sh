# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Sourced by the scripts that start tests: what they need must be there.

missing=

# need PACKAGE COMMAND...: the command succeeds where Debian's package is installed.
need() {
    package=$1
    shift
    "$@" >/dev/null 2>&1 || missing="$missing $package"
}

# Fails with the names of all packages that are missing.
end_if_missing() {
    [ -z "$missing" ] || { echo "Please install these packages:$missing" >&2; exit 1; }
}
