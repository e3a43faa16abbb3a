#include "kestrova/rows/chroma_rows.h"

#include <array>
#include <cstring>

#include "kestrova/frame/cache_line.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/rows/interleave.h"

namespace kestrova::rows {

using namespace frame;

namespace {

// Rows begin on a cache line, with room for an element before them and one behind.
constexpr std::size_t kAlignment = kCacheLine / sizeof(ushort);
std::size_t paddedRow(int elements) { return cv::alignSize(kAlignment + elements + 1, kAlignment); }

ushort distance(ushort a, ushort b) { return static_cast<ushort>(a > b ? a - b : b - a); }

// Four rows of neighbours.
using Four = std::array<const ushort*, 4>;

// What a plane holds where the neighbours are, and where it takes that of the nearest.
struct Taken {
    Four values;
    ushort* out;
};

// For each plane what it holds at the first of four neighbours whose guide value is nearest to c.
template <class... Planes>
KESTROVA_KERNEL void takeNearest(const ushort* c, Four guide, int n, Planes... planes) noexcept {
    KESTROVA_INDEPENDENT
    for (int j = 0; j < n; ++j) {
        const ushort d0 = distance(c[j], guide[0][j]), d1 = distance(c[j], guide[1][j]);
        const ushort d2 = distance(c[j], guide[2][j]), d3 = distance(c[j], guide[3][j]);
        const ushort leastOfTwo = d1 < d0 ? d1 : d0, leastOfThree = d2 < leastOfTwo ? d2 : leastOfTwo;
        const auto take = [&](const Taken& plane) {
            const ushort v0 = plane.values[0][j], v1 = plane.values[1][j];
            const ushort v2 = plane.values[2][j], v3 = plane.values[3][j];
            const ushort ofTwo = d1 < d0 ? v1 : v0, ofThree = d2 < leastOfTwo ? v2 : ofTwo;
            plane.out[j] = d3 < leastOfThree ? v3 : ofThree;
        };
        (take(planes), ...);
    }
}

// The same for any number of planes, of which `taken(p)` is the p-th.
template <class TakenOf>
void takeNearest(const ushort* c, const Four& guide, int n, std::size_t planes, const TakenOf& taken) noexcept {
    std::size_t p = 0;
    for (; p + 2 <= planes; p += 2) takeNearest(c, guide, n, taken(p), taken(p + 1));
    if (p < planes) takeNearest(c, guide, n, taken(p));
}

}  // namespace

void ChromaRows::check(const cv::Mat& guide, const std::vector<cv::Mat>& lows) {
    if (guide.empty()) return;
    if (guide.type() != CV_16UC1) fail("ERROR - upSize2XGuidedByYSimple - guide.type()!=CV_16UC1");
    for (const cv::Mat& low : lows) {
        if (low.type() != CV_16UC1) fail("ERROR - upSize2XGuidedByYSimple - low.type()!=CV_16UC1");
        if (low.empty() || low.cols < (guide.cols + 1) / 2 || low.rows < (guide.rows + 1) / 2)
            fail("ERROR - upSize2XGuidedByYSimple - low is smaller than half of guide");
    }
}

ChromaRows::ChromaRows(const cv::Mat& guide, const std::vector<cv::Mat>& lows)
    : m_guide(guide),
      m_lows(lows),
      m_n((guide.cols + 1) / 2),
      m_cells(static_cast<int>(cv::alignSize(m_n, kAlignment))) {
    const std::size_t planes = lows.size();
    m_scratch.resize(kAlignment + (4 * (2 + planes) + planes) * paddedRow(m_n));
    m_free = cv::alignPtr(m_scratch.data(), kAlignment * sizeof(ushort));
    for (Row& row : m_low) row = newRow();
    for (Row& row : m_diagonal) row = newRow();
    m_halves.resize(planes);
    for (std::size_t p = 0; p < planes; ++p) m_cross.push_back(takeRow());
}

ushort* ChromaRows::takeRow() {
    ushort* row = m_free + kAlignment;
    m_free += paddedRow(m_n);
    return row;
}

ChromaRows::Row ChromaRows::newRow() {
    Row row;
    row.guideEven = takeRow();
    row.guideOdd = takeRow();
    for (std::size_t p = 0; p < m_lows.size(); ++p) row.values.push_back(takeRow());
    return row;
}

// A column that the last pair lacks repeats the one before it. A candidate that stands twice cannot win over itself, so
// the cells of the last odd column choose among those that exist; and a guide one column wide is taken as two.
void ChromaRows::split(Row& row, int y) noexcept {
    const ushort* guide = m_guide.ptr<ushort>(y);
    const int pairs = m_guide.cols / 2;
    deinterleave(guide, row.guideEven, row.guideOdd, pairs);
    if (pairs < m_n) row.guideEven[pairs] = row.guideOdd[pairs] = guide[2 * pairs];
    row.guideEven[m_n] = row.guideEven[m_n - 1];
}

const ChromaRows::Row& ChromaRows::lowRow(int k) noexcept {
    Row& row = m_low[k % 2];
    if (row.k == k) return row;
    row.k = k;
    split(row, 2 * k);
    // Low planes that are larger than need be give their own last row and column to the guide's last row and column.
    const bool last = 2 * k == m_guide.rows - 1, oddWidth = m_guide.cols % 2 == 1;
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const cv::Mat& low = m_lows[p];
        const ushort* from = low.ptr<ushort>(last ? low.rows - 1 : k);
        ushort* values = row.values[p];
        std::memcpy(values, from, m_n * sizeof(ushort));
        if (oddWidth && !last) values[m_n - 1] = from[low.cols - 1];
        values[m_n] = values[m_n - 1];
    }
    return row;
}

