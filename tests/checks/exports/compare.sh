#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that a library offers exactly the names of a list.
#
# compare.sh LIBRARY LIST: LIST has one demangled name a line; lines that begin with # and empty
# ones do not count. Prints what is offered but not listed, and what is listed but not offered.
set -eu

library=$1
list=$2
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export LC_ALL=C

# Constructors and destructors have several symbols of one name; symbols.sh tells them apart.
nm --dynamic --defined-only --demangle "$library" | cut -d ' ' -f 3- |
    sed -e 's/@@VORN_BASES_1\.0$//' \
        -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' \
        -e 's/std::__cxx11::basic_string<wchar_t, std::char_traits<wchar_t>, std::allocator<wchar_t> >/std::wstring/g' \
        -e 's/std::deque<\([^,]*\), std::allocator<[^>]*> >/std::deque<\1>/g' \
        -e 's/\[abi:cxx11\]//g' |
    sort -u >"$dir/offered"
sed -e '/^#/d' -e '/^$/d' "$list" | sort >"$dir/lines"
sort -u "$dir/lines" >"$dir/listed"
comm -23 "$dir/offered" "$dir/listed" | sed 's/^/offered, but not listed: /' >"$dir/differences"
comm -13 "$dir/offered" "$dir/listed" | sed 's/^/listed, but not offered: /' >>"$dir/differences"
uniq -d "$dir/lines" | sed 's/^/listed twice: /' >>"$dir/differences"
cat "$dir/differences"
[ ! -s "$dir/differences" ]
