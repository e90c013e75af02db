#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks what gdb prints with the printers.
#
# printers.sh GDB PROGRAM PRINTERS: PROGRAM is that of main.cpp. Ends with status 77 where no
# program can be debugged.
set -eu

command -v "$1" >/dev/null || { echo "there is no gdb" && exit 77; }

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
"$1" -q -nx -batch -ex 'set confirm off' -ex "source $3" -ex 'break Stop' -ex run -ex up \
    -ex 'print none' -ex 'print bits' -ex 'print many' -ex 'print nothing' -ex 'print buffer' \
    -ex 'print full' -ex 'print nil' -ex 'print id' -ex 'print time' "$2" >"$dir/output" 2>&1 || true
if grep -qE 'ptrace|Could not trace' "$dir/output"; then
    echo "no program can be debugged here"
    exit 77
fi
sed -n 's/^\$[0-9]* = //p' "$dir/output" >"$dir/actual"

zeros() { printf "%0$1d" 0; }
{
    echo '0 bits'
    echo '10 bits: 0010000001'
    echo "1000 bits: ...1$(zeros 255)"
    echo '0 of 0 bytes'
    echo '3 of 8 bytes: 01 02 ff'
    printf '40 of 40 bytes: 01 02 ff%s ...\n' "$(zeros 29 | sed 's/0/ 00/g')"
    echo '00000000-0000-0000-0000-000000000000'
    echo '0f8fad5b-d9cb-469f-a165-70867728950e'
    echo 'Tue 2024-03-05 07:08:09.045'
} >"$dir/expected"
diff "$dir/expected" "$dir/actual" || { tail -n 20 "$dir/output" && exit 1; }
