#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/copy.h"

/// The way into the grid: sums of pixels, blur, division.

namespace {

/// Rows of a band of cells whose depths in the grid are worked out at a time.
constexpr int kRowsAtOnce = 16;
/// A depth is a byte.
constexpr int kDepths = 256;
/// Up to here floats hold sums of whole numbers exactly, whatever their order.
constexpr double kExactSums = 1 << 24;
/// Neighbours are often of the same depth; apart, their sums need not wait for each other.
constexpr int kSumsApart = 8;

/// The sum of values in the lower half, their number in the upper.
using Sum = std::uint64_t;
constexpr Sum kOne = Sum{1} << 32;

/// Adds to `sums`, [depth][kSumsApart], the pixels of a row of a cell.
template <class Pixel>
inline void addExactly(const Pixel* values, const uchar* depths, int n, Sum* sums) {
    int x = 0;
    for (; x + kSumsApart <= n; x += kSumsApart) {
        for (int k = 0; k < kSumsApart; ++k) sums[depths[x + k] * kSumsApart + k] += kOne + values[x + k];
    }
    for (int k = 0; x < n; ++x, ++k) sums[depths[x] * kSumsApart + k] += kOne + values[x];
}

/// Adds the sums to the cells of a line along z and clears them.
KESTROVA_KERNEL void moveSums(Sum* sums, int gridZ, float* weights, float* values) noexcept {
    for (int z = 0; z < gridZ; ++z) {
        Sum sum = 0;
        for (int k = 0; k < kSumsApart; ++k) {
            sum += sums[z * kSumsApart + k];
            sums[z * kSumsApart + k] = 0;
        }
        weights[z] += static_cast<float>(static_cast<std::uint32_t>(sum >> 32));
        values[z] += static_cast<float>(static_cast<std::uint32_t>(sum));
    }
}

/// Coefficients of the recursive Gaussian for lambda = variance / (2 steps).
struct Recursion {
    float nu, boundary, post;

    Recursion(float lambda, int steps) {
        const double a = 2.0f * lambda + 1.0f, b = 4.0f * lambda + 1.0f, c = 2.0f * lambda;
        nu = static_cast<float>((a - std::sqrt(b)) / c);
        boundary = 1.0f / (1.0f - nu);
        post = power(nu / lambda, steps);
    }

private:
    static float power(float base, int exponent) {
        float result = 1.0f;
        for (unsigned n = exponent < 0 ? 0u - static_cast<unsigned>(exponent) : static_cast<unsigned>(exponent); n;
             n >>= 1) {
            if (n & 1) result *= base;
            base *= base;
        }
        return exponent < 0 ? 1.0f / result : result;
    }
};

/// So many lines side by side, `lanes` of them without a gap and `batches` of those at distances of `batchStride`;
/// the elements of a line stand at distances of `stride`.
struct Lines {
    int n;
    std::ptrdiff_t stride;
    int lanes;
    int batches;
    std::ptrdiff_t batchStride;
};

KESTROVA_KERNEL void blurLines(float* data, Lines lines, Recursion r, int steps) noexcept {
    const auto scale = [&](int i, float factor) {
        for (int b = 0; b < lines.batches; ++b) {
            float* x = data + i * lines.stride + b * lines.batchStride;
            for (int l = 0; l < lines.lanes; ++l) x[l] *= factor;
        }
    };
    const auto add = [&](int i, int neighbour) {
        for (int b = 0; b < lines.batches; ++b) {
            float* __restrict x = data + i * lines.stride + b * lines.batchStride;
            const float* __restrict before = data + neighbour * lines.stride + b * lines.batchStride;
            for (int l = 0; l < lines.lanes; ++l) x[l] += r.nu * before[l];
        }
    };
    for (int step = 0; step < steps; ++step) {
        scale(0, r.boundary);
        for (int i = 1; i < lines.n; ++i) add(i, i - 1);
        scale(lines.n - 1, r.boundary);
        for (int i = lines.n - 2; i >= 0; --i) add(i, i + 1);
    }
    for (int i = 0; i < lines.n; ++i) scale(i, r.post);
}

constexpr float kSigma = 0.85f;
constexpr int kSteps = 2;

/// Lines along z are blurred side by side, this many at a time, in a tile of their own.
constexpr int kTileLines = 32;

KESTROVA_KERNEL void transpose(const float* __restrict from, int rows, int cols, int fromStep, float* __restrict to,
                               int toStep) noexcept {
    for (int c = 0; c < cols; ++c) {
        for (int r = 0; r < rows; ++r) to[c * toStep + r] = from[r * fromStep + c];
    }
}

void blurAlongZ(float* row, int gridW, int gridZ, Recursion recursion, float* tile) noexcept {
    for (int x = 0; x < gridW; x += kTileLines) {
        const int lines = std::min(kTileLines, gridW - x);
        float* first = row + static_cast<std::ptrdiff_t>(x) * gridZ;
        transpose(first, lines, gridZ, gridZ, tile, kTileLines);
        blurLines(tile, {gridZ, kTileLines, lines, 1, 0}, recursion, kSteps);
        transpose(tile, gridZ, lines, kTileLines, first, gridZ);
    }
}

/// Calls `work(first, count)` for pieces of [0, total) that an int can count.
template <class Work>
void inPieces(std::ptrdiff_t total, const Work& work) {
    constexpr std::ptrdiff_t kPiece = 1 << 30;
    for (std::ptrdiff_t first = 0; first < total; first += kPiece)
        work(first, static_cast<int>(std::min(kPiece, total - first)));
}

/// What a strip of bands works with.
struct Scratch {
    cv::Mat depths;
    std::vector<Sum> sums;
};

}  // namespace

