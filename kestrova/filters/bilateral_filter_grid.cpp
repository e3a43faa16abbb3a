#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/guide_depths.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/primitives/arithmetic.h"
#include "kestrova/primitives/copy.h"

using namespace kestrova::filters;
using namespace kestrova::frame;

// The way into the grid: sums of pixels for each cell. The pixels of most cells have few depths; they are those of a
// few ranges of the guide's values, each added up in turn, many pixels at a time. Other pixels are added one by one at
// the depth of each.

// Lanes are handed to functions that are always inlined: how a call would pass them does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

/// So much of a band is worked on at a time: pixels and depths stay in the first-level cache.
constexpr int kRowsAtOnce = 16;
constexpr int kColsAtOnce = 512;
constexpr int kCellsSideBySide = 8;
/// Up to so many depths, going through a cell once for each is faster than pixel by pixel.
constexpr int kFewDepths = 4;
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

typedef ushort Lanes __attribute__((vector_size(32)));
constexpr int kPixelsAtOnce = 16;
/// Narrower cells would leave most lanes empty.
constexpr int kLeastColsForLanes = 8;

[[gnu::always_inline]] inline Lanes load(const ushort* p) {
    Lanes lanes;
    std::memcpy(&lanes, p, sizeof lanes);
    return lanes;
}

[[gnu::always_inline]] inline Lanes load(const uchar* p) {
    uchar __attribute__((vector_size(kPixelsAtOnce))) bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    return __builtin_convertvector(bytes, Lanes);
}

/// A vector of columns that lies within a plane, some of which count.
struct Chunk {
    int first;  ///< column in the first lane
    Lanes in;   ///< all bits of the columns that count

    /// Columns `x` to `end` - 1, or as many as there are lanes, count. The plane has `cols` columns, `kPixelsAtOnce` at
    /// least.
    Chunk(int x, int end, int cols) : first(std::min(x, cols - kPixelsAtOnce)) {
        const Lanes lane = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
        in = (Lanes)((lane >= static_cast<ushort>(x - first)) &
                     (lane < static_cast<ushort>(std::min(end - first, kPixelsAtOnce))));
    }
};

/// Columns `first` to `end` - 1, a cell's, of some rows of a plane and of its guide.
template <class Value, class Pixel>
struct CellPixels {
    const Value* guide;
    std::size_t guideStep;
    const Pixel* values;
    std::size_t valueStep;
    int planeCols, first, end, rows;
};

template <class Value>
KESTROVA_KERNEL void widenColumns(const Value* __restrict row, int n, Value* __restrict lowest,
                                  Value* __restrict highest) noexcept {
    for (int x = 0; x < n; ++x) {
        lowest[x] = row[x] < lowest[x] ? row[x] : lowest[x];
        highest[x] = row[x] > highest[x] ? row[x] : highest[x];
    }
}

template <class Value>
struct Range {
    Value min, max;
};

template <class Value>
KESTROVA_KERNEL Range<Value> rangeOf(const Value* __restrict lowest, const Value* __restrict highest, int n) noexcept {
    Range<Value> range{lowest[0], highest[0]};
    for (int x = 1; x < n; ++x) {
        range.min = lowest[x] < range.min ? lowest[x] : range.min;
        range.max = highest[x] > range.max ? highest[x] : range.max;
    }
    return range;
}

/// Adds up the pixels whose guide is `last` at most; there are 256 vectors of them at most, so that the sums of their
/// low and high bytes fit the lanes.
template <class Value, class Pixel>
KESTROVA_KERNEL Sum sumUpTo(CellPixels<Value, Pixel> cell, ushort last) noexcept {
    Lanes low = {}, high = {}, count = {};
    for (int x = cell.first; x < cell.end; x += kPixelsAtOnce) {
        const Chunk chunk(x, cell.end, cell.planeCols);
        for (int y = 0; y < cell.rows; ++y) {
            const Lanes in = (Lanes)(load(cell.guide + y * cell.guideStep + chunk.first) <= last) & chunk.in;
            const Lanes values = load(cell.values + y * cell.valueStep + chunk.first) & in;
            low += std::is_same_v<Pixel, uchar> ? values : values & 255;
            if (std::is_same_v<Pixel, ushort>) high += values >> 8;
            count -= in;
        }
    }
    unsigned sum = 0, pixels = 0;
    for (int l = 0; l < kPixelsAtOnce; ++l) {
        sum += low[l] + 256u * high[l];
        pixels += count[l];
    }
    return pixels * kOne + sum;
}

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

