#include "kestrova/primitives/sparse_solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "kestrova/solver/sparse_memory.h"
#include "tests/primitives/sparse_phases.h"
#include "tests/primitives/sparse_system.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

std::vector<float> solved(const SparseSystem& system, std::vector<float> b) {
    Phases phases;
    EXPECT_EQ(phases.analyse(system), kDone);
    EXPECT_EQ(phases.factorise(system), kDone);
    EXPECT_EQ(phases.solve(system, b), kDone);
    return b;
}

/// The refined solution is right to its rounding to float; the reference's own error in double does not show.
void expectDenseSolution(const SparseSystem& system, const std::string& what) {
    const std::vector<float> b = randomVector(system.n, 7);
    const std::vector<double> expected = denseSolve(system, b);
    ASSERT_EQ(expected.size(), b.size()) << what;
    const std::vector<float> x = solved(system, b);
    double size = 0;
    for (double v : expected) size = std::fmax(size, std::fabs(v));
    for (int i = 0; i < system.n; ++i) ASSERT_NEAR(x[i], expected[i], size * 0x1p-23) << what << ", row " << i;
}

}  // namespace

TEST(SparseSolver, SolvesSmallGridsLikeADenseSolver) {
    for (auto [w, h] : {std::pair{1, 1},
                        {2, 1},
                        {1, 2},
                        {2, 2},
                        {1, 30},
                        {30, 1},
                        {2, 17},
                        {17, 2},
                        {3, 5},
                        {8, 8},
                        {13, 19},
                        {25, 16}}) {
        expectDenseSolution(gridSystem(w, h, 0.01f, 100.0f, 3), std::to_string(w) + "x" + std::to_string(h));
    }
}

TEST(SparseSolver, SolvesRandomMatricesThatAreNoGrid) {
    for (int n : {1, 2, 3, 10, 50, 150}) {
        for (double perRow : {0.0, 0.5, 2.0, 6.0}) {
            expectDenseSolution(randomSystem(n, perRow, static_cast<std::uint32_t>(n)), std::to_string(n));
        }
    }
    expectDenseSolution(randomSystem(90, 90.0, 5), "dense");
}

TEST(SparseSolver, SolvesAnArrowAndAChain) {
    SparseSystem arrow, chain;
    constexpr int n = 200;
    for (int i = 0; i < n; ++i) {
        std::vector<std::pair<int, float>> row = {{i, i == 0 ? 300.0f : 2.0f}};
        if (i == 0) {
            for (int j = 1; j < n; ++j) row.emplace_back(j, 1.0f);
        }
        arrow.addRow(row);
        chain.addRow(i + 1 < n ? std::vector<std::pair<int, float>>{{i, 2.5f}, {i + 1, -1.0f}}
                               : std::vector<std::pair<int, float>>{{i, 2.5f}});
    }
    expectDenseSolution(arrow, "arrow");
    expectDenseSolution(chain, "chain");
}

TEST(SparseSolver, SolvesAGridWhoseRowsAreLinkedEndToBegin) {
    SparseSystem helix = gridSystem(9, 12, 0.5f, 2.0f, 4);
    helix.forEach([&, k = 0](int i, int j, double) mutable {
        if (j == i + 1 && j % 9 == 0) helix.a[k] = -0.25f;
        if (j == i) helix.a[k] += 0.5f;
        ++k;
    });
    expectDenseSolution(helix, "helix");
}

TEST(SparseSolver, AddsColumnsThatARowNamesTwice) {
    SparseSystem twice, once;
    twice.addRow({{0, 1.5f}, {1, -0.25f}, {0, 2.0f}, {1, -0.5f}, {2, 0.0f}});
    twice.addRow({{2, 0.5f}, {1, 4.0f}, {2, -1.0f}});
    twice.addRow({{2, 1.0f}, {2, 2.0f}});
    once.addRow({{0, 3.5f}, {1, -0.75f}});
    once.addRow({{1, 4.0f}, {2, -0.5f}});
    once.addRow({{2, 3.0f}});
    const std::vector<float> b = {1, 2, 3};
    EXPECT_EQ(solved(twice, b), solved(once, b));
    expectDenseSolution(twice, "twice");
}

