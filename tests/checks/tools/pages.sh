#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a program's manual page and its completion in the shell name the commands that its
# help names.
#
# pages.sh NAME PROGRAM PAGE COMPLETION: the help names a command at the beginning of a line, two
# spaces in, or in the line of the usage as one of several ways to call NAME. The page has a
# paragraph for each, and the completion a list of words.
set -eu

name=$1
program=$2
page=$3
completion=$4

in_help=$("$program" help |
    sed -n -e "/^usage: $name .* | /{s/^usage: //;s/ | /\\n/g;s/$name \\([a-z]*\\)[^\\n]*/\\1/g;p;}" \
        -e 's/^  \([a-z][a-z]*\)[ ,].*/\1/p' | sort)
in_page=$(awk '/^\.TP/ { getline; if ($1 == ".B") print $2 }' "$page" | sort)
in_completion=$(sed -n 's/.*compgen -W "\([^"]*\)".*/\1/p' "$completion" | tr ' ' '\n' | sort)
[ -n "$in_help" ] || { echo "the help of $name names no command" && exit 1; }
if [ "$in_help" != "$in_page" ] || [ "$in_help" != "$in_completion" ]; then
    printf '%s\n' "the help names" "$in_help" "the page names" "$in_page" "the completion has" \
        "$in_completion"
    exit 1
fi
