#pragma once

#include "kestrova/solver/sparse_postorder.h"

// The pattern of a matrix in the order of elimination. Internal.

namespace kestrova::solver {

/// The reordered matrix: rows are counted from 0 in the order of elimination, which is a postorder of the elimination
/// tree: the columns of each subtree follow one another.
struct EliminationPattern {
    explicit EliminationPattern(const SparseRows& matrix);

    int n;
    bool grid;                 ///< columns have few entries
    SolverArray<int> order;    ///< order[k] is the row of the matrix that is eliminated k-th
    SolverArray<int> inverse;  ///< inverse[order[k]] is k

    SolverArray<int> columns;     ///< where the entries below the diagonal of column j begin
    SolverArray<int> columnRows;  ///< their rows, ascending

    SolverArray<Section> sections;  ///< all columns, in ascending order

private:
    void findGridColumns(const SparseGrid& links);
};

}  // namespace kestrova::solver