TEST(SparseSolver, LeavesTheRightHandSideOfTheIdentity) {
    SparseSystem identity;
    for (int i = 0; i < 50; ++i) {
        identity.addRow(i + 1 < 50 ? std::vector<std::pair<int, float>>{{i, 1.0f}, {i + 1, -0.0f}}
                                   : std::vector<std::pair<int, float>>{{i, 1.0f}});
    }
    const std::vector<float> b = randomVector(50, 2);
    EXPECT_EQ(solved(identity, b), b);
}

TEST(SparseSolver, SolvesALargeGridOfWhichManyLinksAreMissing) {
    for (int kept : {1, 2, 49}) {
        SparseSystem grid = gridSystem(190, 120, 0.1f, 10.0f, 8);
        grid.forEach([&, k = 0](int i, int j, double) mutable {
            if (i != j && static_cast<int>((7919u * i + 104729u * j) % 50) >= kept) grid.a[k] = 0;
            ++k;
        });
        const std::vector<float> b = randomVector(grid.n, 6);
        std::vector<float> first;
        withThreadCounts([&](int threads) {
            const std::vector<float> x = solved(grid, b);
            if (threads == 1) first = x;
            EXPECT_LE(backwardError(grid, x, b), 0x1p-23) << kept;
            EXPECT_EQ(x, first) << kept << " " << threads;
        });
    }
}

TEST(SparseSolver, SolvesAGridWhoseLastLineIsNotFull) {
    constexpr int w = 130, h = 101, cells = w * h - 50;
    const SparseSystem grid = gridSystem(w, h, 0.1f, 10.0f, 8);
    SparseSystem cut;
    for (int i = 0; i < cells; ++i) {
        std::vector<std::pair<int, float>> row;
        for (int k = grid.ia[i] - 1; k < grid.ia[i + 1] - 1; ++k) {
            if (grid.ja[k] <= cells) row.emplace_back(grid.ja[k] - 1, grid.a[k]);
        }
        cut.addRow(row);
    }
    const std::vector<float> b = randomVector(cut.n, 6);
    EXPECT_LE(backwardError(cut, solved(cut, b), b), 0x1p-23);
}

TEST(SparseSolver, LargeSystemsLeaveNoMoreResidualThanTheRoundingOfTheSolution) {
    const SparseSystem grid = gridSystem(170, 130, 1e-3f, 1e3f, 8), random = randomSystem(1500, 1.0, 9);
    for (const SparseSystem* system : {&grid, &random}) {
        const std::vector<float> b = randomVector(system->n, 6);
        EXPECT_LE(backwardError(*system, solved(*system, b), b), 0x1p-23);
    }
}

TEST(SparseSolver, AnyNumberOfThreadsGivesTheSameBits) {
    const SparseSystem grid = gridSystem(150, 170, 1e-3f, 1e3f, 8), random = randomSystem(700, 2.0, 9);
    for (const SparseSystem* system : {&grid, &random}) {
        const std::vector<float> b = randomVector(system->n, 6);
        std::vector<float> first;
        withThreadCounts([&](int threads) {
            const std::vector<float> x = solved(*system, b);
            if (threads == 1) first = x;
            EXPECT_EQ(x, first) << threads;
        });
    }
}

TEST(SparseSolver, TwoHostThreadsSolveAtOnce) {
    const SparseSystem one = gridSystem(60, 50, 0.1f, 10.0f, 1), two = gridSystem(45, 70, 0.1f, 10.0f, 2);
    const std::vector<float> b1 = randomVector(one.n, 3), b2 = randomVector(two.n, 4);
    const std::vector<float> alone1 = solved(one, b1), alone2 = solved(two, b2);
    std::vector<float> together1, together2;
    std::thread other([&] { together2 = solved(two, b2); });
    together1 = solved(one, b1);
    other.join();
    EXPECT_EQ(together1, alone1);
    EXPECT_EQ(together2, alone2);
}

