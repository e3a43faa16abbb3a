#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"

using namespace kestrova::frame;

/// The way out of the grid: trilinear interpolation. For two rows of the grid at a time, the value of a cell is put
/// side by side with those of its neighbours in x and y and with the way from each to the next along z, so that a pixel
/// finds all that it lies between in one place.

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
/// within a half.
KESTROVA_KERNEL void splitDepths(const float* __restrict depths, const int* __restrict columns, int n,
                                 int* __restrict corners, float* __restrict fractions) noexcept {
    for (int x = 0; x < n; ++x) {
        const int nearest = roundClamped(depths[x], 255);
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

typedef float Lanes __attribute__((vector_size(32)));
constexpr int kLanes = 8;

inline Lanes load(const float* p) {
    Lanes lanes;
    std::memcpy(&lanes, p, sizeof lanes);
    return lanes;
}

/// Interpolates between the eight values around each of `n` pixels, a multiple of `kLanes`, whose corners stand at
/// `at`. Pixels j and j + 4 share a register until each corner of all pixels has one of its own.
KESTROVA_KERNEL void interpolate(const float* corners, const int* at, const float* fx, float fy, const float* fz,
                                 float* out, int n) noexcept {
    for (int x = 0; x < n; x += kLanes) {
        const Lanes z = load(fz + x);
        const Lanes zs[4] = {__builtin_shufflevector(z, z, 0, 0, 0, 0, 4, 4, 4, 4),
                             __builtin_shufflevector(z, z, 1, 1, 1, 1, 5, 5, 5, 5),
                             __builtin_shufflevector(z, z, 2, 2, 2, 2, 6, 6, 6, 6),
                             __builtin_shufflevector(z, z, 3, 3, 3, 3, 7, 7, 7, 7)};
        Lanes c[4];
        for (int j = 0; j < 4; ++j) {
            const Lanes p = load(corners + at[x + j]), q = load(corners + at[x + j + 4]);
            const Lanes near = __builtin_shufflevector(p, q, 0, 1, 2, 3, 8, 9, 10, 11);
            const Lanes difference = __builtin_shufflevector(p, q, 4, 5, 6, 7, 12, 13, 14, 15);
            c[j] = near + difference * zs[j];
        }
        const Lanes t0 = __builtin_shufflevector(c[0], c[1], 0, 8, 1, 9, 4, 12, 5, 13);
        const Lanes t1 = __builtin_shufflevector(c[2], c[3], 0, 8, 1, 9, 4, 12, 5, 13);
        const Lanes t2 = __builtin_shufflevector(c[0], c[1], 2, 10, 3, 11, 6, 14, 7, 15);
        const Lanes t3 = __builtin_shufflevector(c[2], c[3], 2, 10, 3, 11, 6, 14, 7, 15);
        const Lanes c00 = __builtin_shufflevector(t0, t1, 0, 1, 8, 9, 4, 5, 12, 13);
        const Lanes c10 = __builtin_shufflevector(t0, t1, 2, 3, 10, 11, 6, 7, 14, 15);
        const Lanes c01 = __builtin_shufflevector(t2, t3, 0, 1, 8, 9, 4, 5, 12, 13);
        const Lanes c11 = __builtin_shufflevector(t2, t3, 2, 3, 10, 11, 6, 7, 14, 15);
        const Lanes xs = load(fx + x);
        const Lanes upper = c00 + (c10 - c00) * xs;
        const Lanes lower = c01 + (c11 - c01) * xs;
        const Lanes result = (lower - upper) * fy + upper;
        std::memcpy(out + x, &result, sizeof result);
    }
}

template <class Pixel>
Pixel rounded(float v) {
    if constexpr (std::is_same_v<Pixel, uchar>)
        return sat8(v);
    else
        return sat16(v);
}

template <class Pixel>
KESTROVA_KERNEL void roundRow(const float* __restrict values, Pixel* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) out[x] = rounded<Pixel>(values[x]);
}

/// What a strip of rows works with.
struct Scratch {
    cv::Mat depths;
    std::vector<float> corners;
};

}  // namespace

