// Sizes for display: units of powers of 1024, and numbers with one separator.

#include <Bases/Text.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace Vorn {

namespace {

constexpr std::size_t TextSize = 255;

// Hosts lay out their displays for exactly one separator. It goes into the finished text, where a
// sign or a letter counts like a digit.
void InsertSeperator(const char* text, char* buffer, unsigned long size) {
    std::string s(text);
    const std::size_t point = s.find('.');
    const std::size_t upToStart = point == std::string::npos ? s.size() : point + 1;
    if (upToStart >= 3)
        s.insert(upToStart - 3, 1, ',');

    const std::size_t copied = s.copy(buffer, size - 1);
    std::fill(buffer + copied, buffer + size, '\0');
}

} // namespace

int GetSizeUnit(long long bytes, double& scaled) {
    scaled = static_cast<double>(bytes);
    for (int unit = 0; unit < 6; ++unit) {
        if (scaled < 1024)
            return unit;
        scaled /= 1024;
    }
    return 6;
}

int GetSizeFormat(char* buffer, unsigned long size, long long value) {
    if (buffer == nullptr || size == 0)
        return 0;
    char text[TextSize] = {};
    std::snprintf(text, sizeof text, "%lld", value);
    InsertSeperator(text, buffer, size);
    return 1;
}

int GetSizeFormat(char* buffer, unsigned long size, double value, int precision) {
    if (buffer == nullptr || size == 0)
        return 0;
    // Hosts pass a precision and still expect six decimals. Only a negative one goes into the
    // format; the C library decides what it prints for that.
    char format[32] = "%f";
    if (precision < 0)
        std::snprintf(format, sizeof format, "%%.%df", precision);
    char text[TextSize] = {};
    std::snprintf(text, sizeof text, format, value);
    InsertSeperator(text, buffer, size);
    return 1;
}

int GetSizeFormat(std::string& out, long long value) {
    char buffer[TextSize] = {};
    GetSizeFormat(buffer, sizeof buffer, value);
    out = buffer;
    return 1;
}

int GetSizeFormat(std::string& out, double value, int precision) {
    char buffer[TextSize] = {};
    GetSizeFormat(buffer, sizeof buffer, value, precision);
    out = buffer;
    return 1;
}

} // namespace Vorn
