#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Does what the README tells a stranger to do: builds the program in this directory with the
# library, runs it, and compares what it prints with what the README shows.
#
# run.sh SOURCE_DIR BUILD_DIR CXX WAY, where WAY is how the program gets at the library:
#
# - installed: the shared library of BUILD_DIR, installed and then moved to another directory, by
#   find_package and by pkg-config, with each edition of C++
# - static: the same for a static library, whose library directory is an absolute path
# - build-directory: find_package finds BUILD_DIR itself
# - sources: the program's project takes in the sources; it gets the library and nothing else
# - watched: a program under the sanitizers of BUILD_DIR, or else under those of addresses and of
#   undefined behaviour, and then that of threads, uses the installed library; no report is
#   suppressed
set -euo pipefail
readonly source_dir=$1 build_dir=$2 cxx=$3 way=$4
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

# Builds the program where find_package finds the library in the directory, and runs it.
check_find_package() {
    cmake -S "$consumer" -B "$scratch/cmake" \
        -DCMAKE_PREFIX_PATH="$1" -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev
    cmake --build "$scratch/cmake"
    check_answers "$scratch/cmake/size"
}

# Builds the program for an edition of C++ as pkg-config says, with further options for it, and runs
# it.
check_pkg_config() {
    local edition=$1 flags
    pkg-config --validate Vorn-Bases
    read -ra flags <<<"$(pkg-config --cflags --libs "${@:2}" Vorn-Bases)"
    "$cxx" -std="$edition" "$consumer/main.cpp" "${flags[@]}" \
        -Wl,-rpath,"$(pkg-config --variable=libdir Vorn-Bases)" -o "$scratch/size"
    check_answers "$scratch/size"
}

# Lets pkg-config find the library that is installed below the directory.
use_pkg_config_below() {
    local file
    file=$(find "$1" -name Vorn-Bases.pc)
    [ -n "$file" ] || fail "no Vorn-Bases.pc was installed"
    PKG_CONFIG_PATH=$(dirname "$file")
    export PKG_CONFIG_PATH
}

# The README's own commands, word by word, for somebody who has the library in ~/vorn.
check_readme() {
    mkdir "$scratch/home"
    ln -s "$prefix" "$scratch/home/vorn"
    {
        # shellcheck disable=SC2016 # the backquotes are Markdown's
        printf '```console\n$ cp %s/main.cpp %s/CMakeLists.txt .\n```\n' "$consumer" "$consumer"
        sed -n '/^## A program of your own/,/^## See it at work/p' "$source_dir/README.md"
    } >"$scratch/page.md"
    (unset PKG_CONFIG_PATH && HOME=$scratch/home CXX=$cxx \
        bash "$source_dir/tests/checks/transcripts/transcript.sh" "$scratch/page.md")
}

# Another major version is another library.
check_other_version() {
    local message=$scratch/message
    mkdir "$scratch/other"
    sed 's/find_package(VornBases/& 2/' "$consumer/CMakeLists.txt" >"$scratch/other/CMakeLists.txt"
    ! cmake -S "$scratch/other" -B "$scratch/other/build" -DCMAKE_PREFIX_PATH="$1" \
        -DCMAKE_CXX_COMPILER="$cxx" >/dev/null 2>"$message" || fail "version 2 was found"
    grep -qz 'compatible with requested.*version: 1\.' "$message" ||
        fail "what is wrong with version 2 is not said: $(cat "$message")"
}

