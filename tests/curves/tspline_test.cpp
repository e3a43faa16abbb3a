#include "kestrova/curves/tspline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

using Floats = std::vector<float>;

struct Coefficients {
    Floats b, c, d;
};

std::uint32_t bits(float v) {
    std::uint32_t word;
    std::memcpy(&word, &v, sizeof word);
    return word;
}

void expectSameBits(const Floats& expected, const float* actual, int n, const char* what) {
    for (int i = 0; i < n; ++i)
        EXPECT_EQ(bits(expected[i]), bits(actual[i]))
            << what << '[' << i << "]: " << expected[i] << " and " << actual[i];
}

void solveByCrout(Floats sub, Floats diag, Floats sup, Floats& rhs) {
    const int n = static_cast<int>(rhs.size());
    for (int i = 0; i <= n - 2; ++i) {
        sup[i] = sup[i] / diag[i];
        diag[i + 1] = diag[i + 1] - sub[i] * sup[i];
    }
    rhs[0] = rhs[0] / diag[0];
    for (int i = 1; i <= n - 1; ++i) rhs[i] = (rhs[i] - sub[i - 1] * rhs[i - 1]) / diag[i];
    for (int i = n - 2; i >= 0; --i) rhs[i] = rhs[i] - sup[i] * rhs[i + 1];
}

float slopeDifference(float y0, float y1, float y2, float h0, float h1) {
    const double right = static_cast<double>(y2 - y1) * (3.0 / static_cast<double>(h1));
    const double left = static_cast<double>(y1 - y0) * (3.0 / static_cast<double>(h0));
    return static_cast<float>(right - left);
}

void finish(const Floats& y, const Floats& h, Coefficients& s) {
    const std::uint32_t thirdBits = 0x3eaaaaab;
    float third;
    std::memcpy(&third, &thirdBits, sizeof third);
    for (std::size_t i = 0; i + 1 < y.size(); ++i) {
        s.d.push_back((s.c[i + 1] - s.c[i]) / (3 * h[i]));
        s.b.push_back((y[i + 1] - y[i]) / h[i] - (2 * s.c[i] + s.c[i + 1]) * h[i] * third);
    }
}

Coefficients naiveNotAKnot(const Floats& x, const Floats& y) {
    const int n = static_cast<int>(x.size());
    Floats h;
    for (int i = 0; i <= n - 2; ++i) h.push_back(x[i + 1] - x[i]);
    Floats sub, diag, sup, rhs;
    for (int i = 0; i <= n - 4; ++i) sub.push_back(h[i + 1]);
    sup = sub;
    for (int i = 0; i <= n - 3; ++i) {
        diag.push_back(2 * (h[i] + h[i + 1]));
        rhs.push_back(slopeDifference(y[i], y[i + 1], y[i + 2], h[i], h[i + 1]));
    }
    diag[0] = h[0] * h[0] / h[1] + h[0] + diag[0];
    diag[n - 3] = diag[n - 3] + (h[n - 2] * h[n - 2] / h[n - 3] + h[n - 2]);
    sup[0] = sup[0] - h[0] * h[0] / h[1];
    sub[n - 4] = sub[n - 4] - h[n - 2] * h[n - 2] / h[n - 3];
    solveByCrout(sub, diag, sup, rhs);

    Coefficients s;
    s.c.assign(n, 0.0f);
    for (int i = 0; i <= n - 3; ++i) s.c[i + 1] = rhs[i];
    float r = h[0] / h[1];
    s.c[0] = (r + 1) * s.c[1] - r * s.c[2];
    r = h[n - 2] / h[n - 3];
    s.c[n - 1] = (r + 1) * s.c[n - 2] - r * s.c[n - 3];
    finish(y, h, s);
    return s;
}

Coefficients naiveClamped(const Floats& x, const Floats& y, float fpa, float fpb) {
    const int n = static_cast<int>(x.size());
    Floats h;
    for (int i = 0; i <= n - 2; ++i) h.push_back(x[i + 1] - x[i]);
    Floats diag(n);
    Coefficients s;
    s.c.assign(n, 0.0f);
    diag[0] = 2 * h[0];
    diag[n - 1] = 2 * h[n - 2];
    s.c[0] = static_cast<float>(static_cast<double>(y[1] - y[0]) * (3.0 / static_cast<double>(h[0])) -
                                static_cast<double>(fpa * 3.0f));
    s.c[n - 1] = static_cast<float>(static_cast<double>(fpb * 3.0f) -
                                    static_cast<double>(y[n - 1] - y[n - 2]) * (3.0 / static_cast<double>(h[n - 2])));
    for (int i = 0; i <= n - 3; ++i) {
        diag[i + 1] = 2 * (h[i] + h[i + 1]);
        s.c[i + 1] = slopeDifference(y[i], y[i + 1], y[i + 2], h[i], h[i + 1]);
    }
    solveByCrout(h, diag, h, s.c);
    finish(y, h, s);
    return s;
}

