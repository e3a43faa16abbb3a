#include <algorithm>
#include <cstring>
#include <opencv2/core.hpp>

#include "kestrova/filters/local_laplacian_stages.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/zero16.h"

namespace kestrova::filters {

using namespace frame;

// Vectors are handed to functions that are always inlined: how a call would pass them does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

constexpr int kTableRows = 256, kTableCols = 256;
constexpr std::size_t kFewPixels = 16384;  // pictures for which filling the entries of their own values alone is faster

// Entries of the halves of differences d: d / 2 rounded to nearest, ties to even.
int offsetIndex(int d) {
    const int half = d >> 1;
    return std::min(kZero16 + half + (d & half & 1), 65535);
}

template <class References>
void fillEntries(ushort* table, int first, int end, const ushort* remap) noexcept {
    constexpr int kStride = kPaddedChannels<References::kCount>;
    for (int k = 0; k < References::kCount; ++k) {
        for (int y = first; y < end; ++y) {
            const int offset = 2 * remap[offsetIndex(y - k * References::kStep)] - 65536;
            table[y * kStride + k] = clamp16(y + offset);
        }
    }
}

/// Eight channels side by side. A plain loop over the channels of a pixel takes up to three times as long, and one over
/// whole vectors, whose stores overlap, is put in the wrong order by GCC 12 (-floop-unroll-and-jam).
typedef int Channels __attribute__((vector_size(32)));
constexpr int kChannelsAtOnce = 8;

[[gnu::always_inline]] inline Channels channelsAt(const ushort* p) {
    ushort __attribute__((vector_size(16))) narrow;
    std::memcpy(&narrow, p, sizeof narrow);
    return __builtin_convertvector(narrow, Channels);
}
[[gnu::always_inline]] inline void setChannels(int* p, const Channels& value) { std::memcpy(p, &value, sizeof value); }

// The taps 1 4 6 4 1 along a row, centred at column 2 (first + x) for each output column x. What the last vector of a
// pixel holds beyond its channels, the next pixel overwrites.
template <int K, class Row>
KESTROVA_KERNEL void sumFiveAcross(Row pixel, std::ptrdiff_t first, int n, int* sums) noexcept {
    if (n < 1) return;
    constexpr int kCount = kPaddedChannels<K> / kChannelsAtOnce;
    Channels a[kCount], b[kCount], c[kCount];
    for (int i = 0; i < kCount; ++i) {
        a[i] = channelsAt(pixel(2 * first - 2) + i * kChannelsAtOnce);
        b[i] = channelsAt(pixel(2 * first - 1) + i * kChannelsAtOnce);
        c[i] = channelsAt(pixel(2 * first) + i * kChannelsAtOnce);
    }
    for (int x = 0; x < n; ++x) {
        const ushort *odd = pixel(2 * (first + x) + 1), *even = pixel(2 * (first + x) + 2);
        for (int i = 0; i < kCount; ++i) {
            const Channels d = channelsAt(odd + i * kChannelsAtOnce), e = channelsAt(even + i * kChannelsAtOnce);
            setChannels(sums + x * K + i * kChannelsAtOnce, a[i] + e + 4 * (b[i] + d) + 6 * c[i]);
            a[i] = c[i];
            b[i] = d;
            c[i] = e;
        }
    }
}

int mirrored(long long i, int n) { return cv::borderInterpolate(static_cast<int>(i), n, cv::BORDER_REFLECT_101); }

// What `sumFiveAcross` gives, at a column near an edge, which mirrors the row.
template <int K, class Row>
void sumFiveAcrossEdge(Row pixel, int cols, int column, int* sums) noexcept {
    constexpr int kTaps[] = {1, 4, 6, 4, 1};
    std::fill_n(sums, K, 0);
    for (int tap = 0; tap < 5; ++tap) {
        const ushort* p = pixel(mirrored(2LL * column + tap - 2, cols));
        for (int k = 0; k < K; ++k) sums[k] += kTaps[tap] * p[k];
    }
}

template <int K, class Row>
void sumTile(Row pixel, int cols, int first, int n, int* sums) noexcept {
    const int innerFirst = std::clamp(1, first, first + n);
    const int innerEnd = std::clamp((cols - 1) / 2, innerFirst, first + n);
    for (int x = first; x < innerFirst; ++x) sumFiveAcrossEdge<K>(pixel, cols, x, sums + (x - first) * K);
    sumFiveAcross<K>(pixel, innerFirst, innerEnd - innerFirst, sums + (innerFirst - first) * K);
    for (int x = innerEnd; x < first + n; ++x) sumFiveAcrossEdge<K>(pixel, cols, x, sums + (x - first) * K);
}

KESTROVA_KERNEL void sumFiveDown(const int* __restrict a, const int* __restrict b, const int* __restrict c,
                                 const int* __restrict d, const int* __restrict e, ushort* __restrict out,
                                 int n) noexcept {
    for (int i = 0; i < n; ++i) out[i] = static_cast<ushort>((a[i] + e[i] + 4 * (b[i] + d[i]) + 6 * c[i] + 128) >> 8);
}

// Rows of one tile: each source row is summed along once and kept for the five rows below that it serves.
template <int K, class Plane>
void reduceTile(const Plane& plane, const StoredPlane<K>& out, int firstRow, int endRow, int first, int n,
                const ReductionScratch<K>& scratch) noexcept {
    const auto sumsOf = [&](long long sourceRow) { return scratch.sums->rows[(sourceRow + 5) % 5]; };
    long long next = 2LL * firstRow - 2;
    for (int y = firstRow; y < endRow; ++y) {
        const long long centre = 2LL * y;
        for (; next <= centre + 2; ++next)
            sumTile<K>(plane.row(mirrored(next, plane.rows)), plane.cols, first, n, sumsOf(next));
        sumFiveDown(sumsOf(centre - 2), sumsOf(centre - 1), sumsOf(centre), sumsOf(centre + 1), sumsOf(centre + 2),
                    out.at(y) + static_cast<std::ptrdiff_t>(first) * K, n * K);
    }
}

template <int K, class Plane>
void reduceTiles(const Plane& plane, const StoredPlane<K>& coarser, int first, int end,
                 const ReductionScratch<K>& scratch) noexcept {
    constexpr int kCols = ReductionScratch<K>::kCols;
    for (int x = 0; x < coarser.cols; x += kCols)
        reduceTile<K>(plane, coarser, first, end, x, std::min(kCols, coarser.cols - x), scratch);
}

}  // namespace

