// SPDX-License-Identifier: MIT
#ifndef VORN_BASES_IMPL_SPIN_GUESS_H
#define VORN_BASES_IMPL_SPIN_GUESS_H

// Whether a thread should look on for a moment before it blocks.

#include <algorithm>
#include <atomic>

namespace Vorn {

/// Guesses from earlier spins: each one in vain makes twice as many waits block at once, up to 256,
/// and each one that paid half as many. So two threads that answer each other soon stay awake, and
/// one that waits for long loses less than a hundredth of a spin with each wait.
///
/// Threads that guess at the same time may spoil the guess, and nothing else.
class SpinGuess {
public:
    /// Whether the wait at hand should spin; it tells afterwards what came of it.
    bool ShouldSpin() {
        const unsigned int left = m_nToBlock.load(std::memory_order_relaxed);
        if (left > 0)
            m_nToBlock.store(left - 1, std::memory_order_relaxed);
        return left == 0;
    }

    void Paid() { SetNext(std::max(Next() / 2, 1U)); }

    void WasInVain() {
        m_nToBlock.store(Next(), std::memory_order_relaxed);
        SetNext(std::min(2 * Next(), MostToBlock));
    }

private:
    static constexpr unsigned int MostToBlock = 256;

    unsigned int Next() const { return m_nToBlockNext.load(std::memory_order_relaxed); }
    void SetNext(unsigned int next) { m_nToBlockNext.store(next, std::memory_order_relaxed); }

    std::atomic<unsigned int> m_nToBlock{0};     // so many waits from now on
    std::atomic<unsigned int> m_nToBlockNext{1}; // and so many after the next spin in vain
};

} // namespace Vorn

#endif
