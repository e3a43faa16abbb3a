#include <gtest/gtest.h>
#include <omp.h>

#include <vector>

#include "kestrova/filters/bilateral_filter.h"
#include "kestrova/filters/conv_pyr.h"
#include "kestrova/filters/local_laplacian.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/filters/twls_filter.h"
#include "tests/support/planes.h"
#include "tests/support/small_stack.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kStack = 256 * 1024;  // red zones around all that stands on the stack
#else
constexpr std::size_t kStack = 64 * 1024;
#endif

/// On a thread of the host that has little stack, with as few threads as one.
template <class Work>
void expectEnoughStack(const Work& work) {
    withStack(kStack, [&] {
        omp_set_num_threads(1);
        work();
    });
}

TEST(SmallStack, IsEnoughForTheLocalLaplacian) {
    const cv::Mat in = randomPlane(151, 1603, CV_16UC1);
    cv::Mat expected, out;
    LocalLaplacian filter;
    filter.proc24K(in, expected, -0.2f, 0.3f, 5);
    expectEnoughStack([&] {
        filter.proc10K(in, out, -0.2f, 0.3f, 5);
        filter.proc16K(in, out, -0.2f, 0.3f, 5);
        filter.proc24K(in, out, -0.2f, 0.3f, 5);
    });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStack, IsEnoughForTheGuidedFilter) {
    const cv::Mat in = randomPlane(151, 1603, CV_32FC1, 0, 1), pixels = randomPlane(302, 3206, CV_16UC1);
    cv::Mat out, strips = in.clone();
    expectEnoughStack([&] {
        TGuidedFilter filter;
        filter.setup({in, in, in}, in, 9, 0.01f);
        filter.proc({pixels, pixels, pixels}, out);
        filter.stripProc(in, in, strips, 9, 0.01f);
    });
    EXPECT_EQ(out.size(), pixels.size());
}

TEST(SmallStack, IsEnoughForTheBilateralFilter) {
    const cv::Mat in = randomPlane(151, 1603, CV_16UC1);
    cv::Mat expected = in.clone(), out = in.clone();
    BilateralFilter().proc(cv::Mat(), expected, 4, 300, nullptr);
    BilateralFilter::gradientGuide(in, expected, 9);
    expectEnoughStack([&] {
        BilateralFilter().proc(cv::Mat(), out, 4, 300, nullptr);
        BilateralFilter::gradientGuide(in, out, 9);
    });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStack, IsEnoughForTheConvolutionPyramid) {
    const cv::Mat in = randomPlane(151, 1603, CV_32FC1), kernel = (cv::Mat_<float>(1, 3) << 0.25f, 0.5f, 0.25f);
    cv::Mat expected, out;
    ConvPyr(kernel, kernel, kernel).proc(in, expected);
    expectEnoughStack([&] { ConvPyr(kernel, kernel, kernel).proc(in, out); });
    EXPECT_TRUE(samePixels(expected, out));
}

TEST(SmallStack, IsEnoughForTheWeightedLeastSquares) {
    std::vector<float> plane(90 * 80, 0.5f), guide(90 * 80, 0.25f);
    bool solved = false;
    expectEnoughStack([&] {
        TWLSFilter filter;
        filter.Proc(plane.data(), 90, 80, 1, 1.2f, guide.data(), true);
        solved = filter.solved();
    });
    EXPECT_TRUE(solved);
}

}  // namespace
