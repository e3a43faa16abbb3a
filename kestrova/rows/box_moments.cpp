#include "kestrova/rows/box_moments.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/box_means.h"

namespace kestrova::rows {

namespace {

KESTROVA_KERNEL void addPlane(double* __restrict sums, const float* row, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<double>(row[x]);
}
KESTROVA_KERNEL void addProduct(double* __restrict sums, const float* row, const float* factor, int n) noexcept {
    for (int x = 0; x < n; ++x) sums[x] += static_cast<double>(row[x] * factor[x]);
}

bool isFinite(float v) { return std::abs(v) <= std::numeric_limits<float>::max(); }

/// True if a value that leaves is not finite: the sums that it was part of are spoilt.
KESTROVA_KERNEL bool slidePlane(double* __restrict sums, const float* entering, const float* leaving, int n) noexcept {
    int spoilt = 0;
    for (int x = 0; x < n; ++x) {
        spoilt |= !isFinite(leaving[x]);
        sums[x] += static_cast<double>(entering[x]) - static_cast<double>(leaving[x]);
    }
    return spoilt != 0;
}
KESTROVA_KERNEL bool slideProduct(double* __restrict sums, const float* entering, const float* enteringFactor,
                                  const float* leaving, const float* leavingFactor, int n) noexcept {
    int spoilt = 0;
    for (int x = 0; x < n; ++x) {
        const float in = entering[x] * enteringFactor[x], out = leaving[x] * leavingFactor[x];
        spoilt |= !isFinite(out);
        sums[x] += static_cast<double>(in) - static_cast<double>(out);
    }
    return spoilt != 0;
}

/// As many sums as fill the cache lines of `n`.
int wholeLines(int n) { return (n + 7) / 8 * 8; }

}  // namespace

BoxMoments::BoxMoments(std::vector<KeptRows> planes, cv::Size planeSize, std::vector<Moment> moments, int r,
                       BoxBorder border)
    : m_planes(std::move(planes)),
      m_planeSize(planeSize),
      m_moments(std::move(moments)),
      m_r(r),
      m_border(border),
      m_size(planeSize - (border == BoxBorder::kInside ? cv::Size(2 * r, 2 * r) : cv::Size())) {
    const int count = static_cast<int>(m_moments.size());
    m_columns.create(count, wholeLines(columnsCovered()), CV_64FC1);
    m_scratch.create(2, wholeLines(kStretch + side()), CV_64FC1);
    m_means.create(count, kStretch, CV_32FC1);
    for (int k = 0; k < count; ++k) m_stretches.push_back(m_means.ptr<float>(k));
}

int BoxMoments::planeRow(int i) const {
    return m_border == BoxBorder::kReplicated ? std::clamp(i - m_r, 0, m_planeSize.height - 1) : i;
}

void BoxMoments::moveColumns(Moment moment, double* sums, int y) const noexcept {
    const auto [plane, factor] = moment;
    const bool isProduct = factor != Moment::kNone;
    const int n = m_planeSize.width, entering = y + 2 * m_r, leaving = y - 1;
    if ((y - m_top) % boxBlockRows(side()) != 0) {
        const bool spoilt = isProduct ? slideProduct(sums, row(plane, entering), row(factor, entering),
                                                     row(plane, leaving), row(factor, leaving), n)
                                      : slidePlane(sums, row(plane, entering), row(plane, leaving), n);
        if (!spoilt) return;
    }
    std::fill_n(sums, n, 0.0);
    for (int i = y; i <= entering; ++i)
        isProduct ? addProduct(sums, row(plane, i), row(factor, i), n) : addPlane(sums, row(plane, i), n);
}

void BoxMoments::moveTo(int y) noexcept {
    const int n = m_planeSize.width, margin = (columnsCovered() - n) / 2;
    for (std::size_t k = 0; k < m_moments.size(); ++k) {
        double* covered = m_columns.ptr<double>(static_cast<int>(k));
        double* sums = covered + margin;
        moveColumns(m_moments[k], sums, y);
        std::fill_n(covered, margin, sums[0]);
        std::fill_n(sums + n, margin, sums[n - 1]);
    }
}

const float* const* BoxMoments::means(int x, int n) noexcept {
    for (int k = 0; k < m_means.rows; ++k)
        boxMeansAcross(m_columns.ptr<double>(k, x), side(), side(), m_scratch.ptr<double>(0), m_scratch.ptr<double>(1),
                       m_means.ptr<float>(k), n);
    return m_stretches.data();
}

}  // namespace kestrova::rows
