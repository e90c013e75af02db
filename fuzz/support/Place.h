// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_FUZZ_SUPPORT_PLACE_H
#define VORN_BASES_FUZZ_SUPPORT_PLACE_H

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "support/Fuzz.h"

namespace VornFuzz {

/// A directory of the target's own, which ends with the process.
class Place {
public:
    Place() {
        std::string name = std::filesystem::temp_directory_path() / "vorn-fuzz-XXXXXX";
        Check(mkdtemp(name.data()) != nullptr, "there is no directory to work in");
        m_path = name;
    }
    ~Place() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace VornFuzz

#endif
