#ifndef VORN_BASES_IMPL_TIMEOUTS_H
#define VORN_BASES_IMPL_TIMEOUTS_H

namespace Vorn {

/// The time-out in milliseconds that stands for waiting without limit.
inline constexpr unsigned int NoLimit = 0xFFFFFFFF;

} // namespace Vorn

#endif