TSpline splineThrough(const Floats& x, const Floats& y) {
    TSpline spline(static_cast<int>(x.size()));
    for (std::size_t i = 0; i < x.size(); ++i) spline.setCtrPoint(static_cast<int>(i), x[i], y[i]);
    spline.update();
    return spline;
}

struct Points {
    Floats x, y;
};

const Points kSamples[] = {
    {{0, 0.25f, 0.5f, 0.75f, 1}, {0, 0.3375f, 0.5f, 0.6625f, 1}},
    {{-0.07142857f, 0.1f, 0.5f, 0.82f, 1.0714285f}, {0, 0.125f, 0.5f, 0.875f, 1}},
    {{0, 1, 2, 4}, {1, -1, 3, 0.5f}},
    {{-3, -1.5f, 0.1f, 0.2f, 5, 9, 9.125f}, {2, 7, -1, 0.3f, 0.7f, 11, 10}},
};

// Five points with coordinates that no product or sum of them represents exactly.
Points scattered(unsigned seed) {
    const cv::Mat spans = randomPlane(1, 5, CV_32FC1, 0.05, 1, seed),
                  y = randomPlane(1, 5, CV_32FC1, -1, 1, seed + 1000);
    Points points;
    float x = -0.3f;
    for (int i = 0; i < 5; ++i) {
        points.x.push_back(x += spans.at<float>(i));
        points.y.push_back(y.at<float>(i));
    }
    return points;
}

std::vector<Points> samplesAndScattered() {
    std::vector<Points> all(std::begin(kSamples), std::end(kSamples));
    for (unsigned seed = 1; seed <= 50; ++seed) all.push_back(scattered(seed));
    return all;
}

TEST(TSplineTest, AFreshSplineIsTheIdentity) {
    TSpline spline(5);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(spline.ctrPx(i), static_cast<float>(i) / 4.0f);
        EXPECT_EQ(spline.ctrPy(i), static_cast<float>(i) / 4.0f);
    }
    spline.update();
    for (float t : {0.0f, 0.1f, 0.3f, 0.5f, 0.77f, 1.0f}) EXPECT_NEAR(spline.value(t), t, 1e-6f);
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(spline.m_c_p[i], 0.0f, 1e-5f);
}

TEST(TSplineTest, FreshPointsDivideByTheCountLessOneInFloat) {
    TSpline spline(8);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(bits(spline.ctrPx(i)), bits(static_cast<float>(i) / 7.0f));
}

TEST(TSplineTest, MembersStandInTheirOrder) {
    const TSpline spline(4);
    const char* at = reinterpret_cast<const char*>(&spline);
    EXPECT_EQ(reinterpret_cast<const char*>(&spline.m_n), at);
    EXPECT_LT(reinterpret_cast<const char*>(&spline.m_n), reinterpret_cast<const char*>(&spline.m_x_p));
    EXPECT_EQ(&spline.m_x_p + 1, &spline.m_y_p);
    EXPECT_EQ(&spline.m_x_p + 2, &spline.m_b_p);
    EXPECT_EQ(&spline.m_x_p + 3, &spline.m_c_p);
    EXPECT_EQ(&spline.m_x_p + 4, &spline.m_d_p);
}

TEST(TSplineTest, UpdateSolvesTheNotAKnotSystemToTheBit) {
    for (const Points& p : samplesAndScattered()) {
        const int n = static_cast<int>(p.x.size());
        const TSpline spline = splineThrough(p.x, p.y);
        const Coefficients expected = naiveNotAKnot(p.x, p.y);
        expectSameBits(expected.b, spline.m_b_p, n - 1, "b");
        expectSameBits(expected.c, spline.m_c_p, n, "c");
        expectSameBits(expected.d, spline.m_d_p, n - 1, "d");
    }
}

