#include <gtest/gtest.h>

#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/conv_pyr.h"
#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/filters/twls_filter.h"
#include "tests/support/planes.h"
#include "tests/support/small_stack.h"

namespace {

TEST(SmallStackFilters, IsEnoughForTheLocalLaplacian) {
    const cv::Mat in = randomPlane(151, 1603, CV_16UC1);
    cv::Mat expected, out;
    LocalLaplacian filter;
    filter.proc24K(in, expected, -0.2f, 0.3f, 5);
    onSmallStack([&] {
        filter.proc10K(in, out, -0.2f, 0.3f, 5);
        filter.proc16K(in, out, -0.2f, 0.3f, 5);
        filter.proc24K(in, out, -0.2f, 0.3f, 5);
    });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStackFilters, IsEnoughForTheGuidedFilter) {
    const cv::Mat in = randomPlane(151, 1603, CV_32FC1, 0, 1), pixels = randomPlane(302, 3206, CV_16UC1);
    cv::Mat out, strips = in.clone();
    onSmallStack([&] {
        TGuidedFilter filter;
        filter.setup({in, in, in}, in, 9, 0.01f);
        filter.proc({pixels, pixels, pixels}, out);
        filter.stripProc(in, in, strips, 9, 0.01f);
    });
    EXPECT_EQ(out.size(), pixels.size());
}

TEST(SmallStackFilters, IsEnoughForTheBilateralFilter) {
    const cv::Mat in = randomPlane(151, 1603, CV_16UC1);
    cv::Mat expected = in.clone(), out = in.clone();
    BilateralFilter().proc(cv::Mat(), expected, 4, 300, nullptr);
    BilateralFilter::gradientGuide(in, expected, 9);
    onSmallStack([&] {
        BilateralFilter().proc(cv::Mat(), out, 4, 300, nullptr);
        BilateralFilter::gradientGuide(in, out, 9);
    });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStackFilters, IsEnoughForTheConvolutionPyramid) {
    const cv::Mat in = randomPlane(151, 1603, CV_32FC1), kernel = (cv::Mat_<float>(1, 3) << 0.25f, 0.5f, 0.25f);
    cv::Mat expected, out;
    ConvPyr(kernel, kernel, kernel).proc(in, expected);
    onSmallStack([&] { ConvPyr(kernel, kernel, kernel).proc(in, out); });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStackFilters, IsEnoughForTheWeightedLeastSquares) {
    std::vector<float> plane(90 * 80, 0.5f), guide(90 * 80, 0.25f);
    bool solved = false;
    onSmallStack([&] {
        TWLSFilter filter;
        filter.Proc(plane.data(), 90, 80, 1, 1.2f, guide.data(), true);
        solved = filter.solved();
    });
    EXPECT_TRUE(solved);
}

}  // namespace
