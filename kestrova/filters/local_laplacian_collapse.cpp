#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "kestrova/filters/local_laplacian_stages.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"

namespace {

constexpr int kBias = 32767;  // zero of a Laplacian level
constexpr int kTile =
    1024;  // columns at a time: their sums stay in the caches, and rows are long enough to be fetched ahead

// What the pixels of a tile are interpolated from: the chosen channel and the next one, side by side.
struct Pairs {
    alignas(64) int index[kTile];
    alignas(64) float part[kTile];
    alignas(64) ushort taken[2 * kTile];
    alignas(64) int raised[2 * kTile];
};

template <class References>
KESTROVA_KERNEL void choose(const ushort* g, int n, int* __restrict index, float* __restrict part) noexcept {
    for (int x = 0; x < n; ++x) {
        const Choice choice = choiceAt<References>(g[x]);
        index[x] = choice.index;
        part[x] = choice.part;
    }
}

template <class Row>
void take(Row pixel, std::ptrdiff_t first, int n, const int* index, ushort* pairs) noexcept {
    for (int x = 0; x < n; ++x) std::memcpy(pairs + 2 * x, pixel(first + x) + index[x], 2 * sizeof(ushort));
}

// The Gaussian taps 1 6 1 or 4 4 down the columns.
KESTROVA_KERNEL void raiseEvenRow(const ushort* above, const ushort* here, const ushort* below, int* __restrict sums,
                                  int n) noexcept {
    for (int i = 0; i < n; ++i) sums[i] = above[i] + 6 * here[i] + below[i];
}
KESTROVA_KERNEL void raiseOddRow(const ushort* here, const ushort* below, int* __restrict sums, int n) noexcept {
    for (int i = 0; i < n; ++i) sums[i] = 4 * (here[i] + below[i]);
}

// Two sums side by side in one integer; those of an enlarging are far from 32 bits, so that nothing is carried over.
std::uint64_t sumPair(const int* p) {
    std::uint64_t pair;
    std::memcpy(&pair, p, sizeof pair);
    return pair;
}
constexpr std::uint64_t inBoth(std::uint64_t v) { return v << 32 | v; }

// The same along a row of sums of K channels, for the pairs alone. `sums` begins at the tile's first column.
template <int K>
void raisePairs(const int* sums, int n, const int* index, int* raised) noexcept {
    for (int x = 0; x < n; x += 2, sums += K) {
        const int* const p = sums + index[x];
        const std::uint64_t even =
            (sumPair(p - K) + 6 * sumPair(p) + sumPair(p + K) + inBoth(32)) >> 6 & inBoth(0xffff);
        std::memcpy(raised + 2 * x, &even, sizeof even);
        if (x + 1 == n) break;
        const int* const q = sums + index[x + 1];
        const std::uint64_t odd = (4 * (sumPair(q) + sumPair(q + K)) + inBoth(32)) >> 6 & inBoth(0xffff);
        std::memcpy(raised + 2 * x + 2, &odd, sizeof odd);
    }
}

// The same for one channel; writes an even number of columns.
KESTROVA_KERNEL void raise(const int* sums, int n, int* __restrict raised) noexcept {
    for (int c = 0; c < (n + 1) / 2; ++c) {
        raised[2 * c] = (sums[c - 1] + 6 * sums[c] + sums[c + 1] + 32) >> 6;
        raised[2 * c + 1] = (4 * (sums[c] + sums[c + 1]) + 32) >> 6;
    }
}

KESTROVA_KERNEL void interpolate(const Pairs& pairs, int n, ushort* __restrict out) noexcept {
    for (int x = 0; x < n; ++x) out[x] = interpolated(pairs.taken[2 * x], pairs.taken[2 * x + 1], pairs.part[x]);
}

KESTROVA_KERNEL void interpolateOnto(const Pairs& pairs, const int* raised, int n, ushort* __restrict out) noexcept {
    for (int x = 0; x < n; ++x) {
        const int low = clamp16(pairs.taken[2 * x] - pairs.raised[2 * x] + kBias);
        const int high = clamp16(pairs.taken[2 * x + 1] - pairs.raised[2 * x + 1] + kBias);
        out[x] = clamp16(interpolated(low, high, pairs.part[x]) + raised[x] - kBias);
    }
}

// Sums down the columns for row `y` of twice as many, over `n` columns of K channels from column `first` on, which may
// lie one before the plane and reach one beyond: the first row and column are mirrored, the last ones repeated.
template <int K, class At>
void sumDown(const At& at, int rows, int cols, int y, int first, int n, int* sums) noexcept {
    const int here = y / 2, below = std::min(here + 1, rows - 1);
    const int above = here > 0 ? here - 1 : std::min(1, rows - 1);
    const int inner = std::max(first, 0), innerEnd = std::min(first + n, cols);
    const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(inner) * K;
    int* const out = sums + (inner - first) * K;
    const int length = (innerEnd - inner) * K;
    if (y % 2 == 0)
        raiseEvenRow(at(above) + start, at(here) + start, at(below) + start, out, length);
    else
        raiseOddRow(at(here) + start, at(below) + start, out, length);
    if (first < 0) std::copy_n(cols > 1 ? out + K : out, K, sums);
    if (innerEnd < first + n) std::copy_n(out + length - K, K, out + length);
}

// Where the rows are odd in number, `cv::pyrUp` makes the last one by taps that depend on its vector width. It is
// asked for that row itself; the last two rows of the source are all that it looks at.
struct LastRow {
    template <class At>
    LastRow(const At& at, int rows, int cols, int channels, int outRows, int outCols) {
        if (outRows % 2 == 0 || outRows == 1) return;
        const std::size_t step = static_cast<std::size_t>(at(rows - 1) - at(rows - 2)) * sizeof(ushort);
        const cv::Mat source(2, cols, CV_16UC(channels), const_cast<ushort*>(at(rows - 2)), step);
        cv::pyrUp(source, three, {outCols, 3});
    }
    const ushort* pixels() const { return three.empty() ? nullptr : three.ptr<ushort>(2); }
    cv::Mat three;
};

int costOf(int cols, int channels) { return cols > INT_MAX / channels ? INT_MAX : cols * channels; }

}  // namespace

