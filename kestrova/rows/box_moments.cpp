#include "kestrova/rows/box_moments.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kestrova/rows/box_across.h"
#include "kestrova/rows/box_means.h"
#include "kestrova/rows/prefetch.h"

namespace kestrova::rows {

namespace {

/// The sums of a plane begin at this place among those of all.
std::size_t placeOf(std::size_t plane, std::size_t planes) {
    std::size_t place = 0;
    for (std::size_t k = 0; k < plane; ++k) place += 1 + planes - k;
    return place;
}

}  // namespace

BoxMoments::BoxMoments(std::vector<cv::Mat> planes, const BoxAxis& down, const BoxAxis& across, int columns)
    : m_planes(std::move(planes)),
      m_down(down),
      m_across(across),
      m_span(m_across, 0, columns),
      m_halves(2, static_cast<std::size_t>(std::min(columns, stretch())) + static_cast<std::size_t>(across.side()) +
                      kWideSlack),
      m_means(static_cast<std::size_t>(count(static_cast<int>(m_planes.size()))),
              static_cast<std::size_t>(std::min(columns, stretch()))) {
    const int means = count(static_cast<int>(m_planes.size()));
    const long long covered = std::min<long long>(across.planeLength, columns + 2LL * across.r);
    for (int k = 0; k < means; ++k) {
        m_columns.emplace_back(static_cast<int>(covered), 2 * across.r);
        m_meanRows.push_back(m_means.row(static_cast<std::size_t>(k)));
    }
}

void BoxMoments::span(int first, int end) noexcept {
    m_first = first;
    m_span = BoxSpan(m_across, first, end);
    for (FloatColumns& columns : m_columns) columns.span(m_span.count(), m_span.before);
}

template <std::size_t... factors>
void BoxMoments::movePlane(std::size_t plane, int y, bool anew, std::index_sequence<factors...>) noexcept {
    using namespace box_columns;
    FloatColumns* const own = &m_columns[placeOf(plane, m_planes.size())];
    const int side = m_down.side(), n = m_span.count();
    const auto valueAt = [&](int i) { return ValueRow{row(plane, y + i)}; };
    [[maybe_unused]] const auto productAt = [&](std::size_t factor) {
        return [=](int i) { return ProductRow{row(plane, y + i), row(plane + factor, y + i)}; };
    };
    const bool allFinite = own->finite() && (own[1 + factors].finite() && ...);
    if (!anew && !allFinite) {
        own->moveTo(valueAt, side, false);
        (own[1 + factors].moveTo(productAt(factors), side, false), ...);
        return;
    }
    bool spoilt = false;
    if (anew) {
        const std::array<double*, 1 + sizeof...(factors)> sums{own->cleared(), own[1 + factors].cleared()...};
        for (int i = 0; i < side; ++i)
            spoilt |= slideMoments<false>({sums[0], row(plane, y + i), nullptr}, n,
                                          SlidingColumns{sums[1 + factors], row(plane + factors, y + i), nullptr}...);
    } else {
        const int in = y + side - 1, out = y - 1;
        spoilt = slideMoments<true>(
            {own->sums(), row(plane, in), row(plane, out)}, n,
            SlidingColumns{own[1 + factors].sums(), row(plane + factors, in), row(plane + factors, out)}...);
    }
    if (!spoilt) return;
    own->mend(valueAt, side);
    (own[1 + factors].mend(productAt(factors), side), ...);
}

void BoxMoments::moveTo(int y) noexcept {
    const bool anew = (y - m_top) % boxBlockRows(m_down.side()) == 0;
    const std::size_t planes = m_planes.size();
    for (std::size_t plane = 0; plane < planes; ++plane) {
        prefetch(row(plane, y + m_down.side()), static_cast<std::size_t>(m_span.count()) * sizeof(float));
        switch (plane == planes - 1 ? 0 : planes - plane) {
            case 0: movePlane(plane, y, anew, std::index_sequence<>()); break;
            case 2: movePlane(plane, y, anew, std::make_index_sequence<2>()); break;
            case 3: movePlane(plane, y, anew, std::make_index_sequence<3>()); break;
            default: movePlane(plane, y, anew, std::make_index_sequence<4>());
        }
    }
    for (FloatColumns& columns : m_columns) m_span.repeatEnds(columns.sums());
}

const float* const* BoxMoments::means(int x, int n) noexcept {
    const MeanOfFloats mean(boxArea(m_across.side(), m_across.side()));
    for (std::size_t k = 0; k < m_columns.size(); ++k)
        sumAcrossFrom(m_first + x, m_columns[k].sums() - m_span.before + x, m_across.side(), m_halves.row(0),
                      m_halves.row(1), m_means.row(k), n, mean);
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
