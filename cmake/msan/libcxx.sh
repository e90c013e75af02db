#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds Clang's C++ library with the memory sanitizer, from Debian's source package, and installs
# it in a directory, unless it is there.
#
# libcxx.sh DIRECTORY
set -eu

[ ! -e "$1/lib/libc++.a" ] || exit 0
major=$(clang -dumpversion)
major=${major%%.*}
package=llvm-toolchain-$major
mkdir -p "$1"
target=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# The machine's own list of sources stays as it is.
mkdir -p lists/partial
# shellcheck disable=SC2016 # apt-get expands it
apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Created-By: Packages' 'Origin: Debian' >sources.list
quietly_apt() {
    apt-get -qq -o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o "Dir::State::Lists=$work/lists" -o APT::Sandbox::User=root "$@"
}
echo "fetching $package"
quietly_apt update
quietly_apt source --download-only --only-source "$package"
tar -xf "$package"_*.orig.tar.xz --strip-components=1 --exclude='*/test/*' --wildcards \
    '*/libcxx/*' '*/libcxxabi/*' '*/runtimes/*' '*/cmake/*' '*/llvm/utils/llvm-lit/*'

echo "building its C++ library with the memory sanitizer"
cmake -S runtimes -B build -G Ninja --log-level=ERROR -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    '-DLLVM_ENABLE_RUNTIMES=libcxx;libcxxabi' -DLLVM_USE_SANITIZER=Memory \
    -DLIBCXX_ENABLE_SHARED=OFF -DLIBCXX_ENABLE_STATIC_ABI_LIBRARY=ON -DLIBCXXABI_ENABLE_SHARED=OFF \
    -DLIBCXX_INCLUDE_BENCHMARKS=OFF -DLIBCXX_INCLUDE_TESTS=OFF -DLIBCXXABI_INCLUDE_TESTS=OFF \
    -DLLVM_INCLUDE_TESTS=OFF "-DCMAKE_INSTALL_PREFIX=$target" >/dev/null
ninja -C build --quiet install-cxxabi install-cxx
