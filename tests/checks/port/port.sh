#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks the port wing.
#
# port.sh DIRECTORY: DIRECTORY holds Bases/, cmake/ and examples/. Nothing but the sources of
# Bases/Impl/Port asks which host it is built for, or includes what only some hosts have. Each
# header there is a seam: Contract.h has a paragraph for it, and it has either one source for all
# hosts or one for each that cmake/Host.cmake chooses, and for no other.
set -eu
export LC_ALL=C # elsewhere [a-z] may have no i

cd "$1"
wing=Bases/Impl/Port
failed=0
complain() {
    echo "$1"
    failed=1
}

[ -f $wing/Contract.h ] || { echo "no $wing/Contract.h: is this the right directory?" && exit 1; }

hosts='__(APPLE|MACH|linux|gnu_linux|GLIBC|UCLIBC|unix|FreeBSD|NetBSD|OpenBSD|ANDROID|CYGWIN)__'
hosts="$hosts|__APPLE__|__GLIBC__|__linux\\b|_WIN32|_WIN64|\\bTARGET_OS_[A-Z]+"
asking=$(grep -rnE "^[[:space:]]*#[[:space:]]*(if|ifdef|ifndef|elif).*($hosts)" Bases examples |
    grep -v "^$wing/[A-Za-z]*_[a-z]*\.cpp:" || true)
[ -z "$asking" ] || complain "asks for the host outside the wing: $asking"

# Of sys/ all hosts have what POSIX names, and ioctl.h; of the other directories of systems nothing.
common='sys/(ioctl|ipc|mman|msg|resource|select|sem|shm|socket|stat|statvfs|time|times|types|uio|un'
common="$common|utsname|wait)\.h"
systems='(sys|linux|asm|asm-generic|bits|gnu|mach|mach-o|libkern|os|dispatch|CoreFoundation)/'
systems="$systems|(features|libproc|copyfile|Availability|TargetConditionals|windows)[A-Za-z]*\.h"
including=$(grep -rnE "^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"]($systems)" Bases examples |
    grep -vE "[<\"]${common}[>\"]" | grep -v "^$wing/[A-Za-z]*_[a-z]*\.cpp:" || true)
[ -z "$including" ] || complain "includes a header of some hosts outside the wing: $including"

hosts=$(sed -n 's/^ *set(VORN_BASES_HOST \([a-z]*\)).*/\1/p' cmake/Host.cmake)
[ -n "$hosts" ] || complain "cmake/Host.cmake chooses no host"

for header in "$wing"/*.h; do
    seam=$(basename "$header" .h)
    [ "$seam" != Contract ] || continue
    grep -q "^// $seam: " $wing/Contract.h || complain "Contract.h says nothing of $seam"
    [ -f "$wing/${seam}_posix.cpp" ] && continue
    for host in $hosts; do
        [ -f "$wing/${seam}_$host.cpp" ] || complain "$seam has no source for $host"
    done
done

for source in "$wing"/*.cpp; do
    host=$(basename "$source" .cpp | sed 's/.*_//')
    case " posix $(echo "$hosts" | tr '\n' ' ')" in
    *" $host "*) ;;
    *) complain "cmake/Host.cmake chooses no $host: $source" ;;
    esac
done

lost=$(sed -n 's/^\/\/ \([A-Z][A-Za-z]*\): .*/\1/p' $wing/Contract.h | while read -r seam; do
    [ -f "$wing/$seam.h" ] || echo "$seam"
done)
[ -z "$lost" ] || complain "Contract.h describes what is not there: $lost"

including=$(grep -rnl 'Port/Contract\.h[>"]' Bases examples || true)
[ -z "$including" ] || complain "includes what is only to be read: $including"
exit $failed
