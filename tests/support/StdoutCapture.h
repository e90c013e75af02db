// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_STDOUT_CAPTURE_H
#define VORN_BASES_TESTS_SUPPORT_STDOUT_CAPTURE_H

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "fault/Bypass.h"

namespace VornTest {

/// Sends what the process writes to its standard output, through stdio or straight to the
/// descriptor, into a file until the object ends. One at a time. Throws when the platform refuses.
/// Its own calls are neither scripted nor recorded.
///
/// Note: a failed expectation is reported on standard output too, so keep expectations outside.
class StdoutCapture {
public:
    StdoutCapture() {
        const Platform::Bypass own;
        m_file = Keep(TemporaryFile().get());
        m_stdout = Keep(stdout);
        Redirect(m_file);
    }

    ~StdoutCapture() {
        const Platform::Bypass own;
        std::fflush(stdout);
        dup2(m_stdout, STDOUT_FILENO);
        close(m_stdout);
        close(m_file);
    }

    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// Returns everything written since the capture began. The capture goes on.
    std::string Text() const {
        const Platform::Bypass own;
        std::fflush(stdout);
        std::string text;
        std::array<char, 4096> part{};
        for (off_t offset = 0;;) {
            const ssize_t length = pread(m_file, part.data(), part.size(), offset);
            if (length < 0)
                Fail("reading what was captured");
            if (length == 0)
                return text;
            text.append(part.data(), static_cast<std::size_t>(length));
            offset += length;
        }
    }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] static void Fail(const char* what) {
        throw std::system_error(errno, std::generic_category(), what);
    }

    static std::unique_ptr<std::FILE, Closer> TemporaryFile() {
        std::unique_ptr<std::FILE, Closer> file(std::tmpfile());
        if (file == nullptr)
            Fail("tmpfile");
        return file;
    }

    // High descriptors, so that tests that look at the lowest ones see them as without a capture.
    static int Keep(std::FILE* file) {
        std::fflush(file);
        const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, 100);
        if (descriptor < 0)
            Fail("duplicating a descriptor");
        return descriptor;
    }

    static void Redirect(int descriptor) {
        if (dup2(descriptor, STDOUT_FILENO) < 0)
            Fail("redirecting standard output");
    }

    int m_file = -1;
    int m_stdout = -1;
};

/// Calls `action` and returns what the process wrote to its standard output meanwhile.
template <typename Action>
std::string StdoutOf(Action&& action) {
    const StdoutCapture capture;
    std::forward<Action>(action)();
    return capture.Text();
}

} // namespace VornTest

#endif
