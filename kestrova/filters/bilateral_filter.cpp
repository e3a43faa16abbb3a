#include "kestrova/filters/bilateral_filter.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/tprogress.h"

using namespace kestrova::frame;

namespace {

constexpr const char* kNoMemory = "ERROR - BilateralFilter::proc - not enough memory";

constexpr std::uint32_t kGuard = 0x6d6d6d6d;

/// 1e-20, the weight of a cell before any pixel: no cell is divided by 0.
constexpr float kStartWeight = 0x1.79ca1p-67f;

std::ptrdiff_t cellCount(int w, int h, int z) { return static_cast<std::ptrdiff_t>(w) * h * z; }

std::shared_ptr<float> allocateGrid(std::ptrdiff_t cells) {
    const std::size_t bytes = (static_cast<std::size_t>(cells) + 1) * sizeof(float);
    std::shared_ptr<float> grid(static_cast<float*>(::operator new(bytes)),
                                [](float* block) { ::operator delete(block); });
    std::memcpy(grid.get() + cells, &kGuard, sizeof kGuard);
    return grid;
}

void checkGuard(const float* grid, std::ptrdiff_t cells) {
    if (std::memcmp(grid + cells, &kGuard, sizeof kGuard) != 0) fail("BilateralFilter::dealloc() - != 0x6d6d6d6d");
}

struct Span {
    double min, max;
};

template <class Pixel>
struct Extremes {
    Pixel min = std::numeric_limits<Pixel>::max(), max = 0;
};

template <class Pixel>
KESTROVA_KERNEL void widenByRow(Extremes<Pixel>& extremes, const Pixel* row, int n) noexcept {
    Pixel lowest = extremes.min, highest = extremes.max;
    for (int x = 0; x < n; ++x) {
        lowest = row[x] < lowest ? row[x] : lowest;
        highest = row[x] > highest ? row[x] : highest;
    }
    extremes = {lowest, highest};
}

template <class Pixel>
Span spanOf(const cv::Mat& plane) {
    const Strips strips(plane.rows, plane.cols);
    std::vector<Extremes<Pixel>> extremes(static_cast<std::size_t>(strips.count()));
    forEachStripWith(strips, extremes, [&](int first, int end, Extremes<Pixel>& ofStrip) noexcept {
        Extremes<Pixel> own;
        for (int y = first; y < end; ++y) widenByRow(own, plane.ptr<Pixel>(y), plane.cols);
        ofStrip = own;
    });
    Extremes<Pixel> all;
    for (const Extremes<Pixel>& strip : extremes) {
        all.min = std::min(all.min, strip.min);
        all.max = std::max(all.max, strip.max);
    }
    return {static_cast<double>(all.min), static_cast<double>(all.max)};
}

/// The values of `cv::minMaxIdx`, with all threads where the depth is one of pixels.
Span guideSpan(const cv::Mat& guide) {
    if (guide.depth() == CV_8U) return spanOf<uchar>(guide);
    if (guide.depth() == CV_16U) return spanOf<ushort>(guide);
    Span span{};
    cv::minMaxIdx(guide, &span.min, &span.max);
    if (!(span.min >= INT_MIN && span.min <= span.max && span.max <= INT_MAX))
        fail("ERROR - bool BilateralFilter::proc - edge is not finite or beyond int");
    return span;
}

int cellsAcross(int pixels, int sampling) {
    const int whole = pixels / sampling;
    return sampling * whole < pixels ? whole + 1 : whole;
}

}  // namespace

BilateralFilter::BilateralFilter() = default;
BilateralFilter& BilateralFilter::operator=(const BilateralFilter&) = default;
BilateralFilter::~BilateralFilter() = default;

