#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that Sbom.cmake writes what stands in expected.spdx.json, in whatever zone, and that the
# namespace changes with the contents.
#
# sbom-check.sh SOURCE_DIR CMAKE
set -eu

root=$1
cmake=$2
expected=$root/tests/checks/sbom/expected.spdx.json
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

mkdir "$dir/hwy"
printf '#define HWY_%s\n' 'MAJOR 1' 'MINOR 20' 'PATCH 3' 'MAJOR_OF other' >"$dir/hwy/highway.h"
cat >"$dir/write.cmake" <<'SCRIPT'
set(PROJECT_VERSION 1.2.3)
set(LIBXML2_VERSION_STRING 2.9.14)
set(Boost_VERSION 1.74.0)
include(${ROOT}/cmake/Sbom.cmake)
vorn_write_sbom(${FILE})
SCRIPT

# write FILE OPTION...
write() {
    file=$dir/$1
    shift
    SOURCE_DATE_EPOCH=1000000000 TZ=East-9 "$cmake" -DROOT="$root" -DFILE="$file" "$@" \
        -P "$dir/write.cmake"
}

write all -DVORN_BASES_KERNELS=ON -DVORN_HIGHWAY_INCLUDE="$dir"
diff "$expected" "$dir/all"

write portable -DVORN_BASES_KERNELS=OFF -DVORN_HIGHWAY_INCLUDE="$dir"
write without
diff "$dir/portable" "$dir/without"
if grep -q -e Highway -e "$(sed -n 's/.*urn:uuid:\(.*\)".*/\1/p' "$expected")" "$dir/portable"; then
    echo "the bill without the vector kernels is that with them"
    exit 1
fi
