#include "kestrova/solver/sparse_ordering.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cstdint>
#include <numeric>

namespace kestrova::solver {

namespace {

/// Boxes of no more cells than this are ordered row by row.
constexpr std::int64_t kLeafCells = 12;

/// How far apart rows are that are linked: 1 and nothing else is a chain (0), 1 within lines of `width` and `width` is
/// a grid, anything else is no grid (-1).
int gridWidth(const SparseRows& rows) {
    int width = 0;
    bool grid = true;
    rows.forEach([&](int i, int j, float) {
        if (j - i <= 1) return;
        if (width == 0) width = j - i;
        if (j - i != width) grid = false;
    });
    if (!grid) return -1;
    if (width == 0) return 0;
    rows.forEach([&](int i, int j, float) {
        if (j - i == 1 && j % width == 0) grid = false;
    });
    return grid ? width : -1;
}

struct Dissection {
    std::int64_t width, n;
    SolverArray<int>& order;

    void put(std::int64_t x, std::int64_t y) {
        const std::int64_t cell = y * width + x;
        if (cell < n) order.push_back(static_cast<int>(cell));
    }

    /// Both halves of the box [x0, x1) x [y0, y1) come before the line between them.
    void box(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1) {
        const std::int64_t w = x1 - x0, h = y1 - y0;
        if (w * h <= kLeafCells) {
            for (std::int64_t y = y0; y < y1; ++y) {
                for (std::int64_t x = x0; x < x1; ++x) put(x, y);
            }
        } else if (w > h) {
            const std::int64_t middle = x0 + w / 2;
            box(x0, y0, middle, y1);
            box(middle + 1, y0, x1, y1);
            for (std::int64_t y = y0; y < y1; ++y) put(middle, y);
        } else {
            const std::int64_t middle = y0 + h / 2;
            box(x0, y0, x1, middle);
            box(x0, middle + 1, x1, y1);
            for (std::int64_t x = x0; x < x1; ++x) put(x, middle);
        }
    }
};

SolverArray<int> minimumDegreeOrder(const SparseRows& rows) {
    using Index = std::int64_t;
    std::vector<Eigen::Triplet<char, Index>> entries;
    rows.forEach([&](int i, int j, float) { entries.emplace_back(j, i, char{1}); });
    Eigen::SparseMatrix<char, Eigen::ColMajor, Index> pattern(rows.n, rows.n);
    pattern.setFromTriplets(entries.begin(), entries.end(), [](char, char) { return char{1}; });
    entries = {};
    Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, Index> permutation;
    Eigen::AMDOrdering<Index>()(pattern, permutation);
    SolverArray<int> order(static_cast<std::size_t>(rows.n));
    for (Index k = 0; k < rows.n; ++k) order[k] = static_cast<int>(permutation.indices()[k]);
    return order;
}

}  // namespace

SolverArray<int> fillReducingOrder(const SparseRows& rows) {
    const int width = gridWidth(rows);
    if (width < 0) return minimumDegreeOrder(rows);
    SolverArray<int> order;
    order.reserve(static_cast<std::size_t>(rows.n));
    if (width == 0) {
        for (int i = 0; i < rows.n; ++i) order.push_back(i);
    } else {
        Dissection{width, rows.n, order}.box(0, 0, width, (static_cast<std::int64_t>(rows.n) + width - 1) / width);
    }
    return order;
}

}  // namespace kestrova::solver
