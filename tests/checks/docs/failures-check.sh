#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks that failures.awk (its path is the argument) takes from a header what tells of failure, and
# nothing else.
# shellcheck disable=SC2016 # the backquotes are Markdown's
set -eu

script=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
mkdir "$dir/Bases"
cat >"$dir/Bases/All.h" <<'HEADER'
// Fails, says the file.
namespace Vorn {

/// Fails, says the class.
class VORN_BASES_API File : public Base { // why
public:
    /// Stays as it is. If memory runs out, there is nothing.
    File();

    ~File();
    File(const File&) = delete;

    /// Opens, or
    /// prints "No. Never." and returns false. Never closes.
    ///
    ///     Open("missing"); // false
    ///
    ///     | closed | returns false |
    ///
    /// Returns 0
    /// - when it is empty;
    /// - when it is long. Fails now and then
    bool Open(const char* path,
              int mode);
    int Read(); // why

    /// Returns false when both are empty.
    File operator|=(const File& other);

private:
    /// Fails in private.
    bool Hidden();
};

/// Paths, which fail.
namespace Paths {
/// Throws what `Open` throws.
VORN_BASES_API void Remove(const char* path);

/// Returns what there is.
VORN_BASES_API int Count();

/// One failure.
inline constexpr int Failure = Count(1);
} // namespace Paths

} // namespace Vorn
HEADER

open='Opens, or prints "No. Never." and returns false. Returns 0 when it is empty; when it is long. '
open="${open}Fails now and then"
printf '%s\n' '## Bases/All.h' '' '| Operation | How it fails |' '|---|---|' \
    '| `File::File` | If memory runs out, there is nothing. |' \
    "| \`File::Open\` | $open |" "| \`File::Read\` | $open |" \
    '| File::operator\|= | Returns false when both are empty. |' \
    '| `Paths::Remove` | Throws what `Open` throws. |' >"$dir/expected"
(cd "$dir" && awk -f "$script" Bases/All.h) | sed '1,/^## /{/^## /!d}' >"$dir/actual"
diff "$dir/expected" "$dir/actual"