TEST(SparseSolver, SolvesSeveralRightHandSides) {
    const SparseSystem system = gridSystem(11, 7, 0.1f, 10.0f, 5);
    const std::vector<float> b1 = randomVector(system.n, 1), b2 = randomVector(system.n, 2);
    std::vector<float> both = b1;
    both.insert(both.end(), b2.begin(), b2.end());
    Phases phases;
    phases.nrhs = 2;
    ASSERT_EQ(phases.analyse(system), kDone);
    ASSERT_EQ(phases.factorise(system), kDone);
    ASSERT_EQ(phases.solve(system, both), kDone);
    std::vector<float> expected = solved(system, b1), second = solved(system, b2);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(both, expected);
}

TEST(SparseSolver, TheSolutionGoesToXUnlessItOverwritesB) {
    const SparseSystem system = gridSystem(6, 7, 0.1f, 10.0f, 5);
    const std::vector<float> rhs = randomVector(system.n, 1);
    std::vector<float> b = rhs, x(b.size());
    Phases phases;
    phases.iparm[5] = 0;
    ASSERT_EQ(phases.analyse(system), kDone);
    ASSERT_EQ(phases.factorise(system), kDone);
    ASSERT_EQ(phases.run(kSolve, system, b.data(), x.data()), kDone);
    EXPECT_EQ(b, rhs);
    EXPECT_EQ(x, solved(system, rhs));
}

TEST(SparseSolver, OneFactorServesManySolutionsAndOneAnalysisManyFactors) {
    const SparseSystem first = gridSystem(9, 8, 0.1f, 10.0f, 5), second = gridSystem(9, 8, 0.1f, 10.0f, 6);
    Phases phases;
    ASSERT_EQ(phases.analyse(first), kDone);
    for (const SparseSystem* system : {&first, &second}) {
        ASSERT_EQ(phases.factorise(*system), kDone);
        for (std::uint32_t seed : {1u, 2u}) {
            std::vector<float> b = randomVector(system->n, seed);
            const std::vector<float> expected = solved(*system, b);
            ASSERT_EQ(phases.solve(*system, b), kDone);
            EXPECT_EQ(b, expected);
        }
    }
}

TEST(SparseSolver, RefinesByNoMoreStepsThanAllowedAndTellsHowMany) {
    const SparseSystem system = gridSystem(40, 40, 1e-3f, 1e3f, 5);
    Phases phases;
    ASSERT_EQ(phases.analyse(system), kDone);
    ASSERT_EQ(phases.factorise(system), kDone);
    for (int steps : {0, 1, 5}) {
        std::vector<float> b = randomVector(system.n, 1);
        phases.iparm[6] = 16;
        phases.iparm[7] = steps;
        ASSERT_EQ(phases.solve(system, b), kDone);
        EXPECT_LE(phases.iparm[6], steps);
        EXPECT_GE(phases.iparm[6], steps > 0 ? 1 : 0);
    }
}

TEST(SparseSolver, MemoryThatIsKeptServesTheNextSolver) {
    const SparseSystem small = gridSystem(9, 8, 0.1f, 10.0f, 5), large = gridSystem(60, 70, 0.1f, 10.0f, 6),
                       random = randomSystem(150, 2.0, 4);
    kestrova::solver::SolverMemory memory;
    for (const SparseSystem* system : {&large, &small, &random, &large}) {
        const float* const before = memory.factor.data();
        const bool enough = system == &small;
        {
            Phases phases;
            phases.pt[1] = &memory;
            ASSERT_EQ(phases.analyse(*system), kDone);
            EXPECT_TRUE(memory.factor.empty()) << "the solver has taken it over";
            ASSERT_EQ(phases.factorise(*system), kDone);
            std::vector<float> b = randomVector(system->n, 1);
            ASSERT_EQ(phases.solve(*system, b), kDone);
            EXPECT_EQ(b, solved(*system, randomVector(system->n, 1)));
        }
        EXPECT_FALSE(memory.factor.empty()) << "the solver has given it back";
        EXPECT_TRUE(!enough || memory.factor.data() == before);
    }
}

