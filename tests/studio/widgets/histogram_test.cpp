#include "studio/widgets/histogram.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <random>

#include "studio/widgets/curve_view.h"
#include "studio/widgets/histogram_view.h"
#include "studio/widgets/pixels.h"
#include "tests/studio/widgets/hand.h"

namespace kestrova::studio {
namespace {

cv::Mat noise(int rows, int cols, unsigned seed) {
    cv::Mat bgra(rows, cols, CV_8UC4);
    std::mt19937 random(seed);
    for (int r = 0; r < rows; ++r)
        for (int i = 0; i < 4 * cols; ++i) {
            const int v = static_cast<int>(random() % 300) - 20;  // with some at both ends
            bgra.ptr<uchar>(r)[i] = cv::saturate_cast<uchar>(v);
        }
    return bgra;
}

// One value at a time.
void expectCounts(const Histogram& histogram, const cv::Mat& bgra) {
    for (int v = 0; v < 256; ++v) {
        std::uint32_t red = 0, green = 0, blue = 0, luminance = 0;
        for (int y = 0; y < bgra.rows; ++y)
            for (int x = 0; x < bgra.cols; ++x) {
                const cv::Vec4b p = bgra.at<cv::Vec4b>(y, x);
                blue += p[0] == v;
                green += p[1] == v;
                red += p[2] == v;
                luminance += std::floor((299 * p[2] + 587 * p[1] + 114 * p[0]) / 1000.0 + 0.5) == v;
            }
        const auto i = static_cast<std::size_t>(v);
        ASSERT_EQ(histogram.red[i], red) << v;
        ASSERT_EQ(histogram.green[i], green) << v;
        ASSERT_EQ(histogram.blue[i], blue) << v;
        ASSERT_EQ(histogram.luminance[i], luminance) << v;
    }
    std::uint64_t dark = 0, bright = 0;
    for (int y = 0; y < bgra.rows; ++y)
        for (int x = 0; x < bgra.cols; ++x) {
            const cv::Vec4b p = bgra.at<cv::Vec4b>(y, x);
            dark += std::min({p[0], p[1], p[2]}) == 0;
            bright += std::max({p[0], p[1], p[2]}) == 255;
        }
    EXPECT_EQ(histogram.dark, dark);
    EXPECT_EQ(histogram.bright, bright);
    EXPECT_EQ(histogram.pixels, bgra.total());
}

TEST(Histogram, CountsAsBrightWhatTheWarningMarks) {
    const cv::Mat pixels =
        (cv::Mat_<cv::Vec4b>(1, 3) << cv::Vec4b(250, 9, 9, 255), cv::Vec4b(9, 251, 9, 255), cv::Vec4b(9, 9, 255, 255));
    EXPECT_EQ(Histogram::of(pixels).bright, 1u);
    EXPECT_EQ(Histogram::of(pixels, 251).bright, 2u);
}

TEST(Histogram, CountsEveryPixel) {
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(17, 1), cv::Size(1, 9), cv::Size(64, 48), cv::Size(123, 77)})
        expectCounts(Histogram::of(noise(size.height, size.width, 1)), noise(size.height, size.width, 1));
}

TEST(Histogram, CountsAPartOfAWiderPicture) {
    const cv::Mat part = noise(40, 60, 2)(cv::Rect(7, 3, 31, 20));
    expectCounts(Histogram::of(part), part);
}

TEST(Histogram, CountsImagesOfAnyFormat) {
    const cv::Mat bgra = noise(30, 41, 3);
    expectCounts(Histogram::of(toImage(bgra)), bgra);
    expectCounts(Histogram::of(toImage(bgra).convertToFormat(QImage::Format_RGB888)), bgra);
}

TEST(Histogram, OfNothingIsEmpty) {
    EXPECT_EQ(Histogram::of(QImage()).pixels, 0u);
    EXPECT_EQ(Histogram::of(cv::Mat()).pixels, 0u);
}

TEST(HistogramView, TheNewestPictureWins) {
    HistogramView view;
    QSignalSpy counted(&view, &HistogramView::counted);
    cv::Mat last;
    for (unsigned seed = 0; seed < 20; ++seed) view.setImage(toImage(last = noise(200, 300, seed)));
    ASSERT_TRUE(waitUntil([&] { return counted.size() > 0; }));
    QTest::qWait(50);
    EXPECT_EQ(counted.size(), 1);
    expectCounts(view.histogram(), last);
}

TEST(HistogramView, WhatIsClearedStaysCleared) {
    HistogramView view;
    view.setImage(toImage(noise(500, 500, 1)));
    view.clear();
    QTest::qWait(100);
    EXPECT_EQ(view.histogram().pixels, 0u);
}

TEST(HistogramView, CanBeClosedWhileItCounts) {
    HistogramView view;
    view.setImage(toImage(noise(1000, 1000, 1)));
}

TEST(HistogramView, AClickOnAMarkAsksToShowClipping) {
    HistogramView view;
    view.resize(264, 120);
    QSignalSpy changed(&view, &HistogramView::clippingShownChanged);
    press(&view, view.darkMark().center());
    EXPECT_EQ(changed.takeLast(), QVariantList({true, false}));
    press(&view, view.brightMark().center());
    EXPECT_EQ(changed.takeLast(), QVariantList({true, true}));
    press(&view, view.darkMark().center());
    EXPECT_EQ(changed.takeLast(), QVariantList({false, true}));
    press(&view, {130, 60});
    EXPECT_TRUE(changed.isEmpty());
    view.setClippingShown(false, false);
    EXPECT_FALSE(view.showsBrightClipping());
}

TEST(CurveView, DrawsTheCurveWhereItRuns) {
    CurveView view;
    view.resize(264, 165);
    const QColor line = view.palette().color(QPalette::Highlight);
    const auto isDrawnAt = [&](double tone, double result) {
        const QImage image = view.grab().toImage();
        const QColor there = image.pixelColor(static_cast<int>(4 + tone * 256), static_cast<int>(161 - result * 157));
        // The line's edges are soft, but it is much closer to its own colour than what it is drawn on.
        return std::abs(there.red() - line.red()) + std::abs(there.green() - line.green()) +
                   std::abs(there.blue() - line.blue()) <
               100;
    };
    EXPECT_TRUE(isDrawnAt(0.3, 0.3));
    QVector<float> half(256);
    for (int i = 0; i < 256; ++i) half[i] = 0.5f * static_cast<float>(i) / 255;
    view.setCurve(half);
    EXPECT_TRUE(isDrawnAt(0.8, 0.4));
    EXPECT_FALSE(isDrawnAt(0.8, 0.8));
    view.setCurve({});
    EXPECT_TRUE(isDrawnAt(0.8, 0.8));
}

}  // namespace
}  // namespace kestrova::studio
