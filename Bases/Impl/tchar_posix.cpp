#include <Bases/Text.h>

#include <cstddef>
#include <limits>
#include <string>

namespace {

static_assert(sizeof(long) == sizeof(long long), "one conversion serves both widths");

// One digit for each bit in radix 2. A sign takes no room beyond that: it comes in radix 10 only.
constexpr std::size_t WorkSize = std::numeric_limits<unsigned long long>::digits + 1;

template <typename Char>
class IntegerText {
public:
    IntegerText(unsigned long long magnitude, bool negative, int radix) : m_begin(WorkSize - 1) {
        const auto base = static_cast<unsigned long long>(radix);
        do {
            Prepend(Digit(magnitude % base));
            magnitude /= base;
        } while (magnitude != 0);
        if (negative)
            Prepend(static_cast<Char>('-'));
    }

    Char* CopyTo(Char* buffer) const {
        std::char_traits<Char>::copy(buffer, m_work + m_begin, WorkSize - m_begin);
        return buffer;
    }

private:
    static Char Digit(unsigned long long digit) {
        return static_cast<Char>(digit < 10 ? '0' + digit : 'a' + (digit - 10));
    }

    void Prepend(Char character) { m_work[--m_begin] = character; }

    Char m_work[WorkSize] = {}; // filled from its end; the last element stays zero
    std::size_t m_begin;
};

template <typename Char>
IntegerText<Char> UnsignedText(unsigned long long value, int radix) {
    return IntegerText<Char>(value, false, radix);
}

// A negative value keeps its sign in radix 10 alone; every other radix shows its bit pattern.
template <typename Char>
IntegerText<Char> SignedText(long long value, int radix) {
    const auto pattern = static_cast<unsigned long long>(value);
    if (value < 0 && radix == 10)
        return IntegerText<Char>(0 - pattern, true, radix);
    return IntegerText<Char>(pattern, false, radix);
}

// The wide forms look at the buffer only when the text is ready.
wchar_t* CopyUnlessNull(const IntegerText<wchar_t>& text, wchar_t* buffer) {
    return buffer == nullptr ? nullptr : text.CopyTo(buffer);
}

} // namespace

char* _itoa(int value, char* buffer, int radix) { return _ltoa(value, buffer, radix); }

char* _ltoa(long value, char* buffer, int radix) {
    return SignedText<char>(value, radix).CopyTo(buffer);
}

char* _ultoa(unsigned long value, char* buffer, int radix) {
    // The one narrow form that answers a null buffer, and it does so before looking at the radix.
    if (buffer == nullptr)
        return nullptr;
    return UnsignedText<char>(value, radix).CopyTo(buffer);
}

char* _i64toa(long long value, char* buffer, int radix) {
    return SignedText<char>(value, radix).CopyTo(buffer);
}

char* _ui64toa(unsigned long long value, char* buffer, int radix) {
    return UnsignedText<char>(value, radix).CopyTo(buffer);
}

namespace Vorn {

wchar_t* _itow(int value, wchar_t* buffer, int radix) { return _ltow(value, buffer, radix); }

wchar_t* _ltow(long value, wchar_t* buffer, int radix) {
    return CopyUnlessNull(SignedText<wchar_t>(value, radix), buffer);
}

wchar_t* _ultow(unsigned long value, wchar_t* buffer, int radix) {
    return CopyUnlessNull(UnsignedText<wchar_t>(value, radix), buffer);
}

wchar_t* _i64tow(long long value, wchar_t* buffer, int radix) {
    return CopyUnlessNull(SignedText<wchar_t>(value, radix), buffer);
}

wchar_t* _ui64tow(unsigned long long value, wchar_t* buffer, int radix) {
    return CopyUnlessNull(UnsignedText<wchar_t>(value, radix), buffer);
}

} // namespace Vorn
