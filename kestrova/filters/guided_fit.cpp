#include "kestrova/filters/guided_fit.h"

#include <algorithm>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/eight_rows.h"
#include "kestrova/rows/invert3.h"

namespace kestrova::filters {

using namespace rows;

namespace {

// ---- One plane of guide

namespace one {

enum Mean { kMeanI, kMeanII, kMeanIP, kMeanP };

/// Products of means are rounded before they are taken away, and eps is added last: the order is part of the interface.
KESTROVA_KERNEL void solveRow(const float* const* means, float eps, float* __restrict a, float* __restrict b,
                              std::ptrdiff_t n) noexcept {
    const float *meanI = means[kMeanI], *meanP = means[kMeanP];
    const float *meanIP = means[kMeanIP], *meanII = means[kMeanII];
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const float covariance = meanIP[x] - meanI[x] * meanP[x];
        const float variance = meanII[x] - meanI[x] * meanI[x];
        const float slope = covariance / (variance + eps), offset = meanP[x] - meanI[x] * slope;
        a[x] = slope;
        b[x] = offset;
    }
}

}  // namespace one

// ---- Three planes of guide

namespace three {

enum Mean {
    kMeanI0,
    kMeanI0I0,
    kMeanI0I1,
    kMeanI0I2,
    kMeanI0P,
    kMeanI1,
    kMeanI1I1,
    kMeanI1I2,
    kMeanI1P,
    kMeanI2,
    kMeanI2I2,
    kMeanI2P,
    kMeanP
};

double wide(float v) { return static_cast<double>(v); }

KESTROVA_KERNEL void solveRow(const float* const* means, float eps, float* __restrict a0, float* __restrict a1,
                              float* __restrict a2, float* __restrict b, std::ptrdiff_t n) noexcept {
    const float *meanI0 = means[kMeanI0], *meanI1 = means[kMeanI1], *meanI2 = means[kMeanI2], *meanP = means[kMeanP];
    const float *meanI0P = means[kMeanI0P], *meanI1P = means[kMeanI1P], *meanI2P = means[kMeanI2P];
    const float *meanI0I0 = means[kMeanI0I0], *meanI1I1 = means[kMeanI1I1], *meanI2I2 = means[kMeanI2I2];
    const float *meanI0I1 = means[kMeanI0I1], *meanI0I2 = means[kMeanI0I2], *meanI1I2 = means[kMeanI1I2];
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const float m0 = meanI0[x], m1 = meanI1[x], m2 = meanI2[x], mp = meanP[x];
        const float c0 = meanI0P[x] - m0 * mp, c1 = meanI1P[x] - m1 * mp, c2 = meanI2P[x] - m2 * mp;
        const double v00 = wide((meanI0I0[x] - m0 * m0) + eps), v11 = wide((meanI1I1[x] - m1 * m1) + eps),
                     v22 = wide((meanI2I2[x] - m2 * m2) + eps);
        const double v01 = wide(meanI0I1[x] - m0 * m1), v02 = wide(meanI0I2[x] - m0 * m2),
                     v12 = wide(meanI1I2[x] - m1 * m2);
        const Inverse3 inverse(v00, v01, v02, v01, v11, v12, v02, v12, v22);
        const auto d = [&](int row, int column) {
            return inverse.singular ? 0.0f : static_cast<float>(inverse.element(row, column));
        };
        const float s0 = (d(1, 0) * c1 + d(0, 0) * c0) + d(2, 0) * c2;
        const float s1 = (d(1, 1) * c1 + d(0, 1) * c0) + d(2, 1) * c2;
        const float s2 = (d(1, 2) * c1 + d(0, 2) * c0) + d(2, 2) * c2;
        a0[x] = s0;
        a1[x] = s1;
        a2[x] = s2;
        b[x] = ((mp - m0 * s0) - m1 * s1) - m2 * s2;
    }
}

}  // namespace three

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
    const auto coefficients = [&](int k) { return m_coefficients.row(static_cast<std::size_t>(k)); };
    const std::ptrdiff_t n = kRowsAtOnce * std::ptrdiff_t{m_span.count()};
    if (m_count == 2)
        one::solveRow(means, m_eps, coefficients(0), coefficients(1), n);
    else
        three::solveRow(means, m_eps, coefficients(0), coefficients(1), coefficients(2), coefficients(3), n);
    const double factor = 1 / static_cast<double>(m_across.side());
    double* const turned = turnedColumns(m_turned, m_across.side());
    for (int k = 0; k < m_count; ++k) {
        const auto widen = [&](int first, int end) {
            const std::ptrdiff_t at = kRowsAtOnce * std::ptrdiff_t{first};
            eight_rows::widen(coefficients(k) + at, turned + kRowsAtOnce * std::ptrdiff_t{m_span.before} + at,
                              kRowsAtOnce * std::ptrdiff_t{end - first});
        };
        turnedMeansAcross(m_span, m_first, m_columns, m_across.side(), factor, turned, widen, coefficients(k));
        std::fill(out.rows[k] + count, out.rows[k] + kRowsAtOnce, m_unused.row(0));
        eight_rows::turnBack(coefficients(k), out.rows[k], m_columns);
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
