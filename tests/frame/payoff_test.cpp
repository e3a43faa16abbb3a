#include "kestrova/frame/payoff.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "tests/support/rooms.h"

namespace {

TEST(PayoffTest, ARegionIsALossWhereTheOthersWereWaitedForLongerThanTheyHaveWorked) {
    const auto aloneAfter = [](double seconds, Effort own, std::int64_t all) {
        Payoff one;
        one.count(100, 100 + seconds, own, all);
        return one.m_alone;
    };
    EXPECT_EQ(aloneAfter(0.010, {0.010, 10}, 20), 0);
    EXPECT_EQ(aloneAfter(0.015, {0.010, 10}, 16), 0);
    EXPECT_EQ(aloneAfter(0.015, {0.010, 5}, 8), 0) << "alone, too, with half a processor";
    EXPECT_NEAR(aloneAfter(0.030, {0.010, 10}, 10), 0.2, 1e-6);
    EXPECT_NEAR(aloneAfter(0.030, {0.007, 7}, 8), 0.22, 1e-6);
    EXPECT_NEAR(aloneAfter(0.030, {0.010, 5}, 8), 0.14, 1e-6);
    EXPECT_NEAR(aloneAfter(0.0105, {0.010, 10}, 10), 0.005, 1e-6);
    EXPECT_EQ(aloneAfter(0.0003, {0.0001, 1}, 1), 0) << "no more than waking a team";
    EXPECT_EQ(aloneAfter(0.030, {0.001, 0}, 8), 0) << "nothing to judge by";
}

TEST(PayoffTest, WorkThatIsThereOnlyBecauseItIsDividedIsNoGain) {
    const auto aloneAfter = [](double needed) {
        Payoff one;
        one.count(100, 100.010, {0.010, 10}, 20, needed);
        return one.m_alone;
    };
    EXPECT_EQ(aloneAfter(0.5), 0);
    EXPECT_NEAR(aloneAfter(0.25), 10 * 0.005, 1e-6);
    EXPECT_NEAR(aloneAfter(0), 10 * 0.010, 1e-6);
}

/// After a region of 100 seconds that the thread alone would have done in `gain` seconds more.
double aloneAfter(Payoff& one, double gain) {
    one.m_alone = 0;
    one.count(100, 200, {100, 1'000'000}, std::llround(1e6 + 1e4 * gain));
    return one.m_alone;
}

TEST(PayoffTest, LossesThatFollowOneAnotherLetTheThreadWorkAloneForLongerUntilRegionsPay) {
    Payoff one;
    for (double times : {10, 20, 40, 80, 80}) EXPECT_NEAR(aloneAfter(one, -0.020), times * 0.020, 1e-6);
    aloneAfter(one, 0.0001);
    EXPECT_NEAR(aloneAfter(one, -0.020), 80 * 0.020, 1e-6) << "too short to tell";
    aloneAfter(one, 0.006);
    EXPECT_NEAR(aloneAfter(one, -0.026), 80 * 0.020, 1e-6) << "the gain pays a part, and does not end it";
    aloneAfter(one, 0.006);
    aloneAfter(one, 0.006);
    EXPECT_NEAR(aloneAfter(one, -0.030), 10 * 0.020, 1e-6);
}

TEST(PayoffTest, GainsOfTenMillisecondsPayLossesOfAsLong) {
    Payoff one;
    aloneAfter(one, 1);
    EXPECT_EQ(aloneAfter(one, -0.004), 0);
    EXPECT_EQ(aloneAfter(one, -0.004), 0);
    EXPECT_NEAR(aloneAfter(one, -0.004), 10 * 0.002, 1e-6);
}

TEST(PayoffTest, TheThreadIsAloneUntilItHasWorkedForSoLongOrPausedForFourTimesAsLong) {
    Payoff one;
    EXPECT_FALSE(one.alone());
    const auto aloneAfterwards = [&one](ThreadTime passed) {
        aloneAfter(one, -20);
        one.m_alone = 200;
        one.m_aloneSince = ThreadTime::now() - passed;
        return one.alone();
    };
    EXPECT_TRUE(aloneAfterwards({0, 0}));
    EXPECT_TRUE(aloneAfterwards({700, 150}));
    EXPECT_FALSE(aloneAfterwards({900, 150}));
    EXPECT_FALSE(one.alone());
    EXPECT_FALSE(aloneAfterwards({700, 210}));
    EXPECT_FALSE(one.alone());
}

TEST(PayoffTest, TheThreadIsAloneFromTheLossOn) {
    Payoff one;
    one.m_aloneSince = ThreadTime::now() - ThreadTime{1e6, 1e6};
    aloneAfter(one, -20);
    EXPECT_TRUE(one.alone());
}

}  // namespace
