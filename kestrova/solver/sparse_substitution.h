#pragma once

#include "kestrova/solver/sparse_fronts.h"

// The two substitutions through the factor. Internal.

namespace kestrova::solver {

class Substitution {
public:
    Substitution(const FrontTree& tree, const float* factor);

    /// Solves in place for `y`, in the order of elimination. Opens one parallel region.
    void run(float* y);

private:
    void forward(int f, float* y, float* v) noexcept;
    void backward(int f, float* y, float* v) noexcept;

    const FrontTree& m_tree;
    const float* m_factor;
    int m_workers;
    SolverArray<float> m_updates;               ///< what each front leaves to the rows below it
    SolverArray<SolverArray<float>> m_scratch;  ///< of each worker, the rows of a front
};

}  // namespace kestrova::solver
