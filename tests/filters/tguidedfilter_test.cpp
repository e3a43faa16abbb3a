#include "kestrova/filters/tguidedfilter.h"

#include <limits>

#include "kestrova/filters/guided_fit.h"
#include "tests/filters/guided_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

using namespace guided_reference;
using kestrova::filters::GuidedFit;

constexpr float kEps = 0.01f;

TGuidedFilter estimated(const cv::Mat& I, const cv::Mat& p, int r, float eps = kEps) {
    TGuidedFilter filter;
    for (cv::Mat* plane : {&filter.m_a0, &filter.m_b}) *plane = unwrittenPlane(p.size());
    filter.setup({I}, p, r, eps);
    return filter;
}

void expectModel(const std::vector<cv::Mat>& expected, const TGuidedFilter& filter) {
    EXPECT_TRUE(samePixels(expected[0], filter.m_a0));
    EXPECT_TRUE(samePixels(expected[1], filter.m_b));
}

TEST(TGuidedFilterTest, BeginsWithoutAModel) {
    const TGuidedFilter filter;
    for (const cv::Mat* plane : {&filter.m_a0, &filter.m_a1, &filter.m_a2, &filter.m_b}) EXPECT_TRUE(plane->empty());
}

TEST(TGuidedFilterTest, HoldsFourPlanesInOrderAndNothingElse) {
    const TGuidedFilter filter;
    EXPECT_EQ(sizeof filter, 4 * sizeof(cv::Mat));
    EXPECT_LT(&filter.m_a0, &filter.m_a1);
    EXPECT_LT(&filter.m_a1, &filter.m_a2);
    EXPECT_LT(&filter.m_a2, &filter.m_b);
}

TEST(TGuidedFilterTest, TheModelHasTheBitsOfTheStepsOnStoredPlanes) {
    for (cv::Size size : testSizes()) {
        for (int r : {0, 1, 2, 8, 20}) {
            SCOPED_TRACE(testing::Message() << size << " r " << r);
            const cv::Mat I = asSubPlane(unitPlane(size, 1)), p = asSubPlane(unitPlane(size, 2));
            expectModel(estimate1(I, p, r, kEps), estimated(I, p, r));
        }
    }
}

TEST(TGuidedFilterTest, AWindowMayBeMuchLargerThanThePlane) {
    const cv::Mat I = unitPlane({33, 17}, 1), p = unitPlane({33, 17}, 2);
    expectModel(estimate1(I, p, 300, kEps), estimated(I, p, 300));
}

TEST(TGuidedFilterTest, SumsThatCancelShowTheSameOrder) {
    cv::Mat I = randomPlane(150, 90, CV_32FC1, -1, 1), p = randomPlane(150, 90, CV_32FC1, -1, 1, 2);
    I.setTo(0x1p30, randomPlane(150, 90, CV_8UC1, 0, 3, 7) == 0);
    for (int r : {0, 3, 20}) expectModel(estimate1(I, p, r, kEps), estimated(I, p, r));
}

TEST(TGuidedFilterTest, ValuesThatHaveLeftTheWindowLeaveTheSameTrace) {
    const cv::Mat I = tracedPlane({90, 150}, 1), p = tracedPlane({90, 150}, 2);
    for (int r : {0, 1, 3, 20})
        withThreadCounts([&](int) { expectModel(estimate1(I, p, r, kEps), estimated(I, p, r)); });
}

TEST(TGuidedFilterTest, AValueThatIsNotFiniteReachesTheSamePixels) {
    cv::Mat I = unitPlane({80, 120}, 1), p = unitPlane({80, 120}, 2);
    I.at<float>(30, 40) = std::numeric_limits<float>::infinity();
    p.at<float>(70, 10) = std::numeric_limits<float>::quiet_NaN();
    I.at<float>(100, 60) = p.at<float>(100, 60) = 1e30f;  // the product alone is infinite
    for (int r : {0, 3}) {
        std::vector<cv::Mat> expected = estimate1(I, p, r, kEps);
        TGuidedFilter filter = estimated(I, p, r);
        for (cv::Mat* plane : {&expected[0], &expected[1], &filter.m_a0, &filter.m_b}) cv::patchNaNs(*plane, -12345);
        EXPECT_EQ(cv::countNonZero(expected[0] == -12345), 3 * (4 * r + 1) * (4 * r + 1));
        expectModel(expected, filter);
    }
}

