#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Follows the recipes of package managers that are not installed here: what they ask for is done by
# hand, and a program is built with what they install.
#
# run.sh SOURCE_DIR
set -euo pipefail
readonly source_dir=$1
readonly here=$source_dir/tests/checks/recipes consumer=$source_dir/tests/checks/consumer

scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

check_versions() {
    local version
    version=$(sed -n 's/^  VERSION \([0-9.]*\)$/\1/p' "$source_dir/CMakeLists.txt")
    grep -qF "\"version\": \"$version\"" "$source_dir/packaging/vcpkg/vcpkg.json" ||
        fail "the port of vcpkg is not of version $version"
    grep -qF "version = \"$version\"" "$source_dir/packaging/conan/conanfile.py" ||
        fail "the recipe of Conan is not of version $version"
}

check_program() {
    local program=$1
    [ "$("$program" "$consumer/main.cpp")" = "$(wc -c <"$consumer/main.cpp") bytes" ] ||
        fail "$program: wrong size"
}

check_vcpkg() {
    python3 -m json.tool "$source_dir/packaging/vcpkg/vcpkg.json" >/dev/null
    cmake -DSOURCE_DIR="$source_dir" -DWORK_DIR="$scratch" -P "$here/vcpkg.cmake"
    cmake -S "$consumer" -B "$scratch/program" --log-level=WARNING -Werror=dev \
        -DVornBases_DIR="$scratch/vcpkg/share/VornBases" >/dev/null
    cmake --build "$scratch/program" >/dev/null
    check_program "$scratch/program/size"
}

# Conan writes the package's files for CMake itself, so the program is built with what it is told.
check_conan() {
    python3 -B "$here/conan.py" "$source_dir" "$scratch"
    g++ -std=c++17 "$consumer/main.cpp" -I"$scratch/conan/include" -L"$scratch/conan/lib" \
        -lVorn-Bases -lpthread -Wl,-rpath,"$scratch/conan/lib" -o "$scratch/size"
    check_program "$scratch/size"
}

check_versions
check_vcpkg
check_conan
