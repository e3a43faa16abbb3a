#include <gtest/gtest.h>
#include <sys/mman.h>

#include <climits>
#include <cmath>
#include <limits>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/conv_pyr.h"
#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/tguidedfilter.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

cv::Mat ofThreeDimensions(int type) {
    const int sizes[] = {3, 4, 5};
    return {3, sizes, type, cv::Scalar(1)};
}

/// Two rows of few pixels that stand 2^31 bytes apart; memory that nobody touches takes no room.
class FarRows {
public:
    explicit FarRows(int type)
        : m_block(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)),
          plane(2, 4, type, m_block, kStep) {}
    FarRows(const FarRows&) = delete;
    ~FarRows() { munmap(m_block, kBytes); }
    bool allocated() const { return m_block != MAP_FAILED; }

private:
    static constexpr std::size_t kStep = std::size_t{1} << 31, kBytes = kStep + 4096;
    void* m_block;

public:
    cv::Mat plane;
};

constexpr const char* kDims = "ERROR - plane - dims>2";
constexpr const char* kStep = "ERROR - plane - step>INT_MAX";

TEST(HostileArguments, TheGuidedFilterRefusesPlanesOfThreeDimensions) {
    const cv::Mat floats = ofThreeDimensions(CV_32FC1), words = ofThreeDimensions(CV_16UC1);
    const cv::Mat plane = randomPlane(9, 7, CV_32FC1, 0, 1);
    TGuidedFilter filter;
    filter.setup({plane}, plane, 1, 0.1f);
    cv::Mat q = plane.clone(), three = ofThreeDimensions(CV_32FC1);
    EXPECT_FAILURE(filter.setup({plane}, floats, 1, 0.1f), kDims);
    EXPECT_FAILURE(filter.setup({floats}, plane, 1, 0.1f), kDims);
    EXPECT_FAILURE(filter.setup({plane, plane, floats}, plane, 1, 0.1f), kDims);
    EXPECT_FAILURE(filter.proc({words}, q), kDims);
    EXPECT_FAILURE(filter.proc({floats}, q), kDims);
    EXPECT_FAILURE(filter.gFc1_apply(floats, q), kDims);
    EXPECT_FAILURE(filter.stripProc(floats, plane, q, 1, 0.1f), kDims);
    EXPECT_FAILURE(filter.stripProc(plane, floats, q, 1, 0.1f), kDims);
    EXPECT_FAILURE(filter.stripProc(plane, plane, three, 1, 0.1f), kDims);
    EXPECT_TRUE(samePixels(plane, q));
}

TEST(HostileArguments, TheGuidedFilterRefusesFloatsInRowsOf2GiB) {
    const FarRows far(CV_32FC1);
    if (!far.allocated()) GTEST_SKIP() << "no address space";
    const cv::Mat plane = randomPlane(2, 4, CV_32FC1, 0, 1);
    cv::Mat q = plane.clone(), farOut = far.plane;
    TGuidedFilter filter;
    EXPECT_FAILURE(filter.setup({plane}, far.plane, 0, 0.1f), kStep);
    filter.setup({plane}, plane, 0, 0.1f);
    EXPECT_FAILURE(filter.gFc1_apply(far.plane, q), kStep);
    EXPECT_FAILURE(filter.stripProc(far.plane, plane, q, 0, 0.1f), kStep);
    EXPECT_FAILURE(filter.stripProc(plane, plane, farOut, 0, 0.1f), kStep);
    EXPECT_TRUE(samePixels(plane, q));
}

TEST(HostileArguments, TheGuidedFilterAppliesItsModelToIntegersInRowsOf2GiB) {
    FarRows far(CV_16UC1);
    if (!far.allocated()) GTEST_SKIP() << "no address space";
    const cv::Mat plane = randomPlane(2, 4, CV_32FC1, 0, 1), near = randomPlane(2, 4, CV_16UC1);
    near.copyTo(far.plane);
    TGuidedFilter filter;
    filter.setup({plane}, plane, 1, 0.1f);
    cv::Mat expected, q;
    filter.proc({near}, expected);
    filter.proc({far.plane}, q);
    EXPECT_TRUE(samePixels(expected, q));
}

TEST(HostileArguments, RadiiOutOfRangeAreRefusedAndAnyEpsIsAccepted) {
    const cv::Mat plane = randomPlane(40, 30, CV_32FC1, 0, 1), pixels = randomPlane(40, 30, CV_8UC1);
    TGuidedFilter filter;
    cv::Mat q = plane.clone(), out;
    for (int r : {-1, INT_MIN, 32768, INT_MAX}) {
        EXPECT_FAILURE(filter.setup({plane}, plane, r, 0.1f), "ERROR - TGuidedFilter::setup - r<0 || r>32767");
        EXPECT_FAILURE(filter.stripProc(plane, plane, q, r, 0.1f), "ERROR - TGuidedFilter::stripProc - r<0 || r>32767");
    }
    for (float eps : {0.0f, -1.0f, kNan, kInfinity, -kInfinity, std::numeric_limits<float>::denorm_min()}) {
        filter.setup({plane}, plane, 2, eps);
        filter.proc({pixels}, out);
        filter.stripProc(plane, plane, q, 2, eps);
        EXPECT_EQ(out.size(), pixels.size());
    }
}

