#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/guide_depths.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"

using namespace kestrova::filters;
using namespace kestrova::frame;

// The way out of the grid: trilinear interpolation. For two rows of the grid at a time, the value of a cell is put side
// by side with those of its neighbours in x and y and with the differences from each to the next along z, so that a
// pixel finds all that it lies between in one place.

// Lanes are handed to functions that are always inlined: how a call would pass them does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

/// Where pixels lie in the grid along x or y.
struct Position {
    int cell;
    float fraction;

    Position(int pixel, int sampling, int pad, int gridCells) {
        const float position =
            static_cast<float>(pixel) / static_cast<float>(sampling) + static_cast<float>(pad) + 0.5f;
        cell = std::min(static_cast<int>(position), gridCells - 3);  // beyond 2^24 pixels floats may overrun
        fraction = position - static_cast<float>(cell);
    }
};

/// Floats of a cell in the list of corners.
constexpr int kCorner = 8;

/// So many pixels at a time are worked on: what stands between the steps stays in the first-level cache.
constexpr int kBlock = 256;

/// Splits positions along z into the nearest cell, whose corners are found from those of the column, and what is left,
/// within a half unless that cell is the deepest, `most`.
KESTROVA_KERNEL void splitDepths(const float* __restrict depths, int most, const int* __restrict columns, int n,
                                 int* __restrict corners, float* __restrict fractions) noexcept {
    for (int x = 0; x < n; ++x) {
        const int nearest = roundClamped(depths[x], most);
        corners[x] = columns[x] + kCorner * nearest;
        fractions[x] = depths[x] - static_cast<float>(nearest);
    }
}

/// The values of cells i, i to the right, and both below, then the differences from them to those next along z.
KESTROVA_KERNEL void gatherCorners(const float* __restrict upper, const float* __restrict lower, std::ptrdiff_t right,
                                   std::ptrdiff_t n, float* __restrict corners) noexcept {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        corners[kCorner * i] = upper[i];
        corners[kCorner * i + 1] = upper[i + right];
        corners[kCorner * i + 2] = lower[i];
        corners[kCorner * i + 3] = lower[i + right];
        corners[kCorner * i + 4] = upper[i + 1] - upper[i];
        corners[kCorner * i + 5] = upper[i + 1 + right] - upper[i + right];
        corners[kCorner * i + 6] = lower[i + 1] - lower[i];
        corners[kCorner * i + 7] = lower[i + 1 + right] - lower[i + right];
    }
}

typedef float Floats __attribute__((vector_size(32)));
constexpr int kPixelsAtOnce = 8;

[[gnu::always_inline]] inline Floats load(const float* p) {
    Floats lanes;
    std::memcpy(&lanes, p, sizeof lanes);
    return lanes;
}

/// Interpolates between the eight values around each of `n` pixels, a multiple of `kPixelsAtOnce`, whose corners stand
/// at `at`. Pixels j and j + 4 share a register until each corner of all pixels has one of its own.
KESTROVA_KERNEL void interpolate(const float* corners, const int* at, const float* fx, float fy, const float* fz,
                                 float* out, int n) noexcept {
    for (int x = 0; x < n; x += kPixelsAtOnce) {
        const Floats z = load(fz + x);
        const Floats zs[4] = {__builtin_shufflevector(z, z, 0, 0, 0, 0, 4, 4, 4, 4),
                              __builtin_shufflevector(z, z, 1, 1, 1, 1, 5, 5, 5, 5),
                              __builtin_shufflevector(z, z, 2, 2, 2, 2, 6, 6, 6, 6),
                              __builtin_shufflevector(z, z, 3, 3, 3, 3, 7, 7, 7, 7)};
        Floats c[4];
        for (int j = 0; j < 4; ++j) {
            const Floats p = load(corners + at[x + j]), q = load(corners + at[x + j + 4]);
            const Floats near = __builtin_shufflevector(p, q, 0, 1, 2, 3, 8, 9, 10, 11);
            const Floats difference = __builtin_shufflevector(p, q, 4, 5, 6, 7, 12, 13, 14, 15);
            c[j] = near + difference * zs[j];
        }
        const Floats t0 = __builtin_shufflevector(c[0], c[1], 0, 8, 1, 9, 4, 12, 5, 13);
        const Floats t1 = __builtin_shufflevector(c[2], c[3], 0, 8, 1, 9, 4, 12, 5, 13);
        const Floats t2 = __builtin_shufflevector(c[0], c[1], 2, 10, 3, 11, 6, 14, 7, 15);
        const Floats t3 = __builtin_shufflevector(c[2], c[3], 2, 10, 3, 11, 6, 14, 7, 15);
        const Floats c00 = __builtin_shufflevector(t0, t1, 0, 1, 8, 9, 4, 5, 12, 13);
        const Floats c10 = __builtin_shufflevector(t0, t1, 2, 3, 10, 11, 6, 7, 14, 15);
        const Floats c01 = __builtin_shufflevector(t2, t3, 0, 1, 8, 9, 4, 5, 12, 13);
        const Floats c11 = __builtin_shufflevector(t2, t3, 2, 3, 10, 11, 6, 7, 14, 15);
        const Floats xs = load(fx + x);
        const Floats upper = c00 + (c10 - c00) * xs;
        const Floats lower = c01 + (c11 - c01) * xs;
        const Floats result = (lower - upper) * fy + upper;
        std::memcpy(out + x, &result, sizeof result);
    }
}

