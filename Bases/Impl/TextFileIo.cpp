// SPDX-License-Identifier: MIT
// TextFileIo: a reserved name.

#include <Bases/File.h>

namespace Vorn {

TextFileIo::TextFileIo() = default;

TextFileIo::~TextFileIo() = default;

} // namespace Vorn
