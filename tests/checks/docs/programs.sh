#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds the pages and the programs that they show together.
#
# programs.sh ROOT: a C++ block of a page in docs/ that follows a line with nothing but a link to a
# source shows that source: all of it but the line of its licence. Each program of examples/guide is
# shown by one page, and has at most 60 lines.
set -eu

cd "$1"
export LC_ALL=C
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# Prints "PAGE SOURCE FILE" for each block that shows a source; FILE has the block's text.
find docs -name '*.md' | sort | while IFS= read -r page; do
    awk -v dir="$dir" -v page="$page" '
        inside && $0 == "```" {
            close(file)
            inside = 0
        }
        inside { print >file }
        /^\[[^]]*\]\([^)]*\.cpp\)$/ {
            source = $0
            sub(/.*\(/, "", source)
            sub(/\)$/, "", source)
            next
        }
        /^```cpp$/ && source != "" {
            gsub(/\//, "_", page)
            file = dir "/" page "." ++count
            printf "" >file
            print page "." count, source
            inside = 1
        }
        NF > 0 { source = "" }
    ' "$page" | while read -r block source; do
        printf '%s %s %s\n' "$page" "$(realpath -m --relative-to=. "$(dirname "$page")/$source")" \
            "$dir/$block"
    done
done >"$dir/shown"

wrong=0
while read -r page source block; do
    sed 1d "$source" 2>/dev/null | cmp -s - "$block" || {
        echo "$page: does not show $source as it is"
        wrong=1
    }
done <"$dir/shown"
for source in examples/guide/*.cpp; do
    [ "$(cut -d ' ' -f 2 "$dir/shown" | grep -cx "$source")" -eq 1 ] || {
        echo "$source: is not shown by exactly one page"
        wrong=1
    }
    [ "$(wc -l <"$source")" -le 60 ] || {
        echo "$source: has more than 60 lines"
        wrong=1
    }
done
exit "$wrong"
