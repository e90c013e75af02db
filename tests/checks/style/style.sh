#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds what no formatter does, for all files of the tree:
#
# - Every source has a line with its licence, at the very top or below the interpreter's. The
#   program of the README, which is there to be copied, has none, and pages have none.
# - Every header has an include guard, made from its path: Bases/Impl/XmlPath.h has
#   VORN_BASES_IMPL_XML_PATH_H, and tests/support/Slot.h has VORN_BASES_TESTS_SUPPORT_SLOT_H. One
#   that is included several times says in a comment that it has no include guard.
# - Every header and unit of the library begins with a comment that says what it holds; in a header
#   it follows the include guard.
# - Every source of the tests begins with a comment that says what it tests, or what it is for. Only
#   the program that the README shows has none.
# - Comments and Markdown end at column 100. Rows of Markdown tables and code blocks may be longer,
#   and so may a line that has no space to break it at.
# - Files of tests have fewer than 800 lines.
# - A private member of the library begins with m_ and a letter for what it is: m_pNext points,
#   m_bOpen is a truth value, m_nSize a number, m_strName a string, m_hFile a handle of the system,
#   whatever its type. Objects of other classes, references and arrays have no letter: m_lock.
#
# style.sh ROOT: prints what breaks a rule below ROOT.
set -eu

cd "$1"
export LC_ALL=C

# shellcheck disable=SC2016 # the program is awk's
find . \( -name build -o -name .git \) -prune -o -type f \( -name '*.h' -o -name '*.cpp' \
    -o -name '*.md' -o -name '*.sh' -o -name '*.awk' -o -name '*.cmake' -o -name CMakeLists.txt \
    -o -name '*.py' -o -name '*.cmake.in' -o -name '*.pc.in' -o -name '*.map' \
    -o -name '.clang-*' -o -path ./dev -o -path ./.ci/run \) -print | sort |
    xargs awk '
    function complain(line, text) {
        print substr(file, 3) ":" line ": " text
        wrong = 1
    }

    function guard_of(path) {
        sub(/^\.\/(Bases\/)?/, "", path)
        while (match(path, /[a-z0-9][A-Z]/))
            path = substr(path, 1, RSTART) "_" substr(path, RSTART + 1)
        gsub(/[^A-Za-z0-9]/, "_", path)
        return "VORN_BASES_" toupper(path)
    }

    # The letters that a member of the type may have; none if it goes without.
    function letters_of(type) {
        sub(/( const)? *$/, "", type)
        if (type ~ /&$/ || type !~ /[a-z]/)
            return ""
        if (type ~ /\*$|^ *(mutable )?std::(unique|shared)_ptr</)
            return "p|h"
        gsub(/std::atomic<|>|std::|mutable|const|static|unsigned/, " ", type)
        gsub(/^ +|(_t)? *$/, "", type)
        if (type == "bool")
            return "b"
        if (type == "string")
            return "str"
        return type ~ /^((char|short|int|long|long long|float|double|size|u?int[0-9ptr]+)?)$/ ? "n|b|h" : ""
    }

    # The last file, when all of it has been seen.
    function finish() {
        if (!licensed && file !~ /\.md$|\/\.clang-/ &&
            file !~ /^\.\/tests\/checks\/consumer\/(main\.cpp|CMakeLists\.txt)$/)
            complain(1, "does not begin with the line of its licence")
        if (file ~ /\.h$/ && (first != "#ifndef " guard || second != "#define " guard ||
                              last != "#endif") && !many)
            complain(1, "the include guard is not " guard)
        if (file ~ /^\.\/tests\/.*\.(h|cpp)$/ && lines >= 800)
            complain(lines, "a file of tests has fewer than 800 lines")
    }

    FNR == 1 {
        if (file != "")
            finish()
        file = FILENAME
        guard = guard_of(file)
        first = second = ""
        inside = many = begun = licensed = 0
        top = /^#!/ ? 2 : 1
    }

    { lines = FNR }
    FNR == top && /^(\/\/|#|\/\*) SPDX-License-Identifi[e]r: MIT( \*\/)?$/ {
        licensed = 1
        next
    }
    file ~ /^\.\/Bases\/.*\.(h|cpp)$/ && !begun && NF > 0 && !/^#(ifndef|define) [A-Z0-9_]*_H$/ {
        begun = 1
        if (!/^\/\/ /)
            complain(FNR, "does not begin with a comment that says what it holds")
    }
    FNR == top + licensed && file ~ /^\.\/tests\/.*\.cpp$/ && !/^\/\/ / &&
        file != "./tests/checks/consumer/main.cpp" {
        complain(FNR, "does not begin with a comment that says what it tests")
    }
    first != "" && second == "" { second = $0 }
    first == "" && /^#ifndef / { first = $0 }
    !/^[ \t]*$/ { last = $0 }
    /^\/\/ .*no include guard/ { many = 1 }
    file ~ /\.md$/ && /^ *```/ { inside = !inside }

    file ~ /^\.\/Bases\// && match($0, /^ +[A-Za-z0-9_:<>*& \[\]]+[ *&]m_[A-Za-z0-9]+[ ;={]/) {
        declared = substr($0, RSTART, RLENGTH - 1)
        name = substr(declared, match(declared, /m_[A-Za-z0-9]+$/))
        letters = letters_of(substr(declared, 1, length(declared) - length(name)))
        if (letters != "" && name !~ "^m_(" letters ")[A-Z0-9]")
            complain(FNR, name " should begin with m_ and " letters)
    }

    length($0) > 100 {
        text = $0
        gsub(/[\200-\277]/, "", text) # every byte of a character but its first
        if (length(text) <= 100)
            next
        if (file ~ /\.md$/)
            wraps = !inside && !/^\|/
        else if (file ~ /\.(h|cpp)$/)
            wraps = /\/\/ /
        else
            wraps = /^ *# /
        sub(/^[ \t]*(\/\/\/?|#|-|>)?[ \t]*/, "", text)
        if (wraps && text ~ /[ \t]/)
            complain(FNR, "goes beyond column 100")
    }

    END {
        finish()
        exit wrong
    }
'
