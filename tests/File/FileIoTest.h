// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_FILE_FILE_IO_TEST_H
#define VORN_BASES_TESTS_FILE_FILE_IO_TEST_H

// What the tests of FileIo have in common.

#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <Bases/File.h>

#include "fault/Platform.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace VornTest {

/// Forgets what was scripted and recorded, and records from now on what FileIo asks of the system.
inline void ListenToFileIo() {
    Platform::Reset();
    for (Platform::Call* const call : std::initializer_list<Platform::Call*>{
             &Platform::open, &Platform::close, &Platform::dup, &Platform::lseek, &Platform::fsync,
             &Platform::read, &Platform::write})
        call->Record();
}

/// Lets puts leave this in errno.
inline void ChangeErrnoByPuts(int error) {
    Platform::puts.Do([error](const char* text) {
        const int result = puts(text);
        errno = error;
        return result;
    });
}

/// A file that holds "0123456789", open for reading and writing, positioned at the beginning.
class OpenedFile : public testing::Test {
protected:
    void SetUp() override {
        WriteFile(path, "0123456789");
        ASSERT_TRUE(file.Open(path, Vorn::FileAccess::ReadWrite, 3, 4));
    }

    TempDir dir;
    const std::string path = dir.File("file");
    Vorn::FileIo file;
};

/// What Open prints and leaves in errno for words that it refuses by itself.
struct Refusal {
    std::string line;
    int error = 0;
    std::size_t attempts = 0;
};

inline Refusal Refuse(Vorn::FileIo& file, unsigned int access, unsigned int disposition) {
    ListenToFileIo();
    ChangeErrnoByPuts(EIO);
    Platform::close.At(1).Fail(EIO);
    Refusal refusal;
    bool result = true;
    refusal.line = StdoutOf([&] {
        errno = EDOM;
        result = file.Open("p", access, 3, disposition);
        refusal.error = errno;
    });
    EXPECT_FALSE(result);
    EXPECT_FALSE(file.IsOpened());
    refusal.attempts = Platform::open.Count();
    return refusal;
}

} // namespace VornTest

#endif
