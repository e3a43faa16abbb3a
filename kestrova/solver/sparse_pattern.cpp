#include "kestrova/solver/sparse_pattern.h"

#include <algorithm>
#include <utility>

#include "kestrova/frame/steps.h"

namespace kestrova::solver {

using namespace frame;

namespace {

/// Lists of row or column numbers, one for each column or row: list i is entries[starts[i]] .. entries[starts[i + 1]].
struct Lists {
    SolverArray<int> starts;
    SolverArray<int> entries;
};

/// Of `n` lists, from the pairs (list, entry) that `each` visits, twice in the same order.
template <class Each>
Lists listsOf(int n, const Each& each) {
    Lists lists;
    lists.starts.assign(static_cast<std::size_t>(n) + 1, 0);
    each([&](int list, int) { ++lists.starts[list + 1]; });
    for (int i = 0; i < n; ++i) lists.starts[i + 1] += lists.starts[i];
    lists.entries.resize(static_cast<std::size_t>(lists.starts[n]));
    each([&](int list, int entry) { lists.entries[lists.starts[list]++] = entry; });
    for (int i = n; i > 0; --i) lists.starts[i] = lists.starts[i - 1];
    lists.starts[0] = 0;
    return lists;
}

/// For each row of the reordered matrix the columns of its entries left of the diagonal.
Lists leftOfDiagonal(const SparseRows& matrix, const SolverArray<int>& inverse) {
    return listsOf(matrix.n, [&](const auto& visit) {
        matrix.forEach([&](int i, int j, float) {
            if (i == j) return;
            const auto [column, row] = std::minmax(inverse[i], inverse[j]);
            visit(row, column);
        });
    });
}

/// For each column the rows of its entries below the diagonal, ascending.
Lists belowDiagonal(const Lists& left) {
    const int n = static_cast<int>(left.starts.size()) - 1;
    return listsOf(n, [&](const auto& visit) {
        for (int row = 0; row < n; ++row) {
            for (int k = left.starts[row]; k < left.starts[row + 1]; ++k) visit(left.entries[k], row);
        }
    });
}

SolverArray<int> inverseOf(const SolverArray<int>& order) {
    SolverArray<int> inverse(order.size());
    constexpr int kWork = 8;
    forEachStrip(Strips(static_cast<int>(order.size()), kWork), [&](int first, int end) noexcept {
        for (int k = first; k < end; ++k) inverse[order[k]] = k;
    });
    return inverse;
}

}  // namespace

EliminationPattern::EliminationPattern(const SparseRows& matrix) : n(matrix.n) {
    const SparseGrid links(matrix);
    grid = links.width > 0;
    const EliminationOrder first = fillReducingOrder(matrix, links);
    inverse = inverseOf(first.rows);
    if (grid) {
        const auto forEachLeft = [&](int row, const auto& visit) {
            links.forEachNeighbour(first.rows[row], [&](int j) {
                if (inverse[j] < row) visit(inverse[j]);
            });
        };
        order = EliminationForest(first, forEachLeft).postorder(sections);
        inverse = inverseOf(order);
        findGridColumns(links);
        return;
    }
    {
        const Lists left = leftOfDiagonal(matrix, inverse);
        const auto forEachLeft = [&](int row, const auto& visit) {
            for (int k = left.starts[row]; k < left.starts[row + 1]; ++k) visit(left.entries[k]);
        };
        order = EliminationForest(first, forEachLeft).postorder(sections);
    }
    inverse = inverseOf(order);
    Lists below = belowDiagonal(leftOfDiagonal(matrix, inverse));
    columns.swap(below.starts);
    columnRows.swap(below.entries);
}

/// Section by section: first how many entries each has, then, with the places known, what they are.
void EliminationPattern::findGridColumns(const SparseGrid& links) {
    columns.resize(static_cast<std::size_t>(n) + 1);
    columnRows.resize(static_cast<std::size_t>(links.count));
    const int sectionCount = static_cast<int>(sections.size());
    SolverArray<int> begins(sections.size());
    const auto forEachBelow = [&](int column, const auto& visit) {
        links.forEachNeighbour(order[column], [&](int j) {
            if (inverse[j] > column) visit(inverse[j]);
        });
    };
    const auto count = [&](int s) {
        begins[s] = 0;
        for (int j = sections[s].columns.begin; j < sections[s].columns.end; ++j) {
            forEachBelow(j, [&](int) { ++begins[s]; });
        }
    };
    const auto sumUp = [&] {
        int begin = 0;
        for (int& own : begins) begin += std::exchange(own, begin);
        columns[n] = begin;
    };
    const auto fill = [&](int s) {
        int end = begins[s];
        for (int j = sections[s].columns.begin; j < sections[s].columns.end; ++j) {
            columns[j] = end;
            forEachBelow(j, [&](int row) { columnRows[end++] = row; });
            std::sort(columnRows.begin() + columns[j], columnRows.begin() + end);
        }
    };
    constexpr int kSteps = 3;
    Steps<kSteps> steps;
    withTeam(n < kForkElements ? 1 : workerCount(sectionCount), [&](int) noexcept {
        return steps.join({sectionCount, 1, sectionCount}, [&](int step, int piece) noexcept {
            if (step == 0) count(piece);
            if (step == 1) sumUp();
            if (step == 2) fill(piece);
        });
    });
}

}  // namespace kestrova::solver
