#include "kestrova/frame/tprogress.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Host {
    std::vector<int> reports;
    bool answer = true;
};

bool report(int progress, void* user) {
    Host* host = static_cast<Host*>(user);
    host->reports.push_back(progress);
    return host->answer;
}

// The text that hosts know, whatever the standard library at hand says.
template <class Call>
std::string outOfRange(const Call& call) {
    try {
        call();
    } catch (const std::out_of_range& e) {
        return e.what();
    }
    return "nothing";
}
constexpr char kSubscript[] = "invalid vector<T> subscript";

class TProgressTest : public testing::Test {
protected:
    Host host;
    TProgress progress{report, &host};
    int last() const { return host.reports.back(); }
};

TEST_F(TProgressTest, ConstructionReportsNothingAndHasOneLevelOfHundredSteps) {
    EXPECT_TRUE(host.reports.empty());
    EXPECT_EQ(progress.m_weights, std::vector<float>{1.0f});
    EXPECT_EQ(progress.m_totals, std::vector<int>{100});
    EXPECT_EQ(progress.m_values, std::vector<int>{0});
}

TEST_F(TProgressTest, ProgCountsOneStepInThousandths) {
    EXPECT_TRUE(progress.prog());
    EXPECT_TRUE(progress.prog());
    EXPECT_EQ(host.reports, (std::vector<int>{10, 20}));
}

TEST_F(TProgressTest, AnswerOfTheHostIsReturned) {
    host.answer = false;
    EXPECT_FALSE(progress.prog());
    EXPECT_FALSE(progress.prog(3, 4));
    EXPECT_EQ(last(), 750);
    progress.start(0.5f);
    EXPECT_FALSE(progress.end());
}

TEST_F(TProgressTest, NestedLevelReportsItsShare) {
    progress.start(0.5f);
    EXPECT_TRUE(progress.prog(50, 100));
    EXPECT_EQ(last(), 250);
}

TEST_F(TProgressTest, EndAdvancesTheParentByWeightTimesItsTotal) {
    progress.start(0.25f);
    progress.prog(100, 100);
    EXPECT_TRUE(progress.end());
    EXPECT_EQ(progress.m_values, std::vector<int>{25});
    EXPECT_EQ(last(), 250);
    EXPECT_EQ(progress.m_weights.size(), 1u);
    EXPECT_EQ(progress.m_totals.size(), 1u);
}

TEST_F(TProgressTest, EndTruncatesTheParentsAdvance) {
    progress.prog(1, 10);
    progress.start(0.37f);
    progress.end();
    EXPECT_EQ(progress.m_values, std::vector<int>{4});  // 10 x 0.37 + 1 = 4.7
}

TEST_F(TProgressTest, LevelsMultiplyTheirWeights) {
    progress.prog(20, 100);
    progress.start(0.5f);
    progress.prog(1, 4);
    progress.start(0.5f);
    progress.prog(1, 2);
    EXPECT_EQ(last(), 450);  // 0.2 + 0.25 x 0.5 + 0.5 x 0.25
}

TEST_F(TProgressTest, ValueBeyondTheTotalMakesTheTotalGrow) {
    progress.prog(150, 100);
    EXPECT_EQ(progress.m_totals.back(), 181);
    EXPECT_EQ(progress.m_values.back(), 150);
    EXPECT_EQ(last(), 828);
}

TEST_F(TProgressTest, TheTotalGrowsInDouble) {
    progress.prog(99999999, 1);
    EXPECT_EQ(progress.m_totals.back(), 120000000);  // 120000008 in float
}

TEST_F(TProgressTest, ZeroTotalBelowTheValueGrowsToSeven) {
    progress.prog(5, 0);
    EXPECT_EQ(progress.m_totals.back(), 7);
    EXPECT_EQ(last(), 714);
}

TEST_F(TProgressTest, ZeroOfZeroStaysAndStillReports) {
    progress.prog(0, 0);
    EXPECT_EQ(progress.m_totals.back(), 0);
    EXPECT_EQ(host.reports.size(), 1u);
}

TEST_F(TProgressTest, ValueEqualToTheTotalLeavesItAlone) {
    progress.prog(7, 7);
    EXPECT_EQ(progress.m_totals.back(), 7);
    EXPECT_EQ(last(), 1000);
}

TEST_F(TProgressTest, ReportIsLimitedToThousandButHasNoLowerLimit) {
    progress.m_weights[0] = 3.0f;
    progress.prog(90, 100);
    EXPECT_EQ(last(), 1000);
    progress.m_weights[0] = 1.0015f;
    progress.prog(100, 100);
    EXPECT_EQ(last(), 1000);
    progress.m_weights[0] = 1.0f;
    progress.prog(-5, 100);
    EXPECT_EQ(last(), -50);
}

