#pragma once

#include "kestrova/solver/sparse_memory.h"

// The order of elimination of a sparse system. Internal.

namespace kestrova::solver {

/// The upper triangle of a symmetric matrix in compressed sparse rows counted from 1, as its owner gave it.
struct SparseRows {
    int n;
    const float* a;
    const int* ia;
    const int* ja;

    /// Calls `visit(row, column, value)`, counted from 0, for each diagonal entry and each other entry that is not 0.
    template <class Visit>
    void forEach(const Visit& visit) const {
        for (int i = 0; i < n; ++i) {
            for (int k = ia[i] - 1; k < ia[i + 1] - 1; ++k) {
                const int j = ja[k] - 1;
                if (a[k] != 0 || i == j) visit(i, j, a[k]);
            }
        }
    }
};

/// The order in which to eliminate the rows so that little fill arises: element k is the row that comes k-th.
/// The pixels of a grid of 4-neighbours are ordered by nested dissection (George, "Nested Dissection of a Regular
/// Finite Element Mesh", SIAM J. Numer. Anal. 10, 1973) along the diagonals, a chain stays as it is, anything else is
/// ordered by approximate minimum degree (Amestoy, Davis, Duff, SIAM J. Matrix Anal. Appl. 17, 1996).
SolverArray<int> fillReducingOrder(const SparseRows& rows);

}  // namespace kestrova::solver