# Whatever tells the version tells the one of the project.
check_version() {
    local version include library told major minor patch
    version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[^=]*=//p' "$build_dir/CMakeCache.txt")
    include=$(pkg-config --variable=includedir Vorn-Bases)
    library=$(pkg-config --variable=libdir Vorn-Bases)
    told=$(pkg-config --modversion Vorn-Bases)
    [ "$told" = "$version" ] || fail "pkg-config tells version $told"
    IFS=. read -r major minor patch <<<"$version"
    "$cxx" -std=c++17 -fsyntax-only -x c++ -I"$include" - <<PROGRAM || fail "Version.h tells another"
#include <Bases/Version.h>
#include <string_view>
static_assert(VORN_BASES_VERSION_TEXT == std::string_view("$version"));
static_assert(VORN_BASES_VERSION == $major * 10000 + $minor * 100 + $patch);
PROGRAM
    [ -e "$library/libVorn-Bases.so.$version" ] || fail "the library's file has another version"
    grep -q "\"$version\"" "$library/cmake/VornBases/VornBasesConfigVersion.cmake" ||
        fail "the package file of CMake has another version"
    [[ $(sed 1q "$source_dir/debian/changelog") == "vorn-bases ($version) "* ]] ||
        fail "debian/changelog begins with another version"
    [[ $(sed -n '/^## /{p;q}' "$source_dir/CHANGELOG.md") =~ ^"## $version"( |$) ]] ||
        fail "CHANGELOG.md begins with another version"
}

# The bill of materials is installed, and names the versions that there are.
check_bill() {
    local bill name version
    bill=$(find "$prefix" -name vorn-bases.spdx.json)
    [ -n "$bill" ] || fail "no bill of materials was installed"
    cat >"$scratch/bill.cmake" <<'SCRIPT'
file(READ ${BILL} bill)
string(JSON count LENGTH "${bill}" packages)
math(EXPR last "${count} - 1")
foreach(i RANGE ${last})
  string(JSON name GET "${bill}" packages ${i} name)
  string(JSON version GET "${bill}" packages ${i} versionInfo)
  message("${name} ${version}")
endforeach()
SCRIPT
    cmake -DBILL="$bill" -P "$scratch/bill.cmake" 2>"$scratch/parts" || fail "the bill is no JSON"
    ! grep -vE '^[A-Za-z0-9]+ [0-9]+[.][0-9]+[.][0-9]+$' "$scratch/parts" ||
        fail "the bill names no version"
    for name in VornBases=Vorn-Bases libxml2=libxml-2.0; do
        version=$(pkg-config --modversion "${name#*=}")
        grep -qFx "${name%=*} $version" "$scratch/parts" || fail "not in the bill: ${name%=*}"
    done
    grep -q '^Boost ' "$scratch/parts" || fail "not in the bill: Boost"
}

check_installed() {
    local edition
    diff <(readme_block cpp) "$consumer/main.cpp" || fail "README.md shows another program"
    diff <(readme_block cmake) "$consumer/CMakeLists.txt" ||
        fail "README.md shows another CMakeLists.txt"
    cmake --install "$build_dir" --prefix "$scratch/elsewhere" >/dev/null
    mv "$scratch/elsewhere" "$prefix"
    [ -n "$(find "$prefix" -name LICENSE)" ] || fail "the licence was not installed"

    check_find_package "$prefix"
    check_other_version "$prefix"
    use_pkg_config_below "$prefix"
    check_version
    check_bill
    check_readme
    for edition in c++17 c++20 c++2b; do
        check_pkg_config "$edition"
    done
    grep -q "libVorn-Bases.so.1 => $(realpath "$prefix")" <<<"$(ldd "$scratch/size")" ||
        fail "the program runs with another libVorn-Bases than the installed one"
}

# What the option gives is made of the same objects, so they are not compiled again.
check_static() {
    local type
    type=$(sed -n 's/^CMAKE_BUILD_TYPE:[^=]*=//p' "$build_dir/CMakeCache.txt")
    cmake -S "$source_dir" -B "$scratch/static" -G Ninja -DBUILD_SHARED_LIBS=OFF \
        -DVORN_BASES_TESTS=OFF -DVORN_BASES_EXAMPLES=OFF -DCMAKE_BUILD_TYPE="$type" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR="$prefix/lib" \
        -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev \
        -DCMAKE_CXX_COMPILER_LAUNCHER="sh;$consumer/copy-object.sh;$build_dir"
    [ -e "$scratch/static/compile_commands.json" ] || fail "editors are not told the flags"
    cmake --build "$scratch/static"
    cmake --install "$scratch/static" >/dev/null
    [ -z "$(find "$prefix" -name '*.so*')" ] || fail "a shared library was installed"

    check_find_package "$prefix"
    use_pkg_config_below "$prefix"
    check_pkg_config c++17 --static
    ! grep -q libVorn-Bases <<<"$(ldd "$scratch/size")" || fail "the program needs a shared library"
}

