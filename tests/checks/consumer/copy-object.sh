#!/bin/sh
# SPDX-License-Identifier: MIT
# Stands before a compiler, and takes the object from another build directory of the same sources
# and options instead of compiling again.
#
# copy-object.sh BUILD_DIR COMPILER ARGUMENT...
set -eu

build_dir=$1
shift
previous=
for argument in "$@"; do
    case $previous in
    -o) object=$argument ;;
    -MF) dependencies=$argument ;;
    esac
    previous=$argument
done
cp "$build_dir/$object" "$object"
printf '%s:\n' "$object" >"$dependencies"
