#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "kestrova/filters/local_laplacian_stages.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/rows/pyramid_rows.h"

namespace kestrova::filters {

using namespace frame;
using namespace rows;

namespace {

// Columns at a time: their sums stay in the caches, and rows are long enough for the processor to fetch ahead.
constexpr int kCols = 1024;

// What the pixels of a tile are interpolated from: the chosen channel and the next one, side by side.
struct Pairs {
    alignas(64) int index[kCols];
    alignas(64) float part[kCols];
    alignas(64) ushort taken[2 * kCols];
    alignas(64) int raised[2 * kCols];
};

// What a thread that makes coefficients works with.
template <int K>
struct CoefficientScratch {
    struct Tile {
        Pairs pairs;
        alignas(64) int sums[(kCols / 2 + 2) * K];
        ushort ofLastRow[2 * kCols];
    };
    std::unique_ptr<Tile> tile{new Tile};
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

void take(PairPlane::Row row, std::ptrdiff_t first, int n, const int*, ushort* pairs) noexcept {
    std::copy_n(row.pairs + 2 * first, 2 * n, pairs);
}

// Two sums side by side in one integer; those of an enlarging are far from 32 bits, so that nothing is carried over.
std::uint64_t sumPair(const int* p) {
    std::uint64_t pair;
    std::memcpy(&pair, p, sizeof pair);
    return pair;
}
constexpr std::uint64_t inBoth(std::uint64_t v) { return v << 32 | v; }

// Enlarges along a row of sums of K channels, for the pairs alone: 1 6 1 at even columns, 4 4 at odd ones, over 64.
// `sums` begins at the tile's first column.
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

KESTROVA_KERNEL void interpolate(const Pairs& pairs, int n, ushort* __restrict out) noexcept {
    for (int x = 0; x < n; ++x) out[x] = interpolated(pairs.taken[2 * x], pairs.taken[2 * x + 1], pairs.part[x]);
}

KESTROVA_KERNEL void interpolateDifferences(const Pairs& pairs, int n, ushort* __restrict out) noexcept {
    for (int x = 0; x < n; ++x) {
        const int low = clamp16(pairs.taken[2 * x] - pairs.raised[2 * x] + kLaplacianZero);
        const int high = clamp16(pairs.taken[2 * x + 1] - pairs.raised[2 * x + 1] + kLaplacianZero);
        out[x] = interpolated(low, high, pairs.part[x]);
    }
}

KESTROVA_KERNEL void addRow(const ushort* raised, int n, ushort* __restrict inOut) noexcept {
    for (int x = 0; x < n; ++x) inOut[x] = clamp16(inOut[x] + raised[x] - kLaplacianZero);
}

// Sums down the columns for row `y` of twice as many, over `n` columns of K channels from column `first` on, which may
// lie one before the plane and reach one beyond: the first row and column are mirrored, the last ones repeated.
template <int K>
void sumDown(const StoredPlane<K>& plane, int y, int first, int n, int* sums) noexcept {
    const int here = y / 2, below = std::min(here + 1, plane.rows - 1);
    const int above = here > 0 ? here - 1 : std::min(1, plane.rows - 1);
    const int inner = std::max(first, 0), innerEnd = std::min(first + n, plane.cols);
    const auto at = [&](int row) { return plane.row(row)(inner); };
    int* const out = sums + (inner - first) * K;
    const int length = (innerEnd - inner) * K;
    if (y % 2 == 0)
        sumEvenRow(at(above), at(here), at(below), out, length);
    else
        sumOddRow(at(here), at(below), out, length);
    if (first < 0) std::copy_n(plane.cols > 1 ? out + K : out, K, sums);
    if (innerEnd < first + n) std::copy_n(out + length - K, K, out + length);
}

// The last row of a plane enlarged to an odd number of rows, else empty. One row is enlarged as all others are.
template <int K>
cv::Mat lastRowOf(const StoredPlane<K>& plane, int outRows, int outCols) {
    if (outRows % 2 == 0 || outRows == 1) return {};
    return lastOddRow(cv::Mat(2, plane.cols, CV_16UC(K), plane.at(plane.rows - 2)), {outCols, 3});
}

template <class References, class Plane>
void coefficientRows(const cv::Mat& g, const Plane& remapped, const StoredPlane<References::kCount>& coarser,
                     const cv::Mat& lastRow, cv::Mat& out, int firstRow, int endRow,
                     const CoefficientScratch<References::kCount>& scratch) noexcept {
    constexpr int K = References::kCount;
    auto& [pairs, sums, ofLastRow] = *scratch.tile;
    for (int x = 0; x < g.cols; x += kCols) {
        const int n = std::min(kCols, g.cols - x);
        for (int y = firstRow; y < endRow; ++y) {
            choose<References>(g.ptr<ushort>(y) + x, n, pairs.index, pairs.part);
            take(remapped.row(y), x, n, pairs.index, pairs.taken);
            if (y == g.rows - 1 && !lastRow.empty()) {
                take(StoredRow<K>{lastRow.ptr<ushort>()}, x, n, pairs.index, ofLastRow);
                std::copy_n(ofLastRow, 2 * n, pairs.raised);
            } else {
                sumDown(coarser, y, x / 2 - 1, (n + 1) / 2 + 2, sums);
                raisePairs<K>(sums + K, n, pairs.index, pairs.raised);
            }
            interpolateDifferences(pairs, n, out.ptr<ushort>(y) + x);
        }
    }
}

template <class References>
void chooseRow(const ushort* g, StoredRow<References::kCount> row, int cols, ushort* chosen, Pairs& pairs) noexcept {
    for (int x = 0; x < cols; x += kCols) {
        const int n = std::min(kCols, cols - x);
        choose<References>(g + x, n, pairs.index, pairs.part);
        take(row, x, n, pairs.index, chosen + 2 * static_cast<std::ptrdiff_t>(x));
    }
}

// Bands of level 1, and the rows around them that the coefficients and the reduction look at.
constexpr int kBandRows = 32, kMargin = 2;

}  // namespace

template <class References>
void finestLevels(const RemappedPlane<References::kCount>& remapped, const cv::Mat& half, cv::Mat& coefficients,
                  const PairPlane& chosen, const StoredPlane<References::kCount>& quarter) {
    constexpr int K = References::kCount;
    const int rows = half.rows, cols = half.cols;
    struct Scratch {
        StoredPlane<K> band;
        ReductionScratch<K> reduction;
        CoefficientScratch<K> coefficients;
    };
    const auto makeScratch = [=] {
        return Scratch{StoredPlane<K>(rows, cols, std::min(kBandRows + 2 * kMargin, rows)), {}, {}};
    };

    cv::Mat lastRow;
    if (remapped.rows % 2 == 1) {
        StoredPlane<K> lastTwo(rows, cols, std::min(rows, 2));
        lastTwo.first = std::max(rows - 2, 0);
        reduceRows(remapped, lastTwo, lastTwo.first, rows, ReductionScratch<K>());
        lastRow = lastRowOf(lastTwo, remapped.rows, remapped.cols);
    }

    const Strips strips = Strips::onePerThread(rows, workOf(cols, K));
    forEachStrip(strips, makeScratch, [&](int firstRow, int endRow, Scratch& scratch) noexcept {
        StoredPlane<K>& band = scratch.band;
        int ready = std::max(firstRow - kMargin, 0);  // the end of the rows in the band
        band.first = ready;
        for (int y = firstRow; y < endRow; y += kBandRows) {
            const int end = std::min(y + kBandRows, endRow), bandEnd = std::min(end + kMargin, rows);
            const int kept = std::max(y - kMargin, 0);
            std::copy(band.at(kept), band.at(ready), band.pixels.get());
            band.first = kept;
            reduceRows(remapped, band, ready, bandEnd, scratch.reduction);
            ready = bandEnd;

            coefficientRows<References>(remapped.picture, remapped, band, lastRow, coefficients, 2 * y,
                                        std::min(2 * end, remapped.rows), scratch.coefficients);
            for (int r = y; r < end; ++r)
                chooseRow<References>(half.ptr<ushort>(r), band.row(r), cols, chosen.at(r),
                                      scratch.coefficients.tile->pairs);
            if (quarter.rows > 0) reduceRows(band, quarter, (y + 1) / 2, (end + 1) / 2, scratch.reduction);
        }
    });
}

template <class References, class Plane>
void coefficients(const cv::Mat& g, const Plane& remapped, const StoredPlane<References::kCount>& coarser,
                  cv::Mat& out) {
    using Scratch = CoefficientScratch<References::kCount>;
    const cv::Mat lastRow = lastRowOf(coarser, g.rows, g.cols);
    const auto makeScratch = [] { return Scratch(); };
    forEachStrip(Strips(g.rows, workOf(g.cols, 4)), makeScratch, [&](int first, int end, Scratch& scratch) noexcept {
        coefficientRows<References>(g, remapped, coarser, lastRow, out, first, end, scratch);
    });
}

template <class References, class Plane>
void coarsestCoefficients(const cv::Mat& g, const Plane& remapped, cv::Mat& out) {
    parallelRows(g.rows, workOf(g.cols, 4), [&](int y) noexcept {
        Pairs pairs;
        for (int x = 0; x < g.cols; x += kCols) {
            const int n = std::min(kCols, g.cols - x);
            choose<References>(g.ptr<ushort>(y) + x, n, pairs.index, pairs.part);
            take(remapped.row(y), x, n, pairs.index, pairs.taken);
            interpolate(pairs, n, out.ptr<ushort>(y) + x);
        }
    });
}

void addEnlarged(const cv::Mat& coarserResult, cv::Mat& inOut) {
    struct Scratch {
        PyramidRows enlarged;
        std::vector<ushort> row;
    };
    const int cols = inOut.cols;
    const PyramidRows enlarged(coarserResult, inOut.size());
    const auto makeScratch = [&] { return Scratch{enlarged, std::vector<ushort>(static_cast<std::size_t>(cols))}; };
    forEachStrip(Strips(inOut.rows, cols), makeScratch, [&](int first, int end, Scratch& scratch) noexcept {
        for (int y = first; y < end; ++y) {
            scratch.enlarged.compute(y, scratch.row.data());
            addRow(scratch.row.data(), cols, inOut.ptr<ushort>(y));
        }
    });
}

#define KESTROVA_INSTANTIATE(References)                                                                             \
    template void finestLevels<References>(const RemappedPlane<References::kCount>&, const cv::Mat&, cv::Mat&,       \
                                           const PairPlane&, const StoredPlane<References::kCount>&);                \
    template void coefficients<References>(const cv::Mat&, const PairPlane&, const StoredPlane<References::kCount>&, \
                                           cv::Mat&);                                                                \
    template void coefficients<References>(const cv::Mat&, const StoredPlane<References::kCount>&,                   \
                                           const StoredPlane<References::kCount>&, cv::Mat&);                        \
    template void coarsestCoefficients<References>(const cv::Mat&, const RemappedPlane<References::kCount>&,         \
                                                   cv::Mat&);                                                        \
    template void coarsestCoefficients<References>(const cv::Mat&, const PairPlane&, cv::Mat&);                      \
    template void coarsestCoefficients<References>(const cv::Mat&, const StoredPlane<References::kCount>&, cv::Mat&);
KESTROVA_INSTANTIATE(TenReferences)
KESTROVA_INSTANTIATE(SixteenReferences)
KESTROVA_INSTANTIATE(TwentyFourReferences)
#undef KESTROVA_INSTANTIATE

}  // namespace kestrova::filters
