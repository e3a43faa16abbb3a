#pragma once

#include "kestrova/solver/sparse_grid.h"
#include "kestrova/solver/sparse_memory.h"

// The order of elimination of a sparse system. Internal.

namespace kestrova::solver {

/// Places [begin, end) in the order of elimination.
struct Range {
    int begin, end;
};

struct EliminationOrder {
    SolverArray<int> rows;  ///< element k is the row that comes k-th
    /// Ranges in ascending order. Rows of one are linked with each other and with rows behind them that are in none.
    SolverArray<Range> parts;
};

/// The order in which to eliminate the rows so that little fill arises.
/// The pixels of a grid of 4-neighbours are ordered by nested dissection (George, "Nested Dissection of a Regular
/// Finite Element Mesh", SIAM J. Numer. Anal. 10, 1973) along the diagonals, a chain stays as it is, anything else is
/// ordered by approximate minimum degree (Amestoy, Davis, Duff, SIAM J. Matrix Anal. Appl. 17, 1996).
EliminationOrder fillReducingOrder(const SparseRows& matrix, const SparseGrid& grid);

}  // namespace kestrova::solver
