// Built on macOS, and in the tests over a simulation of what it calls.
#include <Bases/Impl/Port/RandomSource.h>

#include <cstdlib>

namespace Vorn {

bool FillRandom(void* buffer, std::size_t size) {
    arc4random_buf(buffer, size);
    return true;
}

} // namespace Vorn
