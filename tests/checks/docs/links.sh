#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that every relative link of the pages leads somewhere.
#
# links.sh ROOT: for each Markdown page below ROOT, the target of [text](target), [name]: target,
# src="target" and href="target" exists, seen from the page and inside ROOT, and an #anchor is that
# of one of the target's headings. Code and addresses with a scheme do not count.
set -eu

cd "$1"
root=$PWD
export LC_ALL=C
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# Prints LINE TARGET for each link of a page.
links_of() {
    awk '
        function emit(target) {
            sub(/[ \t].*/, "", target) # the title
            gsub(/^<|>$/, "", target)
            if (target != "" && target !~ /^[A-Za-z][A-Za-z0-9+.-]*:/)
                print FNR, target
        }
        /^ *```/ { inside = !inside; next }
        inside { next }
        {
            gsub(/`[^`]*`/, "`code`")
            if ($0 ~ /^ *\[[^]^]*\]: /) {
                text = $0
                sub(/^[^:]*: +/, "", text)
                emit(text)
            }
            for (text = $0; match(text, /\]\([^)]*\)/); text = substr(text, RSTART + RLENGTH))
                emit(substr(text, RSTART + 2, RLENGTH - 3))
            for (text = $0; match(text, /(src|href)="[^"]*"/); text = substr(text, RSTART + RLENGTH)) {
                target = substr(text, RSTART, RLENGTH - 1)
                sub(/^[^"]*"/, "", target)
                emit(target)
            }
        }
    ' "$1"
}

# Prints the anchor of each heading of a page: lower case, hyphens for spaces, no other punctuation,
# and a number for one that comes again.
anchors_of() {
    awk '
        /^ *```/ { inside = !inside }
        !inside && /^#+ / {
            text = tolower($0)
            sub(/^#+ +/, "", text)
            sub(/[ #]*$/, "", text)
            gsub(/\]\([^)]*\)/, "", text)
            gsub(/[!-,.\/:-@\[-^`{-~]/, "", text)
            gsub(/ /, "-", text)
            print seen[text]++ ? text "-" seen[text] - 1 : text
        }
    ' "$1"
}

# Prints what is wrong with a target on a page; nothing if it leads somewhere.
fault_of() {
    page=$1
    path=${2%%#*}
    goal=$page
    [ -z "$path" ] || goal=$(dirname "$page")/$path
    case $(realpath -m "$goal")/ in
    "$root"/*) ;;
    *) echo "leads out of the tree: $2" && return ;;
    esac
    [ -e "$goal" ] || { echo "leads to nothing: $2" && return; }
    case $2 in
    *'#'*) ;;
    *) return ;;
    esac
    anchors=$([ ! -f "$goal" ] || anchors_of "$goal")
    case "
$anchors
" in
    *"
${2#*#}
"*) ;;
    *) echo "leads to no heading: $2" ;;
    esac
}

find . \( -name build -o -name .git \) -prune -o -type f -name '*.md' -print | sort >"$dir/pages"
[ -s "$dir/pages" ] || { echo "no pages: is this the right directory?" && exit 1; }
while read -r page; do
    links_of "$page" >"$dir/links"
    while read -r line target; do
        fault=$(fault_of "$page" "$target")
        [ -z "$fault" ] || echo "${page#./}:$line: $fault"
    done <"$dir/links"
done <"$dir/pages" >"$dir/wrong"
cat "$dir/wrong"
[ ! -s "$dir/wrong" ]
