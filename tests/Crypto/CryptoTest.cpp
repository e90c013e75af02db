// SPDX-License-Identifier: MIT
// Concerns: what is made for which type, and that it is ready at once; null, and no memory taken,
// for types that do not exist; what becomes of an object whose Create refuses, of one that is
// destroyed, and of the caller's pointer, with storage and destructor watched apart; an allocator
// that throws; objects in several threads; the shape of the interface. The ciphers and digests
// themselves are SeedTest's and Md5Test's.
#include <Bases/Crypto.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <Bases/Impl/CreatedCrypto.h>

#include "fault/Platform.h"
#include "support/CryptoSlots.h"
#include "support/SeedTest.h"

namespace {

namespace Platform = VornTest::Platform;

using Vorn::CreateCrypto;
using Vorn::Created;
using Vorn::Crypto;
using Vorn::CryptoBlockCipherSeed;
using Vorn::CryptoHashMd5;
using Vorn::DestroyCrypto;
using VornTest::RoundKeys;

int g_freed = 0; // how often the watched storage was freed

bool g_spoilsSeed = false; // whether a new cipher has round keys that Create has to clear

void Watch(const void* storage) {
    g_freed = 0;
    Platform::operator_delete.Do([storage](void* block) {
        if (block == storage)
            ++g_freed;
        Platform::operator_delete.Real(block);
    });
}

// Logs what happens to it: C for Create, D for Destroy, ~ for the destructor, each followed by F if
// its storage had been freed before.
class Probe : public Crypto {
public:
    Probe(std::string& log, bool creates) : m_log(log), m_creates(creates) {}
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    bool Create() override {
        Log("C");
        return m_creates;
    }
    void Destroy() override { Log("D"); }
    unsigned long GetDataSizeUnit() override { return 0; }
    unsigned long GetUserSecretKeySize() override { return 0; }
    bool SetUserSecretKey(const unsigned char*) override { return true; }
    bool Encrypt(unsigned char*, unsigned long, unsigned long&, unsigned char*&,
                 unsigned long&) override {
        return false;
    }
    bool Decrypt(unsigned char*, unsigned long, unsigned long&, unsigned char*&,
                 unsigned long&) override {
        return false;
    }
    virtual ~Probe() { Log("~"); }

private:
    void Log(const char* what) {
        m_log += what;
        if (g_freed != 0)
            m_log += 'F';
    }