bool BilateralFilter::proc(const cv::Mat& edge, cv::Mat& inOut, int sampling, int range, TProgress* progress) {
    if (progress && !progress->prog(0, 4)) return false;
    const cv::Mat guide = edge.data && edge.total() > 0 ? edge : inOut;
    if (guide.size() != inOut.size()) fail("ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size");
    if ((inOut.type() != CV_8UC1 && inOut.type() != CV_16UC1) || inOut.dims > 2)
        fail("ERROR - bool BilateralFilter::proc - inOut.type()");
    if (guide.channels() != 1 || guide.depth() > CV_64F || guide.dims > 2)
        fail("ERROR - bool BilateralFilter::proc - edge.type()");
    if (inOut.empty()) fail("ERROR - bool BilateralFilter::proc - inOut.empty()");
    checkPlanes(guide, inOut);

    orFailWithoutMemory(kNoMemory, [&] {
        if (!setup(guide, inOut.cols, inOut.rows, sampling, range, inOut.depth() == CV_16U)) checkOldGrids(guide);
    });
    if (progress && !progress->prog()) return false;
    gridInit(kStartWeight, 0.0f);
    if (progress && !progress->prog()) return false;
    orFailWithoutMemory(kNoMemory, [&] { buildGrid(inOut, guide); });
    if (progress && !progress->prog()) return false;
    orFailWithoutMemory(kNoMemory, [&] { interpGrid(inOut, guide); });
    if (progress && !progress->prog()) return false;
    return true;
}

bool BilateralFilter::setup(const cv::Mat& edge, int width, int height, int sampling, int range, bool mode16) {
    m_mode16 = mode16;
    if (sampling < 2) return false;
    if (range < 1) fail("ERROR - BilateralFilter::setup - range < 1");
    const Span span = guideSpan(edge);
    const bool sizeChanged = width != m_width || height != m_height;
    m_width = width;
    m_height = height;
    m_sampling = sampling;
    m_range = range;
    m_min = static_cast<int>(span.min);

    const double d = span.max - span.min;
    const double wholeCells = std::trunc(d / range);
    const double cellsZ = range * wholeCells >= d ? wholeCells : wholeCells + 1;
    const int gridW = 2 * m_padXY + 2 + cellsAcross(width, sampling);
    const int gridH = 2 * m_padXY + 2 + cellsAcross(height, sampling);
    int gridZ = kMaxCellsZ;
    if (2 * m_padZ + 2 + cellsZ > kMaxCellsZ)
        m_range = static_cast<int>(d / (250 - 2 * m_padZ));
    else
        gridZ = 2 * m_padZ + 2 + static_cast<int>(cellsZ);

    const bool sameGrids = gridW == m_gridW && gridH == m_gridH && gridZ == m_gridZ && !sizeChanged;
    if (!sameGrids || !m_weights_p || !m_values_p) {
        dealloc();
        m_gridW = gridW;
        m_gridH = gridH;
        m_gridZ = gridZ;
        alloc();
    }
    m_ready = 1;
    return true;
}

void BilateralFilter::checkOldGrids(const cv::Mat& guide) const {
    if (!m_weights_p || !m_values_p) fail("ERROR - bool BilateralFilter::proc - sampling < 2");
    if (guide.cols != m_width || guide.rows != m_height)
        fail("ERROR - bool BilateralFilter::proc - sampling < 2 and inOut of another size than before");
    const double cells = (guideSpan(guide).max - m_min) / m_range;
    if (m_gridZ < kMaxCellsZ && cells >= m_gridZ - 2 * m_padZ - 1)
        fail("ERROR - bool BilateralFilter::proc - sampling < 2 and edge beyond the values of before");
}

void BilateralFilter::alloc() {
    const std::ptrdiff_t cells = cellCount(m_gridW, m_gridH, m_gridZ);
    orFailWithoutMemory("ERROR - BilateralFilter::alloc()", [&] {
        std::shared_ptr<float> weights = allocateGrid(cells), values = allocateGrid(cells);
        m_weights = std::move(weights);
        m_values = std::move(values);
    });
    m_weights_p = m_weights.get();
    m_values_p = m_values.get();
}

void BilateralFilter::dealloc() {
    const std::ptrdiff_t cells = cellCount(m_gridW, m_gridH, m_gridZ);
    if (m_weights_p) checkGuard(m_weights_p, cells);
    m_weights.reset();
    m_weights_p = nullptr;
    if (m_values_p) checkGuard(m_values_p, cells);
    m_values.reset();
    m_values_p = nullptr;
}

int BilateralFilter::getGridSize() const {
    return static_cast<int>(std::min<std::ptrdiff_t>(cellCount(m_gridW, m_gridH, m_gridZ), INT_MAX));
}