TEST(TSplineTest, TheLastEntriesOfTheLinearAndCubicCoefficientsAreNotWritten) {
    TSpline spline(5);
    spline.m_b_p[4] = 123.0f;
    spline.m_d_p[4] = 456.0f;
    spline.update();
    EXPECT_EQ(spline.m_b_p[4], 123.0f);
    EXPECT_EQ(spline.m_d_p[4], 456.0f);
}

TEST(TSplineTest, TheThirdDerivativeIsContinuousAtTheSecondAndTheLastButOneKnot) {
    for (const Points& p : kSamples) {
        const int n = static_cast<int>(p.x.size());
        const TSpline spline = splineThrough(p.x, p.y);
        const float scale = 1.0f + std::abs(spline.m_d_p[0]) + std::abs(spline.m_d_p[n - 2]);
        EXPECT_NEAR(spline.m_d_p[0], spline.m_d_p[1], 1e-4f * scale);
        EXPECT_NEAR(spline.m_d_p[n - 2], spline.m_d_p[n - 3], 1e-4f * scale);
    }
}

TEST(TSplineTest, ACubicIsReproduced) {
    const auto cubic = [](float t) { return ((0.75f * t - 1.25f) * t + 0.5f) * t + 2.0f; };
    const Floats x = {-1, -0.25f, 0.5f, 1, 2, 2.5f};
    Floats y;
    for (float t : x) y.push_back(cubic(t));
    const TSpline spline = splineThrough(x, y);
    for (float t = -2; t <= 3.5f; t += 0.125f) EXPECT_NEAR(spline.value(t), cubic(t), 2e-5f) << t;
}

TEST(TSplineTest, AKnotBelongsToTheSegmentThatStartsThere) {
    const Points& p = kSamples[3];
    TSpline spline = splineThrough(p.x, p.y);
    const int n = static_cast<int>(p.x.size());
    for (int i = 1; i <= n - 2; ++i) EXPECT_EQ(spline.value(p.x[i]), p.y[i]);
    // The end of the last segment is evaluated on that segment.
    const float u = p.x[n - 1] - p.x[n - 2];
    EXPECT_EQ(spline.value(p.x[n - 1]),
              ((u * spline.m_d_p[n - 2] + spline.m_c_p[n - 2]) * u + spline.m_b_p[n - 2]) * u + p.y[n - 2]);
}

TEST(TSplineTest, TheEndSegmentsGoOnBeyondTheEnds) {
    const Points& p = kSamples[0];
    const TSpline spline = splineThrough(p.x, p.y);
    for (float t : {-1.0f, -0.25f, 1.5f, 3.0f}) {
        const int s = t < 0 ? 0 : 3;
        const float u = t - p.x[s];
        EXPECT_EQ(spline.value(t), ((u * spline.m_d_p[s] + spline.m_c_p[s]) * u + spline.m_b_p[s]) * u + p.y[s]);
    }
    EXPECT_LT(spline.value(-1.0f), 0.0f);
    EXPECT_GT(spline.value(3.0f), 1.0f);
}

TEST(TSplineTest, ValueIsTheSameEvaluationAsOnExplicitArrays) {
    const Points& p = kSamples[1];
    const TSpline s = splineThrough(p.x, p.y);
    for (float t = -0.5f; t < 1.5f; t += 0.015625f)
        EXPECT_EQ(bits(s.value(t)), bits(TSpline::spline_eval(5, s.m_x_p, s.m_y_p, s.m_b_p, s.m_c_p, s.m_d_p, t)));
}

TEST(TSplineTest, MovingAPointLeavesTheCoefficientsUntilUpdate) {
    TSpline spline(5);
    spline.update();
    const Floats b(spline.m_b_p, spline.m_b_p + 4), c(spline.m_c_p, spline.m_c_p + 5),
        d(spline.m_d_p, spline.m_d_p + 4);
    spline.setCtrPoint(2, 0.625f, 0.25f);
    EXPECT_EQ(spline.ctrPx(2), 0.625f);
    EXPECT_EQ(spline.ctrPy(2), 0.25f);
    expectSameBits(b, spline.m_b_p, 4, "b");
    expectSameBits(c, spline.m_c_p, 5, "c");
    expectSameBits(d, spline.m_d_p, 4, "d");
    // The knots that value searches are the new ones at once: 0.5625 now lies in segment 1.
    const float u = 0.5625f - 0.25f;
    EXPECT_EQ(spline.value(0.5625f), ((u * d[1] + c[1]) * u + b[1]) * u + 0.25f);
    spline.update();
    EXPECT_EQ(spline.value(0.625f), 0.25f);
}

