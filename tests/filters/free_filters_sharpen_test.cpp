#include <gtest/gtest.h>

#include <algorithm>

#include "kestrova/filters/free_filters.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

cv::Mat sharpened(const cv::Mat& in) {
    cv::Mat out = in.clone();
    for (int y = 1; y < in.rows - 1; ++y) {
        for (int x = 1; x < in.cols - 1; ++x) {
            int lo = 65535, hi = 0;
            for (int i = -1; i <= 1; ++i) {
                for (int j = -1; j <= 1; ++j) {
                    const int v = in.at<ushort>(y + i, x + j);
                    lo = std::min(lo, v);
                    hi = std::max(hi, v);
                }
            }
            const int v = in.at<ushort>(y, x);
            out.at<ushort>(y, x) = static_cast<ushort>(hi - v < v - lo ? hi : lo);
        }
    }
    return out;
}

TEST(ExtremeSharpenTest, TakesTheNearerOfMinimumAndMaximum) {
    for (const cv::Size& size : testSizes()) {
        for (double top : {65535.0, 5.0}) {  // a few levels make many ties
            const cv::Mat in = randomPlane(size.height, size.width, CV_16UC1, 0, top, 1);
            cv::Mat out;
            extremeSharpen(in, out);
            EXPECT_TRUE(samePixels(sharpened(in), out)) << size;
            cv::Mat wide = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 2));
            const uchar* const before = wide.data;
            extremeSharpen(asSubPlane(in), wide);
            EXPECT_EQ(wide.data, before);
            EXPECT_TRUE(samePixels(sharpened(in), wide)) << size;
        }
    }
}

TEST(ExtremeSharpenTest, ATieGoesToTheMinimum) {
    cv::Mat in(3, 3, CV_16UC1, cv::Scalar(1000)), out;
    in.at<ushort>(0, 0) = 900;
    in.at<ushort>(2, 1) = 1100;
    extremeSharpen(in, out);
    EXPECT_EQ(out.at<ushort>(1, 1), 900);
    in.at<ushort>(2, 1) = 1099;
    extremeSharpen(in, out);
    EXPECT_EQ(out.at<ushort>(1, 1), 1099);
}

TEST(ExtremeSharpenTest, DifferencesDoNotWrap) {
    cv::Mat in(3, 3, CV_16UC1, cv::Scalar(40000)), out;
    in.at<ushort>(0, 0) = 0;
    in.at<ushort>(2, 2) = 65535;
    extremeSharpen(in, out);
    EXPECT_EQ(out.at<ushort>(1, 1), 65535);
    in.at<ushort>(1, 1) = 32767;
    extremeSharpen(in, out);
    EXPECT_EQ(out.at<ushort>(1, 1), 0);
}

TEST(ExtremeSharpenTest, AConstantPlaneStaysAndAStepEdgeBecomesItsPlateaus) {
    const cv::Mat constant(20, 20, CV_16UC1, cv::Scalar(12345));
    cv::Mat out;
    extremeSharpen(constant, out);
    EXPECT_TRUE(samePixels(constant, out));
    cv::Mat edge(20, 20, CV_16UC1, cv::Scalar(1000));
    edge.colRange(10, 20) = cv::Scalar(9000);
    extremeSharpen(edge, out);
    EXPECT_TRUE(samePixels(edge, out));
    for (int between : {4999, 5000, 5001}) {
        edge.col(10) = cv::Scalar(between);
        extremeSharpen(edge, out);
        for (int x = 1; x < 19; ++x) EXPECT_EQ(out.at<ushort>(5, x), x < 10 + (between <= 5000) ? 1000 : 9000) << x;
    }
}

TEST(ExtremeSharpenTest, PlanesOfFewerThanThreeRowsOrColumnsAreCopied) {
    for (const cv::Size& size : {cv::Size(2, 2), cv::Size(1, 9), cv::Size(9, 1), cv::Size(2, 9), cv::Size(9, 2)}) {
        const cv::Mat in = randomPlane(size.height, size.width, CV_16UC1);
        cv::Mat out;
        extremeSharpen(in, out);
        EXPECT_TRUE(samePixels(in, out)) << size;
    }
    cv::Mat out(2, 2, CV_16UC1);
    extremeSharpen(cv::Mat(0, 0, CV_16UC1), out);
    EXPECT_TRUE(out.empty());
}

TEST(ExtremeSharpenTest, WorksInPlaceAndOnPlanesThatOverlap) {
    const cv::Mat in = randomPlane(200, 301, CV_16UC1), expected = sharpened(in);
    cv::Mat plane = in.clone();
    extremeSharpen(plane, plane);
    EXPECT_TRUE(samePixels(expected, plane));
    cv::Mat frame(210, 310, CV_16UC1);
    cv::Mat from = frame(cv::Rect(0, 0, 301, 200)), to = frame(cv::Rect(3, 1, 301, 200));
    in.copyTo(from);
    extremeSharpen(from, to);
    EXPECT_TRUE(samePixels(expected, to));
}

TEST(ExtremeSharpenTest, ThreadsGiveTheSameBits) {
    const cv::Mat in = randomPlane(301, 403, CV_16UC1), expected = sharpened(in);
    withThreadCounts([&](int threads) {
        cv::Mat out;
        extremeSharpen(in, out);
        EXPECT_TRUE(samePixels(expected, out)) << threads;
    });
}

TEST(ExtremeSharpenTest, AnyOtherTypeFails) {
    cv::Mat out;
    for (int type : {CV_8UC1, CV_32FC1, CV_16UC3, CV_16SC1}) {
        EXPECT_FAILURE(extremeSharpen(cv::Mat(4, 4, type, cv::Scalar(0)), out),
                       "ERROR - extremeSharpen - in.type()!=CV_16UC1");
    }
    EXPECT_TRUE(out.empty());
}

}  // namespace
