#include "photo/geometry.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/photo/pictures.h"

namespace kestrova::photo {
namespace {

/// Grey that depends on the place: columns or rows of a wave.
cv::Mat waves(cv::Size size, double perPixelX, double perPixelY) {
    cv::Mat out(size, CV_16UC4);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const auto v = cv::saturate_cast<ushort>(32768 + 20000 * std::sin(perPixelX * x + perPixelY * y));
            out.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    return out;
}

Settings resized(int size) {
    Settings settings;
    settings.size = size;
    return settings;
}

TEST(Geometry, TurnsClockwise) {
    cv::Mat pixels(2, 3, CV_16UC4, cv::Scalar(0, 0, 0, 65535));
    pixels.at<cv::Vec4w>(0, 0) = cv::Vec4w(1, 2, 3, 65535);
    const cv::Point corner[] = {{0, 0}, {1, 0}, {2, 1}, {0, 2}};
    for (int quarters = 0; quarters < 4; ++quarters) {
        Settings settings;
        settings.rotate = 90 * quarters;
        const cv::Mat out = rendered16(pixels, settings);
        EXPECT_EQ(out.size(), quarters % 2 ? cv::Size(2, 3) : cv::Size(3, 2));
        EXPECT_EQ(out.at<cv::Vec4w>(corner[quarters]), pixels.at<cv::Vec4w>(0, 0)) << quarters;
    }
}

TEST(Geometry, CropsByShares) {
    Settings settings;
    settings.crop = {0.25, 0.5, 0.5, 0.25};
    const cv::Mat pixels = scene({200, 80});
    EXPECT_TRUE(sameValues(rendered16(pixels, settings), pixels(cv::Rect(50, 40, 100, 20))));
}

TEST(Geometry, ResizesTheLongerSideAndNeverEnlarges) {
    EXPECT_EQ(rendered16(scene({200, 80}), resized(100)).size(), cv::Size(100, 40));
    EXPECT_EQ(rendered16(scene({80, 200}), resized(50)).size(), cv::Size(20, 50));
    const cv::Mat pixels = scene({60, 40});
    EXPECT_TRUE(sameValues(rendered16(pixels, resized(60)), pixels));
    EXPECT_TRUE(sameValues(rendered16(pixels, resized(5000)), pixels));
}

TEST(Geometry, ResizingKeepsWhatTheResultCanHoldAndDropsTheRest) {
    // Waves of 12 pixels become waves of 4.8; those of 2.2 would alias.
    const cv::Mat kept = rendered16(waves({600, 400}, 2 * CV_PI / 12, 0), resized(240));
    const cv::Mat dropped = rendered16(waves({600, 400}, 2 * CV_PI / 2.2, 0), resized(240));
    const cv::Rect inside(20, 20, 200, 120);
    EXPECT_GT(meanAndDeviation(kept, inside, 1)[1], 0.85 * 20000 / 257 / std::sqrt(2.0));
    EXPECT_LT(meanAndDeviation(dropped, inside, 1)[1], 0.03 * 20000 / 257);
    for (int value : {0, 1000, 40000, 65535}) {
        const cv::Mat even(300, 500, CV_16UC4, cv::Scalar(value, value, value, 65535));
        EXPECT_LE(largestDifference(rendered16(even, resized(123)),
                                    cv::Mat(74, 123, CV_16UC4, cv::Scalar(value, value, value, 65535))),
                  1);
    }
}

TEST(Geometry, StraightensClockwiseWithoutBareCorners) {
    const cv::Mat white(300, 400, CV_16UC4, cv::Scalar(65535, 65535, 65535, 65535));
    for (double angle : {-45.0, -7.0, 1.0, 30.0}) {
        Settings settings;
        settings.straighten = angle;
        const cv::Mat out = rendered16(white, settings);
        EXPECT_LE(largestDifference(out, cv::Mat(out.size(), CV_16UC4, cv::Scalar::all(65535))), 1) << angle;
        // A line that falls to the right by the angle in the photograph stands upright... level, turned back by it.
        const double slope = std::tan(-angle * CV_PI / 180);
        const cv::Mat tilted = waves({400, 300}, -0.5 * slope, 0.5);
        const cv::Mat level = rendered16(tilted, settings);
        double along = 0, across = 0;
        for (int y = 10; y < level.rows - 10; ++y)
            for (int x = 10; x < level.cols - 10; ++x) {
                const auto at = [&](int dx, int dy) { return level.at<cv::Vec4w>(y + dy, x + dx)[1]; };
                along += std::pow(at(1, 0) - at(0, 0), 2);
                across += std::pow(at(0, 1) - at(0, 0), 2);
            }
        EXPECT_LT(along, 0.01 * across) << angle;
    }
}

TEST(Geometry, SharpensWithoutHalos) {
    cv::Mat edge(60, 60, CV_16UC4);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x) {
            const auto v = cv::saturate_cast<ushort>(32768 + 20000 * std::tanh((x - 29.5) / 1.5));
            edge.at<cv::Vec4w>(y, x) = cv::Vec4w(v, v, v, 65535);
        }
    const cv::Mat before = edge.clone();
    sharpenForOutput(edge);
    int steeper = 0;
    for (int x = 1; x < 60; ++x) {
        EXPECT_LE(edge.at<cv::Vec4w>(30, x)[1], 52768 + 1);
        EXPECT_GE(edge.at<cv::Vec4w>(30, x)[1], 12768 - 1);
        const int was = before.at<cv::Vec4w>(30, x)[1] - before.at<cv::Vec4w>(30, x - 1)[1];
        steeper = std::max(steeper, edge.at<cv::Vec4w>(30, x)[1] - edge.at<cv::Vec4w>(30, x - 1)[1] - was);
    }
    EXPECT_GT(steeper, 500);
}

}  // namespace
}  // namespace kestrova::photo
