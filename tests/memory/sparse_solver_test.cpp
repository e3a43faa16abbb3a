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
    const SparseSystem grid = gridSystem(40, 37, 0.5f, 2.0f, 3), random = randomSystem(120, 2.0, 4);
    for (const SparseSystem* system : {&grid, &random}) {
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