TEST(SparseSolver, AnalysisRefusesMalformedPatterns) {
    SparseSystem sound;
    sound.addRow({{0, 4.0f}, {1, 1.0f}});
    sound.addRow({{1, 4.0f}, {2, 1.0f}});
    sound.addRow({{2, 4.0f}});
    const auto error = [&](auto spoil) {
        SparseSystem system = sound;
        spoil(system);
        Phases phases;
        const int result = phases.analyse(system);
        EXPECT_EQ(phases.pt[0] == nullptr, result != kDone);
        return result;
    };
    EXPECT_EQ(error([](SparseSystem&) {}), kDone);
    EXPECT_EQ(error([](SparseSystem& s) { s.ia = {0, 2, 4, 5}; }), kRefused) << "rows counted from 0";
    EXPECT_EQ(error([](SparseSystem& s) { s.ia = {1, 4, 3, 6}; }), kRefused) << "row starts that descend";
    EXPECT_EQ(error([](SparseSystem& s) { s.ia = {1, 3, 5, -7}; }), kRefused) << "a negative row start";
    EXPECT_EQ(error([](SparseSystem& s) { s.ja[1] = 4; }), kRefused) << "a column beyond the last";
    EXPECT_EQ(error([](SparseSystem& s) { s.ja[1] = 0; }), kRefused) << "column 0";
    EXPECT_EQ(error([](SparseSystem& s) { s.ja[3] = 1; }), kRefused) << "a column below the diagonal";
    EXPECT_EQ(error([](SparseSystem& s) { s.ja[2] = 3; }), kRefused) << "a row without its diagonal";
}

TEST(SparseSolver, RefusesArgumentsThatItDoesNotServe) {
    const SparseSystem system = gridSystem(3, 3, 1.0f, 1.0f, 1);
    const auto error = [&](auto spoil) {
        Phases phases;
        spoil(phases);
        return phases.analyse(system);
    };
    EXPECT_EQ(error([](Phases&) {}), kDone);
    EXPECT_EQ(error([](Phases& p) { p.mtype = -2; }), kRefused);
    EXPECT_EQ(error([](Phases& p) { p.maxfct = 2; }), kRefused);
    EXPECT_EQ(error([](Phases& p) { p.mnum = 2; }), kRefused);
    EXPECT_EQ(error([](Phases& p) { p.nrhs = 0; }), kRefused);
    EXPECT_EQ(error([](Phases& p) { p.iparm[27] = 0; }), kRefused);

    float none = 0;
    Phases phases;
    EXPECT_EQ(phases.run(kAnalyse, SparseSystem{}, &none, &none), kRefused) << "no rows";
    EXPECT_EQ(phases.run(kAnalyse, system, nullptr, &none), kRefused);
    EXPECT_EQ(phases.run(kAnalyse, system, &none, nullptr), kRefused);
    EXPECT_EQ(phases.run(12, system, &none, &none), kRefused) << "an unknown phase";
}

