#ifndef VORN_BASES_UTILITY_H
#define VORN_BASES_UTILITY_H

// Small values and helpers: byte order, identifiers, commands, and names that are reserved for
// later.

#include <list>
#include <string>

#include <Bases/Export.h>

namespace Vorn {

/// The machine's byte order, and conversion of 16-, 32- and 64-bit values between it and the
/// big-endian (network) or the little-endian order. Nothing fails, nothing is kept: every function
/// may be called from any thread at any time.
///
///     | host order to     | to host order      | 16 and 64 bits are     | 32 bits are            |
///     | ----------------- | ------------------ | ---------------------- | ---------------------- |
///     | tobe16/32/64,     | betoh16/32/64,     | reversed on little-,   | Swap32 on little-,     |
///     | hton16/32/64      | ntoh16/32/64       | unchanged on big-      | unchanged on           |
///     |                   |                    | endian machines        | big-endian machines    |
///     | tole16/32/64      | letoh16/32/64      | reversed on big-,      | Swap32 on big-,        |
///     |                   |                    | unchanged on little-   | unchanged on           |
///     |                   |                    | endian machines        | little-endian machines |
///
/// All names of one width and one order convert alike; two serve to say which way a value goes.
///
/// Note: the 32-bit functions take and return `unsigned long`, which has 64 bits on the platforms
/// of this library. Where they swap, bits 32-63 of the argument are dropped; where they do not, the
/// argument comes back whole. On a little-endian machine tobe32, betoh32, hton32 and ntoh32 drop
/// them while tole32 and letoh32 return the argument whole; on a big-endian machine it is the other
/// way round. So tobe32(0x0000000112345678) is 0x78563412 on the former and 0x0000000112345678 on
/// the latter. Values of 32 bits are not affected.
///
///     const unsigned short port = Vorn::Endian::hton16(8080); // in memory 0x1F, 0x90
///     const auto address = static_cast<unsigned int>(Vorn::Endian::hton32(0x7F000001));
namespace Endian {

/// Returns 1 on a little-endian machine, else 0.
VORN_BASES_API int IsLittleEndian();

/// Returns 1 on a big-endian machine, else 0.
VORN_BASES_API int IsBigEndian();

/// Returns `value` with its bytes in reverse order, whatever the machine.
///
/// Note: Swap32 reverses the low four bytes only. Bits 32-63 of `value` are dropped, and those of
/// the result are 0.
VORN_BASES_API unsigned short Swap16(unsigned short value);
VORN_BASES_API unsigned long Swap32(unsigned long value);
VORN_BASES_API unsigned long long Swap64(unsigned long long value);

/// Returns the host's `value` in big-endian order.
///
/// Note: on a little-endian machine tobe32 drops bits 32-63 of `value`; on a big-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short tobe16(unsigned short value);
VORN_BASES_API unsigned long tobe32(unsigned long value);
VORN_BASES_API unsigned long long tobe64(unsigned long long value);

/// Returns the big-endian `value` in the host's order.
///
/// Note: on a little-endian machine betoh32 drops bits 32-63 of `value`; on a big-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short betoh16(unsigned short value);
VORN_BASES_API unsigned long betoh32(unsigned long value);
VORN_BASES_API unsigned long long betoh64(unsigned long long value);

/// Returns the host's `value` in network order, which is big-endian.
///
/// Note: on a little-endian machine hton32 drops bits 32-63 of `value`; on a big-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short hton16(unsigned short value);
VORN_BASES_API unsigned long hton32(unsigned long value);
VORN_BASES_API unsigned long long hton64(unsigned long long value);

/// Returns `value`, which is in network order, in the host's order.
///
/// Note: on a little-endian machine ntoh32 drops bits 32-63 of `value`; on a big-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short ntoh16(unsigned short value);
VORN_BASES_API unsigned long ntoh32(unsigned long value);
VORN_BASES_API unsigned long long ntoh64(unsigned long long value);

/// Returns the host's `value` in little-endian order.
///
/// Note: on a big-endian machine tole32 drops bits 32-63 of `value`; on a little-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short tole16(unsigned short value);
VORN_BASES_API unsigned long tole32(unsigned long value);
VORN_BASES_API unsigned long long tole64(unsigned long long value);

/// Returns the little-endian `value` in the host's order.
///
/// Note: on a big-endian machine letoh32 drops bits 32-63 of `value`; on a little-endian one it
/// returns `value` whole.
VORN_BASES_API unsigned short letoh16(unsigned short value);
VORN_BASES_API unsigned long letoh32(unsigned long value);
VORN_BASES_API unsigned long long letoh64(unsigned long long value);

} // namespace Endian

/// Forms of a Guid's text.
namespace GuidForm {
inline constexpr int Clipped = 0; ///< without the first and the last digit
inline constexpr int Full = 1;
} // namespace GuidForm

/// The room that the full text of a Guid takes, its terminating zero included.
inline constexpr unsigned long GuidTextSize = 37;

/// A 128-bit identifier: 16 bytes and nothing else, so it can be copied, stored and sent as plain
/// bytes. All zero means none.
///
/// A plain value: several threads may read one Guid, but only one may use it while it is changed.
/// Different objects are independent; Generate may run on several threads at once.
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
    /// Makes a none value.
    Guid();

    /// Replaces this value by a new random one (version 4, RFC 4122 variant). Every call seeds a
    /// generator of its own with fresh bytes from the system, which makes it slow, and keeps
    /// nothing for the next call.
    ///
    /// Returns true on success. Returns false, with the value unchanged, when the system gives no
    /// random bytes or no memory. Never throws.
    bool Generate();

