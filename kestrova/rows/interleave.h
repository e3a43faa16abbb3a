#pragma once

#include <cstddef>

#include "kestrova/frame/kernel.h"

// Row kernels between two rows and one of pairs. Internal.

namespace kestrova::rows {

/// a0 b0 a1 b1 ..., n of each; `a` and `b` may be one row.
template <class T>
KESTROVA_KERNEL void interleave(const T* a, const T* b, T* __restrict pairs, int n) noexcept {
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        pairs[2 * x] = a[x];
        pairs[2 * x + 1] = b[x];
    }
}

/// The way back.
template <class T>
KESTROVA_KERNEL void deinterleave(const T* pairs, T* a, T* b, int n) noexcept {
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        a[x] = pairs[2 * x];
        b[x] = pairs[2 * x + 1];
    }
}

}  // namespace kestrova::rows
