// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_FUZZ_SUPPORT_TARGET_H
#define VORN_BASES_FUZZ_SUPPORT_TARGET_H

#include <cstddef>
#include <cstdint>

/// The function by which libFuzzer knows a target. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size);

#endif
