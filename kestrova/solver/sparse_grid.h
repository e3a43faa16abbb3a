#pragma once

#include <cstdint>

#include "kestrova/solver/sparse_memory.h"

// Matrices whose pattern is that of a grid of pixels. Internal.

namespace kestrova::solver {

/// The upper triangle of a symmetric matrix in compressed sparse rows counted from 1, as its owner gave it.
struct SparseRows {
    int n;
    const float* a;
    const int* ia;
    const int* ja;

    /// Calls `visit(column, value)`, counted from 0, for the diagonal entry of a row and each other that is not 0.
    template <class Visit>
    void forEach(int row, const Visit& visit) const {
        for (int k = ia[row] - 1; k < ia[row + 1] - 1; ++k) {
            const int column = ja[k] - 1;
            if (a[k] != 0 || row == column) visit(column, a[k]);
        }
    }
    /// Calls `visit(row, column, value)` likewise, for each row.
    template <class Visit>
    void forEach(const Visit& visit) const {
        for (int i = 0; i < n; ++i) {
            forEach(i, [&](int j, float value) { visit(i, j, value); });
        }
    }
};

/// The links of a grid of 4-neighbours with lines of `width`, of which the last may not be full. A single line is a
/// chain.
struct SparseGrid {
    explicit SparseGrid(const SparseRows& matrix);

    /// Calls `visit(j)` for each cell j that is linked with cell i.
    template <class Visit>
    void forEachNeighbour(int i, const Visit& visit) const {
        if (i >= width && (links[i - width] & kDown)) visit(i - width);
        if (i >= 1 && (links[i - 1] & kRight)) visit(i - 1);
        if (links[i] & kRight) visit(i + 1);
        if (links[i] & kDown) visit(i + width);
    }

    static constexpr std::uint8_t kRight = 1, kDown = 2;
    int width = 0;                    ///< 0 where the matrix is no grid
    std::int64_t count = 0;           ///< of links
    SolverArray<std::uint8_t> links;  ///< of each cell, to the next and to the one below
};

}  // namespace kestrova::solver