void expectReferenceOnAnyThreads(const cv::Mat& I, const cv::Mat& p, int r) {
    const std::vector<cv::Mat> expected = estimate1(I, p, r, kEps);
    withThreadCounts([&](int) { expectModel(expected, estimated(I, p, r)); });
}

TEST(TGuidedFilterTest, AnyNumberOfThreadsGivesTheSameModel) {
    const cv::Mat I = unitPlane({257, 301}, 1), p = unitPlane({257, 301}, 2);
    for (int r : {0, 1, 3, 4, 8, 40}) expectReferenceOnAnyThreads(I, p, r);
}

// Windows so high that rows of coefficients and their means down the columns are done one after the other.
TEST(TGuidedFilterTest, AnyNumberOfThreadsGivesTheSameModelUnderHighWindows) {
    const cv::Size size(1100, 190);
    const cv::Mat I = tracedPlane(size, 1), p = tracedPlane(size, 2);
    for (int r : {150, 400}) {
        ASSERT_EQ(GuidedFit::panelColumns(size.width, r, 2), 0);
        expectReferenceOnAnyThreads(I, p, r);
    }
}

TEST(TGuidedFilterTest, PanelsGiveTheBitsOfTheWholePlane) {
    const cv::Size size(5400, 40);
    const cv::Mat I = unitPlane(size, 1), p = unitPlane(size, 2);
    ASSERT_EQ(GuidedFit::panelColumns(size.width, 60, 2), 1800);
    expectModel(estimate1(I, p, 60, kEps), estimated(I, p, 60));
}

// So high that more threads than panels take each panel in strips.
TEST(TGuidedFilterTest, StripsOfPanelsGiveTheBitsOfTheWholePlaneOnAnyNumberOfThreads) {
    const cv::Size size(2100, 600);
    const cv::Mat I = tracedPlane(size, 1), p = tracedPlane(size, 2);
    for (int r : {0, 2}) {
        ASSERT_EQ(GuidedFit::panelColumns(size.width, r, 2), 1050);
        expectReferenceOnAnyThreads(I, p, r);
    }
}

TEST(TGuidedFilterTest, AValueThatIsNotFiniteGivesTheSameOnAnyNumberOfThreadsUnderHighWindows) {
    cv::Mat I = unitPlane({1100, 700}, 1), p = unitPlane({1100, 700}, 2);
    I.at<float>(20, 40) = std::numeric_limits<float>::infinity();
    p.at<float>(650, 1000) = std::numeric_limits<float>::quiet_NaN();
    TGuidedFilter first;
    withThreadCounts([&](int threads) {
        TGuidedFilter filter = estimated(I, p, 150);
        for (cv::Mat* plane : {&filter.m_a0, &filter.m_b}) cv::patchNaNs(*plane, -12345);
        if (threads == 1) first = filter;
        // Twice the window, from the value to the left and to the right, and above to the plane's edge.
        EXPECT_EQ(cv::countNonZero(filter.m_a0 == -12345), (20 + 301) * (40 + 301) + (50 + 300) * (100 + 300));
        expectModel({first.m_a0, first.m_b}, filter);
    });
}

TEST(TGuidedFilterTest, WithRadiusZeroThePlaneItselfIsTheOffset) {
    const cv::Mat I = unitPlane({64, 100}, 1), p = randomPlane(100, 64, CV_32FC1, 1e-12, 1e-6, 2);
    expectModel({cv::Mat::zeros(p.size(), CV_32FC1), p}, estimated(I, p, 0));
}

