#include "kestrova/filters/bilateral_filter.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "kestrova/frame/tprogress.h"
#include "tests/filters/bilateral_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

const char kSizesText[] = "ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size";
const char kGuardText[] = "BilateralFilter::dealloc() - != 0x6d6d6d6d";

int cells(const BilateralFilter& filter) { return filter.m_gridW * filter.m_gridH * filter.m_gridZ; }

std::uint32_t guardOf(const float* grid, int cells) {
    std::uint32_t word;
    std::memcpy(&word, grid + cells, sizeof word);
    return word;
}

TEST(BilateralFilterTest, AFreshObjectHasNoGrids) {
    const BilateralFilter filter;
    EXPECT_FALSE(filter.m_mode16);
    EXPECT_EQ(filter.m_gridW, 0);
    EXPECT_EQ(filter.m_gridH, 0);
    EXPECT_EQ(filter.m_gridZ, 0);
    EXPECT_EQ(filter.m_weights_p, nullptr);
    EXPECT_EQ(filter.m_values_p, nullptr);
    EXPECT_EQ(filter.m_padXY, 1);
    EXPECT_EQ(filter.m_padZ, 1);
    EXPECT_EQ(filter.m_min, 0);
    EXPECT_EQ(filter.m_width, 0);
    EXPECT_EQ(filter.m_height, 0);
    EXPECT_EQ(filter.m_ready, 1);
    EXPECT_EQ(filter.getGridSize(), 0);
    static_assert(!std::is_copy_constructible_v<BilateralFilter>);
    static_assert(std::is_copy_assignable_v<BilateralFilter>);
    static_assert(!std::is_polymorphic_v<BilateralFilter>);
}

TEST(BilateralFilterTest, TheGridCoversThePlaneAndTheSpanWithPadding) {
    cv::Mat guide(33, 48, CV_8UC1, cv::Scalar(20));
    guide.at<uchar>(5, 5) = 121;
    BilateralFilter filter;
    ASSERT_TRUE(filter.setup(guide, 48, 33, 16, 10, false));
    EXPECT_EQ(filter.m_gridW, 4 + 3);
    EXPECT_EQ(filter.m_gridH, 4 + 3);
    EXPECT_EQ(filter.m_gridZ, 4 + 11);
    EXPECT_EQ(filter.m_min, 20);
    EXPECT_EQ(filter.m_width, 48);
    EXPECT_EQ(filter.m_height, 33);
    EXPECT_EQ(filter.m_sampling, 16);
    EXPECT_EQ(filter.m_range, 10);
    EXPECT_FALSE(filter.m_mode16);
    EXPECT_EQ(filter.getGridSize(), 7 * 7 * 15);

    guide.at<uchar>(5, 5) = 120;  // 100 levels: exactly 10 cells
    filter.m_ready = 0;
    ASSERT_TRUE(filter.setup(guide, 48, 33, 16, 10, true));
    EXPECT_EQ(filter.m_gridZ, 4 + 10);
    EXPECT_EQ(filter.m_ready, 1);
    EXPECT_TRUE(filter.m_mode16);
}

TEST(BilateralFilterTest, TheValueAxisIsCappedAt252Cells) {
    cv::Mat guide(4, 4, CV_16UC1, cv::Scalar(0));
    BilateralFilter filter;
    for (int span : {2471, 2480}) {  // 248 cells: as deep as may be with the range given
        guide.at<ushort>(0, 0) = static_cast<ushort>(span);
        ASSERT_TRUE(filter.setup(guide, 4, 4, 2, 10, true));
        EXPECT_EQ(filter.m_gridZ, 252);
        EXPECT_EQ(filter.m_range, 10);
    }
    guide.at<ushort>(0, 0) = 2481;
    ASSERT_TRUE(filter.setup(guide, 4, 4, 2, 10, true));
    EXPECT_EQ(filter.m_gridZ, 252);
    EXPECT_EQ(filter.m_range, 10);  // trunc(2481 / 248)
    guide.at<ushort>(0, 0) = 65535;
    ASSERT_TRUE(filter.setup(guide, 4, 4, 2, 1, true));
    EXPECT_EQ(filter.m_gridZ, 252);
    EXPECT_EQ(filter.m_range, 264);
}

