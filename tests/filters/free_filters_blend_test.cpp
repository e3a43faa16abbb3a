#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "kestrova/filters/free_filters.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

const int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1};

// ---- blendAlpha

// trunc(v) in as many low bits as the element has.
template <class Element>
Element stored(float v) {
    return static_cast<Element>(static_cast<long long>(v));
}
template <>
float stored<float>(float v) {
    return v;
}

template <class Element>
cv::Mat blended(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, float k) {
    cv::Mat out(in0.size(), in0.type());
    const float s = k * 0.003921569f;
    for (int y = 0; y < out.rows; ++y) {
        for (int x = 0; x < out.cols; ++x) {
            const float w = static_cast<float>(alpha.at<uchar>(y, x)) * s;
            const float a = static_cast<float>(in0.at<Element>(y, x)), b = static_cast<float>(in1.at<Element>(y, x));
            const float rest = (1 - w) * a, part = w * b;
            out.at<Element>(y, x) = stored<Element>(rest + part);
        }
    }
    return out;
}

cv::Mat blendedLike(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, float k) {
    switch (in0.type()) {
        case CV_8UC1: return blended<uchar>(in0, in1, alpha, k);
        case CV_16UC1: return blended<ushort>(in0, in1, alpha, k);
        default: return blended<float>(in0, in1, alpha, k);
    }
}

TEST(BlendAlphaTest, MixesInFloatAndTruncates) {
    for (int type : kTypes) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat in0 = randomPlane(size.height, size.width, type, 1);
            const cv::Mat in1 = randomPlane(size.height, size.width, type, 2);
            const cv::Mat alpha = randomPlane(size.height, size.width, CV_8UC1, 3);
            for (float k : {1.0f, 0.5f, 0.7f}) {
                cv::Mat out;
                blendAlpha(in0, in1, alpha, out, k);
                EXPECT_TRUE(samePixels(blendedLike(in0, in1, alpha, k), out)) << size << k;
            }
        }
    }
}

TEST(BlendAlphaTest, TruncatesPairsOfBytesUnderEveryAlpha) {
    cv::Mat in0(52, 52, CV_8UC1), in1(52, 52, CV_8UC1);
    for (int y = 0; y < 52; ++y)
        for (int x = 0; x < 52; ++x) in0.at<uchar>(y, x) = uchar(5 * y), in1.at<uchar>(y, x) = uchar(5 * x);
    for (int a = 0; a < 256; ++a) {
        const cv::Mat alpha(52, 52, CV_8UC1, cv::Scalar(a));
        cv::Mat out;
        blendAlpha(in0, in1, alpha, out, 1.0f);
        ASSERT_TRUE(samePixels(blended<uchar>(in0, in1, alpha, 1.0f), out)) << a;
    }
}

TEST(BlendAlphaTest, TruncatesWhereRoundingWouldGoUp) {
    const cv::Mat in0(1, 1, CV_8UC1, cv::Scalar(0)), in1(1, 1, CV_8UC1, cv::Scalar(255));
    cv::Mat out;
    blendAlpha(in0, in1, cv::Mat(1, 1, CV_8UC1, cv::Scalar(100)), out, 0.999f);  // 99.9
    EXPECT_EQ(out.at<uchar>(0, 0), 99);
}

TEST(BlendAlphaTest, NoAlphaOrNoFactorGivesTheFirstPlane) {
    for (int type : kTypes) {
        const cv::Mat in0 = randomPlane(9, 31, type, 1), in1 = randomPlane(9, 31, type, 2);
        cv::Mat out;
        blendAlpha(in0, in1, randomPlane(9, 31, CV_8UC1, 3), out, 0.0f);
        EXPECT_TRUE(samePixels(in0, out));
        blendAlpha(in0, in1, cv::Mat(9, 31, CV_8UC1, cv::Scalar(0)), out, 1.0f);
        EXPECT_TRUE(samePixels(in0, out));
    }
}

TEST(BlendAlphaTest, FullAlphaGivesTheSecondPlane) {
    for (int type : kTypes) {
        const cv::Mat in0 = randomPlane(9, 31, type, 1), in1 = randomPlane(9, 31, type, 2);
        cv::Mat out;
        blendAlpha(in0, in1, cv::Mat(9, 31, CV_8UC1, cv::Scalar(255)), out, 1.0f);
        EXPECT_TRUE(samePixels(in1, out));
    }
}

