// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_UTILITY_H
#define VORN_BASES_UTILITY_H

// Small values and helpers: byte order, identifiers, commands, and reserved names.

#include <list>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// The machine's byte order, and conversion of 16-, 32- and 64-bit values between it and big-endian
/// (network) or little-endian order. The functions cannot fail, keep no state and may be called
/// from any thread.
///
/// On a little-endian machine tobe, betoh, hton and ntoh reverse the bytes and tole and letoh
/// return the value; on a big-endian machine it is the other way round. Both directions of a
/// conversion are the same; the name says which one is meant.
///
/// Note: the 32-bit functions take and return `unsigned long`, which has 64 bits on the platforms
/// of this library. Where they reverse, bits 32-63 are dropped; where they do not, they are kept:
/// tobe32(0x0000000112345678) is 0x78563412 on a little-endian machine and 0x0000000112345678 on a
/// big-endian one.
///
///     const unsigned short port = Vorn::Endian::hton16(8080); // in memory 0x1F, 0x90
///     const auto address = static_cast<unsigned int>(Vorn::Endian::hton32(0x7F000001));
namespace Endian {

/// Returns 1 on a little-endian machine, else 0.
VORN_BASES_API int IsLittleEndian();

/// Returns 1 on a big-endian machine, else 0.
VORN_BASES_API int IsBigEndian();

/// Return `value` with its bytes reversed, on any machine. Swap32 reverses the low four bytes; bits
/// 32-63 of the result are 0.
VORN_BASES_API unsigned short Swap16(unsigned short value);
VORN_BASES_API unsigned long Swap32(unsigned long value);
VORN_BASES_API unsigned long long Swap64(unsigned long long value);

/// Return the host's `value` in big-endian order.
VORN_BASES_API unsigned short tobe16(unsigned short value);
VORN_BASES_API unsigned long tobe32(unsigned long value);
VORN_BASES_API unsigned long long tobe64(unsigned long long value);

/// Return the big-endian `value` in the host's order.
VORN_BASES_API unsigned short betoh16(unsigned short value);
VORN_BASES_API unsigned long betoh32(unsigned long value);
VORN_BASES_API unsigned long long betoh64(unsigned long long value);

/// Return the host's `value` in network order, which is big-endian.
VORN_BASES_API unsigned short hton16(unsigned short value);
VORN_BASES_API unsigned long hton32(unsigned long value);
VORN_BASES_API unsigned long long hton64(unsigned long long value);

/// Return the network-order `value` in the host's order.
VORN_BASES_API unsigned short ntoh16(unsigned short value);
VORN_BASES_API unsigned long ntoh32(unsigned long value);
VORN_BASES_API unsigned long long ntoh64(unsigned long long value);

/// Return the host's `value` in little-endian order.
VORN_BASES_API unsigned short tole16(unsigned short value);
VORN_BASES_API unsigned long tole32(unsigned long value);
VORN_BASES_API unsigned long long tole64(unsigned long long value);

/// Return the little-endian `value` in the host's order.
VORN_BASES_API unsigned short letoh16(unsigned short value);
VORN_BASES_API unsigned long letoh32(unsigned long value);
VORN_BASES_API unsigned long long letoh64(unsigned long long value);

} // namespace Endian

/// The forms of a Guid's text.
namespace GuidForm {
inline constexpr int Clipped = 0; ///< without the first and the last digit
inline constexpr int Full = 1;    ///< all 36 characters
} // namespace GuidForm

/// Enough bytes for the full text of a Guid, terminating zero included.
inline constexpr unsigned long GuidTextSize = 37;

/// A 128-bit identifier (UUID): 16 bytes and nothing else, so it can be copied, stored and sent as
/// plain bytes. The nil UUID, all zeros, stands for no identifier.
///
/// Several threads may read one object at the same time; while one changes it, no other may use it.
/// Different objects are independent, and Generate may run on several threads at once.
///
///     Vorn::Guid id;
///     if (!id.Generate())
///         return; // the system gave no random bytes
///
///     // Such as "2f1c8d0e-6a55-4b0f-9d3e-7c0a51b2e994".
///     std::string text = id.ToString(Vorn::GuidForm::Full);
///
///     Vorn::Guid same;
///     same.FromString(text); // may throw: text from outside needs a try block
class VORN_BASES_API Guid {
public:
    /// Constructs a nil value.
    Guid();

    /// Replaces this value with a new random one (version 4, RFC 4122 variant). Each call seeds a
    /// generator of its own from the system, which is slow, and keeps nothing for the next call.
    ///
    /// Returns true on success. Returns false, with the value unchanged, if the system gives no
    /// random bytes or no memory. Never throws.
    bool Generate();

