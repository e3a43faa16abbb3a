#include "kestrova/primitives/sparse_solver.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "kestrova/frame/parallel.h"
#include "kestrova/solver/sparse_cholesky.h"

using namespace kestrova::frame;
using namespace kestrova::solver;

namespace {

enum Phase { kAnalyse = 11, kFactorise = 22, kSolve = 33, kRelease = -1 };
enum Error { kDone = 0, kRefused = -1, kNoMemory = -2, kNotPositiveDefinite = -4 };

/// Columns from the diagonal to the last, the diagonal among them.
bool wellFormedRow(const SparseRows& rows, int i) {
    bool within = true, diagonal = false;
    for (int k = rows.ia[i] - 1; k < rows.ia[i + 1] - 1; ++k) {
        within = within && rows.ja[k] > i && rows.ja[k] <= rows.n;
        diagonal = diagonal || rows.ja[k] == i + 1;
    }
    return within && diagonal;
}

/// Rows that start at 1 and go on in order.
bool wellFormed(const SparseRows& rows) {
    if (rows.ia[0] != 1 || !std::is_sorted(rows.ia, rows.ia + rows.n + 1)) return false;
    constexpr int kRowWork = 8;
    std::atomic<bool> good{true};
    forEachStrip(Strips(rows.n, kRowWork), [&](int first, int end) noexcept {
        for (int i = first; i < end; ++i) {
            if (!wellFormedRow(rows, i)) good.store(false, std::memory_order_relaxed);
        }
    });
    return good;
}

Error factorise(std::unique_ptr<SparseCholesky>& solver, const SparseRows& rows) {
    if (!solver->setValues(rows)) {  // an entry that was 0 in the analysis
        SolverMemory memory = solver->takeMemory();
        solver.reset();
        solver = std::make_unique<SparseCholesky>(rows, std::move(memory));
        solver->setValues(rows);
    }
    return solver->factorise() ? kDone : kNotPositiveDefinite;
}

Error solve(SparseCholesky& solver, int nrhs, int* iparm, float* b, float* x) {
    const auto n = static_cast<std::size_t>(solver.rows());
    SolverArray<float> solutions(n * static_cast<std::size_t>(nrhs));
    for (int r = 0; r < nrhs; ++r) {
        const std::size_t begin = n * static_cast<std::size_t>(r);
        if (!solver.solve(b + begin, solutions.data() + begin, iparm[7], &iparm[6])) return kNotPositiveDefinite;
    }
    std::copy(solutions.begin(), solutions.end(), iparm[5] == 1 ? b : x);
    return kDone;
}

Error run(int phase, std::unique_ptr<SparseCholesky>& solver, SolverMemory* kept, const SparseRows& rows, int nrhs,
          int* iparm, float* b, float* x) {
    if (phase == kAnalyse) {
        if (solver || !wellFormed(rows)) return kRefused;
        solver = std::make_unique<SparseCholesky>(rows, kept ? std::move(*kept) : SolverMemory());
        return kDone;
    }
    if (!solver || rows.n != solver->rows()) return kRefused;
    if (phase == kFactorise) return wellFormed(rows) ? factorise(solver, rows) : kRefused;
    if (phase == kSolve && solver->factorised()) return solve(*solver, nrhs, iparm, b, x);
    return kRefused;
}

}  // namespace

void PARDISO(void** pt, const int* maxfct, const int* mnum, const int* mtype, const int* phase, const int* n,
             const float* a, const int* ia, const int* ja, const int*, const int* nrhs, int* iparm, const int*,
             float* b, float* x, int* error) {
    if (!error) return;
    *error = kRefused;
    if (!pt || !phase) return;
    if (*phase == kRelease) {
        const std::unique_ptr<SparseCholesky> solver(static_cast<SparseCholesky*>(std::exchange(pt[0], nullptr)));
        if (solver && pt[1]) *static_cast<SolverMemory*>(pt[1]) = solver->takeMemory();
        *error = kDone;
        return;
    }
    if (!maxfct || !mnum || !mtype || !n || !nrhs || !iparm || !a || !ia || !ja || !b || !x) return;
    if (*maxfct != 1 || *mnum != 1 || *mtype != 2 || *n < 1 || *nrhs < 1 || iparm[27] != 1) return;
    std::unique_ptr<SparseCholesky> solver(static_cast<SparseCholesky*>(pt[0]));
    pt[0] = nullptr;
    try {
        *error = run(*phase, solver, static_cast<SolverMemory*>(pt[1]), SparseRows{*n, a, ia, ja}, *nrhs, iparm, b, x);
    } catch (const std::bad_alloc&) {
        *error = kNoMemory;
    }
    pt[0] = solver.release();
}