// Factors outside 0..1 leave the range of the element: nothing is clamped.
TEST(BlendAlphaTest, FactorsOutsideTheUnitKeepTheLowBits) {
    for (int type : kTypes) {
        const cv::Mat in0 = randomPlane(33, 65, type, 1), in1 = randomPlane(33, 65, type, 2);
        const cv::Mat alpha = randomPlane(33, 65, CV_8UC1, 3);
        for (float k : {2.0f, -1.5f, 300.0f}) {
            cv::Mat out;
            blendAlpha(in0, in1, alpha, out, k);
            EXPECT_TRUE(samePixels(blendedLike(in0, in1, alpha, k), out)) << k;
        }
    }
    const cv::Mat white(1, 1, CV_8UC1, cv::Scalar(255)), black(1, 1, CV_8UC1, cv::Scalar(0));
    cv::Mat out;
    blendAlpha(black, white, white, out, 2.0f);
    EXPECT_EQ(out.at<uchar>(0, 0), 510 & 0xFF);
    blendAlpha(white, black, white, out, 2.0f);
    EXPECT_EQ(out.at<uchar>(0, 0), -255 & 0xFF);
}

TEST(BlendAlphaTest, WhatNoIntegerHoldsIsZero) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (int type : {CV_8UC1, CV_16UC1}) {
        const cv::Mat in0 = randomPlane(3, 70, type, 1, 100, 1), in1 = randomPlane(3, 70, type, 101, 200, 2);
        const cv::Mat alpha(3, 70, CV_8UC1, cv::Scalar(255));
        for (float k : {1e30f, -1e30f, inf, -inf, nan}) {
            cv::Mat out;
            blendAlpha(in0, in1, alpha, out, k);
            EXPECT_EQ(cv::countNonZero(out), 0) << k;
        }
    }
}

TEST(BlendAlphaTest, TakesSubPlanesAndWritesIntoAPlaneThatFits) {
    for (int type : kTypes) {
        const cv::Mat in0 = asSubPlane(randomPlane(40, 70, type, 1)), in1 = asSubPlane(randomPlane(40, 70, type, 2));
        const cv::Mat alpha = asSubPlane(randomPlane(40, 70, CV_8UC1, 3));
        cv::Mat out = asSubPlane(randomPlane(40, 70, type, 4));
        const uchar* const before = out.data;
        blendAlpha(in0, in1, alpha, out, 0.9f);
        EXPECT_EQ(out.data, before);
        EXPECT_TRUE(samePixels(blendedLike(in0, in1, alpha, 0.9f), out));
    }
}

TEST(BlendAlphaTest, CreatesAnOutputOfAnotherSizeOrType) {
    const cv::Mat in0 = randomPlane(5, 6, CV_16UC1, 1), in1 = randomPlane(5, 6, CV_16UC1, 2);
    const cv::Mat alpha = randomPlane(5, 6, CV_8UC1, 3);
    for (cv::Mat out : {cv::Mat(), cv::Mat(6, 5, CV_16UC1), cv::Mat(5, 6, CV_8UC1)}) {
        blendAlpha(in0, in1, alpha, out, 1.0f);
        EXPECT_TRUE(samePixels(blendedLike(in0, in1, alpha, 1.0f), out));
    }
}

TEST(BlendAlphaTest, TheOutputMayBeAnyOfTheInputs) {
    for (int type : kTypes) {
        const cv::Mat in0 = randomPlane(40, 70, type, 1), in1 = randomPlane(40, 70, type, 2);
        const cv::Mat alpha = randomPlane(40, 70, CV_8UC1, 3);
        const cv::Mat expected = blendedLike(in0, in1, alpha, 0.8f);
        cv::Mat a = in0.clone(), b = in1.clone(), m = alpha.clone();
        blendAlpha(a, in1, alpha, a, 0.8f);
        EXPECT_TRUE(samePixels(expected, a));
        blendAlpha(in0, b, alpha, b, 0.8f);
        EXPECT_TRUE(samePixels(expected, b));
        blendAlpha(in0, in1, m, m, 0.8f);
        EXPECT_TRUE(samePixels(expected, m));
    }
}

TEST(BlendAlphaTest, TheOutputMayOverlapAnyOfTheInputs) {
    const cv::Rect at(0, 0, 301, 200), beside(3, 1, 301, 200);
    for (int type : kTypes) {
        const cv::Mat in0 = randomPlane(200, 301, type, 1), in1 = randomPlane(200, 301, type, 2);
        const cv::Mat alpha = randomPlane(200, 301, CV_8UC1, 3), expected = blendedLike(in0, in1, alpha, 0.8f);
        for (int taken : {0, 1, 2}) {
            cv::Mat frame(210, 310, type), to = frame(beside), from = frame(at);
            if (taken == 2) from = cv::Mat(200, 301, CV_8UC1, to.data, to.step);
            const cv::Mat planes[] = {in0, in1, alpha};
            planes[taken].copyTo(from);
            blendAlpha(taken == 0 ? from : in0, taken == 1 ? from : in1, taken == 2 ? from : alpha, to, 0.8f);
            EXPECT_TRUE(samePixels(expected, to)) << taken;
        }
    }
}

