// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_PREPARE_H
#define VORN_BASES_TESTS_SUPPORT_PREPARE_H

#include <initializer_list>
#include <string>

#include <sys/resource.h>

namespace VornTest {

// What a test has done in a new process just before a program takes it over: Surroundings::prepare.

/// Takes capabilities from the superuser; nothing changes for others. Where that is not possible,
/// the process ends with the status CannotGiveUp.
void GiveUp(std::initializer_list<int> capabilities);
constexpr int CannotGiveUp = 126;
constexpr const char* WhyNotGivenUp = "the superuser's privileges cannot be given up here";

/// The same for reading and writing what the permissions keep from everybody else.
void GiveUpFileAccess();

/// Lets a write beyond this size of a file end the process with SIGXFSZ, or fail.
void LimitFileSize(rlim_t size);
void FailWritesBeyond(rlim_t size);

/// Makes everything that is written to standard output fail.
void PrintNowhere();

/// Makes the end of a file standard output.
void AppendTo(const std::string& path);

/// Makes a file standard input.
void ReadFrom(const std::string& path);

} // namespace VornTest

#endif
