// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_XML_WRITER_SPY_H
#define VORN_BASES_TESTS_XML_WRITER_SPY_H

#include <algorithm>
#include <cstddef>

#include "fault/Xml.h"

namespace VornTest {

/// Watches what XmlWriter asks of libxml2, from Watch to the end of the test.
struct WriterSpy {
    static void Watch() {
        Platform::xmlBufferCreate.Record(true);
        Platform::xmlBufferFree.Record(true);
        Platform::xmlNewTextWriterMemory.Record(true);
    }

    /// How many buffers exist.
    static std::ptrdiff_t Buffers() {
        const auto made = Platform::xmlBufferCreate.Results();
        return static_cast<std::ptrdiff_t>(made.size()) -
               std::count(made.begin(), made.end(), nullptr) -
               static_cast<std::ptrdiff_t>(Platform::xmlBufferFree.Count());
    }
};

} // namespace VornTest

#endif
