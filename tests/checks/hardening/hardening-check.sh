#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that hardening.sh (its path is the first argument) finds what it is there to find, in a
# library that the compiler in the second argument makes.
set -eu

check=$1
compiler=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

cat >"$dir/library.cpp" <<'END'
#include <cstring>
void Use(char*);
void Fill(const char* text) { char buffer[16]; std::strcpy(buffer, text); Use(buffer); }
END

# expect TEXT TYPE OPTION...: what is found to be missing when all options but these are there, or
# nothing.
expect() {
    text=$1
    type=$2
    shift 2
    options="-D_FORTIFY_SOURCE=2 -fstack-protector-strong $control $*"
    # shellcheck disable=SC2086 # these are several words
    "$compiler" -fPIC -O2 $options -Wno-unused-command-line-argument \
        -c -o "$dir/library.o" "$dir/library.cpp"
    "$compiler" -shared -Wl,-z,relro,-z,now "$@" -o "$dir/library.so" "$dir/library.o"
    status=0
    actual=$(sh "$check" "$type" "$options" "$dir/library.so" "$dir/library.o" 2>&1) || status=$?
    case $actual in
    *"$text"*) ;;
    *) status=other ;;
    esac
    [ "$status" = "${text:+1}" ] || [ "$status$text$actual" = 0 ] || {
        printf 'with %s\nexpected: %s\ngot %s: %s\n' "$*" "$text" "$status" "$actual"
        failures=1
    }
}

control=
[ "$(uname -m)" != x86_64 ] || control=-fcf-protection
expect '' Release
expect 'becomes read-only' Release -Wl,-z,norelro
expect 'bound when' Release -Wl,-z,lazy
expect 'stack is executable' Release -Wl,-z,execstack
expect 'no stack protector' Release -fno-stack-protector
expect 'no size is checked' Release -U_FORTIFY_SOURCE
expect 'fewer sizes' Release -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=1
expect '' Release -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
expect '' Debug -U_FORTIFY_SOURCE
[ -z "$control" ] || expect 'jumps may go anywhere' Release -fcf-protection=none
exit "$failures"
