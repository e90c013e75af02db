// SPDX-License-Identifier: MIT
// Taking the records of the platform together, and asking the system.
#include "sweep/Holdings.h"

#include "support/Segments.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include <unistd.h>

namespace VornTest::Sweep {

namespace {

using Addresses = std::vector<const void*>;

std::vector<Kind>& AllKinds() {
    static std::vector<Kind> kinds;
    return kinds;
}

const void* AddressOf(const void* address) { return address; }

// Descriptors take part as addresses.
const void* AddressOf(int descriptor) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it is a mark, never looked into
    return descriptor < 0 ? nullptr : reinterpret_cast<const void*>(descriptor + 1L);
}

template <typename... Args>
const void* AddressOf(const std::tuple<Args...>& arguments) {
    return std::get<0>(arguments);
}

template <typename Values>
void Append(const Values& values, Addresses& addresses) {
    for (const auto& value : values)
        addresses.push_back(AddressOf(value));
}

// What the functions returned.
template <typename... Functions>
Addresses ResultsOf(const Functions&... functions) {
    Addresses addresses;
    (Append(functions.Results(), addresses), ...);
    return addresses;
}

// The first arguments of the calls.
template <typename... Functions>
Addresses ArgumentsOf(const Functions&... functions) {
    Addresses addresses;
    (Append(functions.Calls(), addresses), ...);
    return addresses;
}

// The first arguments of the calls that returned 0, as those do that have succeeded.
template <typename Function>
Addresses MadeBy(const Function& function) {
    Addresses addresses;
    const auto calls = function.Calls();
    const auto results = function.Results();
    for (std::size_t i = 0; i < results.size(); ++i)
        if (results[i] == 0)
            addresses.push_back(AddressOf(calls[i]));
    return addresses;
}

std::size_t CountBlocks() {
    using namespace Platform;
    return CountLeft(ResultsOf(operator_new, operator_new_array, operator_new_nothrow,
                               operator_new_array_nothrow),
                     ArgumentsOf(operator_delete, operator_delete_sized, operator_delete_array,
                                 operator_delete_array_sized));
}

std::size_t CountDescriptors() {
    return CountLeft(ResultsOf(Platform::open, Platform::dup), ArgumentsOf(Platform::close));
}

std::size_t CountDirectories() {
    return CountLeft(ResultsOf(Platform::opendir), ArgumentsOf(Platform::closedir));
}

std::size_t CountFiles() {
    return CountLeft(ResultsOf(Platform::fopen), ArgumentsOf(Platform::fclose));
}

// iconv_open and shmat fail with an address of all ones.
Addresses WithoutFailures(Addresses addresses) {
    std::erase(addresses, reinterpret_cast<const void*>(-1)); // NOLINT(performance-no-int-to-ptr)
    return addresses;
}

std::size_t CountConverters() {
    return CountLeft(WithoutFailures(ResultsOf(Platform::iconv_open)),
                     ArgumentsOf(Platform::iconv_close));
}

std::size_t CountAttachments() {
    return CountLeft(WithoutFailures(ResultsOf(Platform::shmat)), ArgumentsOf(Platform::shmdt));
}

template <typename Function>
std::size_t CountSuccesses(const Function& function) {
    const auto results = function.Results();
    return static_cast<std::size_t>(std::count(results.begin(), results.end(), 0));
}

std::size_t CountThreads() {
    return CountSuccesses(Platform::pthread_create) - CountSuccesses(Platform::pthread_join);
}

std::size_t CountMutexes() {
    return CountLeft(MadeBy(Platform::pthread_mutex_init),
                     ArgumentsOf(Platform::pthread_mutex_destroy));
}

std::size_t CountMutexAttributes() {
    return CountLeft(MadeBy(Platform::pthread_mutexattr_init),
                     ArgumentsOf(Platform::pthread_mutexattr_destroy));
}

std::size_t CountConditions() {
    return CountLeft(MadeBy(Platform::pthread_cond_init),
                     ArgumentsOf(Platform::pthread_cond_destroy));
}

std::size_t CountConditionAttributes() {
    return CountLeft(MadeBy(Platform::pthread_condattr_init),
                     ArgumentsOf(Platform::pthread_condattr_destroy));
}

std::size_t CountLocked() {
    Addresses locked = MadeBy(Platform::pthread_mutex_lock);
    const Addresses tried = MadeBy(Platform::pthread_mutex_trylock);
    locked.insert(locked.end(), tried.begin(), tried.end());
    return CountLeft(locked, ArgumentsOf(Platform::pthread_mutex_unlock));
}

const Kinds g_kinds{
    {"block of memory", CountBlocks},
    {"descriptor", CountDescriptors},
    {"directory stream", CountDirectories},
    {"file stream", CountFiles},
    {"converter", CountConverters},
    {"attached segment", CountAttachments},
    {"thread", CountThreads},
    {"mutex", CountMutexes},
    {"attribute of a mutex", CountMutexAttributes},
    {"condition variable", CountConditions},
    {"attribute of a condition variable", CountConditionAttributes},
    {"locked mutex", CountLocked},
};

std::ptrdiff_t CountEntries(const char* directory, const std::string& begin) {
    namespace fs = std::filesystem;
    std::error_code error; // there may be no such directory
    return std::count_if(fs::directory_iterator(directory, error), fs::directory_iterator(),
                         [&begin](const fs::directory_entry& entry) {
                             return entry.path().filename().string().starts_with(begin);
                         });
}

// Other processes come and go with segments of their own.
std::ptrdiff_t CountOwnSegments() {
    const std::vector<Segment> all = ListSegments();
    return std::count_if(all.begin(), all.end(),
                         [](const Segment& segment) { return segment.maker == getpid(); });
}

void AddLine(std::ptrdiff_t count, const char* name, std::vector<std::string>& lines) {
    if (count != 0)
        lines.push_back("leaves nothing: " + std::to_string(count) + " of the kind " + name);
}

} // namespace

std::string NamePrefix() { return "vorn-sweep-" + std::to_string(getpid()); }

Kinds::Kinds(std::initializer_list<Kind> kinds) {
    AllKinds().insert(AllKinds().end(), kinds.begin(), kinds.end());
}

std::size_t CountLeft(Addresses taken, Addresses given) {
    std::erase(taken, nullptr);
    std::sort(taken.begin(), taken.end());
    std::sort(given.begin(), given.end());
    Addresses left;
    std::set_difference(taken.begin(), taken.end(), given.begin(), given.end(),
                        std::back_inserter(left));
    return left.size();
}

Holdings::Holdings() : m_before(Count()) {
    const Platform::Bypass bypass;
    Platform::RecordAll(true);
}

std::vector<std::string> Holdings::Left() const {
    const Platform::Bypass bypass;
    std::vector<std::string> lines;
    for (const Kind& kind : AllKinds())
        AddLine(static_cast<std::ptrdiff_t>(kind.left()), kind.name, lines);
    const Census now = Count();
    AddLine(now.descriptors - m_before.descriptors, "descriptor (of the process)", lines);
    AddLine(now.names - m_before.names, "name of a semaphore", lines);
    AddLine(now.segments - m_before.segments, "segment of shared memory", lines);
    return lines;
}

Holdings::Census Holdings::Count() {
    const Platform::Bypass bypass;
    return {CountEntries("/proc/self/fd", ""), CountEntries("/dev/shm", "sem." + NamePrefix()),
            CountOwnSegments()};
}

} // namespace VornTest::Sweep
