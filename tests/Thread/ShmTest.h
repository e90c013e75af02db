// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_THREAD_SHM_TEST_H
#define VORN_BASES_TESTS_THREAD_SHM_TEST_H

// What is asked of the platform for shared memory, and what a Shm holds.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/shm.h>

#include <Bases/Thread.h>

#include "fault/Platform.h"

namespace VornTest {

using Vorn::Shm;

struct GetCall {
    key_t key = 0;
    std::size_t size = 0;
    int flags = 0;
    bool operator==(const GetCall&) const = default;
};

struct AttachCall {
    int id = 0;
    const void* address = nullptr;
    int flags = 0;
    bool operator==(const AttachCall&) const = default;
};

struct ControlCall {
    int id = 0;
    int command = 0;
    const void* data = nullptr;
    bool operator==(const ControlCall&) const = default;
};

// What the platform was asked, and its answers where the system is not to be asked.
struct SharedMemoryCalls {
    std::vector<GetCall> gets;
    std::vector<AttachCall> attaches;
    std::vector<const void*> detaches;
    std::vector<ControlCall> controls;
    std::vector<int> made; // identifiers that the system gave

    std::optional<int> get;
    std::optional<void*> attach;
    std::optional<int> detach;
    std::optional<int> control;
    bool bRemovesRefused = false; // so that an object may be destroyed after a refusal
};
inline SharedMemoryCalls g_platform;

inline constexpr const char* NameOfKeyZero = "agmtavdw";

/// Notes the calls in g_platform, and gives its answers.
class ShmFixture : public testing::Test {
protected:
    ShmFixture() {
        g_platform = {};
        Platform::shmget.Do([](key_t key, std::size_t size, int flags) {
            g_platform.gets.push_back({key, size, flags});
            if (g_platform.get)
                return *g_platform.get;
            const int id = Platform::shmget.Real(key, size, flags);
            if (id >= 0)
                g_platform.made.push_back(id);
            return id;
        });
        Platform::shmat.Do([](int id, const void* address, int flags) {
            g_platform.attaches.push_back({id, address, flags});
            return g_platform.attach ? *g_platform.attach
                                     : Platform::shmat.Real(id, address, flags);
        });
        Platform::shmdt.Do([](const void* address) {
            g_platform.detaches.push_back(address);
            return g_platform.detach ? *g_platform.detach : Platform::shmdt.Real(address);
        });
        Platform::shmctl.Do([](int id, int command, shmid_ds* data) {
            g_platform.controls.push_back({id, command, data});
            if (g_platform.control)
                return *g_platform.control;
            if (id < 0 && g_platform.bRemovesRefused)
                return 0;
            return Platform::shmctl.Real(id, command, data);
        });
    }
};

inline constexpr std::size_t Size = 4096;

/// The key of the segment with that name.
inline key_t KeyOf(const std::string& name) {
    std::uint32_t key = 5381;
    for (const char c : name)
        key = key * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return static_cast<key_t>(key);
}

inline unsigned char* Failure() { return std::bit_cast<unsigned char*>(std::intptr_t{-1}); }

// The two fields of an object, which follow the pointer to its virtual table.
struct Fields {
    int hShm = 99;
    int bReadOnly = 99;
    bool operator==(const Fields&) const = default;
};

inline Fields FieldsOf(const Shm& shm) {
    Fields fields;
    std::memcpy(&fields, reinterpret_cast<const std::byte*>(&shm) + sizeof(void*), sizeof(fields));
    return fields;
}

} // namespace VornTest

#endif
