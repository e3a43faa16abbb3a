#pragma once

#include "kestrova/solver/sparse_fronts.h"

// The numbers of a multifrontal factorisation. Internal.

namespace kestrova::solver {

/// A reordered matrix: the diagonal, and the entries below it in the order of `EliminationPattern::columnRows`.
struct MatrixValues {
    SolverArray<float> diagonal, below;
};

/// Writes the Cholesky factor of the matrix, front by front as `tree` places them; false where a pivot is not finite or
/// not positive. Opens one parallel region. `workspace` is scratch that any factorisation may use again.
bool factoriseFronts(const FrontTree& tree, const MatrixValues& values, float* factor, SolverArray<float>& workspace);

}  // namespace kestrova::solver
