#include "kestrova/rows/chroma_rows.h"

#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"

namespace kestrova::rows {

using namespace frame;

namespace {

// Rows begin on a cache line, with room for an element before them and one behind.
constexpr std::size_t kAlignment = 64 / sizeof(ushort);
std::size_t paddedRow(int elements) { return cv::alignSize(kAlignment + elements + 1, kAlignment); }

ushort distance(ushort a, ushort b) { return static_cast<ushort>(a > b ? a - b : b - a); }

// The first of four candidates whose guide value is nearest to c, as 0..3.
KESTROVA_KERNEL void chooseOfFour(const ushort* c, const ushort* g0, const ushort* g1, const ushort* g2,
                                  const ushort* g3, ushort* __restrict choice, int n) noexcept {
    for (int j = 0; j < n; ++j) {
        ushort least = distance(c[j], g0[j]), first = 0;
        const ushort d1 = distance(c[j], g1[j]);
        first = d1 < least ? 1 : first;
        least = d1 < least ? d1 : least;
        const ushort d2 = distance(c[j], g2[j]);
        first = d2 < least ? 2 : first;
        least = d2 < least ? d2 : least;
        const ushort d3 = distance(c[j], g3[j]);
        first = d3 < least ? 3 : first;
        choice[j] = first;
    }
}

KESTROVA_KERNEL void takeOfFour(const ushort* choice, const ushort* v0, const ushort* v1, const ushort* v2,
                                const ushort* v3, ushort* __restrict out, int n) noexcept {
    for (int j = 0; j < n; ++j) {
        const ushort a = v0[j], b = v1[j], c = v2[j], d = v3[j];
        const ushort ofFirstTwo = choice[j] & 1 ? b : a, ofLastTwo = choice[j] & 1 ? d : c;
        out[j] = choice[j] & 2 ? ofLastTwo : ofFirstTwo;
    }
}

KESTROVA_KERNEL void splitColumns(const ushort* row, ushort* __restrict even, ushort* __restrict odd,
                                  int pairs) noexcept {
    for (int j = 0; j < pairs; ++j) {
        even[j] = row[2 * j];
        odd[j] = row[2 * j + 1];
    }
}

KESTROVA_KERNEL void joinColumns(const ushort* even, const ushort* odd, ushort* __restrict row, int pairs) noexcept {
    for (int j = 0; j < pairs; ++j) {
        row[2 * j] = even[j];
        row[2 * j + 1] = odd[j];
    }
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

std::vector<ChromaRows> ChromaRows::forStrips(int strips, const cv::Mat& guide, const std::vector<cv::Mat>& lows) {
    check(guide, lows);
    std::vector<ChromaRows> rows;
    rows.reserve(strips);
    for (int s = 0; s < strips; ++s) rows.emplace_back(guide, lows);
    return rows;
}

ChromaRows::ChromaRows(const cv::Mat& guide, const std::vector<cv::Mat>& lows)
    : m_guide(guide), m_lows(lows), m_n((guide.cols + 1) / 2) {
    const std::size_t planes = lows.size();
    m_scratch.resize(kAlignment + (4 * (2 + planes) + 2) * paddedRow(m_n));
    m_free = cv::alignPtr(m_scratch.data(), kAlignment * sizeof(ushort));
    for (Row& row : m_low) row = newRow();
    for (Row& row : m_diagonal) row = newRow();
    m_choice = takeRow();
    m_cross = takeRow();
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
    splitColumns(guide, row.guideEven, row.guideOdd, pairs);
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
    chooseOfFour(row.guideOdd, up.guideEven, up.guideEven + 1, down.guideEven, down.guideEven + 1, m_choice, m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p)
        takeOfFour(m_choice, up.values[p], up.values[p] + 1, down.values[p], down.values[p] + 1, row.values[p], m_n);
    return row;
}

void ChromaRows::computeEven(int k, ushort* const out[]) noexcept {
    const Row &up = diagonalRow(k - 1), &down = diagonalRow(k), &self = lowRow(k);
    chooseOfFour(self.guideOdd, up.guideOdd, self.guideEven, self.guideEven + 1, down.guideOdd, m_choice, m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* low = self.values[p];
        takeOfFour(m_choice, up.values[p], low, low + 1, down.values[p], m_cross, m_n);
        if (m_guide.cols <= 2) m_cross[0] = m_lows[p].ptr<ushort>(k)[m_lows[p].cols - 1];
        join(low, m_cross, out[p]);
    }
}

void ChromaRows::computeOdd(int k, ushort* const out[]) noexcept {
    const Row &up = lowRow(k), &down = lowRow(k + 1), &self = diagonalRow(k);
    chooseOfFour(self.guideEven, up.guideEven, self.guideOdd - 1, self.guideOdd, down.guideEven, m_choice, m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* diagonal = self.values[p];
        takeOfFour(m_choice, up.values[p], diagonal - 1, diagonal, down.values[p], m_cross, m_n);
        join(m_cross, diagonal, out[p]);
    }
}

// The side columns repeat their inner neighbours.
void ChromaRows::join(const ushort* even, const ushort* odd, ushort* out) const noexcept {
    const int width = m_guide.cols;
    joinColumns(even, odd, out, width / 2);
    out[0] = odd[0];
    if (width > 1) out[width - 1] = out[width - 2];
}

void ChromaRows::repeatLastRow(ushort* const out[]) const noexcept {
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* low = m_lows[p].ptr<ushort>(m_lows[p].rows - 1);
        joinColumns(low, low, out[p], m_guide.cols / 2);
        out[p][m_guide.cols - 1] = low[m_n - 1];
    }
}

void ChromaRows::compute(int y, ushort* const out[]) noexcept {
    if (m_guide.rows < 3) return repeatLastRow(out);
    const int inner = clampInt(y, 1, m_guide.rows - 2);
    if (inner % 2 == 0)
        computeEven(inner / 2, out);
    else
        computeOdd(inner / 2, out);
}

}  // namespace kestrova::rows