TEST(TSplineTest, CopiesShareTheirArraysAndReleaseThemOnce) {
    auto first = std::make_unique<TSpline>(5);
    first->update();
    TSpline assigned(4);
    assigned = *first;
    const TSpline copied(*first);
    EXPECT_EQ(assigned.m_n, 5);
    EXPECT_EQ(assigned.m_x_p, first->m_x_p);
    EXPECT_EQ(copied.m_d_p, first->m_d_p);
    first->setCtrPoint(0, -0.5f, 0.125f);
    EXPECT_EQ(copied.ctrPx(0), -0.5f);
    first.reset();
    EXPECT_EQ(assigned.ctrPy(0), 0.125f);
    EXPECT_NEAR(copied.value(0.6f), 0.6f, 1e-6f);
}

TEST(TSplineTest, ANegativeCountIsTheAllocatorsFailure) {
    for (int n : {-1, -5, std::numeric_limits<int>::min()}) EXPECT_THROW(TSpline{n}, std::bad_alloc);
}

TEST(TSplineTest, APointThatDoesNotExistIsRefused) {
    TSpline spline(5);
    for (int i : {-1, 5}) {
        EXPECT_FAILURE(spline.setCtrPoint(i, 0, 0), "ERROR - TSpline::setCtrPoint - i<0 || i>=m_n");
        EXPECT_FAILURE(spline.ctrPx(i), "ERROR - TSpline::ctrPx - i<0 || i>=m_n");
        EXPECT_FAILURE(spline.ctrPy(i), "ERROR - TSpline::ctrPy - i<0 || i>=m_n");
    }
}

TEST(TSplineTest, BelowFourPointsItIsThePolynomialThroughThem) {
    const TSpline parabola = splineThrough({-1, 0.5f, 2}, {3, -0.75f, 0});
    const float q = ((0 - -0.75f) / 1.5f - (-0.75f - 3) / 1.5f) / 3;
    for (float t : {-2.0f, -1.0f, 0.0f, 0.5f, 1.0f, 2.0f, 3.0f})
        EXPECT_NEAR(parabola.value(t), 3 - 2.5f * (t + 1) + q * (t + 1) * (t - 0.5f), 1e-5f) << t;
    const TSpline line = splineThrough({1, 3}, {5, 9});
    for (float t : {-1.0f, 1.0f, 2.0f, 3.0f, 8.0f}) EXPECT_NEAR(line.value(t), 3 + 2 * t, 1e-5f) << t;
    const TSpline point = splineThrough({0.5f}, {4});
    for (float t : {-1.0f, 0.5f, 9.0f}) EXPECT_EQ(point.value(t), 4.0f);
    TSpline nothing(0);
    nothing.update();
    EXPECT_EQ(nothing.value(0.5f), 0.0f);
}

TEST(TSplineTest, ARepeatedAbscissaRunsOnAsInfinitiesAndNotANumbers) {
    const TSpline spline = splineThrough({0, 0.5f, 0.5f, 0.75f, 1}, {0, 0.25f, 0.5f, 0.75f, 1});
    bool finite = true;
    for (int i = 0; i < 5; ++i) finite = finite && std::isfinite(spline.m_c_p[i]);
    EXPECT_FALSE(finite);
}

TEST(TSplineTest, TridiagonalSolvesInPlaceWithoutPivoting) {
    Floats sub = {1, -2, 0.5f, 9}, diag = {4, 5, 6, 3}, sup = {1.5f, 2, -1, 9}, rhs = {1, 2, 3, 4};
    Floats expected = rhs;
    solveByCrout(sub, diag, sup, expected);
    const Floats d0 = diag, s0 = sub, u0 = sup, r0 = rhs;
    TSpline::tridiagonal(4, sub.data(), diag.data(), sup.data(), rhs.data());
    expectSameBits(expected, rhs.data(), 4, "solution");
    for (int i = 0; i < 4; ++i) {
        const float left = (i > 0 ? s0[i - 1] * rhs[i - 1] : 0) + d0[i] * rhs[i] + (i < 3 ? u0[i] * rhs[i + 1] : 0);
        EXPECT_NEAR(left, r0[i], 1e-5f);
    }
    Floats one = {8};
    Floats two = {4};
    TSpline::tridiagonal(1, sub.data(), two.data(), sup.data(), one.data());
    EXPECT_EQ(one[0], 2.0f);
}