float* BilateralFilter::gridPtr(int x, int y, int z) {
    return m_weights_p + (static_cast<std::ptrdiff_t>(m_gridW) * y + x) * m_gridZ + z;
}

float* BilateralFilter::gridDPtr(int x, int y, int z) {
    return m_values_p + (static_cast<std::ptrdiff_t>(m_gridW) * y + x) * m_gridZ + z;
}

void BilateralFilter::gridInit(float weight, float value) {
    if (!m_weights_p || !m_values_p) return;
    inPieces(static_cast<std::ptrdiff_t>(m_gridW) * m_gridH * m_gridZ, [&](std::ptrdiff_t first, int count) {
        ippsSet_32f(weight, m_weights_p + first, count);
        ippsSet_32f(value, m_values_p + first, count);
    });
}

void BilateralFilter::buildGrid(cv::Mat& inOut, const cv::Mat& edge) {
    if (m_mode16)
        splat<ushort>(inOut, edge);
    else
        splat<uchar>(inOut, edge);
    filterGrids();
    inPieces(static_cast<std::ptrdiff_t>(m_gridW) * m_gridH * m_gridZ,
             [&](std::ptrdiff_t first, int count) { ippsDiv_32f_I(m_weights_p + first, m_values_p + first, count); });
}

/// A band of cells, `m_sampling` rows high, fills a row of the grid of its own. A pixel beyond the last depth of its
/// cell belongs to the next one; the grid is as deep as it may be then.
template <class Pixel>
void BilateralFilter::splat(const cv::Mat& plane, const cv::Mat& guide) {
    const double alpha = 1.0 / m_range, beta = static_cast<double>(static_cast<float>(m_padZ) + 1.0f) - m_min * alpha;
    const double largestSum = static_cast<double>(std::numeric_limits<Pixel>::max()) * m_sampling * m_sampling;
    const bool bExact = largestSum <= kExactSums && m_gridZ < 252;
    const int pad = m_padXY + 1;
    const int bands = m_gridH - 2 * pad, cells = m_gridW - 2 * pad;

    const int strips = bands > 1 ? std::min(bands, stripCount(m_height, m_width)) : 1;
    std::vector<Scratch> scratches(static_cast<std::size_t>(strips));
    for (Scratch& scratch : scratches) {
        scratch.depths.create(std::min({kRowsAtOnce, m_sampling, m_height}), m_width, CV_8U);
        scratch.sums.assign(kDepths * kSumsApart, 0);
    }
    parallelStrips(strips, bands, [&](int firstBand, int endBand, int strip) noexcept {
        Scratch& scratch = scratches[static_cast<std::size_t>(strip)];
        const int end = static_cast<int>(std::min<std::int64_t>(std::int64_t{endBand} * m_sampling, m_height));
        for (int y = firstBand * m_sampling, next; y < end; y = next) {
            const int band = y / m_sampling;
            next = static_cast<int>(
                std::min<std::int64_t>({end, (band + std::int64_t{1}) * m_sampling, y + scratch.depths.rows}));
            cv::Mat depths = scratch.depths.rowRange(0, next - y);
            guide.rowRange(y, next).convertTo(depths, CV_8U, alpha, beta);
            float *weights = gridPtr(pad, pad + band, 0), *values = gridDPtr(pad, pad + band, 0);
            for (int c = 0; c < cells; ++c, weights += m_gridZ, values += m_gridZ) {
                const int x = c * m_sampling, n = std::min(m_sampling, m_width - x);
                for (int r = y; r < next; ++r) {
                    const Pixel* pixels = plane.ptr<Pixel>(r) + x;
                    const uchar* z = depths.ptr<uchar>(r - y) + x;
                    if (bExact) {
                        addExactly(pixels, z, n, scratch.sums.data());
                    } else {
                        for (int i = 0; i < n; ++i) {
                            values[z[i]] += static_cast<float>(pixels[i]);
                            weights[z[i]] += 1.0f;
                        }
                    }
                }
                if (bExact) moveSums(scratch.sums.data(), m_gridZ, weights, values);
            }
        }
    });
}

