#include "kestrova/resample/chroma_rows.h"

#include <cstring>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/saturate.h"

namespace {

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
        const ushort c = choice[j];
        ushort v = v0[j];
        v = c == 1 ? v1[j] : v;
        v = c == 2 ? v2[j] : v;
        v = c == 3 ? v3[j] : v;
        out[j] = v;
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
        if (low.cols < (guide.cols + 1) / 2 || low.rows < (guide.rows + 1) / 2)
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
    m_scratch.resize((4 * (2 + planes) + 2 + 2 * planes) * (m_n + 2));
    for (Row& row : m_low) row = newRow();
    for (Row& row : m_diagonal) row = newRow();
    m_choice = takeScratch(m_n);
    m_cross = takeScratch(m_n);
    for (std::size_t p = 0; p < planes; ++p) m_out.push_back(takeScratch(2 * m_n));
}

// With room for one element before and one behind.
ushort* ChromaRows::takeScratch(int elements) {
    ushort* block = m_scratch.data() + m_taken + 1;
    m_taken += elements + 2;
    return block;
}

ChromaRows::Row ChromaRows::newRow() {
    Row row;
    row.guideEven = takeScratch(m_n);
    row.guideOdd = takeScratch(m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p) row.values.push_back(takeScratch(m_n));
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

void ChromaRows::computeEven(int k) noexcept {
    const Row &up = diagonalRow(k - 1), &down = diagonalRow(k), &self = lowRow(k);
    chooseOfFour(self.guideOdd, up.guideOdd, self.guideEven, self.guideEven + 1, down.guideOdd, m_choice, m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* low = self.values[p];
        takeOfFour(m_choice, up.values[p], low, low + 1, down.values[p], m_cross, m_n);
        m_cross[m_n - 1] = m_guide.cols > 2 ? m_cross[m_n - 1] : m_lows[p].ptr<ushort>(k)[m_lows[p].cols - 1];
        joinColumns(low, m_cross, m_out[p], m_n);
    }
}

void ChromaRows::computeOdd(int k) noexcept {
    const Row &up = lowRow(k), &down = lowRow(k + 1), &self = diagonalRow(k);
    chooseOfFour(self.guideEven, up.guideEven, self.guideOdd - 1, self.guideOdd, down.guideEven, m_choice, m_n);
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* diagonal = self.values[p];
        takeOfFour(m_choice, up.values[p], diagonal - 1, diagonal, down.values[p], m_cross, m_n);
        joinColumns(m_cross, diagonal, m_out[p], m_n);
    }
}

void ChromaRows::computeLast() noexcept {
    for (std::size_t p = 0; p < m_lows.size(); ++p) {
        const ushort* low = m_lows[p].ptr<ushort>(m_lows[p].rows - 1);
        joinColumns(low, low, m_out[p], m_n);
    }
}

void ChromaRows::compute(int y) noexcept {
    const int width = m_guide.cols;
    if (m_guide.rows < 3) return computeLast();
    const int inner = clampInt(y, 1, m_guide.rows - 2);
    if (inner % 2 == 0)
        computeEven(inner / 2);
    else
        computeOdd(inner / 2);
    for (ushort* out : m_out) {
        out[0] = out[1];
        if (width > 1) out[width - 1] = out[width - 2];
    }
}
