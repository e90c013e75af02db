#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a program's manual page and its completion in the shell name the commands and options
# that its help names.
#
# pages.sh NAME PROGRAM PAGE COMPLETION: the help names a command at the beginning of a line, two
# spaces in, or in the line of the usage as one of several ways to call NAME. The page has a
# paragraph for each, and the completion a list of words.
set -eu
export LC_ALL=C # elsewhere [a-z] may have no i

name=$1
program=$2
page=$3
completion=$4

in_help=$("$program" help |
    sed -n -e "/^usage: $name .* | /{s/^usage: //;s/ | /\\n/g;s/$name \\([a-z]*\\)[^\\n]*/\\1/g;p;}" \
        -e 's/^  \([a-z][a-z]*\)[ ,].*/\1/p' | sort)
in_page=$(awk '/^\.TP/ { getline; if ($1 == ".B") print $2 }' "$page" | sort)
in_completion=$(sed -n 's/.*compgen -W "\([a-z][^"]*\)".*/\1/p' "$completion" | tr ' ' '\n' | sort)
[ -n "$in_help" ] || { echo "the help of $name names no command" && exit 1; }
if [ "$in_help" != "$in_page" ] || [ "$in_help" != "$in_completion" ]; then
    printf '%s\n' "the help names" "$in_help" "the page names" "$in_page" "the completion has" \
        "$in_completion"
    exit 1
fi

# Prints the long options in standard input, with hyphens escaped as in manual pages or not.
options() { sed 's/\\-/-/g' | grep -oE -e '--[a-z][a-z0-9]+' | sort -u; }

in_help=$("$program" help | options || :)
in_page=$(options <"$page" || :)
in_completion=$(options <"$completion" || :)
for option in $in_help; do
    for place in "$in_page" "$in_completion"; do
        printf '%s\n' "$place" | grep -qx -e "$option" || {
            printf '%s is in the help of %s, but not everywhere else\n' "$option" "$name"
            exit 1
        }
    done
done
