#!/bin/sh
# Checks that the marks of the library's locks stand and are looked at: its units compile as they
# are, and no longer when one of them forgets a lock.
#
# locks.sh CLANG ROOT: ROOT holds Bases/.
set -eu

clang=$1
root=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

compile() {
    "$clang" -std=c++20 -fsyntax-only -I"$root" -DVORN_BASES_CHECK_LOCKS -Wthread-safety \
        -Werror=thread-safety "$1" >"$dir/output" 2>&1
}

# Its nth line with the text is left out, which is a lock that is not taken.
refuses_without() {
    unit=$1
    text=$2
    nth=$3
    awk -v text="$text" -v nth="$nth" '
        index($0, text) && ++seen == nth { left = 1; next }
        { print }
        END { exit !left }
    ' "$root/Bases/Impl/$unit" >"$dir/$unit" || { echo "$unit has no $text number $nth" && exit 1; }
    if compile "$dir/$unit"; then
        echo "$unit compiles without $text number $nth"
        exit 1
    fi
    grep -q 'Werror,-Wthread-safety' "$dir/output" ||
        { echo "$unit fails for another reason:" && cat "$dir/output" && exit 1; }
}

for unit in Monitor.cpp Sem_mac.cpp ThreadPool.cpp ThreadSync_posix.cpp Port/KernelSem_linux.cpp; do
    compile "$root/Bases/Impl/$unit" || { echo "$unit:" && cat "$dir/output" && exit 1; }
done

for nth in 1 5; do
    refuses_without Monitor.cpp 'const Locker lock(m_lock);' "$nth"
done
for nth in 1 5; do
    refuses_without Sem_mac.cpp 'const Locker lock(m_flagLock);' "$nth"
done
for nth in 1 3; do
    refuses_without ThreadPool.cpp 'const CsLocker lock(m_csTasks);' "$nth"
done

cat >"$dir/snippet.cpp" <<'SNIPPET'
#include <Bases/Impl/Lock.h>

struct Counter {
    int Next() { return ++m_nLast; }

    Vorn::Lock m_lock;
    int m_nLast VORN_GUARDED_BY(m_lock) = 0;
};
SNIPPET
if compile "$dir/snippet.cpp"; then
    echo "a guarded member is used without its lock"
    exit 1
fi
sed -i 's/return ++m_nLast/const Vorn::Locker lock(m_lock); return ++m_nLast/' "$dir/snippet.cpp"
compile "$dir/snippet.cpp" || { echo "a member used with its lock:" && cat "$dir/output" && exit 1; }
