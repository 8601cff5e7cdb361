#!/bin/sh
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
#
# Builds Splicora and opens its window. Where there is no display, the main job is done before
# your eyes on a virtual one: a take is split and combined again, and every sample byte compared.
set -eu
cd "$(dirname "$0")"
. tools/packages.sh

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    # shellcheck disable=SC2086 # one word a package
    need_packages $build_packages xdg-utils ${WAYLAND_DISPLAY:+qt6-wayland}
    cmake --preset release
    cmake --build --preset release
    exec build/release/app/splicora
fi

# shellcheck disable=SC2086 # one word a package
need_packages $build_packages alsa-utils fonts-dejavu-core sox xauth xvfb
cmake --preset release -DSPLICORA_BUILD_DEMO=ON
cmake --build --preset release
demo/run.sh build/release/demo/splicora_demo build/demo
