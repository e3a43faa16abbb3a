#pragma once

#include <algorithm>
#include <cstddef>

#include "kestrova/frame/kernel.h"

// Sums across neighbouring columns. Internal.
//
// Those of `width` columns come from sums of half as many, so that their cost and their rounding grow with the
// logarithm of the width alone: 0.08 ns a pixel for each binary digit, all in vectors, where a running sum, being
// serial, takes 0.55 ns at any width. Wide ones of doubles come from running sums that begin anew every so often.

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

// A row cut in *eights*, from its first place on: an eight holds, at each of its places, the sum of the eight columns
// from there on. The sum of 8m columns is that of m eights, place by place, the first of which begins where it begins.
// So where eights are grouped by m, each sum is of the rest of a group and of the beginning of the next one: of two
// running sums, one from either side of the line between them (M. van Herk, "A Fast Algorithm for Local Minimum and
// Maximum Filters on Rectangular and Octagonal Kernels", 1992). Nothing is taken away again, and a sum depends on its
// own columns alone, and on its place.

constexpr int kEight = 8;
/// From this width on sums of doubles are wide: narrower ones take less time by halves.
constexpr int kWideAcross = 192;
/// So many more elements have the rows of scratch for wide sums.
constexpr int kWideSlack = 6 * kEight;

namespace box_across {

typedef double Eight __attribute__((vector_size(kEight * sizeof(double)), may_alias));

/// The sums of `count` eights from each of the first `n` on, in its place; `count` more lie behind them. The first is
/// number `first` of its row.
KESTROVA_KERNEL inline void sumEights(double* eights, std::ptrdiff_t first, std::ptrdiff_t n,
                                      std::ptrdiff_t count) noexcept {
    auto* const e = reinterpret_cast<Eight*>(eights);
    for (std::ptrdiff_t i = 0; i < n;) {
        const std::ptrdiff_t group = i + count - (first + i) % count, end = std::min(group, n);
        Eight rest = {}, beginning = {};
        for (std::ptrdiff_t k = group - 1; k >= end; --k) rest += e[k];
        for (std::ptrdiff_t k = end - 1; k >= i; --k) e[k] = rest += e[k];
        for (std::ptrdiff_t k = group; k < i + count; ++k) beginning += e[k];
        for (; i < end; ++i) {
            e[i] += beginning;
            beginning += e[i + count];
        }
    }
}

/// The columns that are left of a width in eights: `kLeft` of them, the first four as a sum of their own.
template <int kLeft, class Out, class Finish>
KESTROVA_KERNEL void finishEights(const double* __restrict sums, const double* __restrict fours,
                                  const double* __restrict columns, Out* __restrict out, int n,
                                  Finish finish) noexcept {
    constexpr int kSingle = kLeft % 4;
    for (int x = 0; x < n; ++x) {
        double sum = sums[x];
        if constexpr (kLeft >= 4) sum += fours[x];
        for (int i = kLeft - kSingle; i < kLeft; ++i) sum += columns[x + i];
        out[x] = finish(sum);
    }
}

template <class Out, class Finish>
void finishEights(int left, const double* sums, const double* fours, const double* columns, Out* out, int n,
                  Finish finish) noexcept {
    switch (left) {
        case 0: return finishEights<0>(sums, fours, columns, out, n, finish);
        case 1: return finishEights<1>(sums, fours, columns, out, n, finish);
        case 2: return finishEights<2>(sums, fours, columns, out, n, finish);
        case 3: return finishEights<3>(sums, fours, columns, out, n, finish);
        case 4: return finishEights<4>(sums, fours, columns, out, n, finish);
        case 5: return finishEights<5>(sums, fours, columns, out, n, finish);
        case 6: return finishEights<6>(sums, fours, columns, out, n, finish);
        default: return finishEights<7>(sums, fours, columns, out, n, finish);
    }
}

}  // namespace box_across

/// `sumAcross` of doubles from place `first` of a row on. `scratch` and `otherScratch` begin on a cache line and hold
/// n + width + `kWideSlack` sums.
template <class Out, class Finish>
void sumAcrossFrom(int first, const double* columns, int width, double* scratch, double* otherScratch, Out* out, int n,
                   Finish finish) noexcept {
    using namespace box_across;
    if (width < kWideAcross) return sumAcross(columns, width, scratch, otherScratch, out, n, finish);
    const int lead = first % kEight, count = width / kEight, covered = n + width - 1;
    const int places = (lead + covered + 2 * kEight) / kEight * kEight;

    double *const fours = scratch, *const eights = otherScratch;
    std::fill_n(fours, lead, 0.0);
    quadrupleRow<false, false>(columns, 1, columns, fours + lead, covered - 3, Unchanged{});
    std::fill(fours + lead + covered - 3, fours + places + 4, 0.0);
    doubleRow<false>(fours, 4, fours, eights, places, Unchanged{});
    sumEights(eights, first / kEight, (lead + n + kEight - 1) / kEight, count);
    const int whole = kEight * count;
    finishEights(width - whole, eights + lead, fours + lead + whole, columns + whole, out, n, finish);
}

}  // namespace kestrova::rows
