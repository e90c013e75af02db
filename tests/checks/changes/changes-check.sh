#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that changes.sh (its path is the argument) finds what it is there to find.
set -eu

check=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
failures=0
export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_SYSTEM=/dev/null
export GIT_AUTHOR_NAME=me GIT_AUTHOR_EMAIL=me@here.example
export GIT_COMMITTER_NAME=me GIT_COMMITTER_EMAIL=me@here.example
git init --quiet --initial-branch=main "$dir"
cd "$dir"

# commit FILE MESSAGE
commit() {
    mkdir -p "$(dirname "$1")"
    printf '%s\n' "$2" >>"$1"
    git add "$1"
    git commit --quiet --message="$2"
}

# expect STATUS TEXT [REVISION]: the result for the branch, and the last line that is printed. The
# name of the last commit is COMMIT there.
expect() {
    actual=0
    output=$(sh "$check" "$dir" "${3:-main}" 2>&1) || actual=$?
    last=$(printf '%s\n' "$output" | sed -e "s/^$(git log -1 --format=%h) /COMMIT /" -e '$!d')
    if [ "$actual" != "$1" ] || [ "$last" != "$2" ]; then
        printf 'expected %s: %s\ngot %s: %s\n' "$1" "$2" "$actual" "$output"
        failures=1
    fi
    git checkout --quiet --force main
    git branch --quiet --force -D work 2>/dev/null || true
    git checkout --quiet -b work
}

commit Bases/Text.h "Begin"
commit CHANGELOG.md "Begin"
git checkout --quiet -b work

for file in Bases/Text.h CMakeLists.txt cmake/Install.cmake debian/rules examples/seal/main.cpp \
    packaging/conan/conanfile.py; do
    commit "$file" "Tell nobody"
    expect 1 'COMMIT Tell nobody'
done
commit Bases/Text.h "Tell it first"
commit CHANGELOG.md "And then in the list"
expect 0 ''
commit Bases/Text.h "Mend a comment

Changelog: none"
expect 0 ''
commit Bases/Text.h "Mend a comment

Changelog: none, as I think"
expect 1 'COMMIT Mend a comment'
commit Bases/Text.h "Mend a comment

Not the line Changelog: none"
expect 1 'COMMIT Mend a comment'
commit Bases/Text.h "Mend a comment

Changelog: none"
commit Bases/Text.h "Tell nobody"
expect 1 'COMMIT Tell nobody'
commit tests/TextTest.cpp "Test more"
expect 0 ''
commit Bases/Text.h "Tell nobody"
expect 2 'no such revision: elsewhere' elsewhere

# What others tell meanwhile does not tell of the branch.
commit Bases/Text.h "Tell nobody"
git checkout --quiet main
commit CHANGELOG.md "Tell something else"
git checkout --quiet work
expect 1 'COMMIT Tell nobody'

# A merge has nothing to tell that its commits have not told.
commit Bases/Text.h "Mend a comment

Changelog: none"
git checkout --quiet main
commit Bases/Text.h "Tell nobody"
git checkout --quiet work
git merge --quiet main >/dev/null 2>&1 || true
commit Bases/Text.h "Merge what others have done"
expect 0 ''
exit "$failures"
