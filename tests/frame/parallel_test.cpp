#include "kestrova/frame/parallel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/regions.h"
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

void expectContiguous(const Strips& strips, int rows) {
    EXPECT_EQ(strips.first(0), 0);
    EXPECT_EQ(strips.end(strips.count() - 1), rows);
    for (int s = 1; s < strips.count(); ++s) EXPECT_EQ(strips.first(s), strips.end(s - 1));
}

TEST(ParallelTest, StripsAreContiguousAndSeveralAThread) {
    withThreadCounts([](int threads) {
        const Strips strips(137, kCols);
        EXPECT_EQ(strips.count(), threads == 1 ? 1 : 4 * threads);
        EXPECT_EQ(strips.workers(), threads);
        expectContiguous(strips, 137);
    });
}

TEST(ParallelTest, StripsOfACostlyStartAreOneAThread) {
    withThreadCounts([](int threads) {
        const Strips strips = Strips::onePerThread(137, kCols);
        EXPECT_EQ(strips.count(), threads);
        EXPECT_EQ(strips.workers(), threads);
        expectContiguous(strips, 137);
    });
}

TEST(ParallelTest, StripsAreNotCutSmallerThanIsWorthWhile) {
    withThreadCounts([](int threads) {
        const Strips strips(kForkElements / 64, 64);
        EXPECT_EQ(strips.count(), threads == 1 ? 1 : std::min(4 * threads, kForkElements / kStripElements));
        EXPECT_EQ(Strips(2, kCols).workers(), std::min(threads, 2));
    });
}

TEST(ParallelTest, EveryThreadGetsAsManyStrips) {
    withThreadCounts([](int threads) {
        const Strips strips(70, kStripElements / 10 + 1);  // work for seven
        const int workers = std::min(threads, 7);
        EXPECT_EQ(strips.workers(), workers);
        EXPECT_EQ(strips.count(), threads == 1 ? 1 : 7 / workers * workers);
        expectContiguous(strips, 70);
    });
}

