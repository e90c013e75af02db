// SPDX-License-Identifier: MIT
// The bundle of the program, as a simulation of macOS gives it.

#include "SimulatedBundle.h"

#include <cstring>

#include <CoreFoundation/CoreFoundation.h>

struct __CFBundle {};

struct __CFURL {
    std::string path;
};

namespace {

__CFBundle g_bundle;
std::string g_directory;
VornTest::SimulatedBundle::Lack g_lack = VornTest::SimulatedBundle::Lack::Nothing;
int g_copies = 0;

} // namespace

namespace VornTest {

void SimulatedBundle::Set(const std::string& directory, Lack lack) {
    g_directory = directory;
    g_lack = lack;
}

int SimulatedBundle::Copies() { return g_copies; }

} // namespace VornTest

extern "C" {

CFBundleRef CFBundleGetMainBundle() {
    return g_lack == VornTest::SimulatedBundle::Lack::Bundle ? nullptr : &g_bundle;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef /*bundle*/) {
    if (g_lack == VornTest::SimulatedBundle::Lack::Location)
        return nullptr;
    ++g_copies;
    return new __CFURL{g_directory};
}

// A location may be relative to another. A buffer that is too small may hold any part of the name
// afterwards.
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen) {
    const auto capacity = static_cast<std::size_t>(maxBufLen);
    const std::string path =
        resolveAgainstBase != 0 ? url->path : url->path.substr(url->path.rfind('/') + 1);
    if (path.size() >= capacity) {
        std::memcpy(buffer, path.data(), capacity);
        return 0;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return 1;
}

void CFRelease(CFTypeRef object) {
    --g_copies;
    delete static_cast<CFURLRef>(object);
}
}
