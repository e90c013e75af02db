#include <Bases/Bases.h>

#include <ctime>
#include <locale>

#include <libxml/parser.h>

namespace Vorn {

int BasesInit() {
    // The result is not needed. Hosts rely on the call having been made: it brings the C library's
    // broken-down-time machinery up before any thread is started.
    const std::time_t anyTime = 1234567890123;
    std::tm utc{};
    gmtime_r(&anyTime, &utc);

    std::locale::global(std::locale(""));
    xmlInitParser();
    return 1;
}

void BasesRelease() { xmlCleanupParser(); }

} // namespace Vorn
