// SPDX-License-Identifier: MIT
// Set-up and tear-down of the library.

#include <Bases/Bases.h>

#include <ctime>
#include <locale>

#include <libxml/parser.h>

#include <Bases/Impl/XmlTextWriter.h>

namespace Vorn {

int BasesInit() {
    // The result is not used. The call itself initialises the C library's broken-down-time
    // machinery before any thread starts, and programs rely on that.
    const std::time_t anyTime = 1234567890123;
    std::tm utc{};
    gmtime_r(&anyTime, &utc);

    std::locale::global(std::locale("")); // has a name, so the C library's locale follows
    xmlInitParser();
    return 1;
}

// Documents that are still being written would otherwise use what the clean-up frees.
void BasesRelease() {
    XmlTextWriter::DetachAll();
    xmlCleanupParser();
}

} // namespace Vorn
