#include "kestrova/filters/guided_fit.h"

#include <algorithm>

#include "kestrova/frame/kernel.h"
#include "kestrova/rows/invert3.h"

namespace kestrova::filters {

using namespace rows;

namespace {

// ---- One plane of guide

namespace one {

enum Input { kI, kP };
enum Mean { kMeanI, kMeanP, kMeanIP, kMeanII, kMeans };

std::vector<Moment> moments() {
    std::vector<Moment> of(kMeans);
    of[kMeanI] = {kI};
    of[kMeanP] = {kP};
    of[kMeanIP] = {kI, kP};
    of[kMeanII] = {kI, kI};
    return of;
}

/// Products of means are rounded before they are taken away, and eps is added last: the order is part of the interface.
KESTROVA_KERNEL void solveRow(const float* const* means, float eps, float* __restrict a, float* __restrict b,
                              int n) noexcept {
    const float *meanI = means[kMeanI], *meanP = means[kMeanP];
    const float *meanIP = means[kMeanIP], *meanII = means[kMeanII];
    for (int x = 0; x < n; ++x) {
        const float covariance = meanIP[x] - meanI[x] * meanP[x];
        const float variance = meanII[x] - meanI[x] * meanI[x];
        a[x] = covariance / (variance + eps);
        b[x] = meanP[x] - meanI[x] * a[x];
    }
}

}  // namespace one

// ---- Three planes of guide

namespace three {

enum Input { kI0, kI1, kI2, kP };
enum Mean {
    kMeanI0,
    kMeanI1,
    kMeanI2,
    kMeanP,
    kMeanI0P,
    kMeanI1P,
    kMeanI2P,
    kMeanI0I0,
    kMeanI1I1,
    kMeanI2I2,
    kMeanI0I1,
    kMeanI0I2,
    kMeanI1I2,
    kMeans
};

std::vector<Moment> moments() {
    std::vector<Moment> of(kMeans);
    of[kMeanI0] = {kI0};
    of[kMeanI1] = {kI1};
    of[kMeanI2] = {kI2};
    of[kMeanP] = {kP};
    of[kMeanI0P] = {kI0, kP};
    of[kMeanI1P] = {kI1, kP};
    of[kMeanI2P] = {kI2, kP};
    of[kMeanI0I0] = {kI0, kI0};
    of[kMeanI1I1] = {kI1, kI1};
    of[kMeanI2I2] = {kI2, kI2};
    of[kMeanI0I1] = {kI0, kI1};
    of[kMeanI0I2] = {kI0, kI2};
    of[kMeanI1I2] = {kI1, kI2};
    return of;
}

double wide(float v) { return static_cast<double>(v); }

KESTROVA_KERNEL void solveRow(const float* const* means, float eps, float* __restrict a0, float* __restrict a1,
                              float* __restrict a2, float* __restrict b, int n) noexcept {
    const float *meanI0 = means[kMeanI0], *meanI1 = means[kMeanI1], *meanI2 = means[kMeanI2], *meanP = means[kMeanP];
    const float *meanI0P = means[kMeanI0P], *meanI1P = means[kMeanI1P], *meanI2P = means[kMeanI2P];
    const float *meanI0I0 = means[kMeanI0I0], *meanI1I1 = means[kMeanI1I1], *meanI2I2 = means[kMeanI2I2];
    const float *meanI0I1 = means[kMeanI0I1], *meanI0I2 = means[kMeanI0I2], *meanI1I2 = means[kMeanI1I2];
    for (int x = 0; x < n; ++x) {
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

// ---- What the box means are taken of

std::vector<KeptRows> rowsOf(const std::vector<cv::Mat>& guide, const cv::Mat& p) {
    std::vector<KeptRows> planes;
    const auto add = [&](const cv::Mat& plane) {
        planes.push_back({plane.ptr<float>(), static_cast<std::ptrdiff_t>(plane.step1()), plane.rows});
    };
    for (const cv::Mat& plane : guide) add(plane);
    add(p);
    return planes;
}

std::vector<KeptRows> coefficientRows(const float* coefficients, int count, int keptRows, int cols) {
    std::vector<KeptRows> planes;
    const std::ptrdiff_t perCoefficient = static_cast<std::ptrdiff_t>(keptRows) * cols;
    for (int k = 0; k < count; ++k) planes.push_back({coefficients + perCoefficient * k, cols, keptRows});
    return planes;
}

std::vector<Moment> eachOf(int count) {
    std::vector<Moment> planes(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) planes[static_cast<std::size_t>(k)] = {k};
    return planes;
}

}  // namespace

GuidedFit::GuidedFit(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps, BoxBorder border)
    : m_count(static_cast<int>(guide.size()) + 1),
      m_blockRows(blockRows(r)),
      m_eps(eps),
      m_fitSize(border == BoxBorder::kInside ? p.size() - cv::Size(2 * r, 2 * r) : p.size()),
      m_keptRows(std::min(2 * r + 2, m_fitSize.height)),
      m_coefficients(new float[static_cast<std::size_t>(m_count) * static_cast<std::size_t>(m_keptRows) *
                               static_cast<std::size_t>(m_fitSize.width)]),
      m_moments(rowsOf(guide, p), p.size(), m_count == 2 ? one::moments() : three::moments(), r, border),
      m_smoothed(coefficientRows(m_coefficients.get(), m_count, m_keptRows, m_fitSize.width), m_fitSize,
                 eachOf(m_count), r, border) {}

float* GuidedFit::coefficientRow(int k, int y) const {
    const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(m_keptRows) * k + y % m_keptRows;
    return m_coefficients.get() + row * m_fitSize.width;
}

void GuidedFit::begin(int y, int top) noexcept {
    m_moments.countBlocksFrom(top);
    m_smoothed.countBlocksFrom(top);
    m_firstNeeded = m_smoothed.firstRowUnder(y);
    m_next = top + (m_firstNeeded - top) / m_blockRows * m_blockRows;
}

void GuidedFit::moveTo(int y) noexcept {
    for (; m_next <= m_smoothed.lastRowUnder(y); ++m_next) {
        m_moments.moveTo(m_next);
        if (m_next >= m_firstNeeded) fitRow(m_next);
    }
    m_smoothed.moveTo(y);
}

void GuidedFit::fitRow(int y) noexcept {
    for (int x = 0; x < m_fitSize.width; x += kStretch) {
        const int n = std::min(kStretch, m_fitSize.width - x);
        const float* const* means = m_moments.means(x, n);
        const auto out = [&](int k) { return coefficientRow(k, y) + x; };
        if (m_count == 2)
            one::solveRow(means, m_eps, out(0), out(1), n);
        else
            three::solveRow(means, m_eps, out(0), out(1), out(2), out(3), n);
    }
}

}  // namespace kestrova::filters