TEST(SparseSolver, RefusesPhasesOutOfOrder) {
    const SparseSystem system = gridSystem(3, 3, 1.0f, 1.0f, 1), larger = gridSystem(3, 4, 1.0f, 1.0f, 1);
    std::vector<float> b(12, 1.0f);
    Phases phases;
    EXPECT_EQ(phases.factorise(system), kRefused) << "before analysis";
    EXPECT_EQ(phases.solve(system, b), kRefused) << "before analysis";
    ASSERT_EQ(phases.analyse(system), kDone);
    EXPECT_EQ(phases.analyse(system), kRefused) << "a handle in use";
    EXPECT_EQ(phases.solve(system, b), kRefused) << "before factorisation";
    EXPECT_EQ(phases.factorise(larger), kRefused) << "another size";
    ASSERT_EQ(phases.factorise(system), kDone);
    EXPECT_EQ(phases.solve(larger, b), kRefused) << "another size";
    EXPECT_EQ(b, std::vector<float>(12, 1.0f));
    EXPECT_EQ(phases.run(kRelease, system, nullptr, nullptr), kDone);
    EXPECT_EQ(phases.pt[0], nullptr);
    EXPECT_EQ(phases.run(kRelease, system, nullptr, nullptr), kDone) << "released twice";
}

TEST(SparseSolver, FactorisationRefusesWhatIsNotPositiveDefinite) {
    const auto error = [](float diagonal, float beside) {
        SparseSystem system;
        system.addRow({{0, 4.0f}, {1, beside}});
        system.addRow({{1, diagonal}});
        Phases phases;
        EXPECT_EQ(phases.analyse(system), kDone);
        const int result = phases.factorise(system);
        std::vector<float> b = {1, 1};
        EXPECT_EQ(phases.solve(system, b), result == kDone ? kDone : kRefused) << "without a factor";
        return result;
    };
    EXPECT_EQ(error(4, 1), kDone);
    EXPECT_EQ(error(4, 4), kNotPositiveDefinite) << "singular";
    EXPECT_EQ(error(4, 5), kNotPositiveDefinite) << "indefinite";
    EXPECT_EQ(error(-2, 0), kNotPositiveDefinite);
    EXPECT_EQ(error(0, 0), kNotPositiveDefinite);
    for (float bad : {kNan, kInfinity, -kInfinity}) {
        EXPECT_EQ(error(bad, 1), kNotPositiveDefinite);
        EXPECT_EQ(error(4, bad), kNotPositiveDefinite);
    }
}

TEST(SparseSolver, FactorisationRefusesAnIndefiniteGridDeepInside) {
    SparseSystem grid = gridSystem(64, 64, 0.5f, 2.0f, 3);
    grid.a[grid.ia[2000] - 1] = 0.01f;
    Phases phases;
    ASSERT_EQ(phases.analyse(grid), kDone);
    withThreadCounts([&](int) { EXPECT_EQ(phases.factorise(grid), kNotPositiveDefinite); });
}

TEST(SparseSolver, SolutionRefusesARightHandSideThatIsNotFiniteAndLeavesIt) {
    const SparseSystem system = gridSystem(5, 4, 0.5f, 2.0f, 3);
    Phases phases;
    ASSERT_EQ(phases.analyse(system), kDone);
    ASSERT_EQ(phases.factorise(system), kDone);
    std::vector<float> b(20, 1.0f);
    b[7] = kInfinity;
    const std::vector<float> before = b;
    EXPECT_EQ(phases.solve(system, b), kNotPositiveDefinite);
    EXPECT_EQ(b, before);
    b[7] = kNan;
    EXPECT_EQ(phases.solve(system, b), kNotPositiveDefinite);
    EXPECT_EQ(b[0], 1.0f);
}

