#pragma once

#include "kestrova/solver/sparse_pattern.h"

// Symbolic factorisation: the columns of the factor that have one structure. Internal.

namespace kestrova::solver {

/// Floats of the lower triangle of the given order.
inline std::int64_t triangle(std::int64_t order) { return order * (order + 1) / 2; }
/// Floats of the first `columns` columns of that triangle.
inline std::int64_t trapezoid(std::int64_t order, std::int64_t columns) {
    return triangle(order) - triangle(order - columns);
}

/// The columns [first, last] of the factor, with one structure below them.
struct Run {
    int first, last;
    std::int64_t rows;  ///< where the rows below stand in the section's
    int below;
    std::int64_t zeros;  ///< entries that joining of runs has added

    int pivots() const { return last - first + 1; }
    std::int64_t entries() const { return trapezoid(pivots() + below, pivots()); }
};

/// The runs of a section, ascending, and their rows, one list after another.
struct SectionRuns {
    SolverArray<Run> runs;
    SolverArray<int> rows;
};

/// The runs of the factor, small ones joined where a larger front pays for the zeros that it stores.
SolverArray<SectionRuns> findRuns(const EliminationPattern& pattern);

}  // namespace kestrova::solver
