#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the packages in a fresh Debian, uses them there as a stranger does, upgrades them, and
# removes them without a trace. Needs root and a mirror; says so where there is none.
#
# try.sh SOURCE_DIR PACKAGES_DIR KEPT: KEPT is a file that keeps the fresh Debian for the next time.
set -euo pipefail
readonly source_dir=$1 packages_dir=$2 kept=$3

scratch=$(mktemp -d)
readonly scratch root=$scratch/root
trap 'rm -rf "$scratch"' EXIT

say() { printf '== %s\n' "$*"; }

skip() {
    say "NOT TESTED in a fresh Debian: $*"
    exit 0
}

inside() {
    unshare --ipc env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive chroot "$root" "$@" >"$scratch/log" 2>&1 || {
        tail -n 40 "$scratch/log"
        printf 'FAILED: %s\n' "$*"
        exit 1
    }
}

install() { inside apt-get install -y --no-install-recommends "$@"; }

# What another program needs, so that nothing but the packages makes a difference afterwards.
make_root() {
    local site codename
    # shellcheck disable=SC2016 # apt expands it
    site=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' | sed -n 1p)
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    say "making a fresh Debian ($codename)"
    debootstrap --variant=minbase "$codename" "$root" "$site" >"$scratch/log" 2>&1 ||
        skip "debootstrap failed: $(tail -n 1 "$scratch/log")"
    cp /etc/resolv.conf "$root/etc/"
    inside apt-get update
    install cmake g++ make pkg-config libboost-dev libxml2-dev
    tar -c --one-file-system -C "$root" . >"$kept.part"
    mv "$kept.part" "$kept"
}

# What there is but for the records of the package manager and of the linker.
list_files() {
    (cd "$root" && find . -xdev \( -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache \
        -o -path ./var/log -o -path ./tmp -o -path ./packages -o -path ./source \) -prune \
        -o ! -name ld.so.cache -print | sort)
}

# The same packages, as if they were of a later version.
make_next_versions() {
    local package
    mkdir "$root/packages/next"
    for package in "$root"/packages/*.deb; do
        dpkg-deb --raw-extract "$package" "$scratch/next"
        sed -i -e 's/^Version: .*/&+next/' -e 's/(= \([^)]*\))/(= \1+next)/' "$scratch/next/DEBIAN/control"
        dpkg-deb --root-owner-group --build "$scratch/next" \
            "$root/packages/next/$(basename "$package")" >/dev/null
        rm -r "$scratch/next"
    done
}

[ "$(id -u)" -eq 0 ] || skip "only root can make one"
mkdir "$root"
if [ -f "$kept" ]; then tar -x -C "$root" -f "$kept"; else make_root; fi

mkdir -p "$root/packages" "$root/source/tests/checks"
cp "$packages_dir"/*.deb "$root/packages/"
rm -f "$root"/packages/*-dbgsym_*.deb
cp -r "$source_dir/debian" "$root/source/"
cp -r "$source_dir/tests/checks/consumer" "$root/source/tests/checks/"
make_next_versions
list_files >"$scratch/before"

say "installing the packages and using them"
mapfile -t packages < <(cd "$root" && printf '/%s\n' packages/*.deb)
install "${packages[@]}"
inside sh /source/debian/tests/program
say "upgrading them"
install "${packages[@]/packages/packages/next}"
inside sh /source/debian/tests/program
say "removing them"
inside apt-get purge -y --autoremove \
    libvorn-bases1 libvorn-bases-dev vorn-bases-tools vorn-bases-doc
list_files >"$scratch/after"
diff "$scratch/before" "$scratch/after" || { echo "FAILED: traces are left" && exit 1; }
say "all of it works in a fresh Debian"
