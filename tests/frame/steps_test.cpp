#include "kestrova/frame/steps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

#include "kestrova/frame/parallel.h"
#include "tests/support/rooms.h"
#include "tests/support/threads.h"

namespace {

constexpr std::array<int, 4> kPieces = {5, 1, 0, 64};

TEST(StepsTest, EveryPieceIsDoneOnceAndAfterTheStepBefore) {
    withThreadCounts([](int threads) {
        for (int repeat = 0; repeat < 20; ++repeat) {
            Steps<4> steps;
            std::array<std::atomic<int>, 4> done{};
            std::vector<std::atomic<int>> visits(64 * 4);
            std::atomic<int> wrong{0};
            withTeam(threads, [&](int) noexcept {
                const ThreadTime waited = steps.join(kPieces, [&](int step, int piece) noexcept {
                    for (int before = 0; before < step; ++before)
                        if (done[before] != kPieces[before]) ++wrong;
                    ++visits[64 * step + piece];
                    ++done[step];
                });
                if (done[3] != kPieces[3]) ++wrong;  // nobody leaves before the end
                return waited;
            });
            EXPECT_EQ(wrong, 0);
            for (int step = 0; step < 4; ++step)
                for (int piece = 0; piece < kPieces[step]; ++piece) EXPECT_EQ(visits[64 * step + piece], 1);
        }
    });
}

TEST(StepsTest, OneThreadNeedsNoOther) {
    Steps<4> steps;
    std::vector<std::array<int, 2>> order;
    order.reserve(70);
    steps.join(kPieces, [&](int step, int piece) noexcept { order.push_back({step, piece}); });
    ASSERT_EQ(order.size(), 70u);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(StepsTest, WhoComesLateFindsNothingToDo) {
    Steps<4> steps;
    steps.join(kPieces, [](int, int) noexcept {});
    int pieces = 0;
    steps.join(kPieces, [&](int, int) noexcept { ++pieces; });
    EXPECT_EQ(pieces, 0);
}

}  // namespace
