// SPDX-License-Identifier: MIT
// Linux: the codeset of the locale, because not every iconv there knows "char".

#include <Bases/Impl/Port/ConverterName.h>

#include <langinfo.h>

namespace Vorn {

const char* LocaleConverterName() { return nl_langinfo(CODESET); }

} // namespace Vorn
