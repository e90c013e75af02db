// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_TESTS_SUPPORT_THOROUGH_H
#define VORN_BASES_TESTS_SUPPORT_THOROUGH_H

namespace VornTest {

/// Whether a test takes all cases of a long series, as it does in builds without assertions, which
/// are optimised; otherwise a part, so that the suite stays short while somebody works with it.
#ifdef NDEBUG
inline constexpr bool IsThorough = true;
#else
inline constexpr bool IsThorough = false;
#endif

} // namespace VornTest

#endif