TEST(BilateralFilterTest, TheSmallestGuideValueIsTruncated) {
    cv::Mat guide(4, 4, CV_32FC1, cv::Scalar(-2.9));
    guide.at<float>(1, 1) = 5.5f;
    BilateralFilter filter;
    ASSERT_TRUE(filter.setup(guide, 4, 4, 2, 2, true));
    EXPECT_EQ(filter.m_min, -2);
    EXPECT_EQ(filter.m_gridZ, 4 + 5);  // a span of 8.4
}

TEST(BilateralFilterTest, CellsStandWithZInnermost) {
    BilateralFilter filter;
    ASSERT_TRUE(filter.setup(randomPlane(20, 30, CV_8UC1), 30, 20, 4, 20, false));
    for (int y : {0, 3})
        for (int x : {0, 2})
            for (int z : {0, 5}) {
                const int i = (filter.m_gridW * y + x) * filter.m_gridZ + z;
                EXPECT_EQ(filter.gridPtr(x, y, z), filter.m_weights_p + i);
                EXPECT_EQ(filter.gridDPtr(x, y, z), filter.m_values_p + i);
            }
}

TEST(BilateralFilterTest, GridInitSetsAllCellsIfThereAreAny) {
    BilateralFilter filter;
    filter.gridInit(1.0f, 2.0f);
    ASSERT_TRUE(filter.setup(randomPlane(20, 30, CV_8UC1), 30, 20, 4, 20, false));
    filter.gridInit(3.0f, -4.0f);
    for (int i = 0; i < cells(filter); ++i) {
        ASSERT_EQ(filter.m_weights_p[i], 3.0f);
        ASSERT_EQ(filter.m_values_p[i], -4.0f);
    }
    EXPECT_EQ(guardOf(filter.m_weights_p, cells(filter)), 0x6d6d6d6du);
    EXPECT_EQ(guardOf(filter.m_values_p, cells(filter)), 0x6d6d6d6du);
}

TEST(BilateralFilterTest, TheGuardsSurviveAFilter) {
    BilateralFilter filter;
    cv::Mat plane = randomPlane(50, 70, CV_16UC1);
    ASSERT_TRUE(filter.proc(cv::Mat(), plane, 5, 1, nullptr));
    EXPECT_EQ(guardOf(filter.m_weights_p, cells(filter)), 0x6d6d6d6du);
    EXPECT_EQ(guardOf(filter.m_values_p, cells(filter)), 0x6d6d6d6du);
    filter.dealloc();
    EXPECT_EQ(filter.m_weights_p, nullptr);
    EXPECT_EQ(filter.m_values_p, nullptr);
    filter.dealloc();
}

TEST(BilateralFilterTest, ADamagedGuardOfTheWeightsKeepsBothGrids) {
    BilateralFilter filter;
    ASSERT_TRUE(filter.setup(randomPlane(20, 30, CV_8UC1), 30, 20, 4, 20, false));
    reinterpret_cast<char*>(filter.m_weights_p + cells(filter))[3] = 0;
    EXPECT_FAILURE(filter.dealloc(), kGuardText);
    EXPECT_NE(filter.m_weights_p, nullptr);
    EXPECT_NE(filter.m_values_p, nullptr);
    cv::Mat other = randomPlane(21, 31, CV_8UC1);
    const cv::Mat before = other.clone();
    EXPECT_FAILURE(filter.proc(cv::Mat(), other, 4, 20, nullptr), kGuardText);
    EXPECT_TRUE(samePixels(before, other));
}

TEST(BilateralFilterTest, ADamagedGuardOfTheValuesIsFoundAfterTheWeightsAreGone) {
    BilateralFilter filter;
    const cv::Mat guide = randomPlane(20, 30, CV_8UC1);
    ASSERT_TRUE(filter.setup(guide, 30, 20, 4, 20, false));
    filter.m_values_p[cells(filter)] = 0.0f;
    EXPECT_FAILURE(filter.dealloc(), kGuardText);
    EXPECT_EQ(filter.m_weights_p, nullptr);
    EXPECT_NE(filter.m_values_p, nullptr);
    cv::Mat plane = guide.clone();
    EXPECT_FAILURE(filter.proc(cv::Mat(), plane, 4, 20, nullptr), kGuardText);
    EXPECT_TRUE(samePixels(guide, plane));
}

