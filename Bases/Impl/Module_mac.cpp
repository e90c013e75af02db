// Built on macOS only; written, but not exercised by this project's own tests.
#include <Bases/Impl/Module.h>

#include <climits>
#include <cstring>

#include <CoreFoundation/CoreFoundation.h>

namespace Vorn {

bool WriteProgramDir(char* buffer, unsigned long size) {
    const CFBundleRef bundle = CFBundleGetMainBundle();
    if (bundle == nullptr)
        return false;
    const CFURLRef url = CFBundleCopyBundleURL(bundle);
    if (url == nullptr)
        return false;

    UInt8 path[PATH_MAX];
    const bool found = CFURLGetFileSystemRepresentation(url, true, path, sizeof path);
    CFRelease(url);
    if (!found)
        return false;

    const char* text = reinterpret_cast<const char*>(path);
    const std::size_t length = std::strlen(text);
    if (length >= size)
        return false;
    std::memcpy(buffer, text, length + 1);
    return true;
}

} // namespace Vorn
