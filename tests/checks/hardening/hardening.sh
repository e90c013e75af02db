#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a shared library and the objects that it is linked from are hardened.
#
# hardening.sh TYPE OPTIONS LIBRARY OBJECT...: TYPE is CMake's name for the kind of build, OPTIONS
# are the compiler's. Prints what is missing.
set -eu

type=$1
options=$2
library=$3
shift 3
export LC_ALL=C
missing=0

miss() {
    printf '%s: %s\n' "$library" "$1"
    missing=1
}

grep_in() {
    text=$1
    shift
    printf '%s\n' "$text" | grep "$@" >/dev/null
}

dynamic=$(readelf --wide --dynamic "$library")
segments=$(readelf --wide --segments "$library")
symbols=$(readelf --wide --dyn-syms "$library")
grep_in "$segments" GNU_RELRO || miss 'no part becomes read-only after it is relocated'
grep_in "$dynamic" -E 'BIND_NOW|FLAGS.* NOW' || miss 'functions are bound when they are first called'
grep_in "$segments" 'GNU_STACK.* RW ' || miss 'the stack is executable'
grep_in "$dynamic" TEXTREL && miss 'code is relocated'
grep_in "$symbols" __stack_chk_fail || miss 'no stack protector'
case $type in
Release | RelWithDebInfo | MinSizeRel)
    grep_in "$symbols" -E '__[a-z]+_chk(@|$)' || miss 'no size is checked by the C library'
    case ${options##*_FORTIFY_SOURCE=} in # the library does not show its level
    [2-9]*) ;;
    *) miss 'fewer sizes are checked than at level 2' ;;
    esac
    ;;
esac

[ "$(uname -m)" != x86_64 ] || for object in "$@"; do
    grep_in "$(readelf --notes "$object" 2>/dev/null)" IBT || {
        printf '%s: jumps may go anywhere\n' "$object"
        missing=1
    }
done
exit "$missing"