TEST(BilateralFilterTest, GuardsAreLookedForAtTheExtentsOfTheirGrid) {
    BilateralFilter filter;
    cv::Mat guide(40, 40, CV_8UC1, cv::Scalar(0));
    guide.at<uchar>(0, 0) = 200;
    ASSERT_TRUE(filter.setup(guide, 40, 40, 8, 10, false));
    EXPECT_EQ(filter.m_gridZ, 24);
    guide.at<uchar>(0, 0) = 100;
    ASSERT_TRUE(filter.setup(guide, 40, 40, 8, 10, false));
    EXPECT_EQ(filter.m_gridZ, 14);
    guide.at<uchar>(0, 0) = 240;
    ASSERT_TRUE(filter.setup(guide, 40, 40, 8, 10, false));
    EXPECT_EQ(filter.m_gridZ, 28);
}

TEST(BilateralFilterTest, EqualPlanesReuseTheGridsOthersReplaceThem) {
    BilateralFilter filter;
    const cv::Mat guide = randomPlane(40, 40, CV_8UC1);
    ASSERT_TRUE(filter.setup(guide, 40, 40, 8, 10, false));
    const float *weights = filter.m_weights_p, *values = filter.m_values_p;
    filter.m_weights_p[0] = 7.0f;
    ASSERT_TRUE(filter.setup(guide, 40, 40, 8, 10, false));
    EXPECT_EQ(filter.m_weights_p, weights);
    EXPECT_EQ(filter.m_values_p, values);
    EXPECT_EQ(filter.m_weights_p[0], 7.0f);
    // As many cells, another size: replaced.
    const std::weak_ptr<float> old = filter.m_weights;
    ASSERT_TRUE(filter.setup(randomPlane(40, 39, CV_8UC1), 39, 40, 8, 10, false));
    EXPECT_TRUE(old.expired());
}

TEST(BilateralFilterTest, ASecondPlaneFindsNothingOfTheFirst) {
    const cv::Mat first = randomPlane(60, 50, CV_16UC1, 1), second = randomPlane(60, 50, CV_16UC1, 2);
    BilateralFilter filter;
    for (const cv::Mat& plane : {first, second, first}) {
        for (int range : {5000, 9000}) {
            cv::Mat inOut = plane.clone();
            ASSERT_TRUE(filter.proc(cv::Mat(), inOut, 8, range, nullptr));
            EXPECT_TRUE(samePixels(NaiveBilateral::filtered(plane, plane, 8, range), inOut));
        }
    }
}

TEST(BilateralFilterTest, ACopySharesTheGrids) {
    BilateralFilter copy;
    std::weak_ptr<float> grid;
    {
        BilateralFilter filter;
        cv::Mat plane = randomPlane(40, 40, CV_8UC1);
        ASSERT_TRUE(filter.proc(cv::Mat(), plane, 8, 10, nullptr));
        copy = filter;
        grid = filter.m_weights;
        EXPECT_EQ(copy.m_weights_p, filter.m_weights_p);
        EXPECT_EQ(copy.m_values_p, filter.m_values_p);
        EXPECT_EQ(copy.getGridSize(), filter.getGridSize());
        EXPECT_EQ(copy.m_sampling, 8);
        cv::Mat other = randomPlane(50, 50, CV_8UC1);
        ASSERT_TRUE(filter.proc(cv::Mat(), other, 8, 10, nullptr));
        EXPECT_NE(copy.m_weights_p, filter.m_weights_p);
    }
    EXPECT_FALSE(grid.expired());
    const cv::Mat plane = randomPlane(40, 40, CV_8UC1);
    cv::Mat inOut = plane.clone();
    ASSERT_TRUE(copy.proc(cv::Mat(), inOut, 8, 10, nullptr));
    EXPECT_TRUE(samePixels(NaiveBilateral::filtered(plane, plane, 8, 10), inOut));
    copy = *&copy;
    EXPECT_FALSE(grid.expired());
    copy = BilateralFilter();
    EXPECT_TRUE(grid.expired());
}

struct Host {
    std::vector<int> reports;
    int cancelAt = INT_MAX;  ///< the report that is answered with false
    static bool answer(int progress, void* user) {
        Host& host = *static_cast<Host*>(user);
        host.reports.push_back(progress);
        return static_cast<int>(host.reports.size()) <= host.cancelAt;
    }
};

TEST(BilateralFilterTest, ReportsFiveSteps) {
    Host host;
    TProgress progress(Host::answer, &host);
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 20, CV_8UC1);
    EXPECT_TRUE(filter.proc(cv::Mat(), plane, 4, 10, &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{0, 250, 500, 750, 1000}));
}

