#include "kestrova/filters/twls_filter.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "kestrova/filters/pardiso_solver.h"
#include "tests/primitives/sparse_system.h"
#include "tests/support/failures.h"
#include "tests/support/regions.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

/// 0.0001 in single precision, bits 0x38D1B717.
constexpr float kEps = 0x1.a36e2ep-14f;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

using Plane = std::vector<float>;

Plane noise(int w, int h, std::uint32_t seed = 1) { return randomVector(w * h, seed); }

/// Steps of 0.3 between squares of 3 pixels, constant within them, with a little noise.
Plane steps(int w, int h, float noiseSize) {
    Plane guide = noise(w, h, 5);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            guide[y * w + x] = noiseSize * guide[y * w + x] + 0.3f * static_cast<float>((x / 3 + y / 3) % 3);
        }
    }
    return guide;
}

/// The system in the documented order of its sums, in single precision.
SparseSystem expectedSystem(int w, int h, float lambda, float alpha, const Plane& guide) {
    const int n = w * h;
    Plane dx(n, 0.0f), dy(n, 0.0f), diagonal(n, 1.0f);
    const auto weight = [&](float difference) { return -lambda / (std::pow(std::fabs(difference), alpha) + kEps); };
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const int i = y * w + x;
            if (x + 1 < w) dx[i] = weight(guide[i + 1] - guide[i]);
            if (y + 1 < h) dy[i] = weight(guide[i + w] - guide[i]);
        }
    }
    for (int i = 0; i < n; ++i) diagonal[i] -= dx[i];
    for (int i = 0; i < n; ++i) diagonal[i] -= dy[i];
    for (int i = 0; i + 1 < n; ++i) diagonal[i + 1] -= dx[i];
    for (int i = 0; i + w < n; ++i) diagonal[i + w] -= dy[i];
    SparseSystem system;
    for (int i = 0; i < n; ++i) {
        std::vector<std::pair<int, float>> row = {{i, diagonal[i]}};
        if (i + 1 < n) row.emplace_back(i + 1, dx[i]);
        if (i + w < n) row.emplace_back(i + w, dy[i]);
        system.addRow(row);
    }
    return system;
}

/// Smooths, compares matrix (bit by bit) and solution (to the rounding of the solution to float).
void expectSmoothed(int w, int h, float lambda, float alpha, Plane guide, bool logGuide, const char* what) {
    Plane smoothed = noise(w, h, 9);
    const Plane b = smoothed;
    Plane used = guide;
    if (logGuide) {
        for (float& v : used) v = std::log(v + kEps);
    }
    const SparseSystem system = expectedSystem(w, h, lambda, alpha, used);
    const std::vector<double> expected = denseSolve(system, b);
    ASSERT_FALSE(expected.empty()) << what;

    TWLSFilter filter;
    ASSERT_EQ(filter.Proc(smoothed.data(), w, h, lambda, alpha, guide.data(), logGuide), 1);
    EXPECT_EQ(guide, used) << what;
    const auto entries = static_cast<std::size_t>(system.a.size());
    EXPECT_EQ(entries, static_cast<std::size_t>(h > 1 || w > 1 ? 3 * w * h - w - 1 : 1)) << what;
    EXPECT_EQ(std::memcmp(filter.m_a_p, system.a.data(), entries * sizeof(float)), 0) << what;
    EXPECT_EQ(std::memcmp(filter.m_ja_p, system.ja.data(), entries * sizeof(int)), 0) << what;
    EXPECT_EQ(std::memcmp(filter.m_ia_p, system.ia.data(), system.ia.size() * sizeof(int)), 0) << what;
    for (std::size_t i = 0; i < b.size(); ++i)
        ASSERT_NEAR(smoothed[i], expected[i], 0x1p-23) << what << ", pixel " << i;
}

