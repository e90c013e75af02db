#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the page of the architecture lists the steps that have to pass before a change lands.
#
# steps.sh RUN PAGE: the commands of the script RUN that begin with ./dev are the first cells of the
# rows of PAGE that begin with "| `./dev", in that order.
set -eu

run=$(sed -n '/^\.\/dev /p' "$1")
# shellcheck disable=SC2016 # the backquotes are Markdown's
page=$(sed -n 's/^| `\(\.\/dev [^`]*\)` |.*/\1/p' "$2")
[ -n "$run" ] || { echo "$1 has no steps" && exit 1; }
[ "$run" = "$page" ] || {
    printf '%s\n' "$1 has the steps" "$run" "but $2 has" "$page"
    exit 1
}