TEST(TGuidedFilterTest, WithRadiusZeroZerosHaveTheSignsOfSums) {
    const cv::Mat zeros(9, 20, CV_32FC1, cv::Scalar(-0.0)), p = randomPlane(9, 20, CV_32FC1, -1, 1);
    for (const cv::Mat& I : {zeros, p}) expectModel(estimate1(I, zeros, 0, kEps), estimated(I, zeros, 0));
}

TEST(TGuidedFilterTest, AnEdgeOfTheGuideIsKeptAndAFlatGuideGivesTheMean) {
    cv::Mat I(40, 60, CV_32FC1, cv::Scalar(0.25));
    I.colRange(30, 60).setTo(0.75);
    const TGuidedFilter edge = estimated(I, I, 4, 1e-6f);
    for (int x = 0; x < I.cols; ++x) {
        const float q = edge.m_a0.at<float>(20, x) * I.at<float>(20, x) + edge.m_b.at<float>(20, x);
        EXPECT_NEAR(q, I.at<float>(20, x), 1e-4);
    }
    const TGuidedFilter flat = estimated(cv::Mat(40, 60, CV_32FC1, cv::Scalar(0.5)), I, 4, 1e-6f);
    EXPECT_EQ(flat.m_a0.at<float>(20, 10), 0.0f);
    EXPECT_FLOAT_EQ(flat.m_b.at<float>(20, 10), 0.25f);
}

TEST(TGuidedFilterTest, WithoutEpsAFlatGuideGivesNoNumber) {
    const cv::Mat flat(20, 20, CV_32FC1, cv::Scalar(0.5));
    const TGuidedFilter filter = estimated(flat, flat, 2, 0.0f);
    EXPECT_EQ(cv::countNonZero(filter.m_a0 == filter.m_a0), 0);
}

/// Means over the window at (y, x), summed directly, and the model before its box means, all in double.
cv::Vec2d directFit(const cv::Mat& I, const cv::Mat& p, int y, int x, int r, double eps) {
    double sI = 0, sP = 0, sIP = 0, sII = 0;
    for (int i = y - r; i <= y + r; ++i) {
        for (int j = x - r; j <= x + r; ++j) {
            const double vI = I.at<float>(i, j), vP = p.at<float>(i, j);
            sI += vI, sP += vP, sIP += vI * vP, sII += vI * vI;
        }
    }
    const double area = (2 * r + 1) * (2 * r + 1);
    const double a = (sIP / area - sI / area * sP / area) / (sII / area - sI / area * sI / area + eps);
    return {a, sP / area - a * sI / area};
}

TEST(TGuidedFilterTest, FarFromABrightHalfADarkHalfIsExact) {
    const int length = 12000, r = 3;
    for (bool transposed : {false, true}) {
        cv::Mat I = unitPlane({24, length}, 1), p = unitPlane({24, length}, 2);
        cv::Mat brightI = I.rowRange(0, length / 2), brightP = p.rowRange(0, length / 2);
        brightI += 30000;
        brightP += 30000;
        if (transposed) I = I.t(), p = p.t();
        const TGuidedFilter filter = estimated(I, p, r);
        for (int along : {length / 2 + 50, length - 500, length - 20}) {
            const int y = transposed ? 12 : along, x = transposed ? along : 12;
            cv::Vec2d sum;
            for (int i = y - r; i <= y + r; ++i)
                for (int j = x - r; j <= x + r; ++j) sum += directFit(I, p, i, j, r, kEps);
            // The means are rounded to float and taken from one another: some 2^-24 over a variance of 1/12.
            EXPECT_NEAR(filter.m_a0.at<float>(y, x), sum[0] / 49, 1e-5);
            EXPECT_NEAR(filter.m_b.at<float>(y, x), sum[1] / 49, 1e-5);
        }
    }
}

