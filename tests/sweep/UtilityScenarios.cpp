// SPDX-License-Identifier: MIT
// Identifiers, commands, byte order, ciphers and digests, and what only reserves a name.
#include <array>
#include <string>

#include <Bases/Crypto.h>
#include <Bases/File.h>
#include <Bases/Utility.h>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

using Vorn::Crypto;
using Vorn::Guid;
namespace GuidForm = Vorn::GuidForm;

constexpr const char* KnownText = "00112233-4455-6677-8899-aabbccddeeff";

// --- Identifiers ---------------------------------------------------------------------------------

void GeneratesAGuid(Trial& trial) {
    Guid known;
    known.FromString(KnownText);
    Guid guid = known;
    const bool generated = trial.Works([&] { return guid.Generate(); });
    trial.Require((guid == known) != generated, "changes exactly when it says so");
    trial.Require(guid.Generate() && guid != known, "is generated then");
}

void ReadsAGuid(Trial& trial) {
    Guid guid;
    trial.Require(trial.Try([&] { return guid.FromString(KnownText); }), "is read");
    std::string text = "old";
    const bool written = trial.WorksOrThrows([&] { return guid.ToString(text, GuidForm::Full); });
    trial.Require(text == (written ? KnownText : "old"), "is written exactly when it says so");
}

void RefusesATextThatIsNoGuid(Trial& trial) {
    Guid guid;
    const bool refused = trial.TryOrThrow([&] {
        try {
            return guid.FromString("0011");
        } catch (const std::runtime_error&) {
            return true;
        }
    });
    trial.Require(refused || trial.HasThrown(), "throws");
    trial.Require(guid.None(), "is unchanged");
}

// --- Commands, byte order, reserved names --------------------------------------------------------

class Count : public Vorn::Command {
public:
    explicit Count(int& runs) : m_runs(runs) {}
    void Execute() override { ++m_runs; }

private:
    int& m_runs;
};

void ExecutesCommands(Trial& trial) {
    int runs = 0;
    int added = 0;
    Vorn::MacroCommand macro;
    for (int i = 0; i < 3; ++i) {
        auto command = std::make_unique<Count>(runs);
        const bool isAdded = trial.WorksOrThrows([&] {
            macro.Add(command.get());
            return true;
        });
        if (!isAdded)
            continue; // and it is still ours
        static_cast<void>(command.release());
        ++added;
    }
    trial.Try([&] { macro.Execute(); });
    trial.Require(runs == added, "executes what was added");
}

void NeedsNothing(Trial& trial) {
    const unsigned short swapped = trial.Try([] {
        const Vorn::MemPool pool;
        const Vorn::Random random;
        const Vorn::RegEx expression;
        const Vorn::TextFileIo file;
        return Vorn::Endian::Swap16(0x1234);
    });
    trial.Require(swapped == 0x3412, "swaps bytes");
}

// --- Ciphers and digests -------------------------------------------------------------------------

// Of sizes and pointers that an operation sets.
struct Output {
    Output() = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { delete[] bytes; }

    unsigned long processed = 77;
    unsigned char* bytes = nullptr;
    unsigned long size = 77;
};

void Transforms(Trial& trial, Crypto::Type type, unsigned long expected) {
    std::array<unsigned char, 100> input{};
    Crypto* crypto = trial.TryOrThrow([&] { return Vorn::CreateCrypto(type); });
    trial.Require((crypto == nullptr) == trial.HasThrown(), "is created, or throws");
    if (crypto == nullptr)
        crypto = Vorn::CreateCrypto(type);
    trial.Require(crypto->SetUserSecretKey(input.data()), "takes a key");
    {
        Output output;
        const bool done = trial.WorksOrThrows([&] {
            return crypto->Encrypt(input.data(), 100, output.processed, output.bytes, output.size);
        });
        trial.Require((output.bytes != nullptr) == done, "gives bytes exactly when it says so");
        trial.Require(!done || (output.size == expected && output.processed == 100),
                      "transforms all");
    }
    trial.Try([&] { Vorn::DestroyCrypto(crypto); });
    trial.Require(crypto == nullptr, "is destroyed");
}

void Enciphers(Trial& trial) { Transforms(trial, Crypto::BlockCipherSeed, 112); }

void Digests(Trial& trial) {
    Transforms(trial, Crypto::HashMd5, 16);
    const std::string text =
        trial.TryOrThrow([] { return Vorn::CryptoHashMd5::MD5String(std::string()); });
    trial.Require(trial.HasThrown() || text == "d41d8cd98f00b204e9800998ecf8427e",
                  "gives the digest");
}

const Scenarios g_scenarios{
    {"GuidIsGenerated", GeneratesAGuid},
    {"GuidIsReadAndWritten", ReadsAGuid},
    {"GuidIsRefused", RefusesATextThatIsNoGuid},
    {"CommandsAreExecuted", ExecutesCommands},
    {"NamesThatAreReservedAndByteOrderNeedNothing", NeedsNothing},
    {"CipherTransforms", Enciphers},
    {"DigestTransforms", Digests},
};

} // namespace

} // namespace VornTest::Sweep
