#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks what a verb of ./dev (its path is the argument) does where every package is missing.
set -eu

dev=$(realpath "$1")
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

# Nothing but these is found: no sudo, and an apt-get that tells of its calls.
for tool in awk bash cat cut dirname env grep realpath sed sort tr; do
    ln -s "$(command -v "$tool")" "$dir/$tool"
done
printf '%s\n' '#!/bin/sh' 'exit 1' >"$dir/dpkg-query"
printf '%s\n' '#!/bin/sh' "echo \"\$*\" >>'$dir/calls'" 'exit 1' >"$dir/apt-get"
chmod +x "$dir/dpkg-query" "$dir/apt-get"

# expect USER INSTALL CALLS TEXT VERB...: what a verb prints, and whether it calls apt-get.
expect() {
    user=$1
    install=$2
    calls=$3
    text=$4
    shift 4
    rm -f "$dir/calls"
    printf '%s\n' '#!/bin/sh' "echo $user" >"$dir/id"
    chmod +x "$dir/id"
    status=0
    output=$(env -i PATH="$dir" HOME="$dir" VORN_DEV_INSTALL="$install" \
        "$dir/bash" "$dev" "$@" 2>&1) || status=$?
    [ -e "$dir/calls" ] && called=yes || called=no
    case $status$output in
    0*) told=no ;;
    *"$text"*) told=yes ;;
    *) told=no ;;
    esac
    [ "$told$called" = "yes$calls" ] || {
        printf 'for %s as user %s, VORN_DEV_INSTALL=%s\nexpected %s, apt-get %s\ngot %s, %s: %s\n' \
            "$*" "$user" "$install" "$text" "$calls" "$status" "$called" "$output"
        failures=1
    }
}

line='apt install --no-install-recommends'
expect 1000 yes no "please run as root: $line abigail-tools cmake g++ gdb libboost-dev" test
expect 1000 '' no " libxml2-utils " demo
expect 0 no no "please run: $line abigail-tools clang cmake" test clang
expect 0 no no "please run: $line abigail-tools clang clang-format clang-tidy cmake" lint
expect 0 no no "please run: $line cmake g++ libboost-dev" install "$dir/prefix"
expect 0 yes yes '== installing abigail-tools cmake' test

# The doctor only tells.
rm -f "$dir/calls" "$dir/id"
output=$(PATH="$dir:$PATH" bash "$dev" doctor)
case $output in
*'revision  '*"for all of it: $line abigail-tools clang"*'skipped here'*) ;;
*)
    printf 'the doctor says: %s\n' "$output"
    failures=1
    ;;
esac
[ ! -e "$dir/calls" ] || { echo 'the doctor calls apt-get' && failures=1; }
exit "$failures"
