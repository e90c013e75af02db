// SPDX-License-Identifier: MIT
// Set-up and tear-down of the library.

#include <Bases/Bases.h>

#include <ctime>
#include <locale>
#include <new>

#include <libxml/parser.h>

#include <Bases/Impl/XmlTextWriter.h>

namespace Vorn {

namespace {

// A locale of C++ that has a name is the C library's, too. When there is no memory for a long name,
// it has become that of C++ already.
void TakeLocaleOfTheEnvironment() {
    const std::locale before;
    try {
        std::locale::global(std::locale(""));
    } catch (const std::bad_alloc&) {
        std::locale::global(before);
        throw;
    }
}

} // namespace

int BasesInit() {
    // The result is not used. The call itself initialises the C library's broken-down-time
    // machinery before any thread starts, and programs rely on that.
    const std::time_t anyTime = 1234567890123;
    std::tm utc{};
    gmtime_r(&anyTime, &utc);

    TakeLocaleOfTheEnvironment();
    xmlInitParser();
    return 1;
}

// Documents that are still being written would otherwise use what the clean-up frees.
void BasesRelease() {
    XmlTextWriter::DetachAll();
    xmlCleanupParser();
}

} // namespace Vorn
