#include <Bases/Impl/Port/ConverterName.h>

#include <langinfo.h>

namespace Vorn {

const char* LocaleConverterName() { return nl_langinfo(CODESET); }

} // namespace Vorn