TEST(ParallelTest, WorkOfARowSaturates) {
    EXPECT_EQ(workOf(1000, 3), 3000);
    EXPECT_EQ(workOf(0, 3), 0);
    EXPECT_EQ(workOf(INT_MAX / 3 + 1, 3), INT_MAX);
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

TEST(ParallelTest, EachThreadHasItsScratchMadeBeforeAndOnTheCallersThread) {
    withThreadCounts([](int) {
        const Strips strips(37, kCols);
        int made = 0;
        std::atomic<int> rows{0}, wrong{0};
        std::vector<std::atomic<int>> owner(static_cast<std::size_t>(strips.workers()));
        forEachStrip(
            strips,
            [&] {
                if (omp_in_parallel()) ++wrong;
                return made++;
            },
            [&](int first, int end, const int& scratch) noexcept {
                const int self = omp_get_thread_num() + 1, before = owner[scratch].exchange(self);
                if (made != strips.workers() || (before != 0 && before != self)) ++wrong;
                rows += end - first;
            });
        EXPECT_EQ(made, strips.workers());
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

/// Waits until `done` reaches `count`; gives up after a minute.
bool reaches(const std::atomic<int>& done, int count) {
    for (int i = 0; i < 60000 && done < count; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return done >= count;
}

TEST(ParallelTest, AThreadThatIsHeldUpLeavesAllButItsStripToTheOthers) {
    const KeepThreadSettings keep;
    omp_set_num_threads(2);
    for (int heldUp : {0, 7}) {
        const Strips strips(8, kCols);
        ASSERT_EQ(strips.count(), 8);
        std::atomic<int> done{0};
        std::atomic<bool> othersWentOn{false};
        forEachStrip(strips, [&](int first, int) noexcept {
            if (first == heldUp) othersWentOn = reaches(done, 7);
            ++done;
        });
        EXPECT_TRUE(othersWentOn);
        EXPECT_EQ(done, 8);
    }
}

TEST(ParallelTest, ATaskThatIsHeldUpLeavesTheRestToTheOthers) {
    const KeepThreadSettings keep;
    omp_set_num_threads(2);
    std::atomic<int> done{0};
    std::atomic<bool> othersWentOn{false};
    parallelTasks(2, 8, [&](int i, int) noexcept {
        if (i == 0) othersWentOn = reaches(done, 7);
        ++done;
    });
    EXPECT_TRUE(othersWentOn);
    EXPECT_EQ(done, 8);
}

TEST(ParallelTest, AllIsDoneWhereTheRuntimeGivesFewerThreads) {
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    const Strips strips(64, kCols);
    ASSERT_EQ(strips.workers(), 4);
    omp_set_num_threads(2);
    std::atomic<int> rows{0};
    forEachStrip(strips, [&](int first, int end) noexcept { rows += end - first; });
    EXPECT_EQ(rows, 64);
}

TEST(ParallelTest, EveryRegionAsksForTheWholeTeam) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    const Regions regions = regionsOf([] {
        for (int rows : {2, 3, 64}) parallelRows(rows, kCols, [](int) noexcept {});
        forEachStrip(Strips::onePerThread(3, kCols), [](int, int) noexcept {});
        parallelTasks(2, 2, [](int, int) noexcept {});
    });
    EXPECT_EQ(regions.count, 5);
    EXPECT_TRUE(regions.allOfTheWholeTeam);
}

/// The calling thread counts losses for as long as this lives.
class CountLosses {
public:
    CountLosses() { payoff = Payoff(); }
    CountLosses(const CountLosses&) = delete;
    ~CountLosses() {
        payoff = Payoff();
        payoff.m_least = HUGE_VAL;
    }
};

TEST(ParallelTest, AfterARegionThatHasLostTimeItsThreadWorksAloneForTenTimesAsLong) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    const KeepThreadSettings keep;
    omp_set_num_threads(2);
    const CountLosses count;
    const Strips strips(64, kCols);
    std::atomic<int> rows{0};
    const auto waitForTheOther = [&] {
        forEachStrip(strips, [&](int first, int end) noexcept {
            rows += end - first;
            if (omp_get_thread_num() == 1) std::this_thread::sleep_for(std::chrono::milliseconds(30));
        });
    };
    const auto regionsOfAPass = [&] {
        return regionsOf([&] { parallelRows(64, kCols, [&](int) noexcept { ++rows; }); }).count;
    };
    double loss = 0;
    // A member that comes only when all is done has nothing to be late with.
    for (int i = 0; i < 100 && payoff.m_alone == 0; ++i) {
        const double began = omp_get_wtime();
        waitForTheOther();
        loss = omp_get_wtime() - began;
    }
    ASSERT_GT(payoff.m_alone, 0);
    EXPECT_LE(payoff.m_alone, 10 * loss);
    payoff.m_alone = 3600;
    rows = 0;
    EXPECT_EQ(regionsOfAPass(), 0);
    EXPECT_EQ(rows, 64);
    payoff.m_aloneSince = ThreadTime::now() - ThreadTime{1, 3600};
    EXPECT_EQ(regionsOfAPass(), 1);
    EXPECT_EQ(rows, 128);
}

TEST(ParallelTest, AThreadThatIsToWorkAloneDoesNotDivideItsWork) {
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    const CountLosses count;
    const Strips divided(64, kCols);
    ASSERT_EQ(divided.workers(), 4);
    payoff.m_alone = 3600;
    payoff.m_aloneSince = ThreadTime::now();
    EXPECT_EQ(Strips(64, kCols).count(), 1);
    EXPECT_EQ(workerCount(64), 1);
    std::set<std::thread::id> threads;
    int rows = 0;
    forEachStrip(divided, [&](int first, int end) noexcept {
        threads.insert(std::this_thread::get_id());
        rows += end - first;
    });
    EXPECT_EQ(rows, 64) << "strips made before";
    EXPECT_EQ(threads, std::set<std::thread::id>{std::this_thread::get_id()});
}

#ifdef __linux__
std::set<std::string> threadsOfTheProcess() {
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.insert(entry.path().filename());
    return threads;
}

TEST(ParallelTest, WorkOfAnySizeKeepsTheThreadsThatThereAre) {
    const KeepThreadSettings keep;
    omp_set_num_threads(6);
    parallelRows(64, kCols, [](int) noexcept {});
    const std::set<std::string> before = threadsOfTheProcess();
    for (int rows : {2, 64, 3, 64}) {
        parallelRows(rows, kCols, [](int) noexcept {});
        parallelTasks(std::min(rows, 3), rows, [](int, int) noexcept {});
    }
    EXPECT_EQ(threadsOfTheProcess(), before);
}
#endif

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
