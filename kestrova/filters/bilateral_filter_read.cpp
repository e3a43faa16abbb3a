#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/row_overlap.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/saturate.h"

/// The way out of the grid: trilinear interpolation. The value of a cell stands side by side with those of its
/// neighbours in x and y, so that a pixel finds the eight it lies between in one place.

namespace {

/// The cells along z that a run of pixels lies over.
struct Run {
    int begin, end;
    std::ptrdiff_t cells;
};

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

/// Splits positions along z into the nearest cell and what is left, within a half.
KESTROVA_KERNEL void splitDepths(float* __restrict depths, uchar* __restrict cells, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        cells[x] = sat8(depths[x]);
        depths[x] -= static_cast<float>(cells[x]);
    }
}

KESTROVA_KERNEL void gatherCorners(const float* __restrict upper, const float* __restrict lower, std::ptrdiff_t right,
                                   std::ptrdiff_t n, float* __restrict corners) noexcept {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        corners[4 * i] = upper[i];
        corners[4 * i + 1] = upper[i + right];
        corners[4 * i + 2] = lower[i];
        corners[4 * i + 3] = lower[i + right];
    }
}

KESTROVA_KERNEL void interpolateAlongZ(const float* __restrict corners, const Run* runs, std::size_t runCount,
                                       const uchar* __restrict cells, const float* __restrict fractions,
                                       float* __restrict out) noexcept {
    for (const Run* run = runs; run != runs + runCount; ++run) {
        const float* line = corners + 4 * run->cells;
        for (int x = run->begin; x < run->end; ++x) {
            const float* near = line + 4 * cells[x];
            for (int k = 0; k < 4; ++k) out[4 * x + k] = near[k] + (near[k + 4] - near[k]) * fractions[x];
        }
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
KESTROVA_KERNEL void interpolateAcross(const float* __restrict corners, const float* __restrict fx, float fy,
                                       Pixel* __restrict out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float* c = corners + 4 * x;
        const float upper = c[0] + (c[1] - c[0]) * fx[x];
        const float lower = c[2] + (c[3] - c[2]) * fx[x];
        out[x] = rounded<Pixel>((lower - upper) * fy + upper);
    }
}

/// What a strip of rows works with.
struct Scratch {
    cv::Mat depths;
    std::vector<uchar> cells;
    std::vector<float> corners, alongZ;
};

}  // namespace

void BilateralFilter::interpGrid(cv::Mat& inOut, const cv::Mat& edge) {
    const cv::Mat guide = bRowsMixed(inOut, edge) ? edge.clone() : edge;
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

    std::vector<float> fx(width);
    std::vector<Run> runs;
    for (int x = 0; x < m_width; ++x) {
        const Position position(x, m_sampling, m_padXY, m_gridW);
        const std::ptrdiff_t cells = static_cast<std::ptrdiff_t>(m_gridZ) * position.cell;
        fx[static_cast<std::size_t>(x)] = position.fraction;
        if (runs.empty() || runs.back().cells != cells) runs.push_back({x, x, cells});
        runs.back().end = x + 1;
    }

    const int strips = stripCount(m_height, m_width);
    std::vector<Scratch> scratches(static_cast<std::size_t>(strips));
    for (Scratch& scratch : scratches) {
        scratch.depths.create(1, m_width, CV_32F);
        scratch.cells.resize(width);
        scratch.corners.resize(4 * static_cast<std::size_t>(rowCells));
        scratch.alongZ.resize(4 * width);
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
            float* fractions = scratch.depths.ptr<float>();
            splitDepths(fractions, scratch.cells.data(), m_width);
            interpolateAlongZ(scratch.corners.data(), runs.data(), runs.size(), scratch.cells.data(), fractions,
                              scratch.alongZ.data());
            interpolateAcross(scratch.alongZ.data(), fx.data(), position.fraction, plane.ptr<Pixel>(y), m_width);
        }
    });
}

float BilateralFilter::interp8Points(float* p, float u, float v, float w) {
    for (int k = 0; k < 4; ++k) p[k] = p[k] + (p[k + 4] - p[k]) * w;
    const float t0 = p[0] + (p[1] - p[0]) * u;
    const float t1 = p[2] + (p[3] - p[2]) * u;
    return t0 + (t1 - t0) * v;
}
