// SPDX-License-Identifier: MIT
// The scripted calls to the platform for texts.

#include "fault/Platform.h"

#include <bit>
#include <cstdint>

extern "C" {
iconv_t __real_iconv_open(const char* to, const char* from);
std::size_t __real_iconv(iconv_t converter, char** input, std::size_t* inputLeft, char** output,
                         std::size_t* outputLeft);
int __real_iconv_close(iconv_t converter);
std::size_t __real_mbstowcs(wchar_t* to, const char* from, std::size_t limit);
std::size_t __real_wcstombs(char* to, const wchar_t* from, std::size_t limit);
char* __real_nl_langinfo(nl_item item);
int __real_puts(const char* text);
}

namespace VornTest::Platform {

namespace {

iconv_t FailToOpen(int error) {
    errno = error;
    return std::bit_cast<iconv_t>(std::intptr_t{-1});
}

int RealPrintf(const char* format, std::va_list* values) { return std::vprintf(format, *values); }

int RealSnprintf(char* buffer, std::size_t size, const char* format, std::va_list* values) {
    return std::vsnprintf(buffer, size, format, *values);
}

} // namespace

constinit Function<iconv_t(const char*, const char*)> iconv_open{
    "iconv_open", __real_iconv_open, Errors<EINVAL, EMFILE, ENOMEM>, FailToOpen};
constinit Function<std::size_t(iconv_t, char**, std::size_t*, char**, std::size_t*)> iconv{
    "iconv", __real_iconv, Errors<E2BIG, EILSEQ, EINVAL>};
constinit Function<int(iconv_t)> iconv_close{"iconv_close", __real_iconv_close, Errors<EBADF>};
constinit Function<std::size_t(wchar_t*, const char*, std::size_t)> mbstowcs{
    "mbstowcs", __real_mbstowcs, Errors<EILSEQ>};
constinit Function<std::size_t(char*, const wchar_t*, std::size_t)> wcstombs{
    "wcstombs", __real_wcstombs, Errors<EILSEQ>};
constinit Function<char*(nl_item)> nl_langinfo{"nl_langinfo", __real_nl_langinfo, {}, nullptr};
constinit Function<int(const char*)> puts{"puts", __real_puts, Errors<EAGAIN, EIO, ENOSPC, EPIPE>};
constinit Function<int(const char*, std::va_list*)> printf{"printf", RealPrintf,
                                                           Errors<EIO, ENOMEM, ENOSPC>};
constinit Function<int(char*, std::size_t, const char*, std::va_list*)> snprintf{
    "snprintf", RealSnprintf, Errors<EILSEQ, ENOMEM, EOVERFLOW>};

namespace {

const Family g_texts{&iconv_open,  &iconv, &iconv_close, &mbstowcs, &wcstombs,
                     &nl_langinfo, &puts,  &printf,      &snprintf};

} // namespace

extern "C" {

iconv_t __wrap_iconv_open(const char* to, const char* from) { return iconv_open(to, from); }

std::size_t __wrap_iconv(iconv_t converter, char** input, std::size_t* inputLeft, char** output,
                         std::size_t* outputLeft) {
    return iconv(converter, input, inputLeft, output, outputLeft);
}

int __wrap_iconv_close(iconv_t converter) { return iconv_close(converter); }

std::size_t __wrap_mbstowcs(wchar_t* to, const char* from, std::size_t limit) {
    return mbstowcs(to, from, limit);
}

std::size_t __wrap_wcstombs(char* to, const wchar_t* from, std::size_t limit) {
    return wcstombs(to, from, limit);
}

char* __wrap_nl_langinfo(nl_item item) { return nl_langinfo(item); }

int __wrap_puts(const char* text) { return puts(text); }

int __wrap_printf(const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    const int result = printf(format, &values);
    va_end(values);
    return result;
}

int __wrap_snprintf(char* buffer, std::size_t size, const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    const int result = snprintf(buffer, size, format, &values);
    va_end(values);
    return result;
}

// A build with fortified functions calls these two.
int __wrap___printf_chk(int, const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    const int result = printf(format, &values);
    va_end(values);
    return result;
}

int __wrap___snprintf_chk(char* buffer, std::size_t size, int, std::size_t, const char* format,
                          ...) {
    std::va_list values;
    va_start(values, format);
    const int result = snprintf(buffer, size, format, &values);
    va_end(values);
    return result;
}
}

} // namespace VornTest::Platform
