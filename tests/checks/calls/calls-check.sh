#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that calls.sh (its path is the first argument) finds what it is there to find, with nm and
# with objects that the compiler makes (second and third argument).
set -eu

check=$1
nm=$2
compiler=$3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0

cat >"$dir/library.cpp" <<'END'
#include <cstdlib>
#include <new>
#include <unistd.h>
extern "C" void ours(int* number);
int main(int count, char**) {
    std::srand(static_cast<unsigned>(count));
    int* number = new int(std::rand());
    ours(number);
    const int result = *number + getpid();
    ::operator delete(number);
    return result;
}
END
printf 'extern "C" void ours(int*) {}\n' >"$dir/other.cpp"
cat >"$dir/platform.cpp" <<'END'
#include <cstddef>
extern "C" int __wrap_getpid() { return 1; }
void* operator new(std::size_t) { static char block[8]; return block; }
void operator delete(void*) noexcept {}
void operator delete(void*, std::size_t) noexcept {}
END
for name in library other platform; do
    "$compiler" -std=c++17 -O1 -fno-pie -c -o "$dir/$name.o" "$dir/$name.cpp"
done

# expect STATUS OUTPUT PROGRAM LINE...: the result for a program and a list of these lines.
expect() {
    status=$1
    output=$2
    program=$3
    shift 3
    printf '%s\n' "$@" >"$dir/list"
    actual_status=0
    actual=$(sh "$check" "$nm" "$dir/$program.o" "$dir/list" "$dir/library.o" "$dir/other.o" 2>&1) ||
        actual_status=$?
    if [ "$actual_status" != "$status" ] || [ "$actual" != "$output" ]; then
        printf 'for: %s\nexpected %s: %s\ngot %s: %s\n' \
            "$*" "$status" "$output" "$actual_status" "$actual"
        failures=1
    fi
}

expect 0 '' platform rand srand
expect 0 '' platform '# all' '' 'ra*' 'sran*' 'get*'
expect 1 'neither scripted nor listed: srand' platform rand
expect 1 'neither scripted nor listed: rand
neither scripted nor listed: srand' platform ran sran 'rand.*'
expect 1 'scripted and listed: getpid' platform rand srand getpid
expect 1 'neither scripted nor listed: _ZdlPv
neither scripted nor listed: _Znwm
neither scripted nor listed: getpid' other rand srand
exit "$failures"
