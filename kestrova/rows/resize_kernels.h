#pragma once

#include <cstddef>
#include <type_traits>

#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"

// Row kernels of resizing: pixels of type T are weighted into sums of type W and rounded back into pixels. W is double,
// or int with weights in units of 2^-bits. Internal.

namespace kestrova::rows {

namespace resize_kernels {

template <class W, class T>
inline W weighted(W weight, T pixel) {
    return weight * static_cast<W>(pixel);
}

// Constant advances are vectorised; with others too few pixels of a row are touched to need it.
template <class Out, class Sum>
inline void atEvery(std::ptrdiff_t advance, Out* __restrict out, int n, const Sum& sum) {
    if (advance == 1)
        for (int x = 0; x < n; ++x) out[x] = sum(x);
    else if (advance == 2)
        for (int x = 0; x < n; ++x) out[x] = sum(2 * x);
    else if (advance == 3)
        for (int x = 0; x < n; ++x) out[x] = sum(3 * x);
    else
        for (int x = 0; x < n; ++x) out[x] = sum(x * advance);
}

// ---- Copies: all columns fall on whole pixels

template <class T>
KESTROVA_KERNEL void gather(const T* __restrict row, const int* __restrict first, T* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = row[first[x]];
}

template <class T>
KESTROVA_KERNEL void stride(const T* __restrict p, std::ptrdiff_t advance, T* __restrict out, int n) noexcept {
    atEvery(advance, out, n, [=](std::ptrdiff_t x) { return p[x]; });
}

// ---- Along a row: each column with weights of its own

template <class T, class W>
KESTROVA_KERNEL void table2(const T* __restrict row, const int* __restrict first, const W* __restrict w0,
                            const W* __restrict w1, W* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const T* p = row + first[x];
        out[x] = weighted(w0[x], p[0]) + weighted(w1[x], p[1]);
    }
}

template <class T, class W>
KESTROVA_KERNEL void table4(const T* __restrict row, const int* __restrict first, const W* __restrict w0,
                            const W* __restrict w1, const W* __restrict w2, const W* __restrict w3, W* __restrict out,
                            int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const T* p = row + first[x];
        out[x] = weighted(w0[x], p[0]) + weighted(w1[x], p[1]) + weighted(w2[x], p[2]) + weighted(w3[x], p[3]);
    }
}

// ---- Along a row: one phase of a periodic pattern, columns with the same weights every `advance` pixels

template <class T, class W>
KESTROVA_KERNEL void phase1(const T* __restrict p, std::ptrdiff_t advance, W w0, W* __restrict out, int n) noexcept {
    atEvery(advance, out, n, [=](std::ptrdiff_t x) { return weighted(w0, p[x]); });
}

template <class T, class W>
KESTROVA_KERNEL void phase2(const T* __restrict p, std::ptrdiff_t advance, W w0, W w1, W* __restrict out,
                            int n) noexcept {
    atEvery(advance, out, n, [=](std::ptrdiff_t x) { return weighted(w0, p[x]) + weighted(w1, p[x + 1]); });
}

template <class T, class W>
KESTROVA_KERNEL void phase4(const T* __restrict p, std::ptrdiff_t advance, W w0, W w1, W w2, W w3, W* __restrict out,
                            int n) noexcept {
    atEvery(advance, out, n, [=](std::ptrdiff_t x) {
        return weighted(w0, p[x]) + weighted(w1, p[x + 1]) + weighted(w2, p[x + 2]) + weighted(w3, p[x + 3]);
    });
}

template <class W>
KESTROVA_KERNEL void spread(const W* __restrict phase, W* __restrict out, std::ptrdiff_t period, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x * period] = phase[x];
}

// ---- Down the columns, and rounding

// Halves go up.
template <class T>
inline T rounded(int sum, int bits) {
    const int v = (sum + ((1 << bits) >> 1)) >> bits;
    return static_cast<T>(frame::clampInt(v, 0, static_cast<T>(-1)));
}

// What lies less than 2^-30 below a half is a half: sums carry noise of some 2^-34, from weights such as 1/18, while
// bilinear sums by factors up to 40 that are not halves miss them by 2^-24 or more.
constexpr double kHalfUp = 0.5 + 0x1p-30;

template <class T>
inline T rounded(double sum, int) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(sum);
    } else {
        constexpr double top = static_cast<T>(-1);
        double v = sum + kHalfUp;
        v = v > 0 ? v : 0;
        v = v < top ? v : top;
        return static_cast<T>(static_cast<int>(v));
    }
}

template <class T, class W>
KESTROVA_KERNEL void sumRows1(const W* __restrict a, int bits, T* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(a[x], bits);
}

template <class T, class W>
KESTROVA_KERNEL void sumRows2(const W* __restrict a, const W* __restrict b, W wa, W wb, int bits, T* __restrict out,
                              int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(wa * a[x] + wb * b[x], bits);
}

template <class T, class W>
KESTROVA_KERNEL void sumRows4(const W* __restrict a, const W* __restrict b, const W* __restrict c,
                              const W* __restrict d, W wa, W wb, W wc, W wd, int bits, T* __restrict out,
                              int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<T>(wa * a[x] + wb * b[x] + wc * c[x] + wd * d[x], bits);
}

}  // namespace resize_kernels

}  // namespace kestrova::rows