void BilateralFilter::filterGrids() {
    const Recursion recursion(kSigma * kSigma * 0.25f, kSteps);
    const std::ptrdiff_t rowCells = static_cast<std::ptrdiff_t>(m_gridW) * m_gridZ;
    constexpr int kRowsSideBySide = 4;
    constexpr int kColumns = 256;
    const int groups = (m_gridH - 1) / kRowsSideBySide + 1;
    const int columnGroups = static_cast<int>((rowCells - 1) / kColumns + 1);
    for (float* grid : {m_weights_p, m_values_p}) {
        parallelRows(groups, m_gridW * kRowsSideBySide, [&](int group) noexcept {
            const int y = group * kRowsSideBySide, rows = std::min(kRowsSideBySide, m_gridH - y);
            float* first = grid + y * rowCells;
            float tile[kTileLines * 252];
            for (int r = 0; r < rows; ++r) blurAlongZ(first + r * rowCells, m_gridW, m_gridZ, recursion, tile);
            blurLines(first, {m_gridW, m_gridZ, m_gridZ, rows, rowCells}, recursion, kSteps);
        });
        parallelRows(columnGroups, kColumns * m_gridH, [&](int group) noexcept {
            const std::ptrdiff_t first = std::ptrdiff_t{group} * kColumns;
            const int columns = static_cast<int>(std::min<std::ptrdiff_t>(kColumns, rowCells - first));
            blurLines(grid + first, {m_gridH, rowCells, columns, 1, 0}, recursion, kSteps);
        });
    }
}

void BilateralFilter::iir(float* data, int n, int stride, float sigma, int steps) {
    if (n < 1) return;
    const float lambda = static_cast<float>(static_cast<double>(sigma * sigma) / (steps * 2.0));
    blurLines(data, {n, stride, 1, 1, 0}, Recursion(lambda, steps), steps);
}
