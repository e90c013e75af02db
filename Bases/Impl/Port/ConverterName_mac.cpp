// Built on macOS, and in the tests over a simulation of what it calls.
#include <Bases/Impl/Port/ConverterName.h>

namespace Vorn {

const char* LocaleConverterName() { return "char"; }

} // namespace Vorn