TEST(HostileArguments, StripsOfAnyHeightAreTheOneStripOfAllRows) {
    const cv::Mat I = randomPlane(150, 40, CV_32FC1, 0, 1), p = randomPlane(150, 40, CV_32FC1, 0, 1, 2);
    cv::Mat whole = p.clone(), out = p.clone();
    const TGuidedFilter filter;
    filter.gFc1_stripproc(I, p, whole, 3, 0.1f, 150);
    filter.gFc1_stripproc(I, p, out, 3, 0.1f, INT_MAX);
    EXPECT_TRUE(samePixels(whole, out));
}

TEST(HostileArguments, TheBilateralFilterTakesAnySamplingAndRange) {
    const cv::Mat plane = randomPlane(20, 31, CV_16UC1);
    for (int sampling : {2, 31, 32, 65536, INT_MAX - 1, INT_MAX}) {
        for (int range : {1, 65535, INT_MAX}) {
            cv::Mat out = plane.clone();
            EXPECT_TRUE(BilateralFilter().proc(cv::Mat(), out, sampling, range, nullptr)) << sampling << ' ' << range;
        }
    }
    cv::Mat out = plane.clone();
    for (int sampling : {INT_MIN, -1, 0, 1})
        EXPECT_FAILURE(BilateralFilter().proc(cv::Mat(), out, sampling, 1, nullptr),
                       "ERROR - bool BilateralFilter::proc - sampling < 2");
    EXPECT_FAILURE(BilateralFilter().proc(cv::Mat(), out, 4, INT_MIN, nullptr),
                   "ERROR - BilateralFilter::setup - range < 1");
    EXPECT_TRUE(samePixels(plane, out));
}

TEST(HostileArguments, TheBilateralFilterTakesGuidesFromTheEndsOfInt) {
    const cv::Mat plane = randomPlane(20, 31, CV_16UC1);
    cv::Mat guide(20, 31, CV_32SC1, cv::Scalar(0)), out = plane.clone();
    guide.at<int>(3, 4) = INT_MIN;
    guide.at<int>(5, 6) = INT_MAX;
    EXPECT_TRUE(BilateralFilter().proc(guide, out, 4, 1, nullptr));
    guide.at<int>(3, 4) = INT_MAX;
    EXPECT_TRUE(BilateralFilter().proc(guide, out, 4, INT_MAX, nullptr));
}

TEST(HostileArguments, AGradientGuideOfAnyRadiusIsHarmless) {
    const cv::Mat plane = randomPlane(20, 31, CV_16UC1), guide = randomPlane(20, 31, CV_16UC1, 2);
    cv::Mat out = plane.clone();
    for (int radius : {INT_MIN, -1, 0, 10, 1 << 30, INT_MAX})
        EXPECT_TRUE(BilateralFilter::gradientGuide(guide, out, radius));
    EXPECT_TRUE(samePixels(plane, out));
}

TEST(HostileArguments, TheConvolutionPyramidRefusesPlanesOfThreeDimensions) {
    const cv::Mat kernel = (cv::Mat_<float>(1, 3) << 0.25f, 0.5f, 0.25f), before = randomPlane(3, 4, CV_32FC1);
    cv::Mat out = before.clone();
    ConvPyr pyramid(kernel, kernel, kernel);
    EXPECT_FAILURE(pyramid.proc(ofThreeDimensions(CV_32FC1), out), kDims);
    EXPECT_FAILURE(pyramid.pyrDown(ofThreeDimensions(CV_32FC1), out), kDims);
    EXPECT_FAILURE(pyramid.pyrUp(ofThreeDimensions(CV_32FC1), before, out), kDims);
    EXPECT_FAILURE(pyramid.pyrUp(before, ofThreeDimensions(CV_32FC1), out), kDims);
    EXPECT_TRUE(samePixels(before, out));
    EXPECT_EQ(pyramid.m_level, 0);
}

TEST(HostileArguments, TheLocalLaplacianTakesAnyAlphaBlurAndLevels) {
    const cv::Mat in = randomPlane(9, 11, CV_16UC1);
    cv::Mat out;
    LocalLaplacian filter;
    for (float alpha : {kNan, kInfinity, -kInfinity, 1e30f, -1e30f, 65536.0f})
        for (float blur : {0.0f, kNan, kInfinity, -1.0f, 1e30f}) EXPECT_TRUE(filter.proc10K(in, out, alpha, blur, 2));
    EXPECT_TRUE(filter.proc24K(in, out, -0.2f, 0.3f, INT_MAX));
    for (int a : {INT_MIN, 0, 1, INT_MAX})
        for (float f : {kNan, kInfinity, -1.0f, 0.0f, 1e30f}) EXPECT_GE(LocalLaplacian::levelJ(a, INT_MAX, f), 2);
}

}  // namespace
