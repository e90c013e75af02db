#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the packages twice and checks that nothing but the sources decides what is in them: not the
# directory, the user, the zone, the locale or the umask.
#
# build.sh SOURCE_DIR OUT_DIR: leaves the packages in OUT_DIR.
set -euo pipefail
readonly source_dir=$1 out_dir=$2

scratch=$(mktemp -d)
readonly scratch
trap 'rm -rf "$scratch"' EXIT
chmod 755 "$scratch"

say() { printf '== %s\n' "$*"; }

# Copies what belongs to the tree, without what was built in it.
copy_tree() {
    mkdir -p "$1"
    (cd "$source_dir" && git ls-files -z --cached --others --exclude-standard |
        tar -c --null --files-from - --ignore-failed-read) | tar -x -C "$1"
}

# Builds in the directory; what follows is the command that starts the build.
build_in() {
    local directory=$1
    shift
    (cd "$directory" && "$@" dpkg-buildpackage --build=binary --no-sign) \
        >"$scratch/log" 2>&1 || { tail -n 40 "$scratch/log" && exit 1; }
}

# Both copies come first: the tree may be worked on meanwhile.
copy_tree "$scratch/first/tree"
copy_tree "$scratch/second/place/tree"

say "building the packages"
build_in "$scratch/first/tree" env TZ=UTC LC_ALL=C.UTF-8

say "building them again elsewhere and otherwise"
other=(env -u CMAKE_CXX_COMPILER_LAUNCHER TZ=Asia/Kolkata LC_ALL=C HOME=/nonexistent)
if [ "$(id -u)" -eq 0 ]; then
    chown -R 65534:65534 "$scratch/second"
    other=(setpriv --reuid 65534 --regid 65534 --clear-groups "${other[@]}")
fi
(umask 027 && build_in "$scratch/second/place/tree" "${other[@]}")

failures=0
for package in "$scratch"/first/*.deb; do
    cmp "$package" "$scratch/second/place/$(basename "$package")" || failures=1
done
[ "$failures" -eq 0 ] || exit 1
cp "$scratch"/first/*.{deb,changes,buildinfo} "$out_dir"
