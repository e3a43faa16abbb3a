#pragma once

#include <algorithm>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/window.h"

// Rows of `ippiFilterGauss`, also for work that smooths and goes on with the row. Internal.

namespace kestrova::rows::gauss_rows {

/// A kernel by one quadrant, its weights by the distances from the centre.
struct Gauss3x3 {
    static constexpr int kRadius = 1, kTotal = 16;
    static constexpr int kWeights[2][2] = {{4, 2}, {2, 1}};
};
/// The larger kernel, likewise.
struct Gauss5x5 {
    static constexpr int kRadius = 2, kTotal = 571;
    static constexpr int kWeights[3][3] = {{127, 52, 12}, {52, 31, 7}, {12, 7, 2}};
};

/// The sum over the total of the weights, rounded to nearest, halves up.
template <int kTotal>
inline uchar mean(int sum) {
    return static_cast<uchar>(static_cast<unsigned>(sum + kTotal / 2) / kTotal);
}
/// The sum over the total of the weights, rounded to float.
template <int kTotal>
inline float mean(double sum) {
    return static_cast<float>(sum * (1.0 / kTotal));
}

/// How far apart the sums of one distance and those of the next lie: they begin on a cache line, as the first do.
template <class Gauss>
constexpr int kStride = (kTileColumns + 2 * Gauss::kRadius + 15) / 16 * 16;

/// sums[d * kStride + x]: column x of the window, weighted as one that lies `d` columns from the centre.
template <class Gauss, class Element, class Sum>
KESTROVA_KERNEL void weighColumns(const Element* const* windowRows, Sum* __restrict sums, int n) noexcept {
    constexpr int kRadius = Gauss::kRadius;
    const Element* rows[2 * kRadius + 1];
    for (int i = 0; i <= 2 * kRadius; ++i) rows[i] = windowRows[i];
    for (int x = 0; x < n; ++x) {
        for (int d = 0; d <= kRadius; ++d) {
            Sum sum = 0;
            for (int i = kRadius; i > 0; --i)
                sum += Gauss::kWeights[d][i] *
                       (static_cast<Sum>(rows[kRadius - i][x]) + static_cast<Sum>(rows[kRadius + i][x]));
            sums[d * kStride<Gauss> + x] = sum + Gauss::kWeights[d][0] * static_cast<Sum>(rows[kRadius][x]);
        }
    }
}

/// dst[x]: the mean of the window whose columns have the weighted sums x .. x + 2 kRadius.
template <class Gauss, class Element, class Sum>
KESTROVA_KERNEL void weighAcross(const Sum* __restrict sums, Element* __restrict dst, int n) noexcept {
    constexpr int kRadius = Gauss::kRadius, columns = kStride<Gauss>;
    for (int x = 0; x < n; ++x) {
        const Sum* centre = sums + x + kRadius;
        Sum sum = 0;
        for (int d = kRadius; d > 0; --d) sum += centre[d * columns - d] + centre[d * columns + d];
        dst[x] = mean<Gauss::kTotal>(sum + centre[0]);
    }
}

/// Elements of scratch that `filterRow` needs.
template <class Gauss>
constexpr int kScratch = (Gauss::kRadius + 1) * kStride<Gauss>;

/// Filters a row: `windowRows` are the 2 kRadius + 1 rows around it, each from kRadius columns left of it on. `Sum` is
/// double for floats and int for bytes.
template <class Gauss, class Element, class Sum>
void filterRow(const Element* const* windowRows, Element* dst, int width, Sum* scratch) noexcept {
    constexpr int kRadius = Gauss::kRadius;
    for (int x = 0; x < width; x += kTileColumns) {
        const Element* rows[2 * kRadius + 1];
        for (int i = 0; i <= 2 * kRadius; ++i) rows[i] = windowRows[i] + x;
        const int n = std::min(kTileColumns, width - x);
        weighColumns<Gauss>(rows, scratch, n + 2 * kRadius);
        weighAcross<Gauss>(scratch, dst + x, n);
    }
}

}  // namespace kestrova::rows::gauss_rows