TEST(BlendAlphaTest, ThreadsGiveTheSameBits) {
    const cv::Mat in0 = randomPlane(301, 403, CV_32FC1, 1), in1 = randomPlane(301, 403, CV_32FC1, 2);
    const cv::Mat alpha = randomPlane(301, 403, CV_8UC1, 3), expected = blended<float>(in0, in1, alpha, 0.6f);
    withThreadCounts([&](int threads) {
        cv::Mat out;
        blendAlpha(in0, in1, alpha, out, 0.6f);
        EXPECT_TRUE(samePixels(expected, out)) << threads;
    });
}

TEST(BlendAlphaTest, EmptyPlanesGiveAnEmptyPlane) {
    cv::Mat out(2, 2, CV_8UC1);
    blendAlpha(cv::Mat(), cv::Mat(), cv::Mat(), out, 1.0f);
    EXPECT_TRUE(out.empty());
}

TEST(BlendAlphaTest, ALargerAlphaIsReadFromTheTopLeft) {
    for (int type : {CV_8UC1, CV_16UC1, CV_32FC1}) {
        const cv::Mat in0 = randomPlane(20, 31, type), in1 = randomPlane(20, 31, type, 2);
        const cv::Mat alpha = randomPlane(25, 40, CV_8UC1, 3);
        cv::Mat expected, out;
        blendAlpha(in0, in1, alpha(cv::Rect(0, 0, 31, 20)).clone(), expected, 0.75f);
        blendAlpha(in0, in1, alpha, out, 0.75f);
        EXPECT_TRUE(samePixels(expected, out));
        const cv::Mat bytes0 = randomPlane(20, 31, CV_8UC1, 4), bytes1 = randomPlane(20, 31, CV_8UC1, 5);
        cv::Mat shared = alpha.clone();  // which the output replaces
        blendAlpha(bytes0, bytes1, alpha, expected, 0.75f);
        blendAlpha(bytes0, bytes1, shared, shared, 0.75f);
        EXPECT_TRUE(samePixels(expected, shared));
    }
}

TEST(BlendAlphaTest, FailsInOrderAndLeavesTheOutputAsItWas) {
    const cv::Mat a(4, 5, CV_8UC1, cv::Scalar(1)), wide(4, 6, CV_8UC1, cv::Scalar(2));
    const cv::Mat words(4, 5, CV_16UC1, cv::Scalar(3)), three(4, 5, CV_8UC3), ints(4, 5, CV_32SC1);
    const cv::Mat before = randomPlane(3, 3, CV_16UC1);
    cv::Mat out = before.clone();
    const uchar* const data = out.data;
    EXPECT_FAILURE(blendAlpha(a, cv::Mat(4, 6, CV_16UC1), words, out, 1),
                   "ERROR - blendAlpha - in0.type()!=in1.type()");
    EXPECT_FAILURE(blendAlpha(three, cv::Mat(4, 6, CV_8UC3), words, out, 1),
                   "ERROR - blendAlpha - in0.size() !=in1.size()");
    const cv::Mat high(5, 5, CV_8UC1, cv::Scalar(4)), turned = a.t();
    for (const cv::Mat& other : {wide, high, turned})
        EXPECT_FAILURE(blendAlpha(a, other, a, out, 1), "ERROR - blendAlpha - in0.size() !=in1.size()");
    EXPECT_FAILURE(blendAlpha(three, three, words, out, 1), "ERROR - blendAlpha - in0 type");
    EXPECT_FAILURE(blendAlpha(ints, ints, a, out, 1), "ERROR - blendAlpha - in0 type");
    EXPECT_FAILURE(blendAlpha(a, a, words, out, 1), "ERROR - blendAlpha - alpha.type()!=CV_8UC1");
    EXPECT_FAILURE(blendAlpha(a, a, cv::Mat(4, 6, CV_16UC1), out, 1), "ERROR - blendAlpha - alpha.type()!=CV_8UC1");
    EXPECT_FAILURE(blendAlpha(a, a, three, out, 1), "ERROR - blendAlpha - alpha.type()!=CV_8UC1");
    for (const cv::Mat& other : {turned, cv::Mat(3, 6, CV_8UC1), cv::Mat(5, 4, CV_8UC1), cv::Mat()})
        EXPECT_FAILURE(blendAlpha(a, a, other, out, 1), "ERROR - blendAlpha - alpha.size()<in0.size()");
    const cv::Mat cube(std::vector<int>{4, 5, 2}, CV_8UC1);
    EXPECT_FAILURE(blendAlpha(cube, cube, cube, out, 1), "ERROR - plane - dims>2");
    EXPECT_FAILURE(blendAlpha(a, a, cube, out, 1), "ERROR - plane - dims>2");
    EXPECT_EQ(out.data, data);
    EXPECT_TRUE(samePixels(before, out));
}