std::string sizeName(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

TEST(TWLSFilter, AnswersWhetherItsLastSystemWasSolved) {
    TWLSFilter filter;
    EXPECT_FALSE(filter.solved());
    Plane plane(6 * 5, 0.5f), guide(6 * 5, 0.25f);
    filter.Proc(plane.data(), 6, 5, 1, 1.2f, guide.data(), false);
    EXPECT_TRUE(filter.solved());
    const float notFinite = std::numeric_limits<float>::infinity();
    EXPECT_FAILURE(filter.Proc(plane.data(), 6, 5, notFinite, 1.2f, guide.data(), false), "pardisoSolverIC - 22");
    EXPECT_FALSE(filter.solved());
    filter.Proc(plane.data(), 6, 5, 1, 1.2f, guide.data(), false);
    EXPECT_TRUE(filter.solved());
    EXPECT_FAILURE(filter.Proc(plane.data(), 0, 5, 1, 1.2f, guide.data(), false),
                   "ERROR - TWLSFilter::Proc - w < 1 || h < 1");
    EXPECT_FALSE(filter.solved());
}

// The diagonal of an even area is the sum of 1 and four weights w, each addition rounded: the sum of a row, 1 but for
// these roundings, is off by at most 2^-24 of w + 2 w + 3 w + 4 w, and the level by as much.
TEST(TWLSFilter, KeepsTheLevelOfAnEvenAreaWithinTheRoundingOfItsWeights) {
    const double eps = 0.0001;
    for (float lambda : {0.01f, 0.0777f, 0.3f, 1.0f, 1.77f, 3.3f, 7.7f}) {
        Plane plane(23 * 21, 0.5f), guide(23 * 21, 0.25f);
        TWLSFilter().Proc(plane.data(), 23, 21, lambda, 1.2f, guide.data(), true);
        const double bound = 10 * static_cast<double>(lambda) / eps * 0x1p-24 + 1e-5;  // and the solver's own
        for (float v : plane) ASSERT_NEAR(static_cast<double>(v), 0.5, 0.5 * bound) << lambda;
    }
}

}  // namespace

TEST(TWLSFilter, StartsWithTheDocumentedDefaults) {
    const TWLSFilter filter;
    EXPECT_EQ(filter.m_eps, kEps);
    EXPECT_EQ(filter.m_epsLog, kEps);
    EXPECT_EQ(filter.getWidth(), 0);
    EXPECT_EQ(filter.getHeight(), 0);
    for (const float* p : {filter.m_dx_p, filter.m_dy_p, filter.m_diag_p, filter.m_a_p}) EXPECT_EQ(p, nullptr);
    for (const int* p : {filter.m_ia_p, filter.m_ja_p}) EXPECT_EQ(p, nullptr);
    EXPECT_FALSE(std::is_copy_constructible<TWLSFilter>::value);
}

TEST(TWLSFilter, SolvesTheDocumentedSystemAtAllSmallSizes) {
    for (auto [w, h] :
         {std::pair{1, 1}, {2, 1}, {1, 2}, {2, 2}, {1, 23}, {23, 1}, {2, 9}, {9, 2}, {16, 11}, {19, 20}}) {
        expectSmoothed(w, h, 1.0f, 1.2f, noise(w, h), false, sizeName(w, h).c_str());
        expectSmoothed(w, h, 1.0f, 1.2f, noise(w, h), true, (sizeName(w, h) + " log").c_str());
    }
}

TEST(TWLSFilter, SmoothsWithinStepsOfTheGuideAndNotAcross) {
    expectSmoothed(18, 15, 0.2f, 1.5f, steps(18, 15, 0.02f), false, "steps");
    constexpr int w = 20, h = 10;
    Plane guide(w * h), plane = noise(w, h);
    for (int i = 0; i < w * h; ++i) guide[i] = i % w < w / 2 ? 0.0f : 1000.0f;
    double left = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w / 2; ++x) left += plane[y * w + x] / (h * w / 2);
    }
    TWLSFilter filter;
    filter.Proc(plane.data(), w, h, 1.0f, 2.0f, guide.data(), false);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w / 2; ++x) EXPECT_NEAR(plane[y * w + x], left, 3e-3) << x << ", " << y;
    }
}

TEST(TWLSFilter, LambdaZeroGivesThePlaneBack) {
    for (auto [w, h] : {std::pair{1, 1}, {1, 9}, {9, 1}, {13, 12}}) {
        Plane plane = noise(w, h, 3), guide = noise(w, h, 4);
        const Plane before = plane;
        TWLSFilter filter;
        EXPECT_EQ(filter.Proc(plane.data(), w, h, 0.0f, 1.2f, guide.data(), false), 1);
        EXPECT_EQ(plane, before);
    }
}

TEST(TWLSFilter, AlphaZeroWeighsAllNeighboursAlike) {
    Plane constant(12 * 9, 0.25f);
    expectSmoothed(12, 9, 2.0f, 0.0f, constant, false, "constant");
    expectSmoothed(12, 9, 2.0f, 0.0f, noise(12, 9), false, "noise");
    Plane plane = noise(12, 9), guide = noise(12, 9, 2);
    TWLSFilter filter;
    filter.Proc(plane.data(), 12, 9, 2.0f, 0.0f, guide.data(), false);
    EXPECT_EQ(filter.m_a_p[1], -2.0f / (1.0f + kEps));
    EXPECT_EQ(filter.m_a_p[2], -2.0f / (1.0f + kEps));
}

