#include "kestrova/filters/box_moments.h"

#include <cmath>
#include <limits>
#include <utility>

#include "kestrova/frame/kernel.h"

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

}  // namespace

BoxMoments::BoxMoments(std::vector<cv::Mat> planes, std::vector<Moment> moments, int r, BoxBorder border)
    : m_planes(std::move(planes)), m_moments(std::move(moments)), m_r(r), m_border(border), m_size(m_planes[0].size()) {
    if (m_border == BoxBorder::kInside) m_size -= cv::Size(2 * r, 2 * r);
}

BoxMoments::Scratch BoxMoments::makeScratch() const {
    const std::size_t moments = m_moments.size();
    Scratch scratch;
    scratch.columns.reset(new double[moments * static_cast<std::size_t>(columnsCovered())]);
    scratch.halves.reset(new double[2 * static_cast<std::size_t>(kStretch + windowSide())]);
    scratch.means.reset(new float[moments * kStretch]);
    for (std::size_t k = 0; k < moments; ++k) scratch.stretches.push_back(&scratch.means[k * kStretch]);
    return scratch;
}

const float* BoxMoments::row(int plane, int i) const noexcept {
    const cv::Mat& pixels = m_planes[static_cast<std::size_t>(plane)];
    return pixels.ptr<float>(m_border == BoxBorder::kReplicated ? std::clamp(i - m_r, 0, pixels.rows - 1) : i);
}

void BoxMoments::moveColumns(const Scratch& scratch, int y, bool anew) const noexcept {
    const int n = m_planes[0].cols, margin = (columnsCovered() - n) / 2;
    const int entering = y + 2 * m_r, leaving = y - 1;
    for (std::size_t k = 0; k < m_moments.size(); ++k) {
        const auto [plane, factor] = m_moments[k];
        const bool isProduct = factor != Moment::kNone;
        double* all = columns(scratch, static_cast<int>(k));
        double* sums = all + margin;
        bool spoilt = anew;
        if (!anew)
            spoilt = isProduct ? slideProduct(sums, row(plane, entering), row(factor, entering), row(plane, leaving),
                                              row(factor, leaving), n)
                               : slidePlane(sums, row(plane, entering), row(plane, leaving), n);
        if (spoilt) {
            std::fill_n(sums, n, 0.0);
            for (int i = y; i <= entering; ++i)
                isProduct ? addProduct(sums, row(plane, i), row(factor, i), n) : addPlane(sums, row(plane, i), n);
        }
        std::fill_n(all, margin, sums[0]);
        std::fill_n(sums + n, margin, sums[n - 1]);
    }
}

void BoxMoments::meansAcross(const Scratch& scratch, int x, int n) const noexcept {
    double *halves = scratch.halves.get(), *otherHalves = halves + kStretch + windowSide();
    for (std::size_t k = 0; k < m_moments.size(); ++k)
        boxMeansAcross(columns(scratch, static_cast<int>(k)) + x, windowSide(), windowSide(), halves, otherHalves,
                       &scratch.means[k * kStretch], n);
}
