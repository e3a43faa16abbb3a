#pragma once

#include <algorithm>

#include "kestrova/frame/parallel.h"

namespace kestrova::primitives {

/// Calls `work(first, count)` for contiguous chunks of a vector of `len` elements. Internal.
template <class Work>
void parallelChunks(int len, const Work& work) {
    constexpr int kChunk = 1 << 14;
    static_assert(noexcept(work(0, 0)), "no throw may cross the boundary of a parallel region");
    frame::parallelRows((len - 1) / kChunk + 1, kChunk, [&](int i) noexcept {
        const int first = i * kChunk;
        work(first, std::min(kChunk, len - first));
    });
}

}  // namespace kestrova::primitives
