// SPDX-License-Identifier: MIT
// What tests of manifest expect of documents and output.

#include "ManifestProgram.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "Publisher.h"

namespace VornTest {

const char* const Begin = R"(<?xml version="1.0" encoding="UTF-8"?>
<manifest version="1">
  <!-- One element for each entry; lines counts line feeds. -->
)";
const char* const SomeId = "0f8fad5b-d9cb-469f-a165-70867728950e";

namespace {

const std::string IdForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
const std::string DigestForm(32, 'x');
const std::string TimeForm = "9999-99-99T99:99:99.999";

/// True when the text is the form, with any digit for a 9 and any lower-case hexadecimal one for an
/// x.
bool HasForm(const std::string& text, const std::string& form) {
    const std::string digits = "0123456789abcdef";
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), [&](char c, char wanted) {
        if (wanted != '9' && wanted != 'x')
            return c == wanted;
        return digits.find(c) < (wanted == '9' ? 10U : 16U);
    });
}

/// Replaces what has the form, which begins with its first quotation mark's text, with a short one.
void Shorten(std::string& text, const std::string& form, const std::string& shortForm) {
    const std::string begin = form.substr(0, form.find('"') + 1);
    for (std::size_t i = 0; (i = text.find(begin, i)) != std::string::npos; ++i)
        if (HasForm(text.substr(i, form.size()), form))
            text.replace(i, form.size(), shortForm);
}

std::string WithoutPaths(std::string text) {
    const std::string begin = "  <path ";
    for (std::size_t i = 0; (i = text.find(begin, i)) != std::string::npos;)
        text.erase(i, text.find('\n', i) + 1 - i);
    return text;
}

} // namespace

Names IdsIn(const std::string& text) {
    const std::string attribute = " id=\"";
    Names ids;
    for (std::size_t i = text.find(attribute); i != std::string::npos;
         i = text.find(attribute, i)) {
        i += attribute.size();
        const std::string id = text.substr(i, text.find('"', i) - i);
        if (HasForm(id, IdForm))
            ids.push_back(id);
    }
    return ids;
}

Names DigestsIn(const std::string& text) {
    const std::string attribute = " md5=\"";
    Names digests;
    for (std::size_t i = text.find(attribute); i != std::string::npos;
         i = text.find(attribute, i)) {
        i += attribute.size();
        digests.push_back(text.substr(i, text.find('"', i) - i));
    }
    return digests;
}

std::string LastLine(const std::string& text) {
    const std::size_t begin = text.rfind('\n', text.size() - 2) + 1;
    return text.substr(begin, text.size() - begin - 1);
}

ManifestProgram::ManifestProgram() : ExampleTest(VORN_MANIFEST) {}

void ManifestProgram::TearDown() { const ::Manifest::Publisher next(m_dir.File("out.xml")); }

Outcome ManifestProgram::Manifest(const Names& arguments, const std::string& locale) const {
    return Run(arguments, {}, locale);
}

Outcome ManifestProgram::Manifest(const Names& arguments,
                                  const std::function<void()>& prepare) const {
    return Run(arguments, prepare);
}

std::string ManifestProgram::Steady(const std::string& name) const {
    std::string text = WithoutPaths(Content(name));
    Shorten(text,
            "written-utc=\"" + TimeForm + "\" written-local=\"" + TimeForm + "\" id=\"" + IdForm +
                "\"",
            "written id");
    Shorten(text, "md5=\"" + DigestForm + "\"", "md5");
    return text;
}

std::string ManifestProgram::Md5Sum(const std::string& name) const {
    const Outcome outcome = RunProgram({"/usr/bin/md5sum", m_dir.File(name)}, Here());
    EXPECT_EQ(0, outcome.status) << outcome.err;
    return outcome.out.substr(0, 32);
}

void ManifestProgram::ExpectWellFormed(const std::string& name) const {
    const Outcome outcome = RunProgram({VORN_XMLLINT, "--noout", name}, Here());
    EXPECT_EQ(0, outcome.status) << outcome.err << Content(name);
}

} // namespace VornTest
