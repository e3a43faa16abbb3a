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
    /// and adds to `waited`.
    template <class Work>
    void join(int count, const Work& work, ThreadTime& waited) noexcept {
        static_assert(noexcept(work(0)), "who waits for a piece would wait for ever");
        if (m_done.load(std::memory_order_acquire) == count) return;
        for (int i; (i = m_next.fetch_add(1, std::memory_order_relaxed)) < count;) {
            work(i);
            m_done.fetch_add(1, std::memory_order_release);
        }
        if (m_done.load(std::memory_order_acquire) < count) waited += waitFor(count);
    }

private:
    static constexpr int kLooksBeforeYielding = 1000;

    // Longer waits leave the processor to the thread that is waited for, which may stand in its queue.
    ThreadTime waitFor(int count) const noexcept {
        const ThreadTime began = ThreadTime::now();
        for (int looks = 0; m_done.load(std::memory_order_acquire) < count; ++looks)
            if (looks > kLooksBeforeYielding) std::this_thread::yield();
        return ThreadTime::now() - began;
    }

    std::atomic<int> m_next{0}, m_done{0};
};

/// `kSteps` steps, one after another.
template <int kSteps>
class Steps {
public:
    /// Takes part until the last step is done: calls `work(step, piece)`, piece being one of `pieces[step]`. Returns
    /// for how long the thread has waited.
    template <class Work>
    ThreadTime join(const std::array<int, kSteps>& pieces, const Work& work) noexcept {
        ThreadTime waited;
        for (std::size_t step = 0; step < kSteps; ++step) {
            const auto workOfStep = [&](int piece) noexcept(noexcept(work(0, 0))) {
                work(static_cast<int>(step), piece);
            };
            m_steps[step].join(pieces[step], workOfStep, waited);
        }
        return waited;
    }

private:
    std::array<Step, kSteps> m_steps;
};

}  // namespace kestrova::frame
