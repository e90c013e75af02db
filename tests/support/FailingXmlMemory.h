// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_FAILING_XML_MEMORY_H
#define VORN_BASES_TESTS_SUPPORT_FAILING_XML_MEMORY_H

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include <libxml/xmlerror.h>

#include <gtest/gtest.h>

#include "fault/Xml.h"

namespace VornTest {

/// Lets one allocation of libxml2 fail while it lives, alone, with the next one or with all that
/// follow, and notes the blocks. Memory still comes from malloc, so libxml2 may have been used
/// before and may be afterwards. One at a time; not for several threads.
class FailingXmlMemory {
public:
    enum Mode { Once, Twice, FromThenOn };

    /// The `number`-th allocation fails, counted from 1.
    FailingXmlMemory(int number, Mode mode) {
        s_left = number;
        s_mode = mode;
        s_failed = false;
        Platform::xml_free.OnAnyThread().Do(Free);
        Platform::xml_malloc.OnAnyThread().Do(Allocate);
        Platform::xml_realloc.OnAnyThread().Do(Reallocate);
        Platform::xml_strdup.OnAnyThread().Do(Duplicate);
    }

    /// Frees what libxml2 itself has lost.
    ~FailingXmlMemory() {
        Lost();
        for (Platform::Call* const call :
             std::initializer_list<Platform::Call*>{&Platform::xml_free, &Platform::xml_malloc,
                                                    &Platform::xml_realloc, &Platform::xml_strdup})
            call->Reset();
        for (void* const block : s_blocks)
            std::free(block);
        s_blocks.clear();
    }

    FailingXmlMemory(const FailingXmlMemory&) = delete;
    FailingXmlMemory& operator=(const FailingXmlMemory&) = delete;

    /// Lets the allocations succeed from here on.
    void Recover() { s_left = 0; }

    /// Whether any allocation failed.
    bool HasFailed() const { return s_failed; }

    /// How many blocks were allocated since and neither freed nor kept for the last error.
    std::size_t Lost() const {
        xmlResetLastError();
        return s_blocks.size();
    }

private:
    static bool Fails() {
        if (s_left == 0)
            return false;
        if (s_left > 1) {
            --s_left;
            return false;
        }
        if (s_mode == Once)
            s_left = 0;
        else if (s_mode == Twice)
            s_mode = Once;
        s_failed = true;
        return true;
    }

    static void* Note(void* block) {
        if (block != nullptr)
            s_blocks.insert(block);
        return block;
    }

    static void* Allocate(std::size_t size) { return Fails() ? nullptr : Note(std::malloc(size)); }

    static char* Duplicate(const char* text) {
        return Fails() ? nullptr : static_cast<char*>(Note(strdup(text)));
    }

    static void* Reallocate(void* block, std::size_t size) {
        if (Fails())
            return nullptr;
        s_blocks.erase(block);
        return Note(std::realloc(block, size));
    }

    static void Free(void* block) {
        s_blocks.erase(block);
        std::free(block);
    }

    static inline int s_left = 0; // until the next failure, itself included; 0: none
    static inline Mode s_mode = Once;
    static inline bool s_failed = false;
    static inline std::set<void*> s_blocks;
};

/// Runs `scenario` with the first allocation failing, with the second and so on, until it needs no
/// more allocations. The scenario is handed the memory.
template <typename Scenario>
void SweepXmlMemory(FailingXmlMemory::Mode mode, Scenario scenario) {
    constexpr const char* Others[] = {"", " and the next", " and all that follow"};
    bool failed = true;
    for (int number = 1; failed && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number) + Others[mode]);
        FailingXmlMemory memory(number, mode);
        scenario(memory);
        failed = memory.HasFailed();
    }
}

/// The same, with each failing alone and then with all that follow.
template <typename Scenario>
void SweepXmlMemory(Scenario scenario) {
    for (const auto mode : {FailingXmlMemory::Once, FailingXmlMemory::FromThenOn})
        SweepXmlMemory(mode, scenario);
}

} // namespace VornTest

#endif