TEST_F(TProgressTest, ExtremeStepsNeitherOverflowNorTrap) {
    progress.prog(2147483647, 1);
    EXPECT_EQ(progress.m_totals.back(), 2147483647);
    progress.prog(-2147483647 - 1, 1);
    EXPECT_LT(last(), -1000000000);
}

TEST_F(TProgressTest, StepsBeyondTheLargestCountStayThere) {
    progress.prog(2147483647, 2147483647);
    EXPECT_TRUE(progress.prog());
    EXPECT_EQ(progress.m_values.back(), 2147483647);
    EXPECT_EQ(last(), 1000);
}

TEST_F(TProgressTest, DoneReportsThousandWhateverTheDepthAndDropsTheAnswer) {
    host.answer = false;
    progress.start(0.1f);
    progress.start(0.1f);
    progress.done();
    EXPECT_EQ(last(), 1000);
    EXPECT_EQ(progress.m_values, std::vector<int>{100});
    EXPECT_EQ(progress.m_totals, std::vector<int>{100});
}

TEST_F(TProgressTest, StepAfterDoneRunsPastTheTotal) {
    progress.done();
    progress.prog();
    EXPECT_EQ(progress.m_values.back(), 101);
    EXPECT_EQ(progress.m_totals.back(), 122);  // trunc(102 x 1.2)
}

TEST_F(TProgressTest, ResetRestoresTheBaseLevelSilently) {
    progress.start(0.3f);
    progress.prog(1, 2);
    const std::size_t reports = host.reports.size();
    progress.reset();
    EXPECT_EQ(host.reports.size(), reports);
    EXPECT_EQ(progress.m_weights, std::vector<float>{1.0f});
}

TEST_F(TProgressTest, NullUserPointerKeepsTheCallbackSilent) {
    TProgress silent(report, nullptr);
    EXPECT_TRUE(silent.prog());
    TProgress hookless(nullptr, &host);
    EXPECT_TRUE(hookless.prog());
    EXPECT_TRUE(TProgress().prog());
    EXPECT_TRUE(host.reports.empty());
}

TEST_F(TProgressTest, CopiesHavePositionsOfTheirOwnAndOneCallback) {
    TProgress copy(progress);
    copy.prog(50, 100);
    EXPECT_EQ(progress.m_values.back(), 0);
    progress.prog(10, 100);
    EXPECT_EQ(host.reports, (std::vector<int>{500, 100}));
}

TEST_F(TProgressTest, AssignmentCopiesCallbackAndPosition) {
    progress.start(0.5f);
    progress.prog(1, 4);
    host.reports.clear();
    TProgress assigned;
    assigned = progress;
    EXPECT_TRUE(host.reports.empty());
    EXPECT_EQ(assigned.m_weights, progress.m_weights);
    EXPECT_EQ(assigned.m_totals, progress.m_totals);
    EXPECT_EQ(assigned.m_values, progress.m_values);
    assigned.prog();
    EXPECT_EQ(progress.m_values.back(), 1);
    EXPECT_EQ(host.reports, std::vector<int>{250});
}

TEST_F(TProgressTest, DestructionReportsNothing) {
    {
        TProgress open(report, &host);
        open.start(0.5f);
    }
    EXPECT_TRUE(host.reports.empty());
}

TEST_F(TProgressTest, LevelsOfUnequalNumberAreOutOfRange) {
    progress.m_totals.push_back(100);
    EXPECT_EQ(outOfRange([&] { progress.progress(); }), kSubscript);
    progress.m_values.push_back(0);
    EXPECT_EQ(outOfRange([&] { progress.progress(); }), kSubscript);
    progress.m_values.clear();
    EXPECT_EQ(outOfRange([&] { progress.progress(); }), kSubscript);
    progress.m_weights.push_back(1.0f);
    EXPECT_EQ(outOfRange([&] { progress.end(); }), kSubscript);
}

TEST_F(TProgressTest, EndWithoutStartIsRefusedAndChangesNothing) {
    EXPECT_EQ(outOfRange([&] { progress.end(); }), kSubscript);
    EXPECT_EQ(progress.m_values.size(), 1u);
    EXPECT_TRUE(progress.prog());
}

TEST_F(TProgressTest, EndAtDepthZeroIsTrue) {
    progress.m_weights.clear();
    progress.m_totals.clear();
    progress.m_values.clear();
    EXPECT_TRUE(progress.end());
    EXPECT_EQ(outOfRange([&] { progress.prog(); }), kSubscript);
    EXPECT_EQ(outOfRange([&] { progress.prog(1, 2); }), kSubscript);
}

}  // namespace
