#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that users can read of what a branch changes for them: it changes CHANGELOG.md, or those
# of its commits that touch what users get have the line "Changelog: none" in their message.
#
# changes.sh SOURCE_DIR REVISION: prints the commits that do neither, of those since the branch left
# the revision.
set -eu

cd "$1"
git rev-parse --verify --quiet "$2^{commit}" >/dev/null || { echo "no such revision: $2" && exit 2; }
base=$(git merge-base "$2" HEAD)
git diff --quiet "$base" HEAD -- CHANGELOG.md || exit 0

silent=$(git log --no-merges --format='%h %s' --invert-grep --grep='^Changelog: none$' \
    "$base..HEAD" -- Bases CMakeLists.txt cmake debian examples packaging)
[ -n "$silent" ] || exit 0
echo "neither CHANGELOG.md nor the message of these commits tells what changes for users:"
printf '%s\n' "$silent"
exit 1
