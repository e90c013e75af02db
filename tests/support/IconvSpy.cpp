#include "IconvSpy.h"

#include <cstring>

#include <iconv.h>
#include <langinfo.h>

using VornTest::IconvSpy;

extern "C" {

iconv_t __real_iconv_open(const char* to, const char* from);
std::size_t __real_iconv(iconv_t converter, char** input, std::size_t* inputLeft, char** output,
                         std::size_t* room);
int __real_iconv_close(iconv_t converter);
}

namespace {

const char* Translate(const char* name) {
    return IconvSpy::platformKnowsChar && std::strcmp(name, "char") == 0 ? nl_langinfo(CODESET)
                                                                         : name;
}

} // namespace

extern "C" {

iconv_t __wrap_iconv_open(const char* to, const char* from) {
    const std::lock_guard locker(IconvSpy::lock);
    IconvSpy::opened.push_back(std::string(from) + " to " + to);
    const iconv_t converter = __real_iconv_open(Translate(to), Translate(from));
    if (reinterpret_cast<std::ptrdiff_t>(converter) != -1)
        ++IconvSpy::live;
    return converter;
}

std::size_t __wrap_iconv(iconv_t converter, char** input, std::size_t* inputLeft, char** output,
                         std::size_t* room) {
    if (input != nullptr) { // otherwise it only resets the converter
        const std::lock_guard locker(IconvSpy::lock);
        IconvSpy::calls.push_back({*inputLeft, *room, *output});
    }
    return __real_iconv(converter, input, inputLeft, output, room);
}

int __wrap_iconv_close(iconv_t converter) {
    const std::lock_guard locker(IconvSpy::lock);
    --IconvSpy::live;
    return __real_iconv_close(converter);
}
}
