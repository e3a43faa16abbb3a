#pragma once

#include "kestrova/solver/sparse_fronts.h"

// The numbers of a multifrontal factorisation. Internal.

namespace kestrova::solver {

/// Writes the Cholesky factor of the matrix whose values `memory` holds, front by front as `tree` places them; false
/// where a pivot is not finite or not positive. Opens one parallel region.
bool factoriseFronts(const FrontTree& tree, SolverMemory& memory);

}  // namespace kestrova::solver
