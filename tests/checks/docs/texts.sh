#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds the lists of what the library prints, throws and asserts, on the pages your-process.md and
# errors.md, equal to the sources.
#
# texts.sh ROOT: a printed line is any string of Bases/Impl that begins with "[Name] "; a %s is PATH
# on the page. An exception's text is a string given to std::runtime_error or std::logic_error, or
# to the function that throws it, CheckCount. An assertion is the expression as it is printed.
# Nothing else may write to standard output or standard error.
set -eu

cd "$1"
export LC_ALL=C
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

sources() { find Bases -name '*.cpp' -exec cat {} +; }

# Prints the sources in one line, with the parts of a string in one.
joined() { sources | tr '\n' ' ' | sed 's/" *"//g'; }

# Prints what stands in backquotes in the column of the table that begins with the row.
# shellcheck disable=SC2016 # the backquotes are Markdown's
column() {
    awk -v head="$2" -v column="$3" -F ' *[|] *' '
        $0 == head { inside = 1; next }
        !/^\|/ { inside = 0 }
        inside && $column ~ /^`.*`$/ { print substr($column, 2, length($column) - 2) }
    ' "$1" | sort -u
}

# compare WHAT: prints how the page, in $dir/page, differs from the sources, in $dir/sources.
wrong=0
compare() {
    [ -s "$dir/sources" ] || { echo "$1: none was found in the sources" && wrong=1; }
    comm -23 "$dir/sources" "$dir/page" | sed "s/^/$1: the page does not list: /" >"$dir/missing"
    comm -13 "$dir/sources" "$dir/page" | sed "s/^/$1: the sources do not have: /" >"$dir/more"
    cat "$dir/missing" "$dir/more"
    [ ! -s "$dir/missing" ] && [ ! -s "$dir/more" ] || wrong=1
}

joined | grep -o '"\[[A-Za-z]*\] [^"]*"' | sed 's/^"//; s/"$//; s/\\[rn]//g; s/%s/PATH/' |
    sort -u >"$dir/sources"
column docs/your-process.md '| Line | Cause |' 2 >"$dir/page"
compare 'a printed line'

joined | grep -oE '(runtime_error|logic_error|CheckCount)\([^";]*"[^"]*"' |
    sed 's/^[^"]*"//; s/"$//' | sort -u >"$dir/sources"
# shellcheck disable=SC2016 # Markdown's, too
column docs/errors.md '| Call | Exception | `what()` |' 4 >"$dir/page"
compare 'the text of an exception'

joined | grep -oE 'VORN_ASSERT\([^;]*\);' |
    sed 's/^VORN_ASSERT(//; s/);$//; s/   */ /g; s/NULL/__null/; s/IPC_RMID/0/' |
    sort -u >"$dir/sources"
column docs/errors.md '| Call | Expression |' 3 >"$dir/page"
compare 'an assertion'

# Each of these prints a string that begins as above, its own or its caller's.
sources | grep -E '(\bf?puts|[^n]printf|\bfprintf|\bperror|std::c(out|err|log))\b' |
    grep -vE '"\[[A-Za-z]*\] |std::puts\((line|failure)\);|^ *//' >"$dir/others" || true
sed 's/^ */prints something else: /' "$dir/others"
[ ! -s "$dir/others" ] || wrong=1
exit "$wrong"
