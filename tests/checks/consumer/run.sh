#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the built library, then does what the README tells a stranger to do: builds this
# directory's program against it, once through find_package and once through pkg-config, runs both,
# and compares what they print with what the README shows. A project that takes in the sources gets
# the library and nothing else.
#
# usage: run.sh SOURCE_DIR BUILD_DIR CXX
set -euo pipefail
readonly source_dir=$1 build_dir=$2 cxx=$3
readonly consumer=$source_dir/tests/checks/consumer

scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT
readonly prefix=$scratch/prefix

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

# Prints the README's first block of that kind.
readme_block() {
    awk -v fence="\`\`\`$1" '
        $0 == fence { inside = 1; next }
        inside && $0 == "```" { exit }
        inside' "$source_dir/README.md"
}

# The program's answer about its own source, and about a file that does not exist.
check_answers() {
    local program=$1 size
    size=$(wc -c <"$consumer/main.cpp")
    [ "$("$program" "$consumer/main.cpp")" = "$size bytes" ] || fail "$program: wrong size"
    [ "$("$program" "$scratch/missing")" = $'[FileIo] Open : Not found.\r' ] ||
        fail "$program: a missing file is not reported"
    [ "$(grep -x '[0-9]* bytes' "$source_dir/README.md" | sort -u)" = "$size bytes" ] ||
        fail "README.md shows another size than $size"
}

diff <(readme_block cpp) "$consumer/main.cpp" || fail "README.md shows another program"
diff <(readme_block cmake) "$consumer/CMakeLists.txt" || fail "README.md shows another CMakeLists.txt"

cmake --install "$build_dir" --prefix "$prefix" >/dev/null

echo "== find_package(VornBases)"
cmake -S "$consumer" -B "$scratch/cmake" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev
cmake --build "$scratch/cmake"
check_answers "$scratch/cmake/size"

echo "== pkg-config Vorn-Bases"
pc_file=$(find "$prefix" -name Vorn-Bases.pc)
[ -n "$pc_file" ] || fail "no Vorn-Bases.pc was installed"
PKG_CONFIG_PATH=$(dirname "$pc_file")
export PKG_CONFIG_PATH
library_dir=$(pkg-config --variable=libdir Vorn-Bases)
read -ra flags <<<"$(pkg-config --cflags --libs Vorn-Bases)"
"$cxx" -std=c++17 "$consumer/main.cpp" "${flags[@]}" -Wl,-rpath,"$library_dir" -o "$scratch/size"
check_answers "$scratch/size"
grep -q "libVorn-Bases.so.1 => $(realpath "$prefix")" <<<"$(ldd "$scratch/size")" ||
    fail "the program runs with another libVorn-Bases than the installed one"
grep -q -- -lxml2 <<<"$(pkg-config --static --libs Vorn-Bases)" ||
    fail "a static link would lack libxml2"

echo "== add_subdirectory"
mkdir "$scratch/host"
cat >"$scratch/host/CMakeLists.txt" <<HOST
cmake_minimum_required(VERSION 3.25)
project(host CXX)
enable_testing()
add_subdirectory($source_dir bases)
add_executable(size $consumer/main.cpp)
target_link_libraries(size PRIVATE Vorn::Bases)
HOST
cmake -S "$scratch/host" -B "$scratch/host/build" -G "Unix Makefiles" \
    -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev
# Nothing is built yet, so anything to install would be missing.
cmake --install "$scratch/host/build" --prefix "$scratch/host/prefix" >/dev/null
[ ! -e "$scratch/host/prefix" ] || fail "something was installed along with a host"
grep -q 'Total Tests: 0' <<<"$(ctest --test-dir "$scratch/host/build" -N)" ||
    fail "a host gets tests"
! grep -qE '^\.\.\. (manifest|seal)$' <<<"$(cmake --build "$scratch/host/build" --target help)" ||
    fail "a host gets the example programs"
