#include "kestrova/frame/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

constexpr int kCols = 1 << 16;

TEST(ParallelTest, EveryRowIsVisitedOnce) {
    withThreadCounts([](int threads) {
        for (int rows : {0, 1, 2, 5, 64, 1001}) {
            std::vector<std::atomic<int>> visits(rows);
            parallelRows(rows, kCols, [&](int r) noexcept { ++visits[r]; });
            for (int r = 0; r < rows; ++r)
                ASSERT_EQ(visits[r], 1) << threads << " threads, row " << r << " of " << rows;
        }
    });
}

TEST(ParallelTest, StripsAreContiguousAndNumbered) {
    withThreadCounts([](int threads) {
        const int rows = 37;
        const int strips = stripCount(rows, kCols);
        EXPECT_EQ(strips, threads);
        std::vector<int> first(strips, -1), end(strips, -1);
        parallelStrips(strips, rows, [&](int from, int to, int s) noexcept { first[s] = from, end[s] = to; });
        EXPECT_EQ(first.front(), 0);
        EXPECT_EQ(end.back(), rows);
        for (int s = 1; s < strips; ++s) EXPECT_EQ(first[s], end[s - 1]);
    });
}

TEST(ParallelTest, SmallPlanesDoNotFork) {
    EXPECT_EQ(stripCount(16, 16), 1);
    EXPECT_EQ(stripCount(1, 1 << 24), 1);
    EXPECT_EQ(stripCount(0, 100), 1);
}

TEST(ParallelTest, RunsOnTheCallersThreadInsideARegionOfTheHost) {
    std::atomic<int> nested{0};
#pragma omp parallel num_threads(2)
    {
        const int self = omp_get_thread_num();
        parallelRows(8, kCols, [&](int) noexcept {
            if (omp_get_level() != 1 || omp_get_thread_num() != self) ++nested;
        });
    }
    EXPECT_EQ(nested, 0);
}

}  // namespace
