#pragma once

#include "kestrova/solver/sparse_fronts.h"

namespace kestrova::solver {

/// Multifrontal Cholesky factorisation in single precision. All memory is taken by the calling thread, none by the
/// others; updates are added in a fixed order, so that any number of threads gives the same bits. Denormals count as
/// zero: the entries of a smoother's factor decay into them. Internal.
class SparseCholesky {
public:
    /// Works in `memory`, as far as that suffices.
    explicit SparseCholesky(const SparseRows& matrix, SolverMemory memory = {});

    int rows() const { return m_tree.pattern.n; }
    bool factorised() const { return m_factorised; }

    /// Takes the matrix's values; false if there is an entry where the analysed pattern has none.
    bool setValues(const SparseRows& matrix);
    /// Factorises; false where a value or a pivot is not finite or a pivot is not positive.
    bool factorise();
    /// Solves for `b` and refines with residuals in double, at most `maxSteps` times, as long as it helps; `*steps`
    /// receives how often. Not finite, or refined without gain, means that there is no solution: false.
    bool solve(const float* b, float* x, int maxSteps, int* steps);

    /// The memory, for the next solver. This one is left without.
    SolverMemory takeMemory() { return std::move(m_memory); }

private:
    bool setGridValues(const SparseRows& matrix);
    bool setOtherValues(const SparseRows& matrix);
    /// b - A x, all in the order of elimination.
    void findResidual(const double* b, const double* x, double* residual) const;
    /// Of a matrix without an entry off its diagonal: one division each, without rounding for a diagonal of ones.
    bool solveDiagonal(const float* b, float* x) const;

    FrontTree m_tree;
    SolverMemory m_memory;
    bool m_finite = false, m_factorised = false;
};

}  // namespace kestrova::solver
