// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_CANCEL_SHIELD_H
#define VORN_BASES_IMPL_CANCEL_SHIELD_H

// Scoped disabling of cancellation.

#include <pthread.h>

namespace Vorn {

/// Disables the cancellation of the calling thread for the length of a scope. For destructors that
/// reach a cancellation point: the unwinding of a cancelled thread may not leave a destructor, so
/// the process would terminate.
class CancelShield {
public:
    CancelShield() : m_nOldState(PTHREAD_CANCEL_ENABLE) {
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_nOldState);
    }
    ~CancelShield() { pthread_setcancelstate(m_nOldState, nullptr); }
    CancelShield(const CancelShield&) = delete;
    CancelShield& operator=(const CancelShield&) = delete;

private:
    int m_nOldState;
};

} // namespace Vorn

#endif
