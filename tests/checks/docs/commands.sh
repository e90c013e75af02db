#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that every command on a page is run somewhere.
#
# commands.sh ROOT: a command is a line of a Markdown block marked sh, or one that begins with "$ "
# in a block marked console. It is run if
#
# - it is ./dev with a verb that there is, which the steps before a change lands run or could run;
# - its page, or its section of the README, is among those below, which transcript.sh runs;
# - commands.txt beside this script says what runs it; a line there that no page has is wrong, too.
set -eu

list=$(dirname "$(realpath "$0")")/commands.txt
cd "$1"
export LC_ALL=C
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# shellcheck disable=SC2016 # the program is awk's
find . \( -name build -o -name .git \) -prune -o -type f -name '*.md' -print | sort |
    xargs awk '
    FNR == 1 {
        inside = ""
        page = substr(FILENAME, 3)
    }
    /^## / { section = $0 }
    /^```/ {
        inside = inside == "" ? $0 : ""
        next
    }
    inside == "```sh" || (inside == "```console" && sub(/^\$ /, "")) {
        if (page ~ /^docs\/guide\/|^docs\/named-objects\.md$|^examples\/[a-z]*\/README\.md$/)
            next
        if (page == "README.md" && section == "## A program of your own")
            next
        sub(/ +#.*/, "")
        if ($0 != "")
            print page ": " $0
    }
' >"$dir/commands"

wrong=0
while read -r page command; do
    case $command in
    "./dev "*)
        verb=${command#./dev }
        grep -q "^verb_${verb%% *}()" dev && continue
        ;;
    *) grep -qF "| $page | $command |" "$list" 2>/dev/null && continue ;;
    esac
    echo "$page nothing runs: $command"
    wrong=1
done <"$dir/commands"

sed -n 's/^| \([^|]*:\) | \(.*\) | [^|]* |$/\1 \2/p' "$list" 2>/dev/null >"$dir/listed" || true
while read -r line; do
    grep -qxF "$line" "$dir/commands" || { echo "commands.txt: no page has: $line" && wrong=1; }
done <"$dir/listed"
exit "$wrong"
