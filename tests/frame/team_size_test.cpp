#include "kestrova/frame/team_size.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <chrono>
#include <thread>

#include "tests/support/little_memory.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

TEST(TeamSizeTest, IsWhatTheHostHasSetAndOneInsideARegion) {
    const KeepThreadSettings keep;
    for (int threads : {1, 2, 4}) {
        omp_set_num_threads(threads);
        EXPECT_EQ(teamSize(), threads);
    }
    int inside = 0;
#pragma omp parallel num_threads(2)
    if (omp_get_thread_num() == 1) inside = teamSize();
    EXPECT_EQ(inside, 1);
}

TEST(TeamSizeDeathTest, ATeamThatIsSmallerThanWantedKeepsItsThreadsWhenTheWholeIsTriedAgain) {
    constexpr std::size_t kStacksForSome = 100 << 20;
    withLittleMemory(kStacksForSome, [] {
        omp_set_num_threads(64);
        const int few = teamSize();
#pragma omp parallel num_threads(few)
        {}
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        return few > 1 && few < 64 && teamSize() >= few;
    });
}

}  // namespace
