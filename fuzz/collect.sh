#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Puts the targets where a service that runs them looks: each program with its inputs, its
# dictionary and its limit on the length of an input beside it.
#
# collect.sh BUILD OUT: takes the targets built in BUILD/fuzz.
set -euo pipefail

build=$(realpath "$1")
mkdir -p "$2"
out=$(realpath "$2")
cd "$(dirname "$0")"

for program in "$build"/fuzz/*Fuzz; do
    name=$(basename "$program")
    target=${name%Fuzz}
    cp "$program" "$out/"
    (cd "corpus/$target" && cmake -E tar cf "$out/${name}_seed_corpus.zip" --format=zip -- *)
    printf '[libfuzzer]\nmax_len = 4096\n' >"$out/$name.options"
    case $target in XmlReader | Manifest) cp xml.dict "$out/$name.dict" ;; esac
done
