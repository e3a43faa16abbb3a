#include "kestrova/solver/sparse_ordering.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cstdint>
#include <limits>

namespace kestrova::solver {

namespace {

/// Regions of no more cells than this are not cut.
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

/// Nested dissection of a grid along its two diagonals. A step to a neighbour changes u = x + y and v = x - y by one
/// each, so that the cells of one u, or of one v, are not linked and part those before from those behind: with half as
/// many cells as a straight line through the same region in u and v, which saves half of the multiplications.
class Dissection {
public:
    /// The first `cells` cells of a grid of lines of `width`.
    Dissection(std::int64_t width, std::int64_t cells, SolverArray<int>& order)
        : m_width(width), m_height((cells + width - 1) / width), m_cells(cells), m_order(order) {}

    void run() { orderRegion({0, m_width + m_height - 1, 1 - m_height, m_width}); }

private:
    using Coordinate = std::int64_t;

    /// The cells with u0 <= u < u1 and v0 <= v < v1.
    struct Region {
        Coordinate u0, u1, v0, v1;
    };
    /// The cells of a region with u = `at` or with v = `at`; the other coordinate goes from `first` to `last` by twos.
    struct Diagonal {
        bool ofU;
        Coordinate at, first, last;
        Coordinate cells() const { return last < first ? 0 : (last - first) / 2 + 1; }
    };

    Diagonal diagonal(const Region& region, bool ofU, Coordinate at) const {
        const Coordinate right = 2 * (m_width - 1), bottom = 2 * (m_height - 1);
        Coordinate first = ofU ? std::max({region.v0, -at, at - bottom}) : std::max({region.u0, at, -at});
        Coordinate last =
            ofU ? std::min({region.v1 - 1, at, right - at}) : std::min({region.u1 - 1, right - at, bottom + at});
        first += (first - at) & 1;
        last -= (last - at) & 1;
        return {ofU, at, first, last};
    }

    void put(const Diagonal& diagonal) {
        for (Coordinate other = diagonal.first; other <= diagonal.last; other += 2) {
            const Coordinate u = diagonal.ofU ? diagonal.at : other, v = diagonal.ofU ? other : diagonal.at;
            const Coordinate cell = (u - v) / 2 * m_width + (u + v) / 2;
            if (cell < m_cells) m_order.push_back(static_cast<int>(cell));
        }
    }

    /// The cut of a region that costs least for what it parts: its cells squared over the product of what lies on
    /// either side, each at least three tenths of the whole. `cells()` is 0 where there is none.
    Diagonal bestCut(const Region& region, Coordinate total) const {
        Diagonal best{true, 0, 0, -1};
        double leastCost = std::numeric_limits<double>::infinity();
        for (const bool ofU : {true, false}) {
            Coordinate before = 0;
            const Coordinate end = ofU ? region.u1 : region.v1;
            for (Coordinate at = ofU ? region.u0 : region.v0; at < end; ++at) {
                const Diagonal cut = diagonal(region, ofU, at);
                const Coordinate behind = total - before - cut.cells();
                if (10 * std::min(before, behind) >= 3 * total) {
                    const double cells = static_cast<double>(cut.cells());
                    const double cost = cells * cells / (static_cast<double>(before) * static_cast<double>(behind));
                    if (cost < leastCost) best = cut, leastCost = cost;
                }
                before += cut.cells();
            }
        }
        return best;
    }

    /// Both sides of a cut come before the cut itself.
    void orderRegion(const Region& region) {
        Coordinate total = 0;
        for (Coordinate u = region.u0; u < region.u1; ++u) total += diagonal(region, true, u).cells();
        const Diagonal cut = total > kLeafCells ? bestCut(region, total) : Diagonal{true, 0, 0, -1};
        if (cut.cells() == 0) {
            for (Coordinate u = region.u0; u < region.u1; ++u) put(diagonal(region, true, u));
            return;
        }
        Region before = region, behind = region;
        (cut.ofU ? before.u1 : before.v1) = cut.at;
        (cut.ofU ? behind.u0 : behind.v0) = cut.at + 1;
        orderRegion(before);
        orderRegion(behind);
        put(cut);
    }

    Coordinate m_width, m_height, m_cells;
    SolverArray<int>& m_order;
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
        Dissection(width, rows.n, order).run();
    }
    return order;
}

}  // namespace kestrova::solver