TEST(BilateralFilterTest, ACancelLeavesWhatHasBeenDone) {
    const cv::Mat plane = randomPlane(20, 20, CV_8UC1);
    const cv::Mat expected = NaiveBilateral::filtered(plane, plane, 4, 10);
    for (int cancelAt = 0; cancelAt < 5; ++cancelAt) {
        Host host;
        host.cancelAt = cancelAt;
        TProgress progress(Host::answer, &host);
        BilateralFilter filter;
        cv::Mat inOut = plane.clone();
        EXPECT_FALSE(filter.proc(cv::Mat(), inOut, 4, 10, &progress));
        EXPECT_EQ(static_cast<int>(host.reports.size()), cancelAt + 1);
        EXPECT_TRUE(samePixels(cancelAt < 4 ? plane : expected, inOut)) << cancelAt;
        EXPECT_EQ(filter.m_weights_p == nullptr, cancelAt < 1) << cancelAt;
        if (cancelAt == 2) {
            EXPECT_EQ(filter.m_weights_p[0], 9.99999968e-21f);
        }
    }
}

TEST(BilateralFilterTest, ACancelBeforeTheFirstStepLooksAtNothing) {
    Host host;
    host.cancelAt = 0;
    TProgress progress(Host::answer, &host);
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 20, CV_8UC1);
    EXPECT_FALSE(filter.proc(randomPlane(9, 9, CV_8UC1), plane, 1, 0, &progress));
}

TEST(BilateralFilterTest, RefusesPlanesThatDoNotFit) {
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 30, CV_16UC1);
    const cv::Mat before = plane.clone();
    EXPECT_FAILURE(filter.proc(randomPlane(20, 31, CV_16UC1), plane, 4, 10, nullptr), kSizesText);
    EXPECT_FAILURE(filter.proc(randomPlane(30, 20, CV_16UC1), plane, 4, 10, nullptr), kSizesText);
    const int volume[] = {20, 30, 4};
    for (const cv::Mat& edge :
         {randomPlane(20, 30, CV_16UC3), cv::Mat(20, 30, CV_16FC1, cv::Scalar(0)), cv::Mat(3, volume, CV_16UC1)})
        EXPECT_FAILURE(filter.proc(edge, plane, 4, 10, nullptr), "ERROR - bool BilateralFilter::proc - edge.type()");
    cv::Mat block(3, volume, CV_16UC1);
    EXPECT_FAILURE(filter.proc(plane, block, 4, 10, nullptr), "ERROR - bool BilateralFilter::proc - inOut.type()");
    for (int type : {CV_8SC1, CV_16SC1, CV_32FC1, CV_8UC3}) {
        cv::Mat other = randomPlane(20, 30, type);
        EXPECT_FAILURE(filter.proc(plane, other, 4, 10, nullptr), "ERROR - bool BilateralFilter::proc - inOut.type()");
    }
    cv::Mat none;
    EXPECT_FAILURE(filter.proc(none, none, 4, 10, nullptr), "ERROR - bool BilateralFilter::proc - inOut.empty()");
    EXPECT_FAILURE(filter.proc(plane, none, 4, 10, nullptr), kSizesText);
    EXPECT_TRUE(samePixels(before, plane));
    EXPECT_EQ(filter.m_weights_p, nullptr);
}

TEST(BilateralFilterTest, RefusesARangeBelowOne) {
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 30, CV_16UC1);
    const cv::Mat before = plane.clone();
    for (int range : {0, -1, INT_MIN})
        EXPECT_FAILURE(filter.proc(cv::Mat(), plane, 4, range, nullptr), "ERROR - BilateralFilter::setup - range < 1");
    EXPECT_TRUE(samePixels(before, plane));
    EXPECT_TRUE(filter.proc(cv::Mat(), plane, INT_MAX, INT_MAX, nullptr));
}

TEST(BilateralFilterTest, RefusesAGuideThatIsNotFinite) {
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 30, CV_16UC1);
    const cv::Mat before = plane.clone();
    for (float bad : {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), 3e9f, -3e9f}) {
        cv::Mat guide = randomPlane(20, 30, CV_32FC1);
        guide.at<float>(7, 7) = bad;
        EXPECT_FAILURE(filter.proc(guide, plane, 4, 10, nullptr),
                       "ERROR - bool BilateralFilter::proc - edge is not finite or beyond int");
    }
    EXPECT_TRUE(samePixels(before, plane));
}

