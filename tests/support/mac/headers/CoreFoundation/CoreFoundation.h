// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_CORE_FOUNDATION_CORE_FOUNDATION_H
#define VORN_BASES_TESTS_SUPPORT_MAC_HEADERS_CORE_FOUNDATION_CORE_FOUNDATION_H

// Replaces the macOS header of this name, as far as the library uses it. SimulatedBundle.cpp
// implements it.

typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef long CFIndex;
typedef const void* CFTypeRef;
typedef struct __CFBundle* CFBundleRef;
typedef const struct __CFURL* CFURLRef;

extern "C" {
CFBundleRef CFBundleGetMainBundle(void);
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex maxBufLen);
void CFRelease(CFTypeRef object);
}

#endif
