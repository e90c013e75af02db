// SPDX-License-Identifier: MIT
// macOS: the main bundle, which for a plain program is its directory. The tests build this over a
// simulation of Core Foundation.

#include <Bases/Impl/Port/ProgramDir.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include <CoreFoundation/CoreFoundation.h>

namespace Vorn {

namespace {

// More than any directory's name needs, however large the caller claims the buffer to be.
constexpr unsigned long MaxScratch = 64UL * 1024;

} // namespace

bool WriteProgramDir(char* buffer, unsigned long size) {
    // The system may write before it finds that the name does not fit, and the caller's buffer must
    // then be untouched.
    const unsigned long capacity = std::min(size, MaxScratch);
    const std::unique_ptr<UInt8[]> path(new (std::nothrow) UInt8[capacity]);
    if (path == nullptr)
        return false;

    const CFBundleRef bundle = CFBundleGetMainBundle();
    if (bundle == nullptr)
        return false;
    const CFURLRef url = CFBundleCopyBundleURL(bundle);
    if (url == nullptr)
        return false;

    const bool found =
        CFURLGetFileSystemRepresentation(url, true, path.get(), static_cast<CFIndex>(capacity));
    CFRelease(url);
    if (!found)
        return false;

    const char* text = reinterpret_cast<const char*>(path.get());
    std::memcpy(buffer, text, std::strlen(text) + 1);
    return true;
}

} // namespace Vorn
