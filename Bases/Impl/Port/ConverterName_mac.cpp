// SPDX-License-Identifier: MIT
// macOS: iconv knows "char" as the encoding of the locale.

#include <Bases/Impl/Port/ConverterName.h>

namespace Vorn {

const char* LocaleConverterName() { return "char"; }

} // namespace Vorn