void BilateralFilter::interpGrid(cv::Mat& inOut, const cv::Mat& edge) {
    const cv::Mat guide = overlapAcrossRows(edge, inOut) ? edge.clone() : edge;
    if (m_mode16)
        readBack<ushort>(inOut, guide);
    else
        readBack<uchar>(inOut, guide);
}

template <class Pixel>
void BilateralFilter::readBack(cv::Mat& plane, const cv::Mat& guide) const {
    const double alpha = 1.0 / m_range, beta = m_padZ + 0.5 - m_min * alpha;
    const std::ptrdiff_t rowCells = static_cast<std::ptrdiff_t>(m_gridW) * m_gridZ;
    const auto width = static_cast<std::size_t>(m_width);

    // Columns of a block are counted from that of its first pixel.
    const auto blocks = static_cast<std::size_t>((m_width - 1) / kBlock + 1);
    std::vector<float> fx(blocks * kBlock);
    std::vector<int> columns(width);
    std::vector<std::ptrdiff_t> blockColumn(blocks);
    for (std::size_t x = 0; x < width; ++x) {
        const Position position(static_cast<int>(x), m_sampling, m_padXY, m_gridW);
        const std::ptrdiff_t column = kCorner * std::ptrdiff_t{m_gridZ} * position.cell;
        if (x % kBlock == 0) blockColumn[x / kBlock] = column;
        columns[x] = static_cast<int>(column - blockColumn[x / kBlock]);
        fx[x] = position.fraction;
    }

    const int strips = stripCount(m_height, m_width);
    std::vector<Scratch> scratches(static_cast<std::size_t>(strips));
    for (Scratch& scratch : scratches) {
        scratch.depths.create(1, m_width, CV_32F);
        scratch.corners.resize(kCorner * static_cast<std::size_t>(rowCells));
    }
    parallelStrips(strips, m_height, [&](int first, int end, int strip) noexcept {
        Scratch& scratch = scratches[static_cast<std::size_t>(strip)];
        for (int y = first, cornersOf = -1; y < end; ++y) {
            const Position position(y, m_sampling, m_padXY, m_gridH);
            if (position.cell != cornersOf) {
                const float* upper = m_values_p + position.cell * rowCells;
                gatherCorners(upper, upper + rowCells, m_gridZ, rowCells, scratch.corners.data());
                cornersOf = position.cell;
            }
            guide.row(y).convertTo(scratch.depths, CV_32F, alpha, beta);
            const float* depths = scratch.depths.ptr<float>(0);
            for (std::size_t b = 0; b < blocks; ++b) {
                const std::size_t x = b * kBlock;
                const int n = static_cast<int>(std::min<std::size_t>(kBlock, width - x));
                const int whole = (n + kLanes - 1) / kLanes * kLanes;
                alignas(64) int at[kBlock];
                alignas(64) float fractions[kBlock], values[kBlock];
                splitDepths(depths + x, &columns[x], n, at, fractions);
                std::fill(at + n, at + whole, 0);
                std::fill(fractions + n, fractions + whole, 0.0f);
                interpolate(scratch.corners.data() + blockColumn[b], at, &fx[x], position.fraction, fractions, values,
                            whole);
                roundRow(values, plane.ptr<Pixel>(y) + x, n);
            }
        }
    });
}

float BilateralFilter::interp8Points(float* p, float u, float v, float w) {
    for (int k = 0; k < 4; ++k) p[k] = p[k] + (p[k + 4] - p[k]) * w;
    const float t0 = p[0] + (p[1] - p[0]) * u;
    const float t1 = p[2] + (p[3] - p[2]) * u;
    return t0 + (t1 - t0) * v;
}
