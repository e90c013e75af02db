#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes the corpora small and complete again.
#
# merge.sh BUILD TARGET...: replaces the corpus of each target, built in BUILD/fuzz, by the smallest
# of its inputs and of those in BUILD/corpus that together reach every edge which all of them reach.
# Inputs with a name of their own, not ten digits of a digest, stay.
set -euo pipefail

build=$(realpath "$1")
shift
cd "$(dirname "$0")"
merged=$(mktemp -d)
trap 'rm -rf "$merged"' EXIT

for target in "$@"; do
    mkdir -p "$merged/$target"
    find "corpus/$target" -type f -regextype posix-extended -not -regex '.*/[0-9a-f]{10}' \
        -exec cp {} "$merged/$target" \;
    TMPDIR=$merged "$build/fuzz/${target}Fuzz" -merge=1 -use_counters=0 -max_len=512 \
        "$merged/$target" "$PWD/corpus/$target" "$build/corpus/$target" >"$merged/log" 2>&1 || {
        tail -n 20 "$merged/log"
        exit 1
    }
    rm -rf "corpus/$target"
    mkdir "corpus/$target"
    for input in "$merged/$target"/*; do
        name=$(basename "$input")
        [ ${#name} -lt 40 ] || name=${name:0:10}
        cp "$input" "corpus/$target/$name"
    done
    printf '%s: %s inputs, %s bytes\n' "$target" "$(find "corpus/$target" -type f | wc -l)" \
        "$(cat "corpus/$target"/* | wc -c)"
done