inline void addSum(Sum sum, float& weight, float& value) noexcept {
    weight += static_cast<float>(static_cast<int>(sum >> 32));
    value += static_cast<float>(static_cast<int>(sum));
}

/// Adds the sums to the cells of a line along z and clears them.
KESTROVA_KERNEL void moveSums(CellSums& from, int gridZ, float* __restrict weights, float* __restrict values) noexcept {
    for (int z = 0; z < gridZ; ++z) {
        Sum sum = 0;
        for (auto& line : from.sums) {
            sum += line[z];
            line[z] = 0;
        }
        addSum(sum, weights[z], values[z]);
    }
}

/// Calls `work(first, count)` for pieces of [0, total) that an int can count.
template <class Work>
void inPieces(std::ptrdiff_t total, const Work& work) {
    constexpr std::ptrdiff_t kPiece = 1 << 30;
    for (std::ptrdiff_t first = 0; first < total; first += kPiece)
        work(first, static_cast<int>(std::min(kPiece, total - first)));
}

/// Where the pixels of a plane go.
struct Cells {
    float *weights, *values;  ///< of the first cell that takes pixels
    std::ptrdiff_t rowCells;  ///< from a row of cells to the next
    int gridZ;
    int sampling;            ///< pixels per cell
    bool exact;              ///< sums of a cell may be taken in any order
    bool overrun;            ///< a pixel beyond the last depth of its cell belongs to the next cell: strictly in order
    ushort lastValues[256];  ///< the largest value of 8 or 16 bits of each depth or below; unused with other guides
};

/// Adds the pixels of bands, rows of cells, to the grids. One object serves one thread.
template <class Pixel>
class BandAdder {
public:
    BandAdder(const cv::Mat& plane, const cv::Mat& guide, const GuideDepths& depths, const Cells& cells)
        : m_plane(plane), m_guide(guide), m_depths(depths), m_cells(cells) {
        const int wholeCells = cells.sampling * std::max(kColsAtOnce / cells.sampling, 1);
        m_tileDepths.create(std::min({kRowsAtOnce, cells.sampling, plane.rows}),
                            cells.overrun ? plane.cols : std::min(plane.cols, wholeCells), CV_8U);
    }

    void add(int band) noexcept {
        const int first = band * m_cells.sampling, end = first + std::min(m_cells.sampling, m_plane.rows - first);
        for (int y = first; y < end; y += m_tileDepths.rows)
            for (int x = 0; x < m_plane.cols; x += m_tileDepths.cols)
                addTile({x, y, std::min(m_tileDepths.cols, m_plane.cols - x), std::min(m_tileDepths.rows, end - y)});
    }

private:
    void addTile(const cv::Rect& tile) noexcept {
        const std::ptrdiff_t cell = tile.y / m_cells.sampling * m_cells.rowCells +
                                    static_cast<std::ptrdiff_t>(tile.x / m_cells.sampling) * m_cells.gridZ;
        float *weights = m_cells.weights + cell, *values = m_cells.values + cell;
        const bool byRanges = m_cells.exact && m_cells.sampling >= kLeastColsForLanes && m_plane.cols >= kPixelsAtOnce;
        if (byRanges && m_guide.depth() == CV_8U)
            addByRanges<uchar>(tile, weights, values);
        else if (byRanges && m_guide.depth() == CV_16U)
            addByRanges<ushort>(tile, weights, values);
        else
            addByDepths(tile, weights, values);
    }

    template <class Value>
    void addByRanges(const cv::Rect& tile, float* weights, float* values) noexcept {
        Value lowest[kColsAtOnce], highest[kColsAtOnce];
        std::copy_n(m_guide.ptr<Value>(tile.y) + tile.x, tile.width, lowest);
        std::copy_n(lowest, tile.width, highest);
        for (int y = 1; y < tile.height; ++y)
            widenColumns(m_guide.ptr<Value>(tile.y + y) + tile.x, tile.width, lowest, highest);
        for (int x = 0; x < tile.width; x += m_cells.sampling) {
            const int cols = std::min(m_cells.sampling, tile.width - x);
            const Range<Value> range = rangeOf(lowest + x, highest + x, cols);
            const int first = m_depths.nearestOf(range.min), last = m_depths.nearestOf(range.max);
            const cv::Rect cell(tile.x + x, tile.y, cols, tile.height);
            if (last - first < kFewDepths)
                addRanges<Value>(cell, first, last, weights, values);
            else
                addByDepths(cell, weights, values);
            weights += m_cells.gridZ;
            values += m_cells.gridZ;
        }
    }

