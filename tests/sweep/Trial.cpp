// SPDX-License-Identifier: MIT
// Arming the fault, and what is printed meanwhile.
#include "sweep/Trial.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "sweep/Sweep.h"

namespace VornTest::Sweep {

namespace {

std::string NameOf(int error) {
    if (error == Platform::ShortCount)
        return "a short count";
    const char* const name = strerrorname_np(error);
    return name == nullptr ? std::to_string(error) : name;
}

} // namespace

std::string Fault::Text() const {
    if (pCall == nullptr)
        return "no fault";
    return std::string(pCall->Name()) + ", call " + std::to_string(first) +
           (then == Then::ItFails ? " and all later ones" : "") + ": " + NameOf(error) +
           (then == Then::AllFails ? ", and then all others" : "");
}

// What is printed is caught, and the fault's own script comes last, so that it holds.
Trial::Trial(const Fault& fault) : m_fault(fault) {
    const Platform::Bypass bypass;
    Platform::puts.OnAnyThread().Do([this](const char* text) {
        m_printed.append(text).append("\n");
        return 1;
    });
    Platform::printf.OnAnyThread().Do([this](const char* format, std::va_list* values) {
        std::array<char, 1024> text{};
        const int length = std::vsnprintf(text.data(), text.size(), format, *values);
        m_printed.append(text.data());
        return length;
    });
    if (m_fault.pCall == nullptr)
        return;
    m_fault.pCall->Fail(m_fault.error, {.first = m_fault.first,
                                        .once = m_fault.then == Then::AllWorks,
                                        .anyThread = m_fault.anyThread,
                                        .inWindow = true});
    if (m_fault.then == Then::AllFails)
        FailAllLater();
}

// Each fails in the first of its ways that the library can meet.
void Trial::FailAllLater() const {
    for (Platform::Call* const call : Platform::All()) {
        if (call == m_fault.pCall)
            continue;
        const auto errors = call->Errors();
        const auto error = std::find_if(errors.begin(), errors.end(), [call](int candidate) {
            return WhyLeftOut({call, candidate, 1, Then::ItFails}) == nullptr;
        });
        if (error != errors.end())
            call->Fail(*error,
                       {.anyThread = m_fault.anyThread, .inWindow = true, .pAfter = m_fault.pCall});
    }
}

Trial::~Trial() {
    const Platform::Bypass bypass;
    Platform::Reset();
}

void Trial::Require(bool holds, const char* promise) {
    if (holds)
        return;
    const Platform::Bypass bypass;
    m_broken.emplace_back(promise);
}

bool Trial::HasPrinted(const std::string& text) const {
    return HasFailed(Platform::puts) || HasFailed(Platform::printf) ||
           m_printed.find(text) != std::string::npos;
}

bool Trial::Judge(bool succeeded) {
    Require(succeeded || MetFault(), "succeeds while nothing fails");
    return succeeded;
}

} // namespace VornTest::Sweep
