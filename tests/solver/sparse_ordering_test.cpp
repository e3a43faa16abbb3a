#include "kestrova/solver/sparse_ordering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/primitives/sparse_system.h"
#include "tests/support/rooms.h"

namespace {

std::vector<int> orderOf(const SparseSystem& system) {
    const SparseRows matrix{system.n, system.a.data(), system.ia.data(), system.ja.data()};
    const EliminationOrder order = fillReducingOrder(matrix, SparseGrid(matrix));
    return {order.rows.begin(), order.rows.end()};
}

// Entries of the factor's columns, the diagonal included, by symbolic elimination: eliminating a row links the rows
// that it is linked with.
std::vector<double> columnCounts(const SparseSystem& system, const std::vector<int>& order) {
    std::vector<int> place(order.size());
    for (int k = 0; k < system.n; ++k) place[order[k]] = k;
    std::vector<std::set<int>> below(order.size());
    system.forEach([&](int i, int j, double value) {
        if (i != j && value != 0) below[std::min(place[i], place[j])].insert(std::max(place[i], place[j]));
    });
    std::vector<double> counts;
    for (std::set<int>& column : below) {
        counts.push_back(1.0 + static_cast<double>(column.size()));
        if (column.empty()) continue;
        std::set<int>& next = below[*column.begin()];
        next.insert(std::next(column.begin()), column.end());
    }
    return counts;
}

double multiplicationsOf(const SparseSystem& system, const std::vector<int>& order) {
    double sum = 0;
    for (double count : columnCounts(system, order)) sum += count * (count + 1) / 2;
    return sum;
}

// Halves of the box, then the straight line between them.
void dissectStraight(int width, int x0, int y0, int x1, int y1, std::vector<int>& order) {
    const int w = x1 - x0, h = y1 - y0;
    if (w * h <= 12) {
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) order.push_back(y * width + x);
    } else if (w > h) {
        const int middle = x0 + w / 2;
        dissectStraight(width, x0, y0, middle, y1, order);
        dissectStraight(width, middle + 1, y0, x1, y1, order);
        for (int y = y0; y < y1; ++y) order.push_back(y * width + middle);
    } else {
        const int middle = y0 + h / 2;
        dissectStraight(width, x0, y0, x1, middle, order);
        dissectStraight(width, x0, middle + 1, x1, y1, order);
        for (int x = x0; x < x1; ++x) order.push_back(middle * width + x);
    }
}

}  // namespace

TEST(SparseOrdering, HasEachRowOnce) {
    for (auto [w, h] : {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 30}, {30, 2}, {3, 3}, {5, 4}, {64, 48}, {7, 200}}) {
        std::vector<int> order = orderOf(gridSystem(w, h, 0.5f, 2.0f, 1));
        std::sort(order.begin(), order.end());
        for (int i = 0; i < w * h; ++i) ASSERT_EQ(order[i], i) << w << "x" << h;
        ASSERT_EQ(static_cast<int>(order.size()), w * h);
    }
}

TEST(SparseOrdering, HasEachRowOfAGridWhoseLastLineIsNotFull) {
    for (int cells : {13, 50, 119}) {
        SparseSystem system;
        for (int i = 0; i < cells; ++i) {
            std::vector<std::pair<int, float>> row = {{i, 5.0f}};
            if ((i + 1) % 12 != 0 && i + 1 < cells) row.emplace_back(i + 1, -1.0f);
            if (i + 12 < cells) row.emplace_back(i + 12, -1.0f);
            system.addRow(row);
        }
        std::vector<int> order = orderOf(system);
        std::sort(order.begin(), order.end());
        ASSERT_EQ(static_cast<int>(order.size()), cells);
        for (int i = 0; i < cells; ++i) ASSERT_EQ(order[i], i) << cells;
    }
}

TEST(SparseOrdering, AGridTakesAboutHalfTheMultiplicationsThatStraightCutsTake) {
    for (auto [w, h] : {std::pair{96, 96}, {180, 60}, {50, 200}}) {
        const SparseSystem grid = gridSystem(w, h, 0.5f, 2.0f, 1);
        std::vector<int> straight;
        dissectStraight(w, 0, 0, w, h, straight);
        EXPECT_LT(multiplicationsOf(grid, orderOf(grid)), 0.6 * multiplicationsOf(grid, straight)) << w << "x" << h;
    }
}

TEST(SparseOrdering, AChainStaysAsItIs) {
    const std::vector<int> order = orderOf(gridSystem(20, 1, 0.5f, 2.0f, 1));
    for (int i = 0; i < 20; ++i) EXPECT_EQ(order[i], i);
}
