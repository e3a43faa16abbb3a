#include "kestrova/rows/box_moments.h"

#include <algorithm>
#include <utility>

#include "kestrova/rows/box_across.h"
#include "kestrova/rows/box_means.h"

namespace kestrova::rows {

BoxMoments::BoxMoments(std::vector<KeptRows> planes, cv::Size planeSize, std::vector<Moment> moments, int r,
                       BoxBorder border)
    : m_planes(std::move(planes)),
      m_planeSize(planeSize),
      m_moments(std::move(moments)),
      m_r(r),
      m_border(border),
      m_size(planeSize - (border == BoxBorder::kInside ? cv::Size(2 * r, 2 * r) : cv::Size())),
      m_halves(2, static_cast<std::size_t>(kStretch + side())),
      m_means(m_moments.size(), kStretch) {
    for (std::size_t k = 0; k < m_moments.size(); ++k) {
        m_columns.emplace_back(planeSize.width, margin());
        m_stretches.push_back(m_means.row(k));
    }
}

int BoxMoments::planeRow(int i) const {
    return m_border == BoxBorder::kReplicated ? std::clamp(i - m_r, 0, m_planeSize.height - 1) : i;
}

void BoxMoments::moveColumns(Moment moment, FloatColumns& columns, int y) const noexcept {
    const auto [plane, factor] = moment;
    const bool anew = (y - m_top) % boxBlockRows(side()) == 0;
    if (factor == Moment::kNone)
        columns.moveTo([&, plane = plane](int i) { return ValueRow{row(plane, y + i)}; }, side(), anew);
    else
        columns.moveTo(
            [&, plane = plane, factor = factor](int i) {
                return ProductRow{row(plane, y + i), row(factor, y + i)};
            },
            side(), anew);
}

void BoxMoments::moveTo(int y) noexcept {
    const int n = m_planeSize.width;
    for (std::size_t k = 0; k < m_moments.size(); ++k) {
        moveColumns(m_moments[k], m_columns[k], y);
        double* const sums = m_columns[k].sums();
        std::fill_n(sums - margin(), margin(), sums[0]);
        std::fill_n(sums + n, margin(), sums[n - 1]);
    }
}

const float* const* BoxMoments::means(int x, int n) noexcept {
    for (std::size_t k = 0; k < m_moments.size(); ++k)
        sumAcross(m_columns[k].sums() - margin() + x, side(), m_halves.row(0), m_halves.row(1), m_means.row(k), n,
                  MeanOfFloats(boxArea(side(), side())));
    return m_stretches.data();
}

}  // namespace kestrova::rows
