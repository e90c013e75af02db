#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Links a fuzz target with an engine that is no libFuzzer, as LIB_FUZZING_ENGINE in the environment
# asks for, collects what a service needs to run it, and runs it.
#
# engine.sh SOURCE_DIR BUILD_DIR CXX: BUILD_DIR has the objects, which are not compiled again.
set -euo pipefail
readonly source_dir=$1 build_dir=$2 cxx=$3

scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT

fail() {
    printf 'FAILED: %s\n' "$*" >&2
    exit 1
}

cat >"$scratch/engine.cpp" <<'ENGINE'
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "another engine tried %d inputs\n", argc - 1);
}
ENGINE
"$cxx" -c "$scratch/engine.cpp" -o "$scratch/engine.o"
ar rc "$scratch/libengine.a" "$scratch/engine.o"

type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build_dir/CMakeCache.txt")
LIB_FUZZING_ENGINE=$scratch/libengine.a cmake -S "$source_dir" -B "$scratch/build" -G Ninja \
    -DVORN_BASES_FUZZ=ON -DVORN_BASES_TESTS=OFF -DVORN_BASES_EXAMPLES=OFF \
    -DCMAKE_BUILD_TYPE="$type" -DCMAKE_CXX_COMPILER="$cxx" --log-level=WARNING -Werror=dev \
    -DCMAKE_CXX_COMPILER_LAUNCHER="sh;$source_dir/tests/checks/consumer/copy-object.sh;$build_dir"
cmake --build "$scratch/build" --target XmlReaderFuzz
touch "$scratch/build/fuzz/ManifestFuzz" "$scratch/build/fuzz/SeedFuzz"
bash "$source_dir/fuzz/collect.sh" "$scratch/build" "$scratch/out"

cd "$scratch/out"
for name in XmlReader Manifest; do
    cmp "$source_dir/fuzz/xml.dict" "${name}Fuzz.dict" || fail "$name: no dictionary"
done
[ ! -e SeedFuzz.dict ] || fail "Seed: a dictionary of XML"
diff <(printf '[libfuzzer]\nmax_len = 4096\n') XmlReaderFuzz.options || fail "not the limit"
[ "$(head -c 2 XmlReaderFuzz_seed_corpus.zip)" = PK ] || fail "the inputs are no ZIP archive"
mkdir inputs
(cd inputs && cmake -E tar xf ../XmlReaderFuzz_seed_corpus.zip)
diff -r inputs "$source_dir/fuzz/corpus/XmlReader" || fail "the inputs are others"
inputs=(inputs/*)
# The target may leave its directory, so the inputs are named from the root.
told=$(./XmlReaderFuzz "${inputs[@]/#/$PWD/}" 2>&1) || fail "the target fails: $told"
[ "$told" = "another engine tried ${#inputs[@]} inputs" ] || fail "the engine is not used: $told"