const ChromaRows::Row& ChromaRows::diagonalRow(int k) noexcept {
    Row& row = m_diagonal[k % 2];
    if (row.k == k) return row;
    row.k = k;
    split(row, 2 * k + 1);
    if (2 * k + 1 == m_guide.rows - 1) {
        for (std::size_t p = 0; p < m_lows.size(); ++p)
            std::memcpy(row.values[p], m_lows[p].ptr<ushort>(m_lows[p].rows - 1), m_n * sizeof(ushort));
        return row;
    }
    const Row &up = lowRow(k), &down = lowRow(k + 1);
    const Four guide{up.guideEven, up.guideEven + 1, down.guideEven, down.guideEven + 1};
    takeNearest(row.guideOdd, guide, m_cells, m_lows.size(), [&](std::size_t p) {
        return Taken{{up.values[p], up.values[p] + 1, down.values[p], down.values[p] + 1}, row.values[p]};
    });
    return row;
}

void ChromaRows::evenRow(int k, Halves halves[]) noexcept {
    const Row &up = diagonalRow(k - 1), &down = diagonalRow(k), &self = lowRow(k);
    const Four guide{up.guideOdd, self.guideEven, self.guideEven + 1, down.guideOdd};
    takeNearest(self.guideOdd, guide, m_cells, m_lows.size(), [&](std::size_t p) {
        return Taken{{up.values[p], self.values[p], self.values[p] + 1, down.values[p]}, m_cross[p]};
    });
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        if (m_guide.cols <= 2) m_cross[p][0] = m_lows[p].ptr<ushort>(k)[m_lows[p].cols - 1];
        halves[p] = {self.values[p], m_cross[p]};
    }
}

void ChromaRows::oddRow(int k, Halves halves[]) noexcept {
    const Row &up = lowRow(k), &down = lowRow(k + 1), &self = diagonalRow(k);
    const Four guide{up.guideEven, self.guideOdd - 1, self.guideOdd, down.guideEven};
    takeNearest(self.guideEven, guide, m_cells, m_lows.size(), [&](std::size_t p) {
        return Taken{{up.values[p], self.values[p] - 1, self.values[p], down.values[p]}, m_cross[p]};
    });
    for (std::size_t p = 0; p < m_lows.size(); ++p) halves[p] = {m_cross[p], self.values[p]};
}

void ChromaRows::repeatLastRow(ushort* const out[]) const noexcept {
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* low = m_lows[p].ptr<ushort>(m_lows[p].rows - 1);
        interleave(low, low, out[p], m_guide.cols / 2);
        out[p][m_guide.cols - 1] = low[m_n - 1];
    }
}

void ChromaRows::computeHalves(int y, Halves halves[]) noexcept {
    const int inner = clampInt(y, 1, m_guide.rows - 2);
    if (inner % 2 == 0)
        evenRow(inner / 2, halves);
    else
        oddRow(inner / 2, halves);
}

// The side columns repeat their inner neighbours.
void ChromaRows::compute(int y, ushort* const out[]) noexcept {
    if (!hasHalves(m_guide)) return repeatLastRow(out);
    computeHalves(y, m_halves.data());
    const int width = m_guide.cols;
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const auto [even, odd] = m_halves[p];
        interleave(even, odd, out[p], width / 2);
        out[p][0] = odd[0];
        if (width > 1) out[p][width - 1] = out[p][width - 2];
    }
}

}  // namespace kestrova::rows
