#ifndef VORN_BASES_IMPL_CANCEL_SHIELD_H
#define VORN_BASES_IMPL_CANCEL_SHIELD_H

#include <pthread.h>

namespace Vorn {

/// Puts off the cancellation of the calling thread for the length of a scope. For destructors that
/// reach a cancellation point: a thread that is cancelled inside one takes the process with it,
/// because the unwinding may not leave a destructor.
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
