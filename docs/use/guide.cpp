#include <gtest/gtest.h>

#include "chroma.h"
#include "view.h"

namespace {

constexpr int kWidth = 240, kHeight = 180;

// A dull brown weave, darker on the left.
cv::Mat photograph() {
    cv::Mat pixels(kHeight, kWidth, CV_8UC4);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const int v = (x < kWidth / 2 ? 40 : 140) + (x / 6 + y / 6) % 2 * 10;
            pixels.at<cv::Vec4b>(y, x) = cv::Vec4b(cv::saturate_cast<uchar>(v), cv::saturate_cast<uchar>(v + 5),
                                                   cv::saturate_cast<uchar>(v + 12), 255);
        }
    return pixels;
}

double spread(const cv::Mat& pixels) {
    cv::Scalar mean, deviation;
    cv::meanStdDev(pixels, mean, deviation);
    return deviation[1];
}

TEST(DocumentedGuide, RendersTheWholeAndAPart) {
    const cv::Mat pixels = photograph();
    PictureView view;
    ASSERT_TRUE(view.open(pixels));
    const cv::Mat neutral = view.render(cv::Rect(0, 0, kWidth, kHeight), 1);
    EXPECT_EQ(neutral.size(), pixels.size());
    EXPECT_LE(cv::norm(neutral, pixels, cv::NORM_INF), 12) << "sliders at 0 leave the photograph nearly as it is";
    EXPECT_EQ(view.render(cv::Rect(0, 0, kWidth, kHeight), 3).size(), cv::Size(kWidth / 3, kHeight / 3));
}

TEST(DocumentedGuide, SlidersChangeWhatTheyName) {
    const cv::Rect dark(20, 20, 60, 60);
    PictureView view;
    ASSERT_TRUE(view.open(photograph()));
    const cv::Mat neutral = view.render(dark, 1);

    view.setClarity(1);
    const cv::Mat clear = view.render(dark, 1);
    EXPECT_GT(spread(clear), 1.2 * spread(neutral));

    view.setShadows(0.5f);
    const cv::Mat bright = view.render(dark, 1);
    EXPECT_GT(cv::mean(bright)[1], cv::mean(clear)[1] + 5);

    view.setVibrance(0.8f);
    const cv::Scalar before = cv::mean(bright), after = cv::mean(view.render(dark, 1));
    EXPECT_GT(after[2] - after[0], 1.1 * (before[2] - before[0]));
}

TEST(DocumentedGuide, SaysWhenOpeningIsCancelled) {
    int host = 0;
    TProgress progress([](int, void*) { return false; }, &host);
    PictureView view;
    EXPECT_FALSE(view.open(photograph(), &progress));
}

TEST(DocumentedUse, OfTheDomainTransformInsideSetup) {
    TPImage picture(64, 48);
    picture.m_Y.setTo(20000);
    picture.m_Dr.setTo(32768);
    cv::randn(picture.m_Db, 32768, 200);
    picture.m_Db.colRange(16, 32) += 8000;  // an edge of colour under even light
    const Chroma noisy = enlargedChroma(picture), smooth = smoothedChroma(picture);
    const cv::Rect flat(4, 4, 20, 40);
    cv::Scalar mean, before, after;
    cv::meanStdDev(noisy.db(flat), mean, before);
    cv::meanStdDev(smooth.db(flat), mean, after);
    EXPECT_LT(after[0], 0.6 * before[0]);
    EXPECT_GT(cv::mean(smooth.db.colRange(40, 60))[0] - cv::mean(smooth.db.colRange(4, 24))[0], 7500);
}

}  // namespace
