#include "kestrova/filters/guided_solve.h"

#include "kestrova/frame/kernel.h"
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

}  // namespace

void solveCoefficients(std::size_t guides, const float* const* means, float eps, float* const* coefficients,
                       std::ptrdiff_t n) noexcept {
    if (guides == 1)
        one::solveRow(means, eps, coefficients[0], coefficients[1], n);
    else
        three::solveRow(means, eps, coefficients[0], coefficients[1], coefficients[2], coefficients[3], n);
}

}  // namespace kestrova::filters
