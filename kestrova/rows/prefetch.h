#pragma once

#include <cstddef>

#include "kestrova/frame/cache_line.h"
#include "kestrova/frame/kernel.h"

// Memory that is needed soon. The processor sees streams of its own, but neither beyond a page of 4 KB nor far enough
// ahead of a loop that computes much for each line. Addresses may lie beyond what there is. Internal.

namespace kestrova::rows {

/// Asks for the cache lines of `bytes` bytes that will be read.
[[gnu::always_inline]] inline void prefetch(const void* at, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; i += frame::kCacheLine) __builtin_prefetch(static_cast<const char*>(at) + i);
}

/// Asks for those that will be written.
[[gnu::always_inline]] inline void prefetchToWrite(void* at, std::size_t bytes) noexcept {
    for (std::size_t i = 0; i < bytes; i += frame::kCacheLine) __builtin_prefetch(static_cast<char*>(at) + i, 1);
}

/// The loops below ask for memory once for so many elements, a whole number of vectors.
constexpr std::ptrdiff_t kAskedAtOnce = 32;

/// Calls `work(i)` for i from 0 on, as often as `kAskedAtOnce` goes into n, and `ask(i)` before each such run. Returns
/// how many are done.
template <class Ask, class Work>
[[gnu::always_inline]] inline std::ptrdiff_t wholeVectorsAsking(std::ptrdiff_t n, const Ask& ask,
                                                                const Work& work) noexcept {
    std::ptrdiff_t done = 0;
    for (; done + kAskedAtOnce <= n; done += kAskedAtOnce) {
        ask(done);
        KESTROVA_INDEPENDENT
        for (std::ptrdiff_t i = done; i < done + kAskedAtOnce; ++i) work(i);
    }
    return done;
}

/// The loop of a row kernel that asks for memory on its way: the same for all i in [0, n).
template <class Ask, class Work>
[[gnu::always_inline]] inline void forEachAsking(std::ptrdiff_t n, const Ask& ask, const Work& work) noexcept {
    const std::ptrdiff_t done = wholeVectorsAsking(n, ask, work);
    KESTROVA_INDEPENDENT
    for (std::ptrdiff_t i = done; i < n; ++i) work(i);
}

/// The same where `work` may be done twice: what whole vectors leave over is done together with some before it.
template <class Ask, class Work>
[[gnu::always_inline]] inline void forEachAskingTwice(std::ptrdiff_t n, const Ask& ask, const Work& work) noexcept {
    const std::ptrdiff_t done = wholeVectorsAsking(n, ask, work);
    if (done == n) return;
    KESTROVA_INDEPENDENT
    for (std::ptrdiff_t i = done == 0 ? 0 : n - kAskedAtOnce; i < n; ++i) work(i);
}

}  // namespace kestrova::rows
