#pragma once

#include "kestrova/solver/sparse_fronts.h"

// The two substitutions through the factor. Internal.

namespace kestrova::solver {

class Substitution {
public:
    /// Adds its scratch to the layout of the workspace.
    Substitution(const FrontTree& tree, Layout& layout);

    /// Solves in place for `y`, in the order of elimination. Opens one parallel region.
    void run(SolverMemory& memory, float* y);

private:
    void forward(int f, float* y, float* v) noexcept;
    void backward(int f, float* y, float* v) noexcept;

    const FrontTree& m_tree;
    int m_workers;
    std::size_t m_updatesPlace;
    SolverArray<std::size_t> m_scratchPlaces;  ///< of each worker, for the rows of a front
    const float* m_factor = nullptr;
    float* m_updates = nullptr;  ///< what each front leaves to the rows below it
};

}  // namespace kestrova::solver
