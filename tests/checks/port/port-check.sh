#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that port.sh finds what it is there to find. port-check.sh PORT.SH DIRECTORY
set -eu

check=$1
tree=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# Makes a copy of the tree that is in order.
renew() {
    rm -rf "$dir/tree"
    mkdir -p "$dir/tree/examples"
    cp -R "$tree/Bases" "$tree/cmake" "$dir/tree"
}

accepts() {
    sh "$check" "$dir/tree" >"$dir/output" || { echo "refused $1:" && cat "$dir/output" && exit 1; }
}

refuses() {
    if sh "$check" "$dir/tree" >"$dir/output"; then
        echo "accepted $1" && exit 1
    fi
    grep -q "$2" "$dir/output" || { echo "$1 is not what it found:" && cat "$dir/output" && exit 1; }
    renew
}

renew
accepts "the tree as it is"

echo '#ifdef __APPLE__' >>"$dir/tree/Bases/Impl/Sem_mac.cpp"
refuses "a unit that asks for macOS" "Sem_mac.cpp"
echo '# if defined(__linux__) && 1' >>"$dir/tree/Bases/Thread.h"
refuses "a public header that asks for Linux" "Thread.h"
echo '#if __GLIBC__ > 1' >"$dir/tree/examples/main.cpp"
refuses "an example that asks for the C library" "main.cpp"
echo '#ifdef __linux__' >>"$dir/tree/Bases/Impl/Port/Clock.h"
refuses "a header of the wing that asks" "Clock.h"
echo '#ifdef __linux__' >>"$dir/tree/Bases/Impl/Port/Clock_posix.cpp"
accepts "a source of the wing that asks"

echo '#include <linux/futex.h>' >>"$dir/tree/Bases/Impl/Sem_mac.cpp"
refuses "a unit that includes a header of Linux" "Sem_mac.cpp"
echo ' # include <mach/mach.h>' >>"$dir/tree/Bases/Impl/Port/Clock.h"
refuses "a header of the wing that includes one of macOS" "Clock.h"
echo '#include <sys/auxv.h>' >>"$dir/tree/Bases/Impl/Route/Route.cpp"
refuses "a route that asks the kernel" "Route.cpp"
echo '#include "CoreFoundation/CoreFoundation.h"' >"$dir/tree/examples/main.cpp"
refuses "an example that includes a header of macOS" "main.cpp"
echo '#include <features.h>' >>"$dir/tree/Bases/Text.h"
refuses "a public header that includes one of the C library's own" "Text.h"
printf '#include <sys/%s.h>\n' mman ioctl >>"$dir/tree/Bases/Impl/Sem_mac.cpp"
accepts "a unit that includes headers of POSIX"
echo '#include <sys/sendfile.h>' >>"$dir/tree/Bases/Impl/Port/Clock_posix.cpp"
accepts "a source of the wing that includes a header of Linux"

touch "$dir/tree/Bases/Impl/Port/RandomSource_third.cpp"
refuses "a source for a host that nothing chooses" "chooses no third"
echo '  set(VORN_BASES_HOST third)' >>"$dir/tree/cmake/Host.cmake"
refuses "a third host without its sources" "ProgramDir has no source for third"
: >"$dir/tree/cmake/Host.cmake"
refuses "a build that chooses no host" "chooses no host"
rm "$dir/tree/Bases/Impl/Port/RandomSource_mac.cpp"
refuses "a seam with a host missing" "RandomSource has no source for mac"
cp "$dir/tree/Bases/Impl/Port/Clock.h" "$dir/tree/Bases/Impl/Port/Door.h"
refuses "a seam without a contract" "nothing of Door"
sed -i 's/^\/\/ Clock: /\/\/ Watch: /' "$dir/tree/Bases/Impl/Port/Contract.h"
refuses "a contract without a seam" "not there: Watch"
echo '#include <Bases/Impl/Port/Contract.h>' >>"$dir/tree/Bases/Impl/Bits.cpp"
refuses "a unit that includes the contract" "only to be read"
rm -r "$dir/tree/Bases/Impl/Port"
refuses "a tree without the wing" "right directory"
