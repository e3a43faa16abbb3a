#include "kestrova/rows/box_moments.h"

#include <algorithm>
#include <utility>

#include "kestrova/rows/box_means.h"
#include "kestrova/rows/eight_rows.h"
#include "kestrova/rows/prefetch.h"

namespace kestrova::rows {

BoxMoments::BoxMoments(std::vector<cv::Mat> planes, const BoxAxis& down, const BoxAxis& across, int columns, Give give)
    : m_planes(std::move(planes)),
      m_down(down),
      m_across(across),
      m_span(m_across, 0, columns),
      m_turned(give == Give::kMeans ? 1 : 0, turnedRoom(columns, across.side())),
      m_means(give == Give::kMeans ? static_cast<std::size_t>(count(static_cast<int>(m_planes.size()))) : 0,
              kRowsAtOnce * static_cast<std::size_t>(columns)) {
    const int means = count(static_cast<int>(m_planes.size()));
    const long long covered = std::min<long long>(across.planeLength, columns + 2LL * across.r);
    for (int k = 0; k < means; ++k) {
        m_columns.emplace_back(static_cast<int>(covered));
        m_meanRows.push_back(m_means.row(static_cast<std::size_t>(k)));
    }
}

void BoxMoments::span(int first, int end) noexcept {
    m_first = first;
    m_count = end - first;
    m_span = BoxSpan(m_across, first, end);
    for (FloatColumns& columns : m_columns) columns.span(m_span.count());
}

int BoxMoments::rowsTogether(int y, int end) const noexcept {
    const int blockRows = boxBlockRows(m_down.side());
    return std::min({kRowsAtOnce, end - y, blockRows - (y - m_top) % blockRows});
}

template <bool kMeans, class RowAt, class PrefetchNext>
void BoxMoments::moveMean(std::size_t k, int rows, bool anew, const RowAt& rowAt,
                          const PrefetchNext& prefetchNext) noexcept {
    const int width = m_across.side(), n = m_span.count();
    FloatColumns& columns = m_columns[k];
    EightWindows windows(columns, n, rowAt, m_down.side(), rows, anew);
    double* const turned = turnedColumns(m_turned, width);
    double* const inPlane = turned + kRowsAtOnce * static_cast<std::ptrdiff_t>(m_span.before);
    const auto meansAcross = [&](const auto& makeColumns) {
        const double factor = 1 / static_cast<double>(boxArea(width, width));
        turnedMeansAcross(m_span, m_first, m_count, width, factor, turned, makeColumns, m_means.row(k));
    };
    const auto slide = [&](int first, int end) {
        prefetchNext(first, end);
        eight_rows::slide<kMeans>(columns.sums(), windows.entering(), windows.leaving(), inPlane, first, end);
    };
    const bool moved = columns.moveFinite([&] {
        if constexpr (kMeans)
            meansAcross(slide);
        else
            slide(0, n);
    });
    if (moved) return;
    windows.slideByRow([&](int i) {
        if (kMeans)
            for (int x = 0; x < n; ++x) inPlane[kRowsAtOnce * std::ptrdiff_t{x} + i] = columns.sums()[x];
    });
    if (kMeans) meansAcross([](int, int) {});
}

template <bool kMeans>
void BoxMoments::move(int y, int rows) noexcept {
    const int side = m_down.side();
    const bool anew = (y - m_top) % boxBlockRows(side) == 0;
    const std::size_t last = m_planes.size() - 1;
    std::size_t k = 0;
    for (std::size_t plane = 0; plane <= last; ++plane) {
        const auto values = [&](int i) { return ValueRow{row(plane, y + i)}; };
        const auto prefetchNext = [&](int first, int end) {
            for (int i = side - 1 + rows; i < side - 1 + 2 * rows; ++i)
                prefetch(row(plane, y + i) + first, static_cast<std::size_t>(end - first) * sizeof(float));
        };
        moveMean<kMeans>(k++, rows, anew, values, prefetchNext);
        if (plane == last) return;
        for (std::size_t factor = plane; factor <= last; ++factor) {
            const auto products = [&](int i) { return ProductRow{row(plane, y + i), row(factor, y + i)}; };
            moveMean<kMeans>(k++, rows, anew, products, [](int, int) {});
        }
    }
}

void BoxMoments::moveTo(int y, int rows) noexcept { move<false>(y, rows); }

const float* const* BoxMoments::means(int y, int rows) noexcept {
    move<true>(y, rows);
    return m_meanRows.data();
}

bool BoxMoments::finite() const noexcept {
    return std::all_of(m_columns.begin(), m_columns.end(), [](const FloatColumns& c) { return c.finite(); });
}

void BoxMoments::copyTo(Scratch<double>& all) const noexcept {
    for (std::size_t k = 0; k < m_columns.size(); ++k)
        std::copy_n(m_columns[k].sums(), m_span.count(), all.row(k) + m_span.first);
}

void BoxMoments::copyFrom(const Scratch<double>& all) noexcept {
    for (std::size_t k = 0; k < m_columns.size(); ++k)
        std::copy_n(all.row(k) + m_span.first, m_span.count(), m_columns[k].cleared());
}

}  // namespace kestrova::rows
