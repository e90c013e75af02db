// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_EXAMPLES_MANIFEST_PROGRAM_H
#define VORN_BASES_TESTS_EXAMPLES_MANIFEST_PROGRAM_H

#include "support/ExampleTest.h"
#include "support/Program.h"

#include <functional>
#include <string>
#include <vector>

namespace VornTest {

using Names = std::vector<std::string>;

/// What every manifest begins with, up to its first path or entry.
extern const char* const Begin;

/// An identifier for manifests that a test writes itself.
extern const char* const SomeId;

/// The identifiers and the digests in a manifest, in their order.
Names IdsIn(const std::string& text);
Names DigestsIn(const std::string& text);

/// Returns the last line of a text that ends in a line feed.
std::string LastLine(const std::string& text);

/// Tests of the program from outside.
class ManifestProgram : public ExampleTest {
protected:
    ManifestProgram();

    // What a killed run left in shared memory goes with the next run for the same manifest.
    void TearDown() override;

    Outcome Manifest(const Names& arguments, const std::string& locale = "C.UTF-8") const;
    Outcome Manifest(const Names& arguments, const std::function<void()>& prepare) const;

    /// The content with md5, and written-utc, written-local and id, cut to "md5" and "written id"
    /// wherever the text between is a digest, a time or an identifier; and without the paths.
    std::string Steady(const std::string& name) const;

    /// Another program's opinion of a file's digest.
    std::string Md5Sum(const std::string& name) const;

    /// Another parser's opinion of the document.
    void ExpectWellFormed(const std::string& name) const;
};

} // namespace VornTest

#endif