template <class Pixel>
KESTROVA_KERNEL void roundRow(const float* __restrict values, Pixel* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = sat<Pixel>(values[x]);
}

int inWholeVectors(int n) { return (n + kPixelsAtOnce - 1) / kPixelsAtOnce * kPixelsAtOnce; }

/// The grid as pixels are read from it.
struct Values {
    const float* values;
    int gridW, gridH, gridZ;
    int deepest;
    int pad;
    int sampling;  ///< pixels per cell

    std::ptrdiff_t rowCells() const { return static_cast<std::ptrdiff_t>(gridW) * gridZ; }
};

/// Where the columns of a plane lie in the grid, block by block.
struct Columns {
    std::vector<float> fractions;
    std::vector<int> corners;                  ///< of the cell, counted from those of the first column in the block
    std::vector<std::ptrdiff_t> firstCorners;  ///< of the first column in each block

    Columns(const Values& grid, int width)
        : fractions(static_cast<std::size_t>(inWholeVectors(width))),
          corners(static_cast<std::size_t>(width)),
          firstCorners(static_cast<std::size_t>((width - 1) / kBlock + 1)) {
        for (int x = 0; x < width; ++x) {
            const auto i = static_cast<std::size_t>(x);
            const Position position(x, grid.sampling, grid.pad, grid.gridW);
            const std::ptrdiff_t corner = kCorner * std::ptrdiff_t{grid.gridZ} * position.cell;
            if (x % kBlock == 0) firstCorners[i / kBlock] = corner;
            corners[i] = static_cast<int>(corner - firstCorners[i / kBlock]);
            fractions[i] = position.fraction;
        }
    }
};

/// Reads rows back. One object serves one thread.
template <class Pixel>
class RowReader {
public:
    RowReader(const Values& grid, const Columns& columns, const GuideDepths& depths, int width)
        : m_grid(grid),
          m_columns(columns),
          m_depths(depths),
          m_width(width),
          m_corners(kCorner * static_cast<std::size_t>(grid.rowCells())) {}

    void read(int y, Pixel* out) noexcept {
        const Position position(y, m_grid.sampling, m_grid.pad, m_grid.gridH);
        gatherRow(position.cell);
        for (int x = 0; x < m_width; x += kBlock)
            readBlock(y, x, std::min(kBlock, m_width - x), position.fraction, out + x);
    }

private:
    void gatherRow(int cell) noexcept {
        if (cell == m_gathered) return;
        m_gathered = cell;
        const float* upper = m_grid.values + cell * m_grid.rowCells();
        gatherCorners(upper, upper + m_grid.rowCells(), m_grid.gridZ, m_grid.rowCells(), m_corners.data());
    }

    void readBlock(int y, int x, int n, float fy, Pixel* out) noexcept {
        alignas(64) int at[kBlock];
        alignas(64) float depths[kBlock], fz[kBlock], values[kBlock];
        const auto first = static_cast<std::size_t>(x);
        const int whole = inWholeVectors(n);
        m_depths.exact(y, x, n, depths);
        splitDepths(depths, m_grid.deepest, &m_columns.corners[first], n, at, fz);
        std::fill(at + n, at + whole, 0);
        std::fill(fz + n, fz + whole, 0.0f);
        interpolate(m_corners.data() + m_columns.firstCorners[first / kBlock], at, &m_columns.fractions[first], fy, fz,
                    values, whole);
        roundRow(values, out, n);
    }

    const Values& m_grid;
    const Columns& m_columns;
    const GuideDepths& m_depths;
    int m_width;
    std::vector<float> m_corners;  ///< of two rows of cells
    int m_gathered = -1;           ///< the upper one of them
};

}  // namespace

void BilateralFilter::interpGrid(cv::Mat& inOut, const cv::Mat& edge) {
    const cv::Mat guide = sourceBeside(inOut, edge, StillRead::kThatPixel);
    if (m_mode16)
        readBack<ushort>(inOut, guide);
    else
        readBack<uchar>(inOut, guide);
}

template <class Pixel>
void BilateralFilter::readBack(cv::Mat& plane, const cv::Mat& guide) const {
    const double alpha = 1.0 / m_range, beta = m_padZ + 0.5 - m_min * alpha;
    const Values grid{m_values_p, m_gridW, m_gridH, m_gridZ, deepestRead(), m_padXY, m_sampling};
    const Columns columns(grid, m_width);
    const GuideDepths depths(guide, alpha, beta);
    const auto makeReader = [&] { return RowReader<Pixel>(grid, columns, depths, m_width); };
    forEachStrip(Strips(m_height, workOf(m_width, 4)), makeReader,
                 [&](int first, int end, RowReader<Pixel>& reader) noexcept {
                     for (int y = first; y < end; ++y) reader.read(y, plane.ptr<Pixel>(y));
                 });
}

float BilateralFilter::interp8Points(float* p, float u, float v, float w) {
    for (int k = 0; k < 4; ++k) p[k] = p[k] + (p[k + 4] - p[k]) * w;
    const float t0 = p[0] + (p[1] - p[0]) * u;
    const float t1 = p[2] + (p[3] - p[2]) * u;
    return t0 + (t1 - t0) * v;
}
