#include "kestrova/frame/parallel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
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

TEST(ParallelTest, StripsAreContiguous) {
    withThreadCounts([](int threads) {
        const Strips strips(37, kCols);
        EXPECT_EQ(strips.count(), threads);
        EXPECT_EQ(strips.first(0), 0);
        EXPECT_EQ(strips.end(strips.count() - 1), 37);
        for (int s = 1; s < strips.count(); ++s) EXPECT_EQ(strips.first(s), strips.end(s - 1));
    });
}

TEST(ParallelTest, StripsBeginAtBlocks) {
    withThreadCounts([](int) {
        for (int blockRows : {1, 2, 7, 36, 37, 38, INT_MAX}) {
            const Strips strips(37, kCols, blockRows);
            for (int s = 0; s < strips.count(); ++s) EXPECT_EQ(strips.first(s) % blockRows, 0);
            EXPECT_EQ(strips.end(strips.count() - 1), 37);
        }
    });
    EXPECT_EQ(Strips(INT_MAX, kCols, INT_MAX).end(0), INT_MAX);
}

TEST(ParallelTest, EachStripHasItsScratchMadeBeforeAndOnTheCallersThread) {
    withThreadCounts([](int) {
        const Strips strips(37, kCols);
        int made = 0;
        std::atomic<int> rows{0}, wrong{0};
        forEachStrip(
            strips,
            [&](int s) {
                if (omp_in_parallel()) ++wrong;
                EXPECT_EQ(s, made++);
                return s;
            },
            [&](int first, int end, int& scratch) noexcept {
                if (made != strips.count() || strips.first(scratch) != first || strips.end(scratch) != end) ++wrong;
                rows += end - first;
            });
        EXPECT_EQ(rows, 37);
        EXPECT_EQ(wrong, 0);
    });
}

TEST(ParallelTest, ScratchThatIsKeptServesManySweeps) {
    withThreadCounts([](int) {
        const Strips strips(37, kCols);
        std::vector<int> rows(static_cast<std::size_t>(strips.count()), 0);
        for (int sweep = 0; sweep < 3; ++sweep)
            forEachStripWith(strips, rows, [](int first, int end, int& sum) noexcept { sum += end - first; });
        for (int s = 0; s < strips.count(); ++s)
            EXPECT_EQ(rows[static_cast<std::size_t>(s)], 3 * (strips.end(s) - strips.first(s)));
    });
}

TEST(ParallelTest, EveryTaskIsDoneOnceByOneOfItsWorkers) {
    withThreadCounts([](int threads) {
        for (int tasks : {0, 1, 2, 5, 64}) {
            const int workers = workerCount(tasks);
            EXPECT_EQ(workers, std::min(threads, tasks));
            std::vector<std::atomic<int>> visits(static_cast<std::size_t>(tasks));
            std::atomic<int> wrong{0};
            parallelTasks(workers, tasks, [&](int i, int worker) noexcept {
                ++visits[static_cast<std::size_t>(i)];
                if (worker < 0 || worker >= workers) ++wrong;
            });
            for (const std::atomic<int>& count : visits) EXPECT_EQ(count, 1) << threads << " threads, " << tasks;
            EXPECT_EQ(wrong, 0);
        }
    });
}

TEST(ParallelTest, SmallPlanesDoNotFork) {
    EXPECT_EQ(Strips(16, 16).count(), 1);
    EXPECT_EQ(Strips(1, 1 << 24).count(), 1);
    EXPECT_EQ(Strips(0, 100).count(), 1);
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
