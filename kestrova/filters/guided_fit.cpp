#include "kestrova/filters/guided_fit.h"

#include <algorithm>
#include <utility>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/invert3.h"

namespace kestrova::filters {

using namespace frame;
using namespace rows;

namespace {

/// Products of means are rounded before they are taken away, and eps is added last: the order is part of the interface.
KESTROVA_KERNEL void solveOneRow(const float* meanI, const float* meanP, const float* meanIP, const float* meanII,
                                 float eps, float* __restrict a, float* __restrict b, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float covariance = meanIP[x] - meanI[x] * meanP[x];
        const float variance = meanII[x] - meanI[x] * meanI[x];
        a[x] = covariance / (variance + eps);
        b[x] = meanP[x] - meanI[x] * a[x];
    }
}

/// Means of the guide's planes and of p, and of their products.
struct Means3 {
    const float *m0, *m1, *m2, *mp;
    const float *m0p, *m1p, *m2p;
    const float *m00, *m11, *m22, *m01, *m02, *m12;
};

double wide(float v) { return static_cast<double>(v); }

KESTROVA_KERNEL void solveThreeRow(const Means3& means, float eps, float* __restrict a0, float* __restrict a1,
                                   float* __restrict a2, float* __restrict b, int n) noexcept {
    const Means3 m = means;
    for (int x = 0; x < n; ++x) {
        const float m0 = m.m0[x], m1 = m.m1[x], m2 = m.m2[x], mp = m.mp[x];
        const float c0 = m.m0p[x] - m0 * mp, c1 = m.m1p[x] - m1 * mp, c2 = m.m2p[x] - m2 * mp;
        const double v00 = wide((m.m00[x] - m0 * m0) + eps), v11 = wide((m.m11[x] - m1 * m1) + eps),
                     v22 = wide((m.m22[x] - m2 * m2) + eps);
        const double v01 = wide(m.m01[x] - m0 * m1), v02 = wide(m.m02[x] - m0 * m2), v12 = wide(m.m12[x] - m1 * m2);
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

std::vector<Moment> momentsOf(int guides) {
    if (guides == 1) return {{0}, {1}, {0, 1}, {0, 0}};
    // In the order of `Means3`.
    return {{0}, {1}, {2}, {3}, {0, 3}, {1, 3}, {2, 3}, {0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}};
}

}  // namespace

GuidedFit::GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, BoxBorder border)
    : m_planes(guide),
      m_r(r),
      m_eps(eps),
      m_border(border),
      m_fitSize(border == BoxBorder::kInside ? p.size() - cv::Size(2 * r, 2 * r) : p.size()),
      m_keptRows(std::min(2 * r + 2, m_fitSize.height)),
      m_blockRows(boxBlockRows(2 * r + 1)),
      m_strips(size().height, size().width, m_blockRows) {
    m_planes.push_back(p);
    for (int s = 0; s < m_strips.count(); ++s) m_workers.push_back(makeWorker());
}

cv::Size GuidedFit::size() const {
    return m_border == BoxBorder::kInside ? m_fitSize - cv::Size(2 * m_r, 2 * m_r) : m_fitSize;
}

GuidedFit::Worker GuidedFit::makeWorker() const {
    std::vector<KeptRows> planes, fitted;
    for (const cv::Mat& plane : m_planes)
        planes.push_back({plane.ptr<float>(), static_cast<std::ptrdiff_t>(plane.step1()), plane.rows});
    const std::ptrdiff_t perPlane = static_cast<std::ptrdiff_t>(m_keptRows) * m_fitSize.width;
    std::unique_ptr<float[]> coefficients(new float[perPlane * coefficientCount()]);
    std::vector<Moment> eachCoefficient;
    for (int k = 0; k < coefficientCount(); ++k) {
        fitted.push_back({coefficients.get() + perPlane * k, m_fitSize.width, m_keptRows});
        eachCoefficient.push_back({k});
    }
    return {BoxMoments(planes, m_planes[0].size(), momentsOf(coefficientCount() - 1), m_r, m_border),
            std::move(coefficients), BoxMoments(fitted, m_fitSize, eachCoefficient, m_r, m_border)};
}

float* GuidedFit::coefficientRow(const Worker& worker, int k, int y) const {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(m_keptRows) * k + y % m_keptRows;
    return worker.coefficients.get() + row * m_fitSize.width;
}

void GuidedFit::makeCoefficients(Worker& worker, int first, int last) const noexcept {
    for (; worker.next <= last; ++worker.next) {
        const int y = worker.next;
        worker.moments.moveTo(y);
        if (y < first) continue;
        worker.moments.eachStretch([&](int x, int n, const float* const* m) noexcept {
            const auto out = [&](int k) { return coefficientRow(worker, k, y) + x; };
            if (coefficientCount() == 2)
                solveOneRow(m[0], m[1], m[2], m[3], m_eps, out(0), out(1), n);
            else
                solveThreeRow({m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9], m[10], m[11], m[12]}, m_eps,
                              out(0), out(1), out(2), out(3), n);
        });
    }
}

}  // namespace kestrova::filters