    std::string& m_log;
    const bool m_creates;
};

Probe* NewProbe(std::string& log, bool creates) {
    Probe* const probe = new Probe(log, creates);
    Watch(probe);
    return probe;
}

std::string Message(std::size_t length) {
    std::string message;
    while (message.size() < length)
        message += static_cast<char>(message.size());
    return message;
}

TEST(CryptoCreate, GivesNullAtOnceForATypeThatDoesNotExist) {
    for (const int value : {0, 3, -1, 4, 256 + 1, INT_MAX, INT_MIN}) {
        const Crypto::Type type = static_cast<Crypto::Type>(value);
        Platform::operator_new.Fail(ENOMEM); // and takes no memory for it
        const Crypto* const crypto = CreateCrypto(type);
        Platform::operator_new.Reset();
        EXPECT_EQ(nullptr, crypto) << value;
    }
}

TEST(CryptoCreate, GivesACipherWithBlocksAndKeysOfSixteenBytesForTypeTwo) {
    Crypto* cipher = CreateCrypto(static_cast<Crypto::Type>(2));
    ASSERT_NE(nullptr, dynamic_cast<CryptoBlockCipherSeed*>(cipher));
    EXPECT_EQ(16UL, cipher->GetDataSizeUnit());
    EXPECT_EQ(16UL, cipher->GetUserSecretKeySize());
    DestroyCrypto(cipher);
}

TEST(CryptoCreate, GivesADigestWithoutBlocksAndKeyForTypeOne) {
    Crypto* digest = CreateCrypto(static_cast<Crypto::Type>(1));
    ASSERT_NE(nullptr, dynamic_cast<CryptoHashMd5*>(digest));
    EXPECT_EQ(0UL, digest->GetDataSizeUnit());
    EXPECT_EQ(0UL, digest->GetUserSecretKeySize());
    DestroyCrypto(digest);
}

TEST(CryptoCreate, GivesACipherThatIsReadyEvenWithoutAKey) {
    const std::string message = Message(16);
    Crypto* cipher = CreateCrypto(Crypto::BlockCipherSeed);
    EXPECT_EQ(VornTest::Enciphered(message, RoundKeys{}),
              VornTest::Encrypt(*cipher, message).output);
    EXPECT_TRUE(VornTest::SetKey(*cipher, Message(16)));
    const std::string encrypted = VornTest::Encrypt(*cipher, message).output;
    EXPECT_EQ(VornTest::Enciphered(message, VornTest::Schedule(Message(16))), encrypted);
    EXPECT_EQ(message, VornTest::Decrypt(*cipher, encrypted).output);
    DestroyCrypto(cipher);
}

TEST(CryptoCreate, CallsCreate) {
    g_spoilsSeed = true;
    Crypto* cipher = CreateCrypto(Crypto::BlockCipherSeed);
    g_spoilsSeed = false;
    EXPECT_EQ(VornTest::Enciphered(Message(16), RoundKeys{}),
              VornTest::Encrypt(*cipher, Message(16)).output);
    DestroyCrypto(cipher);
}

TEST(CryptoCreate, GivesADigestThatIsReady) {
    Crypto* digest = CreateCrypto(Crypto::HashMd5);
    CryptoHashMd5::MD5Digest_struct expected;
    CryptoHashMd5::MD5Sum("abc", 3, &expected);
    EXPECT_EQ(std::string(expected.bytes, expected.bytes + 16),
              VornTest::Encrypt(*digest, "abc").output);
    EXPECT_FALSE(VornTest::Decrypt(*digest, Message(16)).result);
    DestroyCrypto(digest);
}

TEST(CryptoCreate, GivesANewObjectEachTime) {
    Crypto* one = CreateCrypto(Crypto::BlockCipherSeed);
    Crypto* two = CreateCrypto(Crypto::BlockCipherSeed);
    ASSERT_NE(one, two);
    VornTest::SetKey(*one, Message(16));
    EXPECT_EQ(VornTest::Enciphered(Message(16), RoundKeys{}),
              VornTest::Encrypt(*two, Message(16)).output);
    DestroyCrypto(one);
    DestroyCrypto(two);
}

TEST(CryptoCreate, LetsTheAllocatorsExceptionPass) {
    for (const Crypto::Type type : {Crypto::HashMd5, Crypto::BlockCipherSeed}) {
        Platform::operator_new.Fail(ENOMEM);
        bool thrown = false;
        try {
            CreateCrypto(type);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        Platform::operator_new.Reset();
        EXPECT_TRUE(thrown) << type;
        Crypto* crypto = CreateCrypto(type);
        EXPECT_NE(nullptr, crypto) << type;
        DestroyCrypto(crypto);
    }
}

TEST(CryptoCreated, ReturnsAnObjectWhoseCreateSucceeded) {
    std::string log;
    Probe* const probe = NewProbe(log, true);
    EXPECT_EQ(probe, Created(probe));
    EXPECT_EQ("C", log);
    EXPECT_EQ(0, g_freed);
    delete probe;
    EXPECT_EQ("C~", log);
}

TEST(CryptoCreated, FreesAnObjectWhoseCreateFailedWithoutDestroyAndDestructor) {
    std::string log;
    EXPECT_EQ(nullptr, Created(NewProbe(log, false)));
    EXPECT_EQ("C", log);
    EXPECT_EQ(1, g_freed);
}

TEST(CryptoCreated, KeepsNullAsItIs) { EXPECT_EQ(nullptr, Created(nullptr)); }

TEST(CryptoDestroy, DoesNothingForNull) {
    Crypto* crypto = nullptr;
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
}

TEST(CryptoDestroy, CallsDestroyThenFreesWithoutTheDestructorAndClearsThePointer) {
    std::string log;
    Crypto* crypto = NewProbe(log, true);
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
    EXPECT_EQ("D", log);
    EXPECT_EQ(1, g_freed);
}

TEST(CryptoDestroy, DoesNothingASecondTime) {
    std::string log;
    Crypto* crypto = NewProbe(log, true);
    DestroyCrypto(crypto);
    DestroyCrypto(crypto);
    EXPECT_EQ(nullptr, crypto);
    EXPECT_EQ("D", log);
    EXPECT_EQ(1, g_freed);
}

TEST(CryptoDestroy, FreesAnObjectFromCreateCrypto) {
    for (const Crypto::Type type : {Crypto::HashMd5, Crypto::BlockCipherSeed}) {
        Crypto* crypto = CreateCrypto(type);
        Watch(crypto);
        DestroyCrypto(crypto);
        EXPECT_EQ(nullptr, crypto);
        EXPECT_EQ(1, g_freed) << type;
    }
}

TEST(CryptoThreads, MayHaveAnObjectEach) {
    std::array<std::string, 4> outputs;
    std::vector<std::thread> threads;
    for (std::string& output : outputs)
        threads.emplace_back([&output] {
            for (int i = 0; i < 50; ++i) {
                Crypto* cipher = CreateCrypto(Crypto::BlockCipherSeed);
                VornTest::SetKey(*cipher, Message(16));
                output = VornTest::Encrypt(*cipher, Message(100)).output;
                DestroyCrypto(cipher);
                Crypto* digest = CreateCrypto(Crypto::HashMd5);
                output += VornTest::Encrypt(*digest, output).output;
                DestroyCrypto(digest);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(112U + 16U, outputs[0].size());
    for (const std::string& output : outputs)
        EXPECT_EQ(outputs[0], output);
}

// The example of the header, with what it says in its comments.
TEST(CryptoExample, DoesWhatItsCommentsSay) {
    unsigned char key[16] = {1, 2, 3};
    unsigned char text[] = "seventeen letters";
    unsigned char* output = nullptr;
    unsigned long done = 0, size = 0;

    Vorn::Crypto* cipher = Vorn::CreateCrypto(Vorn::Crypto::BlockCipherSeed);
    ASSERT_TRUE(cipher->SetUserSecretKey(key) && cipher->Encrypt(text, 17, done, output, size));
    EXPECT_EQ(32UL, size);
    EXPECT_EQ(17UL, done);
    delete[] output;
    Vorn::DestroyCrypto(cipher);
    EXPECT_EQ(nullptr, cipher);
}

TEST(CryptoLayout, HasSevenOperationsInTheirOrderAndNoDestructorAmongThem) {
    VornTest::ExpectTheSlotsOfACipher<Crypto>();
    EXPECT_EQ(7U, VornTest::Slots<Crypto>());
}

TEST(CryptoLayout, HasNoDataAndTwoTypes) {
    EXPECT_EQ(sizeof(void*), sizeof(Crypto));
    EXPECT_EQ(1, Crypto::HashMd5);
    EXPECT_EQ(2, Crypto::BlockCipherSeed);
    EXPECT_EQ(sizeof(int), sizeof(Crypto::Type));
}

static_assert(std::is_abstract_v<Crypto> && !std::has_virtual_destructor_v<Crypto>);
static_assert(std::is_same_v<bool (Crypto::*)(), decltype(&Crypto::Create)>);
static_assert(std::is_same_v<void (Crypto::*)(), decltype(&Crypto::Destroy)>);
static_assert(std::is_same_v<unsigned long (Crypto::*)(), decltype(&Crypto::GetDataSizeUnit)>);
static_assert(std::is_same_v<unsigned long (Crypto::*)(), decltype(&Crypto::GetUserSecretKeySize)>);
static_assert(
    std::is_same_v<bool (Crypto::*)(const unsigned char*), decltype(&Crypto::SetUserSecretKey)>);
static_assert(std::is_same_v<VornTest::Transform, decltype(&Crypto::Encrypt)>);
static_assert(std::is_same_v<VornTest::Transform, decltype(&Crypto::Decrypt)>);
static_assert(std::is_same_v<Crypto* (*)(const Crypto::Type&), decltype(&CreateCrypto)>);
static_assert(std::is_same_v<void (*)(Crypto*&), decltype(&DestroyCrypto)>);
static_assert(std::is_convertible_v<Crypto::Type, int>); // not scoped

} // namespace

extern "C" {

// The constructor of CryptoBlockCipherSeed. Nothing of the platform shows that Create was called.
void __real__ZN4Vorn21CryptoBlockCipherSeedC1Ev(CryptoBlockCipherSeed* self);

void __wrap__ZN4Vorn21CryptoBlockCipherSeedC1Ev(CryptoBlockCipherSeed* self) {
    __real__ZN4Vorn21CryptoBlockCipherSeedC1Ev(self);
    if (g_spoilsSeed)
        std::memset(reinterpret_cast<unsigned char*>(self) + sizeof(Crypto), 0x5A,
                    sizeof *self - sizeof(Crypto));
}
}
