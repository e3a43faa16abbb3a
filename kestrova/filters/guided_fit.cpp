#include "kestrova/filters/guided_fit.h"

#include <algorithm>

#include "kestrova/filters/guided_solve.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/eight_rows.h"

namespace kestrova::filters {

using namespace rows;

namespace {

/// The most columns of coefficients under the windows of `columns` columns.
int fitColumns(const cv::Mat& p, int r, BoxBorder border, int columns) {
    const BoxAxis across{p.cols, r, border};
    return static_cast<int>(std::min<long long>(across.length(), columns + 2LL * r));
}

}  // namespace

std::vector<cv::Mat> guideThen(const std::vector<cv::Mat>& guide, const cv::Mat& p) {
    std::vector<cv::Mat> planes = guide;
    planes.push_back(p);
    return planes;
}

// ---- Rows of coefficients

FittedRows::FittedRows(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, BoxBorder border,
                       int columns)
    : m_eps(eps),
      m_moments(guideThen(guide, p), {p.rows, r, border}, {p.cols, r, border}, fitColumns(p, r, border, columns)),
      m_down{m_moments.down().length(), r, border},
      m_across{m_moments.across().length(), r, border},
      m_span(m_across, 0, 1),
      m_coefficients(guide.size() + 1, kRowsAtOnce * static_cast<std::size_t>(fitColumns(p, r, border, columns))),
      m_turned(1, turnedRoom(columns, m_across.side())),
      m_unused(1, static_cast<std::size_t>(columns)),
      m_count(static_cast<int>(guide.size()) + 1) {}

void FittedRows::span(int first, int end) noexcept {
    m_first = first;
    m_columns = end - first;
    m_span = BoxSpan(m_across, first, end);
    m_moments.span(m_span.first, m_span.end);
}

void FittedRows::begin(int y, int top) noexcept {
    const int blockRows = boxBlockRows(m_down.side());
    m_moments.countBlocksFrom(top);
    for (int row = top + (y - top) / blockRows * blockRows; row < y;) {
        const int rows = m_moments.rowsTogether(row, y);
        m_moments.moveTo(row, rows);
        row += rows;
    }
}

void FittedRows::begin(int top, const Scratch<double>& sumsAbove) noexcept {
    m_moments.countBlocksFrom(top);
    m_moments.copyFrom(sumsAbove);
}

void FittedRows::compute(int y, int count, CoefficientRows out) noexcept {
    const float* const* means = m_moments.means(y, count);
    float* coefficients[4];
    for (int k = 0; k < m_count; ++k) coefficients[k] = m_coefficients.row(static_cast<std::size_t>(k));
    solveCoefficients(static_cast<std::size_t>(m_count) - 1, means, m_eps, coefficients,
                      kRowsAtOnce * std::ptrdiff_t{m_span.count()});
    const double factor = 1 / static_cast<double>(m_across.side());
    double* const turned = turnedColumns(m_turned, m_across.side());
    for (int k = 0; k < m_count; ++k) {
        const auto widen = [&](int first, int end) {
            const std::ptrdiff_t at = kRowsAtOnce * std::ptrdiff_t{first};
            eight_rows::widen(coefficients[k] + at, turned + kRowsAtOnce * std::ptrdiff_t{m_span.before} + at,
                              kRowsAtOnce * std::ptrdiff_t{end - first});
        };
        turnedMeansAcross(m_span, m_first, m_columns, m_across.side(), factor, turned, widen, coefficients[k]);
        std::fill(out.rows[k] + count, out.rows[k] + kRowsAtOnce, m_unused.row(0));
        eight_rows::turnBack(coefficients[k], out.rows[k], m_columns);
    }
}

// ---- Their means down

GuidedFit::GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, BoxBorder border,
                     int columns)
    : m_rows(guide, p, r, eps, border, columns),
      m_keptRows(static_cast<int>(std::min<long long>(keptRows(r), m_rows.down().planeLength))),
      m_unused(1, static_cast<std::size_t>(columns)),
      m_kept(static_cast<std::size_t>(m_rows.count()) * static_cast<std::size_t>(m_keptRows),
             static_cast<std::size_t>(columns)) {
    for (int k = 0; k < m_rows.count(); ++k) m_sums.emplace_back(columns);
}

void GuidedFit::span(int first, int end) noexcept {
    m_rows.span(first, end);
    for (FloatColumns& sums : m_sums) sums.span(end - first);
    m_columns = end - first;
}

void GuidedFit::begin(int y, int top) noexcept {
    m_top = top;
    m_next = m_rows.down().inPlane(y);
    m_rows.begin(m_next, top);
}

int GuidedFit::rowsTogether(int y, int end) const noexcept {
    const int inBlock = blockRows(m_rows.down().r);
    return std::min({kRowsAtOnce, end - y, inBlock - (y - m_top) % inBlock});
}

void GuidedFit::compute(int y, int count, CoefficientRows out) noexcept {
    const BoxAxis down = m_rows.down();
    while (m_next <= down.inPlane(y + count - 1 + down.side() - 1)) {
        const int rows = m_rows.rowsTogether(m_next, down.planeLength);
        CoefficientRows next;
        for (int k = 0; k < m_rows.count(); ++k)
            for (int i = 0; i < rows; ++i) next.rows[k][i] = kept(k, m_next + i);
        m_rows.compute(m_next, rows, next);
        m_next += rows;
    }
    const bool anew = (y - m_top) % blockRows(down.r) == 0;
    for (int k = 0; k < m_rows.count(); ++k) {
        std::fill(out.rows[k] + count, out.rows[k] + kRowsAtOnce, m_unused.row(0));
        const auto rowAt = [&](int i) { return ValueRow{kept(k, down.inPlane(y + i))}; };
        meansDown(m_sums[static_cast<std::size_t>(k)], rowAt, down.r, count, anew, out.rows[k], m_columns);
    }
}

float* GuidedFit::kept(int k, int y) const noexcept {
    const auto rows = static_cast<std::size_t>(m_keptRows);
    return m_kept.row(static_cast<std::size_t>(k) * rows + static_cast<std::size_t>(y) % rows);
}

}  // namespace kestrova::filters
