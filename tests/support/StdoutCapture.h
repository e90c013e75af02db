#ifndef VORN_TESTS_SUPPORT_STDOUTCAPTURE_H
#define VORN_TESTS_SUPPORT_STDOUTCAPTURE_H

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace VornTest {

/// Sends what the process writes to its standard output, through stdio or straight to the
/// descriptor, into a file until the object ends. One at a time. Throws when the platform refuses.
///
/// Note: a failed expectation is reported on standard output too, so keep expectations outside.
class StdoutCapture {
public:
    StdoutCapture() {
        std::fflush(stdout);
        m_file = Check(std::tmpfile(), "tmpfile");
        m_stdout = dup(STDOUT_FILENO);
        if (m_stdout < 0 || dup2(fileno(m_file), STDOUT_FILENO) < 0)
            Fail("redirecting standard output");
    }

    ~StdoutCapture() {
        std::fflush(stdout);
        dup2(m_stdout, STDOUT_FILENO);
        close(m_stdout);
        std::fclose(m_file);
    }

    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// Returns everything written since the capture began. The capture goes on.
    std::string Text() const {
        std::fflush(stdout);
        std::string text;
        std::array<char, 4096> part{};
        for (off_t offset = 0;;) {
            const ssize_t length = pread(fileno(m_file), part.data(), part.size(), offset);
            if (length < 0)
                Fail("reading what was captured");
            if (length == 0)
                return text;
            text.append(part.data(), static_cast<std::size_t>(length));
            offset += length;
        }
    }

private:
    [[noreturn]] static void Fail(const char* what) {
        throw std::system_error(errno, std::generic_category(), what);
    }

    static std::FILE* Check(std::FILE* file, const char* what) {
        if (file == nullptr)
            Fail(what);
        return file;
    }

    std::FILE* m_file = nullptr;
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
