#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks that the commands on a page print what the page says.
#
# transcript.sh PAGE [COMMAND SCRIPT]: runs the "$" lines of the page's console blocks, in their
# order, in one shell and an empty directory, and compares what each prints with the lines below it,
# where "[...]" stands for any text and carriage returns do not count. With COMMAND, only the line
# that says so is run, and SCRIPT in its place.
set -euo pipefail
page=$(realpath "$1")
readonly page only=${2:-} instead=${3:-}
failures=0
runs=0

directory=$(mktemp -d)
readonly directory
trap 'rm -rf "$directory"' EXIT
mkdir "$directory/here"
cd "$directory/here"

# Runs the command, of which the page shows the output.
check() {
    local command=$1 shown=$2 pattern
    [ -z "$only" ] || [ "$command" = "$only" ] || return 0
    runs=$((runs + 1))
    eval "${instead:-$command}" >"$directory/output" 2>&1 </dev/null || true
    # Nothing but the dots in brackets is a pattern for the shell.
    pattern=$(sed 's/[][*?\\]/\\&/g; s/\\\[\.\.\.\\\]/*/g' <<<"$shown")
    # shellcheck disable=SC2053 # it is a pattern
    if [[ $(tr -d '\r' <"$directory/output") != $pattern ]]; then
        printf '%s\n' "for: $command" "the page shows:" "$shown" "but it is:"
        cat "$directory/output"
        failures=1
    fi
}

command=
shown=
inside=
# Takes a line of the page.
take() {
    if [ -n "$inside" ] && [[ $1 == '$ '* || $1 == '```' ]]; then
        [ -z "$command" ] || check "$command" "${shown%$'\n'}"
        command=
        shown=
    fi
    case "$inside$1" in
    '```console') inside=1 ;;
    '1```') inside= ;;
    '1$ '*) command=${1#'$ '} ;;
    1*) shown+=$1$'\n' ;;
    esac
}

while IFS= read -r line <&3; do
    take "$line"
done 3<"$page"
[ "$runs" -gt 0 ] || { echo "$page has no such command" && exit 1; }
exit "$failures"
