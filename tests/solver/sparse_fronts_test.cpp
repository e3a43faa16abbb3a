#include "kestrova/solver/sparse_fronts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "tests/primitives/sparse_system.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

SparseRows rowsOf(const SparseSystem& system) {
    return {system.n, system.a.data(), system.ia.data(), system.ja.data()};
}

/// Grids of several parts, whole and with so few links that parts fall into trees, a matrix that is no grid, a chain.
std::vector<SparseSystem> systems() {
    std::vector<SparseSystem> all;
    for (int kept : {50, 48, 20}) {
        all.push_back(gridSystem(110, 80, 0.1f, 10.0f, 8));
        all.back().forEach([&, k = 0](int i, int j, double) mutable {
            if (i != j && static_cast<int>((7919u * i + 104729u * j) % 50) >= kept) all.back().a[k] = 0;
            ++k;
        });
    }
    all.push_back(randomSystem(300, 1.5, 3));
    all.push_back(gridSystem(500, 1, 0.1f, 10.0f, 8));
    return all;
}

/// For each column the rows of its entries below the diagonal, in the order of elimination.
std::vector<std::set<int>> entriesOf(const SparseSystem& system, const EliminationPattern& pattern) {
    std::vector<std::set<int>> columns(system.n);
    system.forEach([&](int i, int j, double value) {
        const auto [column, row] = std::minmax(pattern.inverse[i], pattern.inverse[j]);
        if (i != j && value != 0) columns[column].insert(row);
    });
    return columns;
}

}  // namespace

TEST(SparsePattern, HasEachEntryOfTheReorderedMatrix) {
    for (const SparseSystem& system : systems()) {
        withThreadCounts([&](int) {
            const EliminationPattern pattern(rowsOf(system));
            const std::vector<std::set<int>> expected = entriesOf(system, pattern);
            for (int j = 0; j < system.n; ++j) {
                ASSERT_EQ(pattern.inverse[pattern.order[j]], j);
                const std::vector<int> rows(pattern.columnRows.begin() + pattern.columns[j],
                                            pattern.columnRows.begin() + pattern.columns[j + 1]);
                ASSERT_EQ(rows, std::vector<int>(expected[j].begin(), expected[j].end())) << j;
            }
        });
    }
}

TEST(SparsePattern, ThePartsOfAGridAreIndependentOfOneAnother) {
    for (const SparseSystem& system : systems()) {
        const EliminationPattern pattern(rowsOf(system));
        std::vector<int> partOf(system.n, -1);
        int end = 0, parts = 0;
        for (const Section& section : pattern.sections) {
            ASSERT_EQ(section.columns.begin, end);
            end = section.columns.end;
            if (!section.part) continue;
            std::fill(partOf.begin() + section.columns.begin, partOf.begin() + end, parts++);
        }
        EXPECT_EQ(end, system.n);
        EXPECT_EQ(parts > 1, system.n == 110 * 80);
        const std::vector<std::set<int>> entries = entriesOf(system, pattern);
        for (int j = 0; j < system.n; ++j) {
            for (int row : entries[j]) ASSERT_TRUE(partOf[row] == -1 || partOf[row] == partOf[j]) << j << " " << row;
        }
    }
}

TEST(SparseFronts, HaveARowForEachEntryOfTheFactor) {
    for (const SparseSystem& system : systems()) {
        const FrontTree tree(rowsOf(system));
        std::vector<std::set<int>> factor = entriesOf(system, tree.pattern);
        int next = 0;
        for (std::size_t f = 0; f < tree.fronts.size(); ++f) {
            const Front& front = tree.fronts[f];
            ASSERT_EQ(front.first, next);
            next += front.pivots;
            const std::set<int> rows(tree.rows.begin() + front.rows, tree.rows.begin() + front.rows + front.below);
            for (int j = front.first; j < next; ++j) {
                for (int row : factor[j]) ASSERT_TRUE(row < next || rows.count(row)) << j << " " << row;
                if (factor[j].empty()) continue;
                std::set<int>& parent =
                    factor[*factor[j].begin()];  // eliminating a row links those that it is linked with
                parent.insert(std::next(factor[j].begin()), factor[j].end());
            }
            if (front.below == 0) continue;
            const Front& parent = tree.fronts[front.parent];
            ASSERT_GT(front.parent, static_cast<int>(f));
            for (int k = 0; k < front.below; ++k) {
                const int place = tree.places[front.rows + k];
                const int row =
                    place < parent.pivots ? parent.first + place : tree.rows[parent.rows + place - parent.pivots];
                ASSERT_EQ(row, tree.rows[front.rows + k]);
            }
        }
        EXPECT_EQ(next, system.n);
    }
}
