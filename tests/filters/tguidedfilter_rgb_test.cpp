#include <limits>

#include "kestrova/filters/tguidedfilter.h"
#include "tests/filters/guided_reference.h"
#include "tests/support/failures.h"
#include "tests/support/threads.h"

namespace {

using namespace guided_reference;

constexpr float kEps = 0.01f;

std::vector<cv::Mat> unitPlanes(cv::Size size) {
    return {unitPlane(size, 1), asSubPlane(unitPlane(size, 2)), unitPlane(size, 3)};
}

TGuidedFilter estimated(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps = kEps) {
    TGuidedFilter filter;
    for (cv::Mat* plane : {&filter.m_a0, &filter.m_a1, &filter.m_a2, &filter.m_b}) *plane = unwrittenPlane(p.size());
    filter.setup(guide, p, r, eps);
    return filter;
}

void expectModel(const std::vector<cv::Mat>& expected, const TGuidedFilter& filter) {
    EXPECT_TRUE(samePixels(expected[0], filter.m_a0));
    EXPECT_TRUE(samePixels(expected[1], filter.m_a1));
    EXPECT_TRUE(samePixels(expected[2], filter.m_a2));
    EXPECT_TRUE(samePixels(expected[3], filter.m_b));
}

TEST(TGuidedFilterRgbTest, TheModelHasTheBitsOfTheStepsOnStoredPlanes) {
    for (cv::Size size : testSizes()) {
        for (int r : {0, 1, 2, 8, 20}) {
            SCOPED_TRACE(testing::Message() << size << " r " << r);
            const std::vector<cv::Mat> guide = unitPlanes(size);
            const cv::Mat p = asSubPlane(unitPlane(size, 4));
            expectModel(estimate3(guide, p, r, kEps), estimated(guide, p, r));
        }
    }
}

TEST(TGuidedFilterRgbTest, AnyNumberOfThreadsGivesTheSameModel) {
    const std::vector<cv::Mat> guide = unitPlanes({257, 301});
    const cv::Mat p = unitPlane({257, 301}, 4);
    for (int r : {0, 1, 3, 4, 8, 40}) {
        const std::vector<cv::Mat> expected = estimate3(guide, p, r, kEps);
        withThreadCounts([&](int) { expectModel(expected, estimated(guide, p, r)); });
    }
}

TEST(TGuidedFilterRgbTest, ValuesThatHaveLeftTheWindowLeaveTheSameTrace) {
    const cv::Size size(90, 150);
    const std::vector<cv::Mat> guide = {tracedPlane(size, 1), tracedPlane(size, 2), tracedPlane(size, 3)};
    const cv::Mat p = tracedPlane(size, 4);
    for (int r : {0, 1, 3, 20}) expectModel(estimate3(guide, p, r, kEps), estimated(guide, p, r));
}

TEST(TGuidedFilterRgbTest, ALinearFunctionOfTheGuideIsFound) {
    const std::vector<cv::Mat> guide = unitPlanes({60, 50});
    const cv::Mat p = 0.5 * guide[0] - 0.25 * guide[1] + 0.125 * guide[2] + 0.3;
    const TGuidedFilter filter = estimated(guide, p, 5, 1e-7f);
    EXPECT_NEAR(filter.m_a0.at<float>(25, 30), 0.5, 1e-4);
    EXPECT_NEAR(filter.m_a1.at<float>(25, 30), -0.25, 1e-4);
    EXPECT_NEAR(filter.m_a2.at<float>(25, 30), 0.125, 1e-4);
    EXPECT_NEAR(filter.m_b.at<float>(25, 30), 0.3, 1e-4);
}

TEST(TGuidedFilterRgbTest, ThreeEqualPlanesRaiseNoError) {
    const cv::Mat I = unitPlane({70, 60}, 1), p = unitPlane({70, 60}, 2);
    for (float eps : {1e-3f, 1e-8f, 1e-12f, 0.0f}) {
        const std::vector<cv::Mat> expected = estimate3({I, I, I}, p, 3, eps);
        expectModel(expected, estimated({I, I, I}, p, 3, eps));
    }
}

TEST(TGuidedFilterRgbTest, WithoutEpsAFlatGuideGivesTheMeanOnAnyNumberOfThreads) {
    const cv::Mat flat(200, 200, CV_32FC1, cv::Scalar(0.5)), p = unitPlane({200, 200}, 2);
    const cv::Mat none = cv::Mat::zeros(p.size(), CV_32FC1);
    cv::Mat means = padded(p.size(), 2);
    box(withBorder(p, 2), 2).copyTo(innerOf(means, 2));
    const cv::Mat b = meansOfCoefficients(means, 2);
    withThreadCounts([&](int) { expectModel({none, none, none, b}, estimated({flat, flat, flat}, p, 2, 0.0f)); });
}

TEST(TGuidedFilterRgbTest, BesideAFlatRegionWithoutEpsTheRestIsSolved) {
    std::vector<cv::Mat> guide = unitPlanes({60, 40});
    for (cv::Mat& plane : guide) plane.colRange(0, 30).setTo(0.25);
    const cv::Mat p = unitPlane({60, 40}, 4);
    expectModel(estimate3(guide, p, 2, 0.0f), estimated(guide, p, 2, 0.0f));
}

TEST(TGuidedFilterRgbTest, AValueThatIsNotFiniteReachesTheSamePixels) {
    std::vector<cv::Mat> guide = unitPlanes({50, 90});
    const cv::Mat p = unitPlane({50, 90}, 4);
    guide[1].at<float>(40, 20) = std::numeric_limits<float>::infinity();
    std::vector<cv::Mat> expected = estimate3(guide, p, 3, kEps);
    TGuidedFilter filter = estimated(guide, p, 3);
    for (cv::Mat* plane : {&filter.m_a0, &filter.m_a1, &filter.m_a2, &filter.m_b}) cv::patchNaNs(*plane, -12345);
    for (cv::Mat& plane : expected) cv::patchNaNs(plane, -12345);
    expectModel(expected, filter);
}

TEST(TGuidedFilterRgbTest, AnotherSetupOfTheSameSizeUsesThePlanesAgain) {
    const std::vector<cv::Mat> guide = unitPlanes({30, 20});
    TGuidedFilter filter = estimated(guide, guide[2], 2);
    const uchar* data[] = {filter.m_a0.data, filter.m_a1.data, filter.m_a2.data, filter.m_b.data};
    const cv::Mat p = unitPlane({30, 20}, 5);
    filter.setup(guide, p, 1, kEps);
    EXPECT_EQ(filter.m_a0.data, data[0]);
    EXPECT_EQ(filter.m_a1.data, data[1]);
    EXPECT_EQ(filter.m_a2.data, data[2]);
    EXPECT_EQ(filter.m_b.data, data[3]);
    expectModel(estimate3(guide, p, 1, kEps), filter);
}

TEST(TGuidedFilterRgbTest, TheEstimateItselfRefusesAnotherNumberOfPlanes) {
    TGuidedFilter filter;
    const cv::Mat plane = unitPlane({8, 6}, 1);
    EXPECT_FAILURE(filter.gFc3_estimate({plane}, plane, 1, kEps),
                   "ERROR - TGuidedFilter::setup - input vector size is not correct.");
}

}  // namespace
