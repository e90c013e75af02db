// Built on macOS only; written, but not exercised by this project's own tests.
#include <Bases/Impl/Port/ConverterName.h>

namespace Vorn {

const char* LocaleConverterName() { return "char"; }

} // namespace Vorn