    /// Adds the pixels of a cell, whose depths are `first` to `last`.
    template <class Value>
    void addRanges(const cv::Rect& cell, int first, int last, float* weights, float* values) noexcept {
        const CellPixels<Value, Pixel> pixels{m_guide.ptr<Value>(cell.y),
                                              m_guide.step1(),
                                              m_plane.ptr<Pixel>(cell.y),
                                              m_plane.step1(),
                                              m_plane.cols,
                                              cell.x,
                                              cell.x + cell.width,
                                              cell.height};
        Sum before = 0;
        for (int z = first; z <= last; ++z) {
            const Sum upToThis = sumUpTo(pixels, m_cells.lastValues[z]);
            addSum(upToThis - before, weights[z], values[z]);
            before = upToThis;
        }
    }

    void addByDepths(const cv::Rect& tile, float* weights, float* values) noexcept {
        for (int y = 0; y < tile.height; ++y)
            m_depths.nearest(tile.y + y, tile.x, tile.width, m_tileDepths.ptr<uchar>(y));
        const Pixels<Pixel> pixels{m_plane.ptr<Pixel>(tile.y) + tile.x,
                                   m_plane.step1(),
                                   m_tileDepths.ptr<uchar>(0),
                                   m_tileDepths.step1(),
                                   tile.width,
                                   tile.height};
        if (m_cells.exact)
            addCellByCell(pixels, weights, values);
        else
            addInOrder(pixels, m_cells.sampling, m_cells.overrun ? 1 : kCellsSideBySide, weights, values,
                       m_cells.gridZ);
    }

    void addCellByCell(Pixels<Pixel> pixels, float* weights, float* values) noexcept {
        const int sampling = m_cells.sampling, gridZ = m_cells.gridZ;
        for (int left = pixels.cols; left > 0; left -= sampling) {
            pixels.cols = std::min(left, sampling);
            addExactly(pixels, m_sums);
            moveSums(m_sums, gridZ, weights, values);
            pixels.values += pixels.cols;
            pixels.depths += pixels.cols;
            weights += gridZ;
            values += gridZ;
        }
    }

    const cv::Mat& m_plane;
    const cv::Mat& m_guide;
    const GuideDepths& m_depths;
    const Cells& m_cells;
    cv::Mat m_tileDepths;  ///< of a tile
    CellSums m_sums;
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

template <class Pixel>
void BilateralFilter::splat(const cv::Mat& plane, const cv::Mat& guide) {
    const double alpha = 1.0 / m_range, beta = static_cast<double>(static_cast<float>(m_padZ) + 1.0f) - m_min * alpha;
    const double largestSum = static_cast<double>(std::numeric_limits<Pixel>::max()) * m_sampling * m_sampling;
    const bool overrun = m_gridZ == kMaxCellsZ;
    const bool exact = largestSum <= kExactSums && !overrun;
    const int pad = m_padXY + 1;
    const std::ptrdiff_t rowCells = static_cast<std::ptrdiff_t>(m_gridW) * m_gridZ;
    const GuideDepths depths(guide, alpha, beta, deepestAdded());
    Cells cells{gridPtr(pad, pad, 0), gridDPtr(pad, pad, 0), rowCells, m_gridZ, m_sampling, exact, overrun, {}};
    for (int z = 0; z < m_gridZ; ++z) cells.lastValues[z] = static_cast<ushort>(depths.lastValue(z));

    const long long perBand = static_cast<long long>(m_width) * std::min(m_sampling, m_height);
    const Strips strips(m_gridH - 2 * pad, static_cast<int>(std::min<long long>(perBand, INT_MAX)));
    const auto makeAdder = [&] { return BandAdder<Pixel>(plane, guide, depths, cells); };
    forEachStrip(strips, makeAdder, [](int first, int end, BandAdder<Pixel>& adder) noexcept {
        for (int band = first; band < end; ++band) adder.add(band);
    });
}