template <class References, class Plane>
void collapseTop(const cv::Mat& g, const Plane& remapped, cv::Mat& result) {
    parallelRows(g.rows, g.cols, [&](int y) noexcept {
        Pairs pairs;
        for (int x = 0; x < g.cols; x += kTile) {
            const int n = std::min(kTile, g.cols - x);
            choose<References>(g.ptr<ushort>(y) + x, n, pairs.index, pairs.part);
            take(remapped.row(y), x, n, pairs.index, pairs.taken);
            interpolate(pairs, n, result.ptr<ushort>(y) + x);
        }
    });
}

template <class References, class Plane>
void collapseLevel(const cv::Mat& g, const Plane& remapped, const StoredPlane<References::kCount>& coarser,
                   const cv::Mat& coarserResult, cv::Mat& result) {
    constexpr int K = References::kCount;
    const int rows = coarser.rows, cols = coarser.cols;
    const auto remappedAt = [&](int y) noexcept { return coarser.at(y); };
    const auto resultAt = [&](int y) noexcept { return coarserResult.ptr<ushort>(y); };
    const LastRow lastRemapped(remappedAt, rows, cols, K, g.rows, g.cols);
    const LastRow lastResult(resultAt, rows, cols, 1, g.rows, g.cols);

    parallelStrips(stripCount(g.rows, costOf(g.cols, 4)), g.rows, [&](int firstRow, int endRow, int) noexcept {
        Pairs pairs;
        alignas(64) int remappedSums[(kTile / 2 + 2) * K], resultSums[kTile / 2 + 2], raised[kTile];
        for (int x = 0; x < g.cols; x += kTile) {
            const int n = std::min(kTile, g.cols - x);
            const int first = x / 2 - 1, width = (n + 1) / 2 + 2;
            for (int y = firstRow; y < endRow; ++y) {
                choose<References>(g.ptr<ushort>(y) + x, n, pairs.index, pairs.part);
                take(remapped.row(y), x, n, pairs.index, pairs.taken);
                if (y == g.rows - 1 && lastRemapped.pixels()) {
                    ushort last[2 * kTile];
                    take(StoredRow<K>{lastRemapped.pixels()}, x, n, pairs.index, last);
                    std::copy_n(last, 2 * n, pairs.raised);
                    std::copy_n(lastResult.pixels() + x, n, raised);
                } else {
                    sumDown<K>(remappedAt, rows, cols, y, first, width, remappedSums);
                    raisePairs<K>(remappedSums + K, n, pairs.index, pairs.raised);
                    sumDown<1>(resultAt, rows, cols, y, first, width, resultSums);
                    raise(resultSums + 1, n, raised);
                }
                interpolateOnto(pairs, raised, n, result.ptr<ushort>(y) + x);
            }
        }
    });
}

#define KESTROVA_INSTANTIATE(References)                                                                       \
    template void collapseTop<References>(const cv::Mat&, const RemappedPlane<References::kCount>&, cv::Mat&); \
    template void collapseTop<References>(const cv::Mat&, const StoredPlane<References::kCount>&, cv::Mat&);   \
    template void collapseLevel<References>(const cv::Mat&, const RemappedPlane<References::kCount>&,          \
                                            const StoredPlane<References::kCount>&, const cv::Mat&, cv::Mat&); \
    template void collapseLevel<References>(const cv::Mat&, const StoredPlane<References::kCount>&,            \
                                            const StoredPlane<References::kCount>&, const cv::Mat&, cv::Mat&);
KESTROVA_INSTANTIATE(TenReferences)
KESTROVA_INSTANTIATE(SixteenReferences)
KESTROVA_INSTANTIATE(TwentyFourReferences)
#undef KESTROVA_INSTANTIATE