TEST(TSplineTest, TheClampedSplineIsSolvedToTheBit) {
    for (const Points& p : samplesAndScattered()) {
        // Steep ends, so that the rounding of three times their slope shows.
        for (const auto& [fpa, fpb] : {std::pair(0.1f, -1.7f), std::pair(7.7f, 17.1f), std::pair(-23.3f, 0.7f)}) {
            const int n = static_cast<int>(p.x.size());
            Floats x = p.x, y = p.y, b(n, 77), c(n), d(n, 88);
            TSpline::cubic_clamped(n, x.data(), y.data(), b.data(), c.data(), d.data(), fpa, fpb);
            const Coefficients expected = naiveClamped(p.x, p.y, fpa, fpb);
            expectSameBits(expected.b, b.data(), n - 1, "b");
            expectSameBits(expected.c, c.data(), n, "c");
            expectSameBits(expected.d, d.data(), n - 1, "d");
            EXPECT_EQ(b[n - 1], 77.0f);
            EXPECT_EQ(d[n - 1], 88.0f);
        }
    }
}

TEST(TSplineTest, TheClampedSplineHasTheGivenEndSlopes) {
    for (const Points& p : kSamples) {
        const int n = static_cast<int>(p.x.size());
        Floats x = p.x, y = p.y, b(n), c(n), d(n);
        TSpline::cubic_clamped(n, x.data(), y.data(), b.data(), c.data(), d.data(), 0.5f, -2.0f);
        const float u = x[n - 1] - x[n - 2], scale = 1 + std::abs(b[n - 2]) + std::abs(c[n - 2]) + std::abs(d[n - 2]);
        EXPECT_NEAR(b[0], 0.5f, 1e-4f * scale);
        EXPECT_NEAR((3 * d[n - 2] * u + 2 * c[n - 2]) * u + b[n - 2], -2.0f, 1e-4f * scale);
    }
}

TEST(TSplineTest, DividedDifferencesAndNewtonsFormInterpolate) {
    Floats x = {-1, 0.5f, 2, 3}, y = {4, 1, -2, 7};
    const std::unique_ptr<float[]> q(TSpline::divdiff(4, x.data(), y.data()));
    Floats expected = y;
    for (int j = 1; j < 4; ++j)
        for (int i = 3; i >= j; --i) expected[i] = (expected[i] - expected[i - 1]) / (x[i] - x[i - j]);
    expectSameBits(expected, q.get(), 4, "difference");
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(TSpline::nf_eval(4, x.data(), q.get(), x[i]), y[i], 1e-5f);
    const float t = 1.25f;
    const float newton = (((t - x[2]) * q[3] + q[2]) * (t - x[1]) + q[1]) * (t - x[0]) + q[0];
    EXPECT_EQ(bits(TSpline::nf_eval(4, x.data(), q.get(), t)), bits(newton));
    EXPECT_NEAR(TSpline::neville(4, x.data(), y.data(), t), newton, 1e-5f);
}

TEST(TSplineTest, NevilleFollowsItsScheme) {
    Floats x = {-1, 0.5f, 2, 3}, y = {4, 1, -2, 7};
    for (float t : {-2.0f, -0.3f, 0.7f, 2.9f}) {
        Floats q = y;
        for (int j = 1; j < 4; ++j)
            for (int i = 3; i >= j; --i) q[i] = ((t - x[i - j]) * q[i] - (t - x[i]) * q[i - 1]) / (x[i] - x[i - j]);
        EXPECT_EQ(bits(TSpline::neville(4, x.data(), y.data(), t)), bits(q[3]));
    }
}

TEST(TSplineTest, OnePointInterpolatorsReturnItsOrdinate) {
    float x = 0.25f, y = 0.75f;
    EXPECT_EQ(TSpline::neville(1, &x, &y, 9.0f), 0.75f);
    EXPECT_EQ(TSpline::nf_eval(1, &x, &y, 9.0f), 0.75f);
    const std::unique_ptr<float[]> q(TSpline::divdiff(1, &x, &y));
    EXPECT_EQ(q[0], 0.75f);
    EXPECT_NE(q.get(), &y);
}

}  // namespace