TEST(TWLSFilter, AConstantGuideSmoothsAlmostToTheMean) {
    expectSmoothed(14, 13, 0.05f, 1.2f, Plane(14 * 13, 0.5f), false, "constant guide");
    expectSmoothed(1, 14, 0.05f, 1.2f, Plane(14, 0.5f), true, "constant logarithm");
}

TEST(TWLSFilter, LambdaOfTenThousandIsSolvedWhereTheGuideVaries) {
    expectSmoothed(15, 14, 1e4f, 0.0f, noise(15, 14), false, "uniform");
    expectSmoothed(15, 14, 1e4f, 1.2f, steps(15, 14, 30.0f), false, "steps");
}

TEST(TWLSFilter, RefusesASystemWhoseDiagonalCannotHoldTheOneAnyMore) {
    const Plane guide(8 * 8, 0.5f);
    const SparseSystem system = expectedSystem(8, 8, 1e4f, 1.2f, guide);
    std::vector<double> rowSums(64);
    system.forEach([&](int i, int j, double v) {
        rowSums[i] += v;
        if (i != j) rowSums[j] += v;
    });
    ASSERT_EQ(rowSums, std::vector<double>(64, 0.0)) << "singular: weights of 1e8 swallow the 1";
    Plane plane = noise(8, 8), used = guide;
    const Plane before = plane;
    TWLSFilter filter;
    EXPECT_FAILURE(filter.Proc(plane.data(), 8, 8, 1e4f, 1.2f, used.data(), false), "pardisoSolverIC - 22");
    EXPECT_EQ(plane, before);
}

TEST(TWLSFilter, AConstantPlaneStaysConstant) {
    Plane plane(40 * 30, 0.75f), guide = noise(40, 30);
    TWLSFilter filter;
    filter.Proc(plane.data(), 40, 30, 1.0f, 1.2f, guide.data(), true);
    for (float v : plane) EXPECT_NEAR(v, 0.75f, 1e-3f);
}

TEST(TWLSFilter, ASecondProcTakesTheLogarithmOfTheLogarithms) {
    Plane plane = noise(6, 5), guide(30, 20.0f);
    TWLSFilter filter;
    filter.Proc(plane.data(), 6, 5, 0.01f, 1.2f, guide.data(), true);
    filter.Proc(plane.data(), 6, 5, 0.01f, 1.2f, guide.data(), true);
    const float once = std::log(20.0f + kEps);
    for (float v : guide) EXPECT_EQ(v, std::log(once + kEps));
}

TEST(TWLSFilter, LargePlanesLeaveNoMoreResidualThanTheRoundingOfTheSolution) {
    for (auto [w, h] : {std::pair{200, 150}, {97, 311}, {1, 20000}, {20000, 1}, {3, 5000}}) {
        Plane plane = noise(w, h, 2), guide = noise(w, h, 3);
        const Plane b = plane;
        TWLSFilter filter;
        filter.Proc(plane.data(), w, h, 1.0f, 1.2f, guide.data(), true);
        EXPECT_LE(backwardError(expectedSystem(w, h, 1.0f, 1.2f, guide), plane, b), 0x1p-23) << sizeName(w, h);
    }
}

TEST(TWLSFilter, AnyNumberOfThreadsGivesTheSameBits) {
    const Plane input = noise(140, 120), guide = steps(140, 120, 0.1f);
    Plane first;
    withThreadCounts([&](int threads) {
        Plane plane = input, usedGuide = guide;
        TWLSFilter filter;
        filter.Proc(plane.data(), 140, 120, 1.0f, 1.2f, usedGuide.data(), true);
        if (threads == 1) first = plane;
        EXPECT_EQ(plane, first) << threads;
    });
}

TEST(TWLSFilter, TwoHostThreadsSmoothAtOnceWithTwoObjects) {
    const Plane input = noise(70, 60), guide = noise(70, 60, 2);
    const auto smooth = [&](float lambda) {
        Plane plane = input, usedGuide = guide;
        TWLSFilter filter;
        for (int i = 0; i < 3; ++i) filter.Proc(plane.data(), 70, 60, lambda, 1.2f, usedGuide.data(), false);
        return plane;
    };
    const Plane alone1 = smooth(0.5f), alone2 = smooth(2.0f);
    Plane together2;
    std::thread other([&] { together2 = smooth(2.0f); });
    EXPECT_EQ(smooth(0.5f), alone1);
    other.join();
    EXPECT_EQ(together2, alone2);
}

