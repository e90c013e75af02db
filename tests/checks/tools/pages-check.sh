#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that pages.sh (its path is the argument) finds what it is there to find.
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# expect STATUS COMMANDS: the result for a completion of these commands.
expect() {
    printf '    compgen -W "%s" -- word\n' "$2" >"$dir/completion"
    for program in lines ways; do
        status=0
        sh "$check" tool "$dir/$program" "$dir/page" "$dir/completion" >"$dir/output" || status=$?
        [ "$status" = "$1" ] || {
            printf 'for %s\nexpected %s, got %s: %s\n' "$2" "$1" "$status" "$(cat "$dir/output")"
            failures=1
        }
    done
}

printf '%s\n' '#!/bin/sh' 'echo "usage: tool COMMAND"' 'echo "  make FILE"' 'echo "      Makes it."' \
    'echo "  help, -h"' >"$dir/lines"
printf '%s\n' '#!/bin/sh' 'echo "usage: tool make FILE | tool help"' >"$dir/ways"
chmod +x "$dir/lines" "$dir/ways"
printf '%s\n' '.TH TOOL' '.SH DESCRIPTION' '.TP' '.B make' 'makes it.' '.TP' '.B help' >"$dir/page"
expect 0 'make help'
expect 1 'make'
expect 1 'make help more'
printf '%s\n' '.TP' '.B more' >>"$dir/page"
expect 1 'make help'
expect 1 'make help more'

# The same for an option that the help names.
printf '%s\n' '#!/bin/sh' 'echo "usage: tool COMMAND"' 'echo "  make FILE"' 'echo "      --fast"' \
    >"$dir/lines"
cp "$dir/lines" "$dir/ways"
printf '%s\n' '.TP' '.B make' 'knows \-\-fast.' >"$dir/page"
expect 1 make
with_options() { printf '    compgen -W "make" -- word\n    options="%s"\n' "$1" >"$dir/completion"; }
with_options --fast
sh "$check" tool "$dir/lines" "$dir/page" "$dir/completion" || failures=1
with_options --slow
! sh "$check" tool "$dir/lines" "$dir/page" "$dir/completion" >"$dir/output" || failures=1
sed -i 's/fast/slow/' "$dir/page"
with_options --fast
! sh "$check" tool "$dir/lines" "$dir/page" "$dir/completion" >"$dir/output" || failures=1
exit "$failures"
