#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows the program manifest at work: it makes an inventory of a copy of this source tree, which
# other programs check; then the copy is damaged, and the program has to report every change.
#
# demo.sh MANIFEST DIRECTORY: the program, and the directory that the results go to and, as tree/
# in it, the copy.
set -euo pipefail
root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../..")
readonly root
readonly tree=(Bases examples tests benchmarks fuzz)

say() { printf '== %s\n' "$*"; }

# Ends with a message unless the value, described by the first argument, is the expected one.
expect() {
    [ "$2" = "$3" ] && return
    printf 'demo: %s is %s, but should be %s\n' "$1" "$2" "$3" >&2
    exit 1
}

# Compares the manifest, and the table made of it, with what other programs say of the same files.
check() {
    local files directories bytes lines digests
    mapfile -d '' files < <(find "${tree[@]}" -type f -print0)
    directories=$(find "${tree[@]}" -type d -printf '.' | wc -c)
    bytes=$(cat "${files[@]}" | wc -c)
    lines=$(cat "${files[@]}" | wc -l)
    say "checking it with xmllint, its numbers with find and wc, and its digests with md5sum"
    xmllint --noout ../manifest.xml
    ask() { xmllint --xpath "string($1)" ../manifest.xml; }
    digests=$(sed -n 's/^  <file name="\([^"]*\)".* md5="\([^"]*\)".*/\2  \1/p' ../manifest.xml)
    expect "the number of files" "$(ask 'count(/manifest/file)')" "${#files[@]}"
    expect "the number of directories" "$(ask 'count(/manifest/directory)')" "$directories"
    expect "the number of failures" "$(ask 'count(/manifest/failure)')" 0
    expect "the sum of all bytes" "$(ask 'sum(/manifest/file/@bytes)')" "$bytes"
    expect "what md5sum gives" "$(md5sum "${files[@]}" | sort)" "$(sort <<<"$digests")"
    expect "the sum of all lines" "$(ask 'sum(/manifest/file/@lines)')" "$lines"
    expect "the length of the table" "$(wc -l <../table.txt)" $((${#files[@]} + directories + 2))
    expect "the table's last line" \
        "$(tail -n 1 ../table.txt | awk '{ $3 = $4 = ""; print }' | tr -s ' ')" \
        "total $bytes $lines ${#files[@]} files, $directories others, 0 failed"
}

# Damages three of the files, one of them so that neither its length nor its time shows it.
damage() {
    say "overwriting a byte of Bases/Bases.h and giving it its old time; removing Bases/File.h;" \
        "adding Bases/Extra.h"
    touch -r Bases/Bases.h ../time
    printf '!' | dd of=Bases/Bases.h conv=notrunc status=none
    touch -r ../time Bases/Bases.h
    rm Bases/File.h
    printf 'extra\n' >Bases/Extra.h
}

# Verifies the manifest; expects the exit status, and the lines without the digests.
verify() {
    local expected_status=$1 expected=$2 status=0
    say "manifest verify ../manifest.xml"
    "$manifest" verify ../manifest.xml >../result.txt || status=$?
    cat ../result.txt
    expect "the exit status" "$status" "$expected_status"
    expect "the result" "$(sed 's/(md5 [0-9a-f]* -> [0-9a-f]*)$/(md5)/' ../result.txt)" "$expected"
}

manifest=$(realpath "$1")
readonly manifest directory=$2
say "copying the sources to $directory/tree and going there"
mkdir -p "$directory"
mkdir "$directory/tree"
cp -a "${tree[@]/#/$root/}" "$directory/tree"
cd "$directory/tree"

say "manifest create ../manifest.xml ${tree[*]}"
"$manifest" create ../manifest.xml "${tree[@]}"
say "manifest show ../manifest.xml"
"$manifest" show ../manifest.xml | tee ../table.txt
check
entries=$(find "${tree[@]}" -printf '.' | wc -c)
verify 0 "$entries as recorded, 0 missing, 0 changed, 0 new, 0 unread"
damage
verify 1 "changed  Bases/Bases.h (md5)
new      Bases/Extra.h
missing  Bases/File.h
$((entries - 2)) as recorded, 1 missing, 1 changed, 1 new, 0 unread"
say "all agree, and every change was found; the manifest lies in $directory/manifest.xml"