TEST(TWLSFilter, OpensNoMoreParallelRegionsForALargePlaneThanForASmallOne) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    for (auto [w, h] : {std::pair{150, 140}, {600, 500}}) {
        TWLSFilter filter;
        Plane plane = noise(w, h), guide = noise(w, h, 2);
        const Regions regions =
            regionsOf([&, w = w, h = h] { filter.Proc(plane.data(), w, h, 1.0f, 1.2f, guide.data(), true); });
        EXPECT_LE(regions.count, 30) << w;
        EXPECT_GE(regions.count, 5) << w;
        EXPECT_TRUE(regions.allOfTheWholeTeam);
    }
}

TEST(TWLSFilter, KeepsItsBuffersWhileTheSizeStays) {
    TWLSFilter filter;
    Plane plane = noise(8, 6), guide = noise(8, 6, 2);
    filter.Proc(plane.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
    EXPECT_EQ(filter.getWidth(), 8);
    EXPECT_EQ(filter.getHeight(), 6);
    EXPECT_EQ(filter.m_n, 48);
    EXPECT_EQ(filter.m_nnz, 144);
    const void* before[] = {filter.m_dx_p, filter.m_dy_p, filter.m_diag_p, filter.m_a_p, filter.m_ia_p, filter.m_ja_p};
    filter.Proc(plane.data(), 8, 6, 2.0f, 1.0f, guide.data(), false);
    filter.realloc(8, 6);
    filter.realloc(0, 6);
    filter.realloc(8, -1);
    const void* after[] = {filter.m_dx_p, filter.m_dy_p, filter.m_diag_p, filter.m_a_p, filter.m_ia_p, filter.m_ja_p};
    EXPECT_TRUE(std::equal(before, before + 6, after));
    EXPECT_EQ(filter.getWidth(), 8);
    for (const void* p : after) EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 32, 0u);
    filter.realloc(6, 8);
    EXPECT_EQ(filter.getWidth(), 6);
    EXPECT_EQ(filter.getHeight(), 8);
}

