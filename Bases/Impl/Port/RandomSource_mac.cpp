// Built on macOS only; written, but not exercised by this project's own tests.
#include <Bases/Impl/Port/RandomSource.h>

#include <cstdlib>

namespace Vorn {

bool FillRandom(void* buffer, std::size_t size) {
    arc4random_buf(buffer, size);
    return true;
}

} // namespace Vorn