TEST(TGuidedFilterTest, AnotherSetupOfTheSameSizeUsesThePlanesAgain) {
    TGuidedFilter filter = estimated(unitPlane({30, 20}, 1), unitPlane({30, 20}, 2), 2);
    const uchar *a0 = filter.m_a0.data, *b = filter.m_b.data;
    const cv::Mat I = unitPlane({30, 20}, 3), p = unitPlane({30, 20}, 4);
    filter.setup({I}, p, 1, kEps);
    EXPECT_EQ(filter.m_a0.data, a0);
    EXPECT_EQ(filter.m_b.data, b);
    expectModel(estimate1(I, p, 1, kEps), filter);
    filter.setup({I.t()}, p.t(), 1, kEps);
    EXPECT_EQ(filter.m_a0.size(), cv::Size(20, 30));
}

TEST(TGuidedFilterTest, OnePlaneLeavesTheOtherSlopesAlone) {
    const TGuidedFilter filter = estimated(unitPlane({30, 20}, 1), unitPlane({30, 20}, 2), 2);
    EXPECT_TRUE(filter.m_a1.empty());
    EXPECT_TRUE(filter.m_a2.empty());
}

TEST(TGuidedFilterTest, CopiesShareTheModel) {
    const TGuidedFilter filter = estimated(unitPlane({30, 20}, 1), unitPlane({30, 20}, 2), 2);
    const TGuidedFilter copy(filter);
    TGuidedFilter assigned;
    assigned = filter;
    for (const TGuidedFilter* other : {&copy, const_cast<const TGuidedFilter*>(&assigned)}) {
        EXPECT_EQ(other->m_a0.data, filter.m_a0.data);
        EXPECT_EQ(other->m_b.data, filter.m_b.data);
    }
}

TEST(TGuidedFilterTest, SetupRefusesAnotherNumberOfPlanes) {
    const cv::Mat plane = unitPlane({8, 8}, 1);
    TGuidedFilter filter;
    for (std::size_t count : {0, 2, 4})
        EXPECT_FAILURE(filter.setup(std::vector<cv::Mat>(count, plane), plane, 1, kEps),
                       "ERROR - TGuidedFilter::setup - input vector size is not correct.");
}

TEST(TGuidedFilterTest, SetupRefusesPlanesThatDoNotFitAndKeepsItsModel) {
    const cv::Mat plane = unitPlane({8, 6}, 1), words(6, 8, CV_16UC1), pair(6, 8, CV_32FC2);
    TGuidedFilter filter = estimated(plane, plane, 1);
    const cv::Mat a0 = filter.m_a0.clone(), b = filter.m_b.clone();
    const char* guideType = "ERROR - TGuidedFilter::setup - guide.type()!=CV_32FC1";
    EXPECT_FAILURE(filter.setup({words}, plane, 1, kEps), guideType);
    EXPECT_FAILURE(filter.setup({pair}, plane, 1, kEps), guideType);
    EXPECT_FAILURE(filter.setup({plane, plane, words}, plane, 1, kEps), guideType);
    const char* size = "ERROR - TGuidedFilter::setup - guide.size()!=p.size()";
    EXPECT_FAILURE(filter.setup({plane.t()}, plane, 1, kEps), size);
    EXPECT_FAILURE(filter.setup({plane.rowRange(0, 5)}, plane, 1, kEps), size);
    EXPECT_FAILURE(filter.setup({plane.colRange(0, 7)}, plane, 1, kEps), size);
    EXPECT_FAILURE(filter.setup({plane, plane.t(), plane}, plane, 1, kEps), size);
    EXPECT_FAILURE(filter.setup({plane}, words, 1, kEps), "ERROR - TGuidedFilter::setup - p.type()!=CV_32FC1");
    EXPECT_FAILURE(filter.setup({plane}, cv::Mat(0, 0, CV_32FC1), 1, kEps), "ERROR - TGuidedFilter::setup - p.empty()");
    for (int r : {-1, 32768, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        EXPECT_FAILURE(filter.setup({plane}, plane, r, kEps), "ERROR - TGuidedFilter::setup - r<0 || r>32767");
    expectModel({a0, b}, filter);
}

}  // namespace
