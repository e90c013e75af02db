// SPDX-License-Identifier: MIT
// The list of all scripted calls, what they record, and their reset.

#include "fault/Call.h"

#include <algorithm>
#include <map>

#include <sched.h>

#include <gtest/gtest.h>

namespace VornTest::Platform {

namespace {

constinit std::atomic_flag g_busy;
constinit std::size_t g_moments = 0; // how many calls were recorded so far

// Filled before main, by the families.
std::vector<Call*>& List() {
    static std::vector<Call*> calls;
    return calls;
}

// No test finds what another one has scripted, also when one process runs them all.
class ResetAfterEachTest : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo&) override { Reset(); }
};

[[maybe_unused]] const bool g_resetIsSet = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new ResetAfterEachTest);
    return true;
}();

} // namespace

namespace Detail {

const void* ThisThread() {
    static thread_local const char mark = 0;
    return &mark;
}

Notes::Notes() {
    while (g_busy.test_and_set(std::memory_order_acquire))
        ::sched_yield();
}

Notes::~Notes() {
    g_busy.clear(std::memory_order_release);
    errno = m_errno;
}

} // namespace Detail

void Call::Record(bool anyThread) {
    const Detail::Notes notes;
    State& state = KeepState();
    state.records = true;
    state.pRecorded = anyThread ? nullptr : Detail::ThisThread();
}

Call::State& Call::KeepState() {
    if (m_pState == nullptr) {
        m_pState = MakeState().release();
        m_watched = true;
    }
    return *m_pState;
}

bool Call::Records() const {
    return m_pState != nullptr && m_pState->records &&
           (m_pState->pRecorded == nullptr || m_pState->pRecorded == Detail::ThisThread());
}

void Call::NoteMoment() { m_pState->moments.push_back(g_moments++); }

std::size_t Call::Count() const {
    const Detail::Notes notes;
    return m_pState == nullptr ? 0 : m_pState->moments.size();
}

std::size_t Call::Scripted() const {
    const Detail::Notes notes;
    return m_pState == nullptr ? 0 : m_pState->scripted;
}

std::size_t Call::Failed() const {
    const Detail::Notes notes;
    return m_pState == nullptr ? 0 : m_pState->failed;
}

void Call::Forget() {
    const Detail::Notes notes;
    if (m_pState != nullptr)
        m_pState->ForgetCalls();
}

void Call::Reset() {
    const Detail::Notes notes;
    m_watched = false;
    delete std::exchange(m_pState, nullptr);
}

Family::Family(std::initializer_list<Call*> calls) { List().insert(List().end(), calls); }

const std::vector<Call*>& All() { return List(); }

Call* Find(const std::string& name) {
    const auto found = std::find_if(All().begin(), All().end(),
                                    [&name](const Call* call) { return call->Name() == name; });
    return found == All().end() ? nullptr : *found;
}

void RecordAll(bool anyThread) {
    for (Call* const call : All())
        call->Record(anyThread);
}

std::vector<std::string> Order() {
    const Detail::Notes notes;
    std::map<std::size_t, const char*> names;
    for (const Call* const call : All())
        if (call->m_pState != nullptr)
            for (const std::size_t moment : call->m_pState->moments)
                names.emplace(moment, call->Name());
    std::vector<std::string> order;
    for (const auto& [moment, name] : names)
        order.emplace_back(name);
    return order;
}

void Reset() {
    for (Call* const call : All())
        call->Reset();
}

} // namespace VornTest::Platform