template <class References>
RemappedPlane<References::kCount> remapped(const cv::Mat& picture, const ushort* remap) {
    constexpr int K = References::kCount;
    const std::shared_ptr<ushort[]> table(new ushort[std::size_t(kTableRows) * kTableCols * kPaddedChannels<K>]);
    if (picture.total() < kFewPixels) {
        for (int y = 0; y < picture.rows; ++y) {
            const ushort* const row = picture.ptr<ushort>(y);
            for (int x = 0; x < picture.cols; ++x) fillEntries<References>(table.get(), row[x], row[x] + 1, remap);
        }
    } else {
        parallelRows(kTableRows, kTableCols * K, [&](int row) noexcept {
            fillEntries<References>(table.get(), row * kTableCols, (row + 1) * kTableCols, remap);
        });
    }
    return {picture, picture.rows, picture.cols, table};
}

template <int K>
void reduceRows(const RemappedPlane<K>& plane, const StoredPlane<K>& coarser, int first, int end,
                const ReductionScratch<K>& scratch) noexcept {
    reduceTiles<K>(plane, coarser, first, end, scratch);
}
template <int K>
void reduceRows(const StoredPlane<K>& plane, const StoredPlane<K>& coarser, int first, int end,
                const ReductionScratch<K>& scratch) noexcept {
    reduceTiles<K>(plane, coarser, first, end, scratch);
}

template <int K>
void reduce(const StoredPlane<K>& plane, const StoredPlane<K>& coarser) {
    const auto makeScratch = [] { return ReductionScratch<K>(); };
    forEachStrip(Strips(coarser.rows, workOf(coarser.cols, K)), makeScratch,
                 [&](int first, int end, ReductionScratch<K>& scratch) noexcept {
                     reduceTiles<K>(plane, coarser, first, end, scratch);
                 });
}

#define KESTROVA_INSTANTIATE(References, K)                                            \
    template RemappedPlane<K> remapped<References>(const cv::Mat&, const ushort*);     \
    template void reduceRows(const RemappedPlane<K>&, const StoredPlane<K>&, int, int, \
                             const ReductionScratch<K>&) noexcept;                     \
    template void reduceRows(const StoredPlane<K>&, const StoredPlane<K>&, int, int,   \
                             const ReductionScratch<K>&) noexcept;                     \
    template void reduce(const StoredPlane<K>&, const StoredPlane<K>&);
KESTROVA_INSTANTIATE(TenReferences, 10)
KESTROVA_INSTANTIATE(SixteenReferences, 16)
KESTROVA_INSTANTIATE(TwentyFourReferences, 24)
#undef KESTROVA_INSTANTIATE

}  // namespace kestrova::filters