    /// Replaces this value by the one that `text` spells: 32 hexadecimal digits of either case,
    /// plain or with a "-" after the 8th, 12th, 16th and 20th, optionally enclosed in "{" and "}".
    ///
    /// Returns true on success. Returns false, with the value unchanged, for a null pointer, for an
    /// empty std::string, and for a text that spells the none value. Throws std::runtime_error with
    /// "invalid uuid string", the value unchanged, for a text that ends too early (an empty
    /// `const char*` text included), lacks one of the dashes or the closing brace.
    ///
    /// Note: what follows the last digit, or the closing brace, is not looked at. Note: for another
    /// character in place of a digit the result depends on the Boost version that the library was
    /// built with. Boost 1.74 is known to refuse it with the same exception; an older one may read
    /// it as the value 255, which sets all bits of its half-byte and, for the second half, all bits
    /// of the byte.
    bool FromString(const char* text);
    bool FromString(const std::string& text);

    /// Writes the value as text: 32 lower-case hexadecimal digits with a "-" after the 8th, 12th,
    /// 16th and 20th, 36 characters without braces.
    ///
    /// Returns true on success, with the text in `out` or, with a terminating zero, in `buffer`,
    /// which has to hold at least GuidTextSize bytes. Returns false for a none value and for a null buffer;
    /// `out` and `buffer` are then unchanged. The form that returns the text returns an empty
    /// string for a none value.
    ///
    /// Note: with `form` Clipped the first and the last digit are dropped, which leaves 34 characters
    /// that FromString does not read back. Every other `form` gives the full text.
    bool ToString(std::string& out, int form) const;
    std::string ToString(int form) const;
    bool ToString(char* buffer, int form) const;

    /// Returns true when all 16 bytes are equal.
    bool Test(const Guid& other) const;
    bool operator==(const Guid& other) const;
    bool operator!=(const Guid& other) const;

    /// Returns true when all 16 bytes are zero.
    bool None() const;

    /// Makes this a none value.
    void Clear();

    /// Orders two values. Returns a negative value, 0 or a positive value when this one comes
    /// before `other`, equals it or comes after it; only the sign has a meaning.
    ///
    /// Note: bytes 0-3, 4-5 and 6-7 are compared as unsigned integers in the host's byte order,
    /// then bytes 8-15 one by one. On a little-endian host this is not the order of the texts.
    int Compare(const Guid& other) const;
    bool operator<(const Guid& other) const;
    bool operator>(const Guid& other) const;

private:
    unsigned char m_bytes[16]; // byte 0 is printed first
};

static_assert(sizeof(Guid) == 16, "a Guid is stored and sent as its 16 bytes");

/// A reserved name: a memory pool is to come. Until then an object can be made,
/// copied, derived from and deleted through a pointer to this class, and does nothing and allocates
/// nothing. Different objects are independent of each other on any threads.
class VORN_BASES_API MemPool {
public:
    MemPool();
    virtual ~MemPool();
    MemPool(const MemPool&) = default;
    MemPool& operator=(const MemPool&) = default;
};

/// A reserved name: a random number generator is to come. Until then an object can be made,
/// copied, derived from and deleted through a pointer to this class, and does nothing and allocates
/// nothing. Different objects are independent of each other on any threads.
class VORN_BASES_API Random {
public:
    Random();
    virtual ~Random();
    Random(const Random&) = default;
    Random& operator=(const Random&) = default;
};

/// A reserved name: a regular expression is to come. Until then an object can be made,
/// copied, derived from and deleted through a pointer to this class, and does nothing and allocates
/// nothing. Different objects are independent of each other on any threads.
class VORN_BASES_API RegEx {
public:
    RegEx();
    virtual ~RegEx();
    RegEx(const RegEx&) = default;
    RegEx& operator=(const RegEx&) = default;
};

/// An action that can be executed. To be derived from.
class VORN_BASES_API Command {
public:
    Command();
    virtual ~Command();
    Command(const Command&) = default;
    Command& operator=(const Command&) = default;

    /// Does what the command is for. There is no result; a failure can only be told by an
    /// exception.
    virtual void Execute() = 0;
};

/// A command made of other commands, which it owns and executes in the order in which they were
/// added. It can itself be added to another one. There is no way to take a command out again.
///
/// To be used from one thread at a time.
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
    /// Makes a macro without commands.
    MacroCommand();

    /// Deletes every command, from first to last. Those of a macro among them are deleted in its
    /// turn.
    ~MacroCommand() override;
    MacroCommand(const MacroCommand&) = delete;
    MacroCommand& operator=(const MacroCommand&) = delete;

    /// Appends `command`, which from then on belongs to the macro and has to be made by `new`. A
    /// null pointer is taken as well, and passed over later. Throws std::bad_alloc when memory is
    /// short; `command` then still belongs to the caller.
    ///
    /// Note: nothing is checked. A command that was added before is executed once more for each
    /// time. Each command must be added to one macro, once, or it is deleted more than once; a
    /// macro that is added to itself executes without end.
    void Add(Command* command);

    /// Executes every command, from first to last.
    ///
    /// An exception of a command ends this at once and reaches the caller; the commands behind are
    /// not executed. The macro stays as it is and can be executed again, from the beginning.
    ///
    /// Note: a command may Add to the macro that executes it. What it adds is executed in the same
    /// run, after all that were there before.
    void Execute() override;

private:
    std::list<Command*> m_commands;
};

} // namespace Vorn

#endif
