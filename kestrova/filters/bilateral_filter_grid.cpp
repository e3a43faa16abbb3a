#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/copy.h"

using namespace kestrova::frame;

/// The way into the grid: sums of pixels for each cell.

namespace {

/// So much of a band is worked on at a time: pixels and depths stay in the first-level cache.
constexpr int kRowsAtOnce = 16;
constexpr int kColsAtOnce = 512;
constexpr int kCellsSideBySide = 8;
/// Up to here floats hold sums of whole numbers exactly, whatever their order.
constexpr double kExactSums = 1 << 24;

/// The sum of values in the lower half, their number in the upper.
using Sum = std::uint64_t;
constexpr Sum kOne = Sum{1} << 32;

/// Sums of a cell for each depth, a byte. Neighbours are often of the same depth; in `kApart` lines of their own, their
/// sums need not wait for each other. The lines are longer than 256: at a distance of a power of two they would share
/// the places of the cache.
struct CellSums {
    static constexpr int kApart = 8;
    Sum sums[kApart][256 + 8] = {};
};

/// Pixels of some rows of a band and their depths.
template <class Pixel>
struct Pixels {
    const Pixel* values;
    std::size_t valueStep;
    const uchar* depths;
    std::size_t depthStep;
    int cols, rows;
};

/// Adds up the pixels of one cell.
template <class Pixel>
void addExactly(Pixels<Pixel> pixels, CellSums& to) noexcept {
    for (int y = 0; y < pixels.rows; ++y, pixels.values += pixels.valueStep, pixels.depths += pixels.depthStep) {
        const Pixel* values = pixels.values;
        const uchar* depths = pixels.depths;
        int x = 0;
        for (; x + CellSums::kApart <= pixels.cols; x += CellSums::kApart) {
            for (int k = 0; k < CellSums::kApart; ++k) to.sums[k][depths[x + k]] += kOne + values[x + k];
        }
        for (int k = 0; x < pixels.cols; ++x, ++k) to.sums[k][depths[x]] += kOne + values[x];
    }
}

/// Adds pixels to their cells, each cell's in the order of the plane. `sideBySide` cells take turns, so that a sum need
/// not wait for the one before.
template <class Pixel>
void addInOrder(Pixels<Pixel> pixels, int sampling, int sideBySide, float* weights, float* values, int gridZ) noexcept {
    for (int y = 0; y < pixels.rows; ++y, pixels.values += pixels.valueStep, pixels.depths += pixels.depthStep) {
        const std::ptrdiff_t span = std::ptrdiff_t{sampling} * sideBySide;
        for (std::ptrdiff_t first = 0; first < pixels.cols; first += span) {
            const std::ptrdiff_t end = std::min<std::ptrdiff_t>(pixels.cols, first + span);
            const std::ptrdiff_t line = first / sampling * gridZ;
            for (std::ptrdiff_t i = first; i < std::min(first + sampling, end); ++i) {
                std::ptrdiff_t cell = line;
                for (std::ptrdiff_t x = i; x < end; x += sampling, cell += gridZ) {
                    values[cell + pixels.depths[x]] += static_cast<float>(pixels.values[x]);
                    weights[cell + pixels.depths[x]] += 1.0f;
                }
            }
        }
    }
}

/// Adds the sums to the cells of a line along z and clears them.
KESTROVA_KERNEL void moveSums(CellSums& from, int gridZ, float* __restrict weights, float* __restrict values) noexcept {
    for (int z = 0; z < gridZ; ++z) {
        Sum sum = 0;
        for (auto& line : from.sums) {
            sum += line[z];
            line[z] = 0;
        }
        weights[z] += static_cast<float>(static_cast<int>(sum >> 32));
        values[z] += static_cast<float>(static_cast<int>(sum));
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
    CellSums sums;
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
/// cell belongs to the next one, so cells of a grid that is as deep as it may be take their pixels strictly in order.
template <class Pixel>
void BilateralFilter::splat(const cv::Mat& plane, const cv::Mat& guide) {
    const double alpha = 1.0 / m_range, beta = static_cast<double>(static_cast<float>(m_padZ) + 1.0f) - m_min * alpha;
    const double largestSum = static_cast<double>(std::numeric_limits<Pixel>::max()) * m_sampling * m_sampling;
    const bool bOverrun = m_gridZ == kMaxCellsZ;
    const bool bExact = largestSum <= kExactSums && !bOverrun;
    const int pad = m_padXY + 1;
    const int bands = m_gridH - 2 * pad;
    const int rowsAtOnce = std::min({kRowsAtOnce, m_sampling, m_height});
    const int colsAtOnce = bOverrun ? m_width : std::min(m_width, m_sampling * std::max(kColsAtOnce / m_sampling, 1));

    const int strips = bands > 1 ? std::min(bands, stripCount(m_height, m_width)) : 1;
    std::vector<Scratch> scratches(static_cast<std::size_t>(strips));
    for (Scratch& scratch : scratches) scratch.depths.create(rowsAtOnce, colsAtOnce, CV_8U);
    const auto addTile = [&](const cv::Rect& tile, Scratch& scratch) noexcept {
        cv::Mat depths = scratch.depths(cv::Rect(0, 0, tile.width, tile.height));
        guide(tile).convertTo(depths, CV_8U, alpha, beta);
        Pixels<Pixel> pixels{plane.ptr<Pixel>(tile.y) + tile.x,
                             plane.step1(),
                             depths.ptr<uchar>(0),
                             depths.step1(),
                             tile.width,
                             tile.height};
        const int x = pad + tile.x / m_sampling, y = pad + tile.y / m_sampling;
        float *weights = gridPtr(x, y, 0), *values = gridDPtr(x, y, 0);
        if (!bExact) {
            addInOrder(pixels, m_sampling, bOverrun ? 1 : kCellsSideBySide, weights, values, m_gridZ);
            return;
        }
        for (int left = tile.width; left > 0; left -= m_sampling, weights += m_gridZ, values += m_gridZ) {
            pixels.cols = std::min(left, m_sampling);
            addExactly(pixels, scratch.sums);
            moveSums(scratch.sums, m_gridZ, weights, values);
            pixels.values += pixels.cols;
            pixels.depths += pixels.cols;
        }
    };
    parallelStrips(strips, bands, [&](int firstBand, int endBand, int strip) noexcept {
        for (int band = firstBand; band < endBand; ++band) {
            const int first = band * m_sampling, end = first + std::min(m_sampling, m_height - first);
            for (int y = first; y < end; y += rowsAtOnce) {
                for (int x = 0; x < m_width; x += colsAtOnce) {
                    const cv::Size size(std::min(colsAtOnce, m_width - x), std::min(rowsAtOnce, end - y));
                    addTile({{x, y}, size}, scratches[static_cast<std::size_t>(strip)]);
                }
            }
        }
    });
}