TEST(TWLSFilter, FreememLeavesTheSizeAndTheValueOfOnePointer) {
    TWLSFilter filter;
    Plane plane = noise(8, 6), guide = noise(8, 6, 2);
    Plane again = plane;
    filter.Proc(plane.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
    const float* dy = filter.m_dy_p;
    filter.freemem();
    filter.freemem();
    EXPECT_EQ(filter.m_dy_p, dy);
    for (const float* p : {filter.m_dx_p, filter.m_diag_p, filter.m_a_p}) EXPECT_EQ(p, nullptr);
    for (const int* p : {filter.m_ia_p, filter.m_ja_p}) EXPECT_EQ(p, nullptr);
    EXPECT_EQ(filter.getWidth(), 8);
    EXPECT_EQ(filter.getHeight(), 6);
    filter.Proc(again.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
    EXPECT_EQ(again, plane);
}

TEST(TWLSFilter, AssignmentSharesTheBuffers) {
    Plane plane = noise(8, 6), guide = noise(8, 6, 2);
    Plane again = plane, third = plane;
    TWLSFilter copy;
    copy.realloc(3, 3);
    {
        TWLSFilter filter;
        filter.Proc(plane.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
        copy = filter;
        EXPECT_EQ(copy.m_a_p, filter.m_a_p);
        EXPECT_EQ(copy.m_dy_p, filter.m_dy_p);
        EXPECT_EQ(copy.getWidth(), 8);
        filter.freemem();
        EXPECT_GT(copy.m_a_p[0], 1.0f) << "still there";
    }
    copy.Proc(again.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
    EXPECT_EQ(again, plane);
    copy = *&copy;
    copy.Proc(third.data(), 8, 6, 1.0f, 1.0f, guide.data(), false);
    EXPECT_EQ(third, plane);
}

TEST(TWLSFilter, RefusesPlanesThatAreNone) {
    TWLSFilter filter;
    float pixel = 5, guide = 2;
    EXPECT_FAILURE(filter.Proc(nullptr, 1, 1, 1, 1, &guide, true), "ERROR - TWLSFilter::Proc - inOut or guide is null");
    EXPECT_FAILURE(filter.Proc(&pixel, 1, 1, 1, 1, nullptr, true), "ERROR - TWLSFilter::Proc - inOut or guide is null");
    for (auto [w, h] : {std::pair{0, 1}, {1, 0}, {-1, -1}, {INT_MIN, 3}}) {
        EXPECT_FAILURE(filter.Proc(&pixel, w, h, 1, 1, &guide, true), "ERROR - TWLSFilter::Proc - w < 1 || h < 1");
    }
    for (auto [w, h] : {std::pair{INT_MAX / 3, 2}, {INT_MAX, INT_MAX}, {50000, 50000}, {INT_MAX / 3 + 1, 1}}) {
        EXPECT_FAILURE(filter.Proc(&pixel, w, h, 1, 1, &guide, true),
                       "ERROR - TWLSFilter::realloc - 3 * w * h > INT_MAX");
    }
    EXPECT_EQ(pixel, 5.0f);
    EXPECT_EQ(guide, 2.0f);
    EXPECT_EQ(filter.getWidth(), 0);
}

TEST(TWLSFilter, PassesTheTextsOfTheSolverOn) {
    TWLSFilter filter;
    Plane plane = noise(5, 5), guide = noise(5, 5, 2);
    const Plane before = plane;
    EXPECT_FAILURE(filter.Proc(plane.data(), 5, 5, -10.0f, 1.0f, guide.data(), false), "pardisoSolverIC - 22");
    guide[7] = kNan;
    EXPECT_FAILURE(filter.Proc(plane.data(), 5, 5, 1.0f, 1.0f, guide.data(), false), "pardisoSolverIC - 22");
    EXPECT_EQ(plane, before);
    guide[7] = 0;
    EXPECT_EQ(filter.Proc(plane.data(), 5, 5, 1.0f, 1.0f, guide.data(), false), 1) << "usable afterwards";
    plane[3] = kNan;
    EXPECT_FAILURE(filter.Proc(plane.data(), 5, 5, 1.0f, 1.0f, guide.data(), false), "pardisoSolverIC - 22");
}

TEST(PardisoSolver, AnswersZeroWhenSolvedAndItsCoreOne) {
    SparseSystem system = gridSystem(7, 6, 0.1f, 10.0f, 1);
    const std::vector<float> b = randomVector(system.n, 2);
    std::vector<float> one = b, two = b, work(b.size());
    EXPECT_EQ(
        pardisoSolver(system.n, system.a.data(), system.ia.data(), system.ja.data(), one.data(), work.data(), 1, 2), 0);
    EXPECT_EQ(
        pardisoSolverIC(system.n, system.a.data(), system.ia.data(), system.ja.data(), two.data(), work.data(), 1, 2),
        1);
    EXPECT_EQ(one, two);
    EXPECT_LE(backwardError(system, one, b), 0x1p-23);
}

TEST(PardisoSolver, TellsAnalysisFromFactorisationAndSolutionByItsText) {
    SparseSystem system = gridSystem(3, 2, 1.0f, 1.0f, 1);
    const auto solve = [](SparseSystem s, std::vector<float> b, int mtype = 2, int nrhs = 1) {
        std::vector<float> x(b.size());
        return pardisoSolver(s.n, s.a.data(), s.ia.data(), s.ja.data(), b.data(), x.data(), nrhs, mtype);
    };
    const std::vector<float> b(6, 1.0f);
    EXPECT_EQ(solve(system, b), 0);

    SparseSystem malformed = system, indefinite = system, notANumber = system;
    malformed.ja[1] = 99;
    indefinite.a[0] = -1;
    notANumber.a[1] = kNan;
    EXPECT_FAILURE(solve(malformed, b), "pardisoSolverIC - 11");
    EXPECT_FAILURE(solve(system, b, 11), "pardisoSolverIC - 11");
    EXPECT_FAILURE(solve(system, b, 2, 0), "pardisoSolverIC - 11");
    EXPECT_FAILURE(solve(SparseSystem{}, b), "pardisoSolverIC - 11");
    EXPECT_FAILURE(pardisoSolver(1, nullptr, nullptr, nullptr, nullptr, nullptr, 1, 2), "pardisoSolverIC - 11");
    EXPECT_FAILURE(solve(indefinite, b), "pardisoSolverIC - 22");
    EXPECT_FAILURE(solve(notANumber, b), "pardisoSolverIC - 22");
    EXPECT_FAILURE(solve(system, std::vector<float>(6, kNan)), "pardisoSolverIC - 22");
    float one = 1;
    EXPECT_FAILURE(pardisoSolver(system.n, system.a.data(), system.ia.data(), system.ja.data(), nullptr, &one, 1, 2),
                   "pardisoSolverIC - 22");
}