TEST(BilateralFilterTest, ASamplingBelowTwoIsRefusedWithoutGrids) {
    BilateralFilter filter;
    cv::Mat plane = randomPlane(20, 30, CV_16UC1);
    const cv::Mat before = plane.clone();
    EXPECT_FALSE(filter.setup(plane, 30, 20, 1, 10, true));
    EXPECT_TRUE(filter.m_mode16);
    EXPECT_EQ(filter.m_width, 0);
    for (int sampling : {1, 0, -5})
        EXPECT_FAILURE(filter.proc(cv::Mat(), plane, sampling, 10, nullptr),
                       "ERROR - bool BilateralFilter::proc - sampling < 2");
    EXPECT_TRUE(samePixels(before, plane));
}

TEST(BilateralFilterTest, ASamplingBelowTwoGoesOnWithTheGridsOfBefore) {
    BilateralFilter filter;
    const cv::Mat first = randomPlane(20, 30, CV_16UC1, 1), second = randomPlane(20, 30, CV_16UC1, 500, 60000, 2);
    cv::Mat plane = first.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(), plane, 6, 3000, nullptr));
    cv::Mat inOut = second.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(), inOut, 1, 0, nullptr));
    EXPECT_EQ(filter.m_sampling, 6);
    EXPECT_EQ(filter.m_range, 3000);
    NaiveBilateral grid(first, 6, 3000);
    EXPECT_TRUE(samePixels(grid.run<ushort>(second, second), inOut));

    for (cv::Mat other : {randomPlane(21, 30, CV_16UC1), randomPlane(20, 29, CV_16UC1)})
        EXPECT_FAILURE(filter.proc(cv::Mat(), other, 1, 10, nullptr),
                       "ERROR - bool BilateralFilter::proc - sampling < 2 and inOut of another size than before");
    cv::Mat brighter = second.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(20, 30, CV_16UC1, cv::Scalar(100)), brighter, 6, 3000, nullptr));
    EXPECT_TRUE(filter.proc(cv::Mat(20, 30, CV_16UC1, cv::Scalar(3099)), brighter, 1, 10, nullptr));
    for (const cv::Mat& edge : {cv::Mat(20, 30, CV_16UC1, cv::Scalar(3100)), second})
        EXPECT_FAILURE(filter.proc(edge, brighter, 1, 10, nullptr),
                       "ERROR - bool BilateralFilter::proc - sampling < 2 and edge beyond the values of before");
}

TEST(BilateralFilterTest, ASamplingBelowTwoTakesAnyValuesWithGridsAsDeepAsMayBe) {
    BilateralFilter filter;
    const cv::Mat first = randomPlane(20, 30, CV_16UC1, 0, 700, 1), second = randomPlane(20, 30, CV_16UC1, 0, 1000, 2);
    cv::Mat plane = first.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(), plane, 6, 1, nullptr));
    ASSERT_EQ(filter.m_gridZ, 252);
    cv::Mat inOut = second.clone();
    ASSERT_TRUE(filter.proc(cv::Mat(), inOut, 1, 0, nullptr));
    NaiveBilateral grid(first, 6, 1);
    EXPECT_TRUE(samePixels(grid.run<ushort>(second, second), inOut));
}

#if !defined(__SANITIZE_ADDRESS__)  // whose allocator ends the process instead
TEST(BilateralFilterTest, GridsWithoutMemoryAreRefused) {
    BilateralFilter filter;
    const cv::Mat guide = randomPlane(8, 8, CV_16UC1);
    EXPECT_FAILURE(filter.setup(guide, 1 << 20, 1 << 20, 2, 1, true), "ERROR - BilateralFilter::alloc()");
    EXPECT_EQ(filter.m_weights_p, nullptr);
    EXPECT_EQ(filter.m_values_p, nullptr);
    EXPECT_EQ(filter.getGridSize(), INT_MAX) << "more cells than an int counts";
    filter.gridInit(1.0f, 2.0f);
    cv::Mat plane = guide.clone();
    EXPECT_TRUE(filter.proc(cv::Mat(), plane, 2, 1000, nullptr));
    EXPECT_TRUE(samePixels(NaiveBilateral::filtered(guide, guide, 2, 1000), plane));
}
#endif

}  // namespace
