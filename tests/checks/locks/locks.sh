#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that the marks of the library's locks stand and are looked at: its units compile as they
# are, but wherever one of them forgets a lock, Clang refuses what follows.
#
# locks.sh CLANG ROOT [OPTION...]: ROOT holds Bases/ and tests/; the options go to Clang.
set -eu

clang=$1
root=$2
shift 2
export LC_ALL=C # elsewhere [a-z] may have no i
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# run_clang OPTION...
run_clang() {
    "$clang" -std=c++20 -ferror-limit=0 -I"$root" -I"$root/tests/support/mac/headers" \
        -DVORN_BASES_CHECK_LOCKS -Wthread-safety -Werror=thread-safety "$@" >"$dir/output" 2>&1
}

# compile UNIT OPTION...
compile() { run_clang -fsyntax-only -include-pch "$dir/header" "$@"; }

fail() {
    echo "$*"
    cat "$dir/output"
    exit 1
}

# Of each lock that a unit takes for a scope, the line is left empty: between it and the next such
# line, something has to be refused.
refuses_without_locks() {
    unit=$1
    shift
    taken='^ *const (Cs)?Locker [a-z]+\(.*\);$'
    sed -E "s/$taken//" "$root/Bases/Impl/$unit" >"$dir/$unit"
    if compile "$dir/$unit" "$@"; then
        fail "$unit compiles without its locks"
    fi
    {
        grep -nE "$taken" "$root/Bases/Impl/$unit"
        sed -n 's/^[^:]*:\([0-9]*\):.* error: .*Werror,-Wthread-safety.*/\1:refused/p' "$dir/output"
    } | sort -n | awk -F : -v unit="$unit" '
        $2 == "refused" { lock = 0; next }
        lock { exit 1 }
        { lock = $1 }
        END { if (lock) { print unit ":" lock ": nothing needs this lock"; exit 1 } }
    ' || fail "$unit: without its locks, this is all that is refused:"
}

# Once for all: it takes the most time.
run_clang -x c++-header "$root/Bases/Thread.h" -o "$dir/header" || fail "Bases/Thread.h:"
for unit in Monitor Sem_mac ThreadPool ThreadSync_posix XmlTextWriter Port/KernelSem_linux \
    Port/KernelSem_mac; do
    compile "$root/Bases/Impl/$unit.cpp" "$@" || fail "$unit.cpp:"
done
for unit in Monitor Sem_mac ThreadPool XmlTextWriter; do
    refuses_without_locks "$unit.cpp" "$@"
done
