#include <gtest/gtest.h>

#include <vector>

#include "kestrova/filters/pardiso_solver.h"
#include "kestrova/filters/twls_filter.h"
#include "tests/memory/refusal.h"
#include "tests/primitives/sparse_phases.h"

namespace {

/// Has each allocation of the phase refused in turn; the phase must answer so, and work once nothing is refused.
template <class Phase>
void expectMemoryErrors(const Phase& phase) {
    int error = kNoMemory;
    for (int n = 0; n < 5000; ++n) {
        bool happened = false;
        {
            const Refusal refusal(n, Refusal::kOne);
            error = phase();
            happened = Refusal::happened();
        }
        if (!happened) break;
        ASSERT_EQ(error, kNoMemory) << "allocation " << n;
    }
    EXPECT_EQ(error, kDone);
}

TEST(SparseSolverMemory, EachPhaseAnswersThatMemoryRanOutWhereverItDoes) {
    const SparseSystem grid = gridSystem(40, 37, 0.5f, 2.0f, 3), random = randomSystem(120, 2.0, 4),
                       gridInParts = gridSystem(110, 90, 0.5f, 2.0f, 3);
    for (const SparseSystem* system : {&grid, &random, &gridInParts}) {
        const std::vector<float> rhs = randomVector(system->n, 5);
        expectMemoryErrors([&] { return Phases().analyse(*system); });
        Phases phases;
        ASSERT_EQ(phases.analyse(*system), kDone);
        expectMemoryErrors([&] { return phases.factorise(*system); });
        std::vector<float> b = rhs, work(rhs.size()), expected = rhs;
        bool kept = true;
        expectMemoryErrors([&] {
            b.assign(rhs.begin(), rhs.end());
            const int error = phases.run(kSolve, *system, b.data(), work.data());
            kept = kept && (b == rhs) == (error != kDone);
            return error;
        });
        EXPECT_TRUE(kept) << "the right-hand side stays unless it is solved";
        ASSERT_EQ(phases.solve(*system, expected), kDone);
        EXPECT_EQ(b, expected);
    }
}

TEST(SparseSolverMemory, TheSmootherKeepsTheSolversMemoryUntilItsBuffersGo) {
    constexpr int w = 60, h = 50;
    std::vector<float> plane = randomVector(w * h, 1), guide = randomVector(w * h, 2);
    TWLSFilter filter;
    const LiveBlocks blocks;
    const auto smooth = [&] {
        filter.Proc(plane.data(), w, h, 1.0f, 1.2f, guide.data(), false);
        return LiveBlocks::count();
    };
    filter.realloc(w, h);
    const std::size_t buffers = LiveBlocks::count(), kept = smooth();
    EXPECT_GT(kept, buffers);
    EXPECT_EQ(smooth(), kept);
    filter.freemem();
    EXPECT_EQ(LiveBlocks::count(), 0u);
    EXPECT_EQ(smooth(), kept);
}

TEST(SparseSolverMemory, TheSmootherSmoothsWhereverMemoryRanOutBefore) {
    constexpr int w = 60, h = 50;
    const std::vector<float> rhs = randomVector(w * h, 1);
    std::vector<float> expected = rhs, guide = randomVector(w * h, 2);
    TWLSFilter().Proc(expected.data(), w, h, 1.0f, 1.2f, guide.data(), false);
    TWLSFilter filter;
    filter.realloc(w, h);
    bool happened = true;
    for (int n = 0; happened; ++n) {
        std::vector<float> plane = rhs;
        {
            const Refusal refusal(n, Refusal::kOne);
            filter.Proc(plane.data(), w, h, 1.0f, 1.2f, guide.data(), false);
            happened = Refusal::happened();
        }
        ASSERT_EQ(filter.solved(), !happened) << n;
        ASSERT_EQ(plane, happened ? rhs : expected) << n;
    }
}

TEST(SparseSolverMemory, PardisoSolverLeavesNoMemoryTaken) {
    SparseSystem system = gridSystem(30, 20, 0.1f, 10.0f, 1);
    std::vector<float> b(600, 1.0f), work(600);
    const LiveBlocks blocks;
    EXPECT_EQ(pardisoSolver(system.n, system.a.data(), system.ia.data(), system.ja.data(), b.data(), work.data(), 1, 2),
              0);
    EXPECT_EQ(LiveBlocks::count(), 0u);
}

TEST(SparseSolverMemory, PardisoSolverAnswersOneAndItsCoreZero) {
    SparseSystem system = gridSystem(7, 6, 0.1f, 10.0f, 1);
    std::vector<float> b(42, 1.0f), work(42);
    const auto run = [&](auto* solver) {
        const Refusal refusal(0, Refusal::kAllFromThere);
        return solver(system.n, system.a.data(), system.ia.data(), system.ja.data(), b.data(), work.data(), 1, 2);
    };
    EXPECT_EQ(run(pardisoSolver), 1);
    EXPECT_EQ(run(pardisoSolverIC), 0);
    EXPECT_EQ(b, std::vector<float>(42, 1.0f));
}

}  // namespace
