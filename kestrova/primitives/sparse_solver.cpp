#include "kestrova/primitives/sparse_solver.h"

#include <Eigen/SparseCholesky>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

namespace {

using Matrix = Eigen::SparseMatrix<float, Eigen::ColMajor, std::ptrdiff_t>;
using Vector = Eigen::VectorXd;

struct Solver {
    Matrix lower;
    Eigen::SimplicialLLT<Matrix, Eigen::Lower> factor;
    bool factorised = false;
};

enum Phase { kAnalyse = 11, kFactorise = 22, kSolve = 33, kRelease = -1 };
enum Error { kDone = 0, kRefused = -1, kNoMemory = -2, kNotPositiveDefinite = -4 };

bool wellFormed(int n, const int* ia, const int* ja) {
    if (ia[0] != 1) return false;
    for (int i = 0; i < n; ++i) {
        if (ia[i + 1] < ia[i]) return false;
        bool diagonal = false;
        for (int k = ia[i] - 1; k < ia[i + 1] - 1; ++k) {
            if (ja[k] <= i || ja[k] > n) return false;
            diagonal = diagonal || ja[k] == i + 1;
        }
        if (!diagonal) return false;
    }
    return true;
}

/// The lower triangle without explicit zeros beside the diagonal, columns named twice added.
Matrix lowerTriangle(int n, const float* a, const int* ia, const int* ja) {
    std::vector<Eigen::Triplet<float, std::ptrdiff_t>> entries;
    entries.reserve(static_cast<std::size_t>(ia[n]) - 1);
    for (int i = 0; i < n; ++i) {
        for (int k = ia[i] - 1; k < ia[i + 1] - 1; ++k) {
            if (a[k] != 0 || ja[k] == i + 1) entries.emplace_back(ja[k] - 1, i, a[k]);
        }
    }
    Matrix lower(n, n);
    lower.setFromTriplets(entries.begin(), entries.end());
    return lower;
}

bool finite(const Matrix& matrix) {
    for (std::ptrdiff_t k = 0; k < matrix.nonZeros(); ++k) {
        if (!std::isfinite(matrix.valuePtr()[k])) return false;
    }
    return true;
}

Error factorise(Solver& solver) {
    solver.factorised = false;
    if (!finite(solver.lower)) return kNotPositiveDefinite;
    solver.factor.factorize(solver.lower);
    if (solver.factor.info() != Eigen::Success) return kNotPositiveDefinite;
    solver.factorised = true;
    return kDone;
}

/// Solves for one right-hand side and refines; the number of steps taken goes to `taken`.
Vector solveOne(const Solver& solver, const float* b, int maxSteps, int& taken) {
    const Vector rhs = Eigen::Map<const Eigen::VectorXf>(b, solver.lower.rows()).cast<double>();
    const Eigen::SparseMatrix<double, Eigen::ColMajor, std::ptrdiff_t> a = solver.lower.cast<double>();
    const auto correction = [&](const Vector& r) -> Vector {
        return solver.factor.solve(r.cast<float>().eval()).cast<double>();
    };
    Vector x = correction(rhs);
    double last = x.lpNorm<Eigen::Infinity>();
    for (taken = 0; taken < maxSteps; ++taken) {
        const Vector d = correction(rhs - a.selfadjointView<Eigen::Lower>() * x);
        const double size = d.lpNorm<Eigen::Infinity>();
        if (!(size < 0.5 * last)) break;
        x += d;
        last = size;
    }
    return x;
}

Error solve(const Solver& solver, int n, int nrhs, int* iparm, float* b, float* x) {
    Eigen::MatrixXf solutions(n, nrhs);
    for (int r = 0; r < nrhs; ++r) {
        const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(r) * n;
        solutions.col(r) = solveOne(solver, b + offset, iparm[7], iparm[6]).cast<float>();
    }
    if (!solutions.allFinite()) return kNotPositiveDefinite;
    Eigen::Map<Eigen::MatrixXf>(iparm[5] == 1 ? b : x, n, nrhs) = solutions;
    return kDone;
}

}  // namespace

void PARDISO(void** pt, const int* maxfct, const int* mnum, const int* mtype, const int* phase, const int* n,
             const float* a, const int* ia, const int* ja, const int*, const int* nrhs, int* iparm, const int*,
             float* b, float* x, int* error) {
    *error = kRefused;
    if (*phase == kRelease) {
        delete static_cast<Solver*>(pt[0]);
        pt[0] = nullptr;
        *error = kDone;
        return;
    }
    if (*maxfct != 1 || *mnum != 1 || *mtype != 2 || *n < 1 || *nrhs < 1 || iparm[27] != 1) return;
    if (!a || !ia || !ja || !b || !x) return;
    auto* solver = static_cast<Solver*>(pt[0]);
    try {
        switch (*phase) {
            case kAnalyse: {
                if (solver || !wellFormed(*n, ia, ja)) return;
                auto fresh = std::make_unique<Solver>();
                fresh->lower = lowerTriangle(*n, a, ia, ja);
                fresh->factor.analyzePattern(fresh->lower);
                pt[0] = fresh.release();
                *error = kDone;
                return;
            }
            case kFactorise:
                if (!solver || *n != solver->lower.rows() || !wellFormed(*n, ia, ja)) return;
                solver->lower = lowerTriangle(*n, a, ia, ja);
                *error = factorise(*solver);
                return;
            case kSolve:
                if (!solver || *n != solver->lower.rows() || !solver->factorised) return;
                *error = solve(*solver, *n, *nrhs, iparm, b, x);
                return;
            default: return;
        }
    } catch (const std::bad_alloc&) {
        *error = kNoMemory;
    }
}
