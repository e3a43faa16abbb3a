#include <gtest/gtest.h>

#include "kestrova/detail/domain_transform_passes.h"
#include "tests/detail/domain_transform_reference.h"
#include "tests/support/rooms.h"

TEST(DomainTransform, NormalizedConvolutionIsTheSameBitsAsItsDefinition) {
    const auto filter = quietFilter();
    for (const Size& s : imageSizes()) {
        if (s.channels > 4) continue;
        const cv::Mat in = testImage(s);
        cv::Mat out;
        EXPECT_TRUE(filter->filter(in, out, 1));
        EXPECT_TRUE(samePixels(reference::filterNC(in, kSigmaS, kSigmaR), out));
    }
    const cv::Mat in = testImage({64, 48, 3});
    cv::Mat out;
    EXPECT_TRUE(filter->filterNC(in, out, 2.0f, 500.0f));
    EXPECT_TRUE(samePixels(reference::filterNC(in, 2.0f, 500.0f), out));
}

TEST(DomainTransform, BoxPassAveragesWithinTheRadius) {
    const auto filter = quietFilter();
    cv::Mat image(1, 8, CV_32FC1), ct(1, 8, CV_32FC1);
    const float pixels[] = {8, 16, 24, 32, 40, 48, 56, 64}, sums[] = {1, 2, 3, 4, 14, 15, 16, 17};
    for (int x = 0; x < 8; ++x) image.at<float>(0, x) = pixels[x], ct.at<float>(0, x) = sums[x];
    filter->boxPass(image, ct, 1.5f);
    const float means[] = {12, 16, 24, 28, 44, 48, 56, 60};
    for (int x = 0; x < 8; ++x) EXPECT_EQ(image.at<float>(0, x), means[x]) << x;
}

// No index lies above the first pixel's upper bound then, and 0 is what stands for none: 0 pixels are averaged.
TEST(DomainTransform, BoxPassLeavesNoMeanInTheFirstColumnOfRowsWithinTheRadius) {
    const auto filter = quietFilter();
    cv::Mat image(1, 4, CV_32FC1, cv::Scalar(5)), ct(1, 4, CV_32FC1);
    for (int x = 0; x < 4; ++x) ct.at<float>(0, x) = static_cast<float>(x + 1);
    filter->boxPass(image, ct, 100.0f);
    EXPECT_TRUE(std::isnan(image.at<float>(0, 0)));
    for (int x = 1; x < 4; ++x) EXPECT_EQ(image.at<float>(0, x), 5.0f);
}

TEST(DomainTransform, RadiusOfTheConvolutionDoesNotCarryOver) {
    const auto filter = quietFilter(8.0f, 1e12f);
    cv::Mat in(60, 200, CV_32FC1, cv::Scalar(0)), ct(1, 200, CV_32FC1), out;
    in.col(100).setTo(1e6f);
    for (int x = 0; x < 200; ++x) ct.at<float>(0, x) = static_cast<float>(x + 1);
    cv::Mat expected = in.row(0).clone();
    for (double width : {4, 2, 1})
        reference::boxPass(expected, ct, static_cast<float>(8 * 3 * width / std::sqrt(63.0)));
    filter->filter(in, out, 1);
    // The passes along the columns average equal values and only round.
    EXPECT_TRUE(closePixels(expected, out.row(30), 1.0));
}
