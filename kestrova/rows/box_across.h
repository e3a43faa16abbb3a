#pragma once

#include "kestrova/frame/kernel.h"

// Sums across neighbouring columns. Internal.
//
// Those of `width` columns come from sums of half as many, so that their cost and their rounding grow with the
// logarithm of the width alone: 0.08 ns a pixel for each binary digit, all in vectors, where a running sum, being
// serial, takes 0.55 ns at any width.

namespace kestrova::rows {

namespace box_across {

template <class Sum, class Out, class Finish>
KESTROVA_KERNEL void finishRow(const Sum* sums, Out* __restrict out, int n, Finish finish) noexcept {
    for (int x = 0; x < n; ++x) out[x] = finish(sums[x]);
}

/// From the sums of `length` neighbouring columns those of twice as many, and one column more if `kOdd`.
template <bool kOdd, class Sum, class Out, class Finish>
KESTROVA_KERNEL void doubleRow(const Sum* sums, int length, const Sum* columns, Out* __restrict out, int n,
                               Finish finish) noexcept {
    for (int x = 0; x < n; ++x) {
        const Sum both = sums[x] + sums[x + length];
        out[x] = finish(kOdd ? both + columns[x + 2 * length] : both);
    }
}

/// The same twice over, without the sums between: those of `half` columns are of two times `quarter`, and one more if
/// `kOddHalf`.
template <bool kOdd, bool kOddHalf, class Sum, class Out, class Finish>
KESTROVA_KERNEL void quadrupleRow(const Sum* sums, int quarter, const Sum* columns, Out* __restrict out, int n,
                                  Finish finish) noexcept {
    const int half = 2 * quarter + kOddHalf;
    for (int x = 0; x < n; ++x) {
        Sum left = sums[x] + sums[x + quarter], right = sums[x + half] + sums[x + half + quarter];
        if constexpr (kOddHalf) {
            left += columns[x + 2 * quarter];
            right += columns[x + half + 2 * quarter];
        }
        const Sum both = left + right;
        out[x] = finish(kOdd ? both + columns[x + 2 * half] : both);
    }
}

struct Unchanged {
    template <class Sum>
    Sum operator()(Sum sum) const {
        return sum;
    }
};

}  // namespace box_across

/// out[x] = finish(columns[x] + ... + columns[x + width - 1]), x < n. `scratch` and `otherScratch` hold n + width sums.
template <class Sum, class Out, class Finish>
void sumAcross(const Sum* columns, int width, Sum* scratch, Sum* otherScratch, Out* out, int n,
               Finish finish) noexcept {
    using namespace box_across;
    if (width == 1) return finishRow(columns, out, n, finish);
    const int half = width / 2, quarter = half / 2;
    const bool odd = width % 2, oddHalf = half % 2;
    if (half == 1)
        return (odd ? doubleRow<true, Sum, Out, Finish> : doubleRow<false, Sum, Out, Finish>)(columns, half, columns,
                                                                                              out, n, finish);
    const Sum* sums = columns;
    if (quarter > 1) {
        sumAcross(columns, quarter, otherScratch, scratch, scratch, n + half + quarter, Unchanged{});
        sums = scratch;
    }
    const auto quadruple =
        odd ? (oddHalf ? quadrupleRow<true, true, Sum, Out, Finish> : quadrupleRow<true, false, Sum, Out, Finish>)
            : (oddHalf ? quadrupleRow<false, true, Sum, Out, Finish> : quadrupleRow<false, false, Sum, Out, Finish>);
    quadruple(sums, quarter, columns, out, n, finish);
}

}  // namespace kestrova::rows
