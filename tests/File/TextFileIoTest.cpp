// SPDX-License-Identifier: MIT
// TextFileIo, which only reserves its name.

#include <Bases/File.h>

#include "support/DeletedAsBase.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

#include <filesystem>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

// Concerns: the class stays empty: no data, no relation to the binary handle, nothing done to
// files, descriptors or the output; destruction works through a pointer.

TEST(TextFileIoHandle, HoldsNothingAndIsUnrelatedToTheBinaryHandle) {
    static_assert(std::has_virtual_destructor_v<Vorn::TextFileIo>);
    static_assert(!std::is_base_of_v<Vorn::FileIo, Vorn::TextFileIo>);
    static_assert(!std::is_copy_constructible_v<Vorn::TextFileIo>);
    static_assert(!std::is_copy_assignable_v<Vorn::TextFileIo>);
    EXPECT_EQ(sizeof(void*), sizeof(Vorn::TextFileIo)); // the table of its destructor
}

TEST(TextFileIoHandle, CanBeDeletedAsWhatItIsDerivedTo) {
    EXPECT_TRUE(VornTest::IsWhollyDeletedAsBase<Vorn::TextFileIo>());
}

TEST(TextFileIoHandle, LeavesFilesDescriptorsAndOutputAlone) {
    const VornTest::TempDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.Path());
    std::ptrdiff_t during = 0;
    std::ptrdiff_t outside = 0;
    const std::string output = VornTest::StdoutOf([&] {
        outside = VornTest::OpenDescriptors();
        const Vorn::TextFileIo file;
        during = VornTest::OpenDescriptors();
    });
    fs::current_path(before);
    EXPECT_EQ("", output);
    EXPECT_EQ(outside, during);
    EXPECT_TRUE(fs::is_empty(dir.Path()));
}

} // namespace
