#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds the reference as HTML, with search and without the network. A warning of Doxygen, such as a
# public name without a comment or a link that leads nowhere, is a failure.
#
# build.sh ROOT OUT
set -eu

out=$(realpath -m "$2")
cd -P "$1"
rm -rf "$out"
mkdir -p "$out"
VORN_VERSION=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' CMakeLists.txt)
VORN_DOCS=$out
export VORN_VERSION VORN_DOCS
awk -f docs/reference/failures.awk Bases/*.h >"$out/failures.markdown"
doxygen docs/reference/Doxyfile
rm "$out/failures.markdown"