TEST(SparseSolver, NullPointersAreRefused) {
    const SparseSystem s = gridSystem(5, 4, 0.5f, 2.0f, 3);
    std::vector<float> b(20, 1.0f), x(20, 2.0f);
    void* pt[64] = {};
    int iparm[64] = {}, error = 77;
    iparm[27] = 1;
    const int one = 1, two = 2, phase = kAnalyse;
    PARDISO(nullptr, &one, &one, &two, &phase, &s.n, s.a.data(), s.ia.data(), s.ja.data(), nullptr, &one, iparm,
            nullptr, b.data(), x.data(), &error);
    EXPECT_EQ(error, kRefused);
    PARDISO(pt, &one, &one, &two, &phase, &s.n, s.a.data(), s.ia.data(), s.ja.data(), nullptr, &one, iparm, nullptr,
            b.data(), x.data(), nullptr);
    EXPECT_EQ(pt[0], nullptr);
    // each of the numbers and of iparm in turn
    for (int spoilt = 0; spoilt < 7; ++spoilt) {
        const auto unless = [&](int i, auto* pointer) { return i == spoilt ? nullptr : pointer; };
        error = 77;
        PARDISO(pt, unless(0, &one), unless(1, &one), unless(2, &two), unless(3, &phase), unless(4, &s.n), s.a.data(),
                s.ia.data(), s.ja.data(), nullptr, unless(5, &one), unless(6, iparm), nullptr, b.data(), x.data(),
                &error);
        EXPECT_EQ(error, kRefused) << spoilt;
        EXPECT_EQ(pt[0], nullptr) << spoilt;
    }
}

TEST(SparseSolver, ANullPointerLeavesTheSolverThatStandsReadyForTheNextCall) {
    const SparseSystem system = gridSystem(5, 4, 0.5f, 2.0f, 3);
    Phases phases;
    ASSERT_EQ(phases.analyse(system), kDone);
    ASSERT_EQ(phases.factorise(system), kDone);
    const int phase = kSolve, one = 1, two = 2;
    int error = 77;
    std::vector<float> b = randomVector(20, 2), x(20);
    PARDISO(phases.pt, &one, &one, &two, &phase, &system.n, system.a.data(), system.ia.data(), system.ja.data(),
            nullptr, &one, nullptr, nullptr, b.data(), x.data(), &error);
    EXPECT_EQ(error, kRefused);
    EXPECT_EQ(phases.solve(system, b), kDone);
}

TEST(SparseSolver, AMatrixThatIsSingularToItsPrecisionIsRefusedNotSolvedByChance) {
    SparseSystem grid = gridSystem(32, 32, 1.0f, 1.0f, 3);  // one plus a Laplacian; without the one it is singular
    for (int i = 0; i < grid.n; ++i) grid.a[grid.ia[i] - 1] -= 1.0f;
    Phases phases;
    ASSERT_EQ(phases.analyse(grid), kDone);
    std::vector<float> b = randomVector(grid.n, 1);
    const std::vector<float> before = b;
    int error = phases.factorise(grid);
    if (error == kDone) error = phases.solve(grid, b);
    EXPECT_EQ(error, kNotPositiveDefinite);
    EXPECT_EQ(b, before);
}

TEST(SparseSolver, ValuesMayFillPlacesThatWereZeroInTheAnalysis) {
    for (const SparseSystem& full : {gridSystem(6, 5, 0.5f, 2.0f, 3), randomSystem(60, 3.0, 3)}) {
        SparseSystem zeros = full;
        zeros.forEach([&, k = 0](int i, int j, double) mutable {
            if (i != j && i % 3 == 0) zeros.a[k] = 0;
            ++k;
        });
        const std::vector<float> rhs = randomVector(full.n, 5);
        Phases phases;
        ASSERT_EQ(phases.analyse(zeros), kDone);
        ASSERT_EQ(phases.factorise(full), kDone);
        std::vector<float> b = rhs;
        ASSERT_EQ(phases.solve(full, b), kDone);
        EXPECT_EQ(b, solved(full, rhs));
    }
}

TEST(SparseSolver, LeavesTheTreatmentOfDenormalsOfTheCallingThread) {
    const SparseSystem system = gridSystem(40, 40, 0.5f, 2.0f, 3);
    solved(system, randomVector(system.n, 1));
    volatile float tiny = 0x1p-126f;
    EXPECT_GT(tiny * 0.5f, 0.0f);
}
