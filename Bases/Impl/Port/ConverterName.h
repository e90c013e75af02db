// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_PORT_CONVERTER_NAME_H
#define VORN_BASES_IMPL_PORT_CONVERTER_NAME_H

// The name of the locale's encoding for an iconv that does not know it as "char".

namespace Vorn {

/// Returns a name under which the host's iconv knows the multibyte encoding of the C library's
/// current locale. The text is the host's, and may change with the locale.
const char* LocaleConverterName();

} // namespace Vorn

#endif
