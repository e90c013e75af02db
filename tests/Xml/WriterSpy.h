#ifndef VORN_BASES_TESTS_XML_WRITER_SPY_H
#define VORN_BASES_TESTS_XML_WRITER_SPY_H

#include <atomic>

namespace VornTest {

/// Looks at what XmlWriter asks of libxml2, and makes the next call of a function fail.
struct WriterSpy {
    static inline std::atomic<bool> failBufferCreate = false;
    static inline std::atomic<bool> failNewWriter = false;
    static inline std::atomic<bool> failEndElement = false;
    static inline std::atomic<bool> failEndDocument = false;

    static inline std::atomic<int> compression = -1; // that was asked for
    static inline std::atomic<int> buffers = 0;      // that exist
    static inline std::atomic<int> buffersBeforeCreation = 0;
};

} // namespace VornTest

#endif
