#pragma once

#include <array>
#include <atomic>
#include <thread>

#include "kestrova/frame/parallel.h"

namespace kestrova::frame {

/// One of several steps of work within one parallel region, each of which begins when the one before is done. Its
/// pieces are shared by the threads that happen to be there: unlike at a barrier of the team, nobody waits for a thread
/// that has not come, and one that comes late helps with what is left. Internal.
class Step {
public:
    /// Takes part until the step is done: calls `work(piece)` for pieces from 0 to `count` - 1 that nobody else gets,
    /// and adds to `share`.
    template <class Work>
    void join(int count, const Work& work, Share& share) noexcept {
        static_assert(noexcept(work(0)), "who waits for a piece would wait for ever");
        if (m_done.load(std::memory_order_acquire) == count) return;
        for (int i; (i = m_next.fetch_add(1, std::memory_order_relaxed)) < count; ++share.pieces) {
            work(i);
            m_done.fetch_add(1, std::memory_order_release);
        }
        if (m_done.load(std::memory_order_acquire) < count) share.waited += waitFor(count);
    }

private:
    static constexpr int kLooksBeforeYielding = 1000;

    // Longer waits leave the processor to the thread that is waited for, which may stand in its queue. In seconds.
    double waitFor(int count) const noexcept {
        const double began = omp_get_wtime();
        for (int looks = 0; m_done.load(std::memory_order_acquire) < count; ++looks)
            if (looks > kLooksBeforeYielding) std::this_thread::yield();
        return omp_get_wtime() - began;
    }

    std::atomic<int> m_next{0}, m_done{0};
};

/// `kSteps` steps, one after another.
template <int kSteps>
class Steps {
public:
    /// Takes part until the last step is done: calls `work(step, piece)`, piece being one of `pieces[step]`.
    template <class Work>
    Share join(const std::array<int, kSteps>& pieces, const Work& work) noexcept {
        Share share;
        for (std::size_t step = 0; step < kSteps; ++step) {
            const auto workOfStep = [&](int piece) noexcept(noexcept(work(0, 0))) {
                work(static_cast<int>(step), piece);
            };
            m_steps[step].join(pieces[step], workOfStep, share);
        }
        return share;
    }

private:
    std::array<Step, kSteps> m_steps;
};

}  // namespace kestrova::frame