    /// Replaces this value with the one that `text` spells: 32 hexadecimal digits of either case,
    /// plain or with a "-" after the 8th, 12th, 16th and 20th, optionally in "{" and "}".
    ///
    /// Returns true on success. Returns false, with the value unchanged, for a null pointer, an
    /// empty std::string, and the text of the nil value. Throws std::runtime_error with "invalid
    /// uuid string", with the value unchanged, for a text that ends too early (an empty `const
    /// char*` text included) or lacks a dash or the closing brace.
    ///
    /// Note: what follows the last digit, or the closing brace, is ignored.
    /// Note: how another character in place of a digit is read depends on the version of Boost that
    /// the library was built with. Boost 1.74 throws the same exception; an older one may read it
    /// as 255, which sets all bits of its half-byte and, in the second half, all bits of the byte.
    bool FromString(const char* text);
    bool FromString(const std::string& text);

    /// Writes the value as text: 32 lower-case hexadecimal digits with a "-" after the 8th, 12th,
    /// 16th and 20th, without braces.
    ///
    /// Returns true on success, with the text in `out` or, with a terminating zero, in `buffer`,
    /// which must have a capacity of at least GuidTextSize bytes. Returns false, with `out` and
    /// `buffer` unchanged, for a nil value and for a null buffer. The form that returns the text
    /// returns an empty string for a nil value.
    ///
    /// Note: `form` GuidForm::Clipped drops the first and the last digit, which leaves 34
    /// characters that FromString does not read. Every other `form` gives the full text.
    bool ToString(std::string& out, int form) const;
    std::string ToString(int form) const;
    bool ToString(char* buffer, int form) const;

    /// Return whether all 16 bytes are equal (operator!=: whether not).
    bool Test(const Guid& other) const;
    bool operator==(const Guid& other) const;
    bool operator!=(const Guid& other) const;

    /// Returns whether all 16 bytes are zero.
    bool None() const;

    /// Resets this to the nil value.
    void Clear();

    /// Returns a negative number, 0 or a positive number if this value is ordered before, equal to
    /// or after `other`; only the sign is meaningful.
    ///
    /// Note: bytes 0-3, 4-5 and 6-7 are compared as unsigned integers in the host's byte order,
    /// then bytes 8-15 one by one. On a little-endian host that is not the order of the texts.
    int Compare(const Guid& other) const;
    bool operator<(const Guid& other) const;
    bool operator>(const Guid& other) const;

private:
    unsigned char m_bytes[16]; // byte 0 is printed first
};

static_assert(sizeof(Guid) == 16, "a Guid is stored and sent as its 16 bytes");

/// A name reserved for a memory pool. Until there is one, an object does nothing and allocates
/// nothing; it can be constructed, copied, derived from and deleted through a pointer to this
/// class. Different objects are independent, on any threads.
class VORN_BASES_API MemPool {
public:
    MemPool();
    virtual ~MemPool();
    MemPool(const MemPool&) = default;
    MemPool& operator=(const MemPool&) = default;
};

/// A name reserved for a random number generator; until there is one, as MemPool.
class VORN_BASES_API Random {
public:
    Random();
    virtual ~Random();
    Random(const Random&) = default;
    Random& operator=(const Random&) = default;
};

/// A name reserved for a regular expression; until there is one, as MemPool.
class VORN_BASES_API RegEx {
public:
    RegEx();
    virtual ~RegEx();
    RegEx(const RegEx&) = default;
    RegEx& operator=(const RegEx&) = default;
};

/// An action that can be executed; a base class.
class VORN_BASES_API Command {
public:
    Command();
    virtual ~Command();
    Command(const Command&) = default;
    Command& operator=(const Command&) = default;

    /// Performs the action. There is no result; only an exception can report a failure.
    virtual void Execute() = 0;
};

/// A command that owns other commands and executes them in the order in which they were added. It
/// can be added to another one. Commands cannot be removed.
///
/// One thread at a time may use an object.
///
///     class Print : public Vorn::Command {
///     public:
///         explicit Print(const char* text) : m_text(text) {}
///         void Execute() override { std::puts(m_text); }
///
///     private:
///         const char* m_text;
///     };
///
///     Vorn::MacroCommand macro;
///     macro.Add(new Print("first"));
///     macro.Add(new Print("second"));
///     macro.Execute(); // prints "first", then "second"
class VORN_BASES_API MacroCommand : public Command {
public:
    /// Constructs a macro without commands.
    MacroCommand();

    /// Deletes every command, from first to last; a macro among them deletes its own in turn.
    ~MacroCommand() override;
    MacroCommand(const MacroCommand&) = delete;
    MacroCommand& operator=(const MacroCommand&) = delete;

    /// Appends `command` and takes ownership; it must come from `new`. A null pointer is accepted
    /// and skipped later. Throws std::bad_alloc if memory runs out; `command` is then still the
    /// caller's.
    ///
    /// Note: nothing is checked. Add each command to one macro, once: added again it is executed
    /// once more, and deleted more than once. A macro added to itself executes without end.
    void Add(Command* command);

    /// Executes every command, from first to last.
    ///
    /// An exception from a command passes to the caller at once; the commands after it are not
    /// executed. The macro is unchanged, and the next Execute starts with the first command.
    ///
    /// Note: commands that a command adds to the macro executing it are executed in the same run,
    /// after all others.
    void Execute() override;

private:
    std::list<Command*> m_commands;
};

} // namespace Vorn

#endif
