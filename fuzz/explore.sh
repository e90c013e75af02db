#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Lets libFuzzer look for inputs that break a target, two targets at a time.
#
# explore.sh BUILD SECONDS TARGET...: explores the targets, built in BUILD/fuzz, for SECONDS each,
# from their corpora and from what was found in earlier runs, which is kept in BUILD/corpus. Prints
# a table of executions, edges and finds of this run. An input that breaks its target is kept in
# BUILD/finds/TARGET, with its report in BUILD/finds/TARGET.log; then the script fails.
set -euo pipefail

build=$(realpath "$1")
seconds=$2
shift 2
cd "$(dirname "$0")"
files=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")")
trap 'rm -rf "$files"' EXIT

# Prints the inputs that broke the target in this run; slow ones do not break it.
finds_of() {
    find "$1" -type f -newer "$1.start" \
        \( -name 'crash-*' -o -name 'leak-*' -o -name 'oom-*' -o -name 'timeout-*' \)
}

explore() {
    local target=$1 finds=$build/finds/$1 words=()
    mkdir -p "$finds" "$build/corpus/$target"
    touch "$finds.start"
    case $target in XmlReader | Manifest) words=(-dict=xml.dict) ;; esac
    TMPDIR=$files "$build/fuzz/${target}Fuzz" -max_total_time="$seconds" -max_len=4096 \
        -rss_limit_mb=4096 -timeout=10 -print_final_stats=1 -artifact_prefix="$finds/" \
        "${words[@]}" "$build/corpus/$target" "$PWD/corpus/$target" >"$finds.log" 2>&1 || true
    awk -v target="$target" -v finds="$(finds_of "$finds" | wc -l)" '
        match($0, / cov: [0-9]+/) { edges = substr($0, RSTART + 6, RLENGTH - 6) }
        /^stat::number_of_executed_units:/ { runs = $2 }
        END { printf "| %-12s | %11s | %5s | %5d |\n",
                  target, runs == "" ? "did not run" : runs, edges, finds
              exit runs == "" || finds > 0 }' "$finds.log"
}
export -f explore finds_of
export build seconds files

printf '| %-12s | %11s | %5s | %5s |\n|---|---|---|---|\n' Target Executions Edges Finds
# shellcheck disable=SC2016 # the inner shell expands it
printf '%s\0' "${@##*/}" | xargs -0 -n 1 -P 2 bash -c 'explore "$1"' explore || {
    echo "an input breaks its target, or one did not run: see $build/finds"
    exit 1
}