# MISTAKE SANITIZERS: a program under these says nothing of what is right, and reports the mistake.
check_watched_by() {
    local mistake=$1 sanitizers=$2 flags
    read -ra flags <<<"$(pkg-config --cflags --libs Vorn-Bases)"
    "$cxx" -std=c++17 -g1 -fsanitize="$sanitizers" -fno-sanitize-recover=all \
        "$consumer/watched.cpp" "${flags[@]}" \
        -Wl,-rpath,"$(pkg-config --variable=libdir Vorn-Bases)" -o "$scratch/watched"
    "$scratch/watched" || fail "$sanitizers: what is right is reported, or the program is wrong"
    ! "$scratch/watched" "$mistake" >"$scratch/report" 2>&1 || fail "$sanitizers: no report"
    grep -q 'SUMMARY: [A-Za-z]*Sanitizer' "$scratch/report" || fail "the program ended otherwise"
}

check_watched() {
    local sanitizers
    sanitizers=$(sed -n 's/^VORN_BASES_SANITIZE:[^=]*=//p' "$build_dir/CMakeCache.txt")
    cmake --install "$build_dir" --prefix "$prefix" >/dev/null
    use_pkg_config_below "$prefix"
    unset ASAN_OPTIONS LSAN_OPTIONS TSAN_OPTIONS UBSAN_OPTIONS
    # The C library never frees its copy of LOCPATH, without which the locale may be unknown.
    unset LOCPATH
    export LC_ALL=C.UTF-8
    [ "$sanitizers" = thread ] || check_watched_by read "${sanitizers:-address,undefined}"
    case $sanitizers in '' | thread) check_watched_by race thread ;; esac
}

check_sources() {
    local project=$scratch/project build=$scratch/project/build
    mkdir "$project"
    cat >"$project/CMakeLists.txt" <<PROJECT
cmake_minimum_required(VERSION 3.25)
project(program CXX)
enable_testing()
add_subdirectory($source_dir bases)
add_executable(size $consumer/main.cpp)
target_link_libraries(size PRIVATE Vorn::Bases)
PROJECT
    # Clang does not know the last one.
    local warnings='-Wall -Wextra -Wconversion -Wshadow -Werror'
    [[ $("$cxx" --version) == *clang* ]] || warnings+=' -Wuseless-cast'
    cmake -S "$project" -B "$build" -G "Unix Makefiles" -DCMAKE_CXX_FLAGS="$warnings" \
        -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
        -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev
    # Nothing is built yet, so anything to install would be missing.
    cmake --install "$build" --prefix "$project/prefix" >/dev/null
    [ ! -e "$project/prefix" ] || fail "something was installed along with the program"
    grep -q 'Total Tests: 0' <<<"$(ctest --test-dir "$build" -N)" || fail "the program's project gets tests"
    ! grep -qE '^\.\.\. (manifest|seal)$' <<<"$(cmake --build "$build" --target help)" ||
        fail "the program's project gets the example programs"

    # Our own builds hold that no unit gives one of these warnings. To show that the program's flags
    # reach the units, and no flags of ours, one will do.
    ! grep -qE -- '-Wpedantic|-fstack-protector|-O[0-9]' "$build/compile_commands.json" ||
        fail "the program's build passes our choice of flags"
    make -C "$build/bases/Bases" Impl/Endian.o >/dev/null
    grep -q -- '-Wall -Wextra' "$build/compile_commands.json" || fail "the program's flags do not count"
}

case $way in
installed) check_installed ;;
static) check_static ;;
build-directory) check_find_package "$build_dir" ;;
sources) check_sources ;;
watched) check_watched ;;
*) fail "no such way: $way" ;;
esac
