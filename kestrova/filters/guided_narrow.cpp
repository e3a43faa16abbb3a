#include "kestrova/filters/guided_narrow.h"

#include "kestrova/filters/guided_solve.h"
#include "kestrova/rows/box_moments.h"
#include "kestrova/rows/prefetch.h"

namespace kestrova::filters {

using namespace rows;

namespace {

constexpr auto kEight = static_cast<std::size_t>(kRowsAtOnce);

template <class Element>
void repeatEnds(Element* row, const BoxSpan& span) noexcept {
    std::fill_n(row - span.before, span.before, row[0]);
    std::fill_n(row + span.count(), span.behind, row[span.count() - 1]);
}

template <class Element>
std::ptrdiff_t strideOf(const Scratch<Element>& scratch) noexcept {
    return scratch.row(1) - scratch.row(0);
}

}  // namespace

NarrowGuidedFit::NarrowGuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps,
                                 BoxBorder border, int columns)
    : m_planes(guideThen(guide, p)),
      m_eps(eps),
      m_planeDown{p.rows, r, border},
      m_planeAcross{p.cols, r, border},
      m_down{m_planeDown.length(), r, border},
      m_across{m_planeAcross.length(), r, border},
      m_keptRows(static_cast<int>(std::min<long long>(GuidedFit::keptRows(r), m_down.planeLength))),
      m_sums(kEight, kRoom),
      m_means(kEight * static_cast<std::size_t>(BoxMoments::count(static_cast<int>(m_planes.size()))), kRoom),
      m_fitted(kEight * m_planes.size(), kRoom),
      m_unused(1, static_cast<std::size_t>(columns)),
      m_kept(m_planes.size() * static_cast<std::size_t>(m_keptRows), static_cast<std::size_t>(columns)) {}

void NarrowGuidedFit::span(int first, int end) noexcept {
    m_first = first;
    m_columns = end - first;
}

void NarrowGuidedFit::compute(int y, int count, CoefficientRows out) noexcept {
    switch (m_down.side()) {
        case 1: return computeUnder<1>(y, count, out);
        case 3: return computeUnder<3>(y, count, out);
        case 5: return computeUnder<5>(y, count, out);
        default: return computeUnder<kNarrowSide>(y, count, out);
    }
}

template <int kSide>
void NarrowGuidedFit::computeUnder(int y, int count, CoefficientRows out) noexcept {
    const int lastRow = y + count - 1 + kSide - 1;
    while (m_next <= m_down.inPlane(lastRow)) {
        const int rows = std::min(kRowsAtOnce, m_down.planeLength - m_next);
        for (int x = 0; x < m_columns; x += kStretch) fit<kSide>(m_next, rows, x, std::min(kStretch, m_columns - x));
        m_next += rows;
    }
    for (std::size_t k = 0; k < m_planes.size(); ++k) {
        std::fill(out.rows[k] + count, out.rows[k] + kRowsAtOnce, m_unused.row(0));
        narrow_box::Values under;
        for (int i = 0; i < kRowsAtOnce + kSide - 1; ++i)
            under.set(i, ValueRow{kept(k, m_down.inPlane(std::min(y + i, lastRow)))});
        narrow_box::meansDown<kSide>(under, 1 / static_cast<double>(kSide), out.rows[k], m_columns);
    }
}

template <int kSide>
void NarrowGuidedFit::fit(int y, int rows, int x, int n) noexcept {
    const BoxSpan span(m_across, m_first + x, m_first + x + n);
    const BoxSpan planeSpan(m_planeAcross, span.first, span.end);
    prefetchBehind(y, x, planeSpan);

    const std::size_t planes = m_planes.size();
    std::size_t moments = 0;
    for (std::size_t plane = 0; plane < planes; ++plane) {
        narrow_box::Products under;
        for (int i = 0; i < kRowsAtOnce + kSide - 1; ++i)
            under.values.set(i, ValueRow{planeRow(plane, y + i) + planeSpan.first});
        writeMeans<kSide>(moments++, under.values, planeSpan, span.count());
        for (std::size_t factor = plane; plane + 1 < planes && factor < planes; ++factor) {
            for (int i = 0; i < kRowsAtOnce + kSide - 1; ++i)
                under.factors.set(i, ValueRow{planeRow(factor, y + i) + planeSpan.first});
            writeMeans<kSide>(moments++, under, planeSpan, span.count());
        }
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(rows); ++i) {
        const float* means[BoxMoments::count(4)];
        for (std::size_t k = 0; k < moments; ++k) means[k] = m_means.row(kEight * k + i);
        float* fitted[4];
        for (std::size_t k = 0; k < planes; ++k) fitted[k] = m_fitted.row(kEight * k + i) + span.before;
        solveCoefficients(planes - 1, means, m_eps, fitted, span.count());
        for (std::size_t k = 0; k < planes; ++k) repeatEnds(fitted[k], span);
    }
    for (std::size_t k = 0; k < planes; ++k) {
        float* means[kRowsAtOnce];
        for (int i = 0; i < rows; ++i) means[i] = kept(k, y + i) + x;
        narrow_box::meansAcross<kSide>(m_fitted.row(kEight * k), strideOf(m_fitted), 1 / static_cast<double>(kSide),
                                       means, rows, n);
    }
}

template <int kSide, class Rows>
void NarrowGuidedFit::writeMeans(std::size_t k, const Rows& under, const BoxSpan& span, int n) noexcept {
    narrow_box::sumDown<kSide>(under, m_sums.row(0) + span.before, strideOf(m_sums), span.count());
    float* means[kRowsAtOnce];
    for (std::size_t i = 0; i < kEight; ++i) {
        repeatEnds(m_sums.row(i) + span.before, span);
        means[i] = m_means.row(kEight * k + i);
    }
    narrow_box::meansAcross<kSide>(m_sums.row(0), strideOf(m_sums), 1 / static_cast<double>(kSide * kSide), means,
                                   kRowsAtOnce, n);
}

void NarrowGuidedFit::prefetchBehind(int y, int x, const BoxSpan& span) const noexcept {
    const bool last = x + kStretch >= m_columns;
    const int firstRow = y + m_down.side() - 1 + (last ? kRowsAtOnce : 0);
    const std::ptrdiff_t column = span.first + (last ? -x : kStretch);
    for (std::size_t plane = 0; plane < m_planes.size(); ++plane)
        for (int i = firstRow; i < firstRow + kRowsAtOnce; ++i)
            prefetch(planeRow(plane, i) + column, kStretch * sizeof(float));
}

float* NarrowGuidedFit::kept(std::size_t k, int y) const noexcept {
    const auto rows = static_cast<std::size_t>(m_keptRows);
    return m_kept.row(k * rows + static_cast<std::size_t>(y) % rows);
}

}  // namespace kestrova::filters
