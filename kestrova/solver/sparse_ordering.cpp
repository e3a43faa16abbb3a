#include "kestrova/solver/sparse_ordering.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

#include "kestrova/frame/parallel.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// Regions of no more cells than this are not cut.
constexpr std::int64_t kLeafCells = 12;

/// A region of no more cells than this, or than this part of the grid, is one thread's work.
constexpr std::int64_t kPartCells = 4096, kParts = 64;

/// Nested dissection of a grid along its two diagonals. A step to a neighbour changes u = x + y and v = x - y by one
/// each, so that the cells of one u, or of one v, are not linked and part those before from those behind: with half as
/// many cells as a straight line through the same region in u and v, which saves half of the multiplications.
class Dissection {
public:
    /// The first `cells` cells of a grid of lines of `width`.
    Dissection(std::int64_t width, std::int64_t cells, EliminationOrder& order)
        : m_width(width), m_height((cells + width - 1) / width), m_cells(cells), m_order(order) {
        m_order.rows.resize(static_cast<std::size_t>(cells));
        divide({0, m_width + m_height - 1, 1 - m_height, m_width}, m_order.rows.data());
    }

    void run() {
        const int parts = static_cast<int>(m_regions.size());
        parallelTasks(m_cells < kForkElements ? 1 : workerCount(parts), parts, [&](int i, int) noexcept {
            orderRegion(m_regions[i], m_order.rows.data() + m_order.parts[i].begin);
        });
    }

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

    /// Puts the diagonal's cells at `place`; returns the place behind them.
    int* put(const Diagonal& diagonal, int* place) const {
        for (Coordinate other = diagonal.first; other <= diagonal.last; other += 2) {
            const Coordinate u = diagonal.ofU ? diagonal.at : other, v = diagonal.ofU ? other : diagonal.at;
            const Coordinate cell = (u - v) / 2 * m_width + (u + v) / 2;
            if (cell < m_cells) *place++ = static_cast<int>(cell);
        }
        return place;
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

    struct Cut {
        Diagonal at;
        Region before, behind;
    };

    Cut cutOf(const Region& region, Coordinate total) const {
        Cut cut{total > kLeafCells ? bestCut(region, total) : Diagonal{true, 0, 0, -1}, region, region};
        (cut.at.ofU ? cut.before.u1 : cut.before.v1) = cut.at.at;
        (cut.at.ofU ? cut.behind.u0 : cut.behind.v0) = cut.at.at + 1;
        return cut;
    }

    /// Cells of a region in full lines.
    Coordinate cellsOf(const Region& region) const {
        Coordinate total = 0;
        for (Coordinate u = region.u0; u < region.u1; ++u) total += diagonal(region, true, u).cells();
        return total;
    }

    /// Both sides of a cut come before the cut itself. Returns the place behind.
    int* orderRegion(const Region& region, int* place) const {
        const Cut cut = cutOf(region, cellsOf(region));
        if (cut.at.cells() > 0) return put(cut.at, orderRegion(cut.behind, orderRegion(cut.before, place)));
        for (Coordinate u = region.u0; u < region.u1; ++u) place = put(diagonal(region, true, u), place);
        return place;
    }

    /// The same with the regions that are one thread's work left out: they become parts.
    int* divide(const Region& region, int* place) {
        const Coordinate total = cellsOf(region);
        const Cut cut = cutOf(region, total > std::max(kPartCells, m_cells / kParts) ? total : 0);
        if (cut.at.cells() > 0) return put(cut.at, divide(cut.behind, divide(cut.before, place)));
        const int begin = static_cast<int>(place - m_order.rows.data());
        const int end = begin + static_cast<int>(total - missingCells(region));
        m_regions.push_back(region);
        m_order.parts.push_back({begin, end});
        return m_order.rows.data() + end;
    }

    /// How many cells of a region the last line lacks.
    Coordinate missingCells(const Region& region) const {
        Coordinate missing = 0;
        for (Coordinate cell = m_cells; cell < m_width * m_height; ++cell) {
            const Coordinate x = cell % m_width, y = cell / m_width, u = x + y, v = x - y;
            if (u >= region.u0 && u < region.u1 && v >= region.v0 && v < region.v1) ++missing;
        }
        return missing;
    }

    Coordinate m_width, m_height, m_cells;
    EliminationOrder& m_order;
    SolverArray<Region> m_regions;  ///< of the parts
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

EliminationOrder fillReducingOrder(const SparseRows& matrix, const SparseGrid& grid) {
    EliminationOrder order;
    if (grid.width == 0) {
        order.rows = minimumDegreeOrder(matrix);
    } else if (grid.width == matrix.n) {
        order.rows.resize(static_cast<std::size_t>(matrix.n));
        std::iota(order.rows.begin(), order.rows.end(), 0);
    } else {
        Dissection(grid.width, matrix.n, order).run();
    }
    return order;
}

}  // namespace kestrova::solver