// ---- blendC

cv::Mat scaled(const cv::Mat& src, float k) {
    cv::Mat dst(src.size(), CV_8UC1);
    for (int y = 0; y < dst.rows; ++y) {
        for (int x = 0; x < dst.cols; ++x) {
            const double v = static_cast<double>(static_cast<float>(src.at<uchar>(y, x)) * k);
            dst.at<uchar>(y, x) = static_cast<uchar>(std::min(std::max(std::nearbyint(v), 0.0), 255.0));
        }
    }
    return dst;
}

void scale(const cv::Mat& src, cv::Mat& dst, float k) {
    blendC(src.ptr(), int(src.step), dst.ptr(), int(dst.step), dst.cols, dst.rows, k);
}

TEST(BlendCTest, ScalesRoundsToNearestAndSaturates) {
    for (const cv::Size& size : testSizes()) {
        const cv::Mat src = randomPlane(size.height, size.width, CV_8UC1);
        for (float k : {0.0f, 0.1f, 0.5f, 1.0f, 1.7f, 2.0f, -1.0f, 1e30f}) {
            cv::Mat dst(size, CV_8UC1, cv::Scalar(9));
            scale(src, dst, k);
            EXPECT_TRUE(samePixels(scaled(src, k), dst)) << size << k;
        }
    }
}

TEST(BlendCTest, TiesGoToEvenAndTwiceSaturates) {
    const uchar src[] = {1, 3, 5, 127, 128, 200};
    uchar dst[6];
    blendC(src, 6, dst, 6, 6, 1, 0.5f);
    EXPECT_EQ(std::vector<int>(dst, dst + 6), (std::vector<int>{0, 2, 2, 64, 64, 100}));
    blendC(src, 6, dst, 6, 6, 1, 2.0f);
    EXPECT_EQ(std::vector<int>(dst, dst + 6), (std::vector<int>{2, 6, 10, 254, 255, 255}));
}

TEST(BlendCTest, EveryByteUnderManyFactors) {
    cv::Mat src(1, 256, CV_8UC1), dst(1, 256, CV_8UC1);
    for (int v = 0; v < 256; ++v) src.at<uchar>(0, v) = uchar(v);
    for (int i = 0; i <= 3000; ++i) {
        const float k = static_cast<float>(i) / 1000.0f;
        scale(src, dst, k);
        ASSERT_TRUE(samePixels(scaled(src, k), dst)) << k;
    }
}

TEST(BlendCTest, NotANumberGivesZero) {
    const uchar src[] = {0, 255};
    uchar dst[] = {7, 7};
    blendC(src, 2, dst, 2, 2, 1, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(dst[1], 0);
}

TEST(BlendCTest, StepsAreBytesAndNothingBesideTheRegionIsWritten) {
    const cv::Mat src = asSubPlane(randomPlane(200, 301, CV_8UC1, 1));
    cv::Mat frame = randomPlane(210, 320, CV_8UC1, 2), expected = frame.clone();
    const cv::Rect region(7, 5, 301, 200);
    scaled(src, 0.3f).copyTo(expected(region));
    withThreadCounts([&](int threads) {
        cv::Mat plane = frame.clone(), dst = plane(region);
        scale(src, dst, 0.3f);
        EXPECT_TRUE(samePixels(expected, plane)) << threads;
    });
}

TEST(BlendCTest, NegativeStepsTurnThePlaneAndInPlaceIsFine) {
    const cv::Mat src = randomPlane(50, 33, CV_8UC1);
    cv::Mat expected, dst(50, 33, CV_8UC1);
    cv::flip(scaled(src, 0.6f), expected, 0);
    blendC(src.ptr(49), -33, dst.ptr(), 33, 33, 50, 0.6f);
    EXPECT_TRUE(samePixels(expected, dst));
    cv::Mat plane = src.clone();
    scale(plane, plane, 0.6f);
    EXPECT_TRUE(samePixels(scaled(src, 0.6f), plane));
}

TEST(BlendCTest, NoSizeDoesNothingAndNoPlaneFails) {
    uchar pixel = 7;
    blendC(nullptr, 0, nullptr, 0, 0, 5, 1);
    blendC(nullptr, 0, nullptr, 0, 5, 0, 1);
    blendC(&pixel, 1, &pixel, 1, -1, 1, 2);
    blendC(&pixel, 1, &pixel, 1, 1, -1, 2);
    EXPECT_EQ(pixel, 7);
    EXPECT_FAILURE(blendC(nullptr, 1, &pixel, 1, 1, 1, 2), "ERROR - blendC - !src || !dst");
    EXPECT_FAILURE(blendC(&pixel, 1, nullptr, 1, 1, 1, 2), "ERROR - blendC - !src || !dst");
}

}  // namespace
