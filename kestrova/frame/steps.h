#pragma once

#include <array>
#include <atomic>
#include <thread>

#include "kestrova/frame/parallel.h"

namespace kestrova::frame {

/// Work in `kSteps` steps, each of which begins when the one before is done, within one parallel region. The pieces of
/// a step are shared by the threads that happen to be there: unlike at a barrier of the team, nobody waits for a thread
/// that has not come, and one that comes late helps with what is left. Internal.
template <int kSteps>
class Steps {
public:
    /// Takes part until the last step is done: calls `work(step, piece)` for pieces that nobody else gets, piece being
    /// one of `pieces[step]`.
    template <class Work>
    Share join(const std::array<int, kSteps>& pieces, const Work& work) noexcept {
        static_assert(noexcept(work(0, 0)), "who waits for a piece would wait for ever");
        Share share;
        for (int step = 0; step < kSteps; ++step) {
            const int count = pieces[static_cast<std::size_t>(step)];
            Step& s = m_steps[static_cast<std::size_t>(step)];
            if (s.done.load(std::memory_order_acquire) == count) continue;
            for (int i; (i = s.next.fetch_add(1, std::memory_order_relaxed)) < count; ++share.pieces) {
                work(step, i);
                s.done.fetch_add(1, std::memory_order_release);
            }
            if (s.done.load(std::memory_order_acquire) < count) share.waited += waitFor(s, count);
        }
        return share;
    }

private:
    static constexpr int kLooksBeforeYielding = 1000;

    struct Step {
        std::atomic<int> next{0}, done{0};
    };

    // Longer waits leave the processor to the thread that is waited for, which may stand in its queue. In seconds.
    static double waitFor(const Step& step, int count) noexcept {
        const double began = omp_get_wtime();
        for (int looks = 0; step.done.load(std::memory_order_acquire) < count; ++looks)
            if (looks > kLooksBeforeYielding) std::this_thread::yield();
        return omp_get_wtime() - began;
    }

    std::array<Step, kSteps> m_steps;
};

}  // namespace kestrova::frame
