#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "kestrova/detail/tvelline.h"
#include "tests/detail/tvelline_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

cv::Mat plane(int rows, int cols, int value) { return cv::Mat(rows, cols, CV_16UC1, cv::Scalar(value)); }

// Every high byte of luminance once, in one row.
cv::Mat allZones() {
    cv::Mat y(1, 256, CV_16UC1);
    for (int i = 0; i < 256; ++i) y.at<ushort>(0, i) = static_cast<ushort>(256 * i + i);
    return y;
}

TEST(TVellineMixSMHTest, WeighsTheThreeZonesByTheirTables) {
    TVelline engine;
    const cv::Mat y = allZones(), zero = plane(1, 256, 32768), one = plane(1, 256, 32768 + 256);
    cv::Mat shadows = zero.clone(), midtones = zero.clone(), highlights = one.clone();
    engine.mixSMH(y, one, zero, shadows);
    engine.mixSMH(y, zero, one, midtones);
    engine.mixSMH(y, zero, zero, highlights);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(shadows.at<ushort>(0, i) - 32768, zoneTables().S[i]) << i;
        EXPECT_EQ(midtones.at<ushort>(0, i) - 32768, zoneTables().M[i]) << i;
        EXPECT_EQ(highlights.at<ushort>(0, i) - 32768, zoneTables().H[i]) << i;
    }
}

TEST(TVellineMixSMHTest, EqualsTheReference) {
    TVelline engine;
    for (const cv::Size& size : testSizes()) {
        const cv::Mat y = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 1));
        const cv::Mat s = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 2));
        const cv::Mat m = randomPlane(size.height, size.width, CV_16UC1, 3);
        const cv::Mat h = randomPlane(size.height, size.width, CV_16UC1, 4);
        cv::Mat expected = h.clone();
        referenceMixSMH(y, s, m, expected);
        withThreadCounts([&](int) {
            cv::Mat actual = asSubPlane(h);
            engine.mixSMH(y, s, m, actual);
            EXPECT_TRUE(samePixels(expected, actual));
        });
    }
}

TEST(TVellineMixSMHTest, ExtremesReachBothEndsOfTheRange) {
    TVelline engine;
    for (int s : {0, 1, 32767, 32768, 65535}) {
        for (int m : {0, 32767, 32769, 65535}) {
            for (int h : {0, 32767, 65534, 65535}) {
                cv::Mat actual = plane(1, 256, h), expected = plane(1, 256, h);
                engine.mixSMH(allZones(), plane(1, 256, s), plane(1, 256, m), actual);
                referenceMixSMH(allZones(), plane(1, 256, s), plane(1, 256, m), expected);
                EXPECT_TRUE(samePixels(expected, actual)) << s << ' ' << m << ' ' << h;
            }
        }
    }
}

TEST(TVellineMixSMHTest, AtTheEndsAndTheMiddleOneCurveAloneCounts) {
    TVelline engine;
    for (int v : {0, 1, 12345, 32768, 54321, 65535}) {
        for (const auto& [high, which] : {std::pair(0, 0), {128, 1}, {255, 2}}) {
            const cv::Mat y = plane(2, 3, 256 * high + 17);
            cv::Mat h = plane(2, 3, which == 2 ? v : 100);
            engine.mixSMH(y, plane(2, 3, which == 0 ? v : 200), plane(2, 3, which == 1 ? v : 300), h);
            EXPECT_TRUE(samePixels(plane(2, 3, v), h)) << v << ' ' << high;
        }
    }
}

TEST(TVellineMixSMHTest, WeightsThatAddUpTo255LoseAPart) {
    TVelline engine;
    for (int high : {8, 77, 178, 247}) {
        for (int v : {-32768, -1000, -257, -255, -1, 0, 1, 255, 256, 257, 1000, 32767}) {
            cv::Mat h = plane(1, 1, 32768 + v);
            engine.mixSMH(plane(1, 1, 256 * high), h.clone(), h.clone(), h);
            EXPECT_EQ(h.at<ushort>(0, 0), 32768 + v * 255 / 256) << high << ' ' << v;
        }
    }
}

TEST(TVellineMixSMHTest, RunsOverTheSizeOfH) {
    TVelline engine;
    cv::Mat h = plane(2, 2, 40000);
    engine.mixSMH(plane(3, 4, 65535), plane(2, 5, 0), plane(4, 2, 0), h);
    EXPECT_TRUE(samePixels(plane(2, 2, 40000), h));
}

TEST(TVellineMixSMHTest, HMayBeOneOfTheOtherPlanes) {
    TVelline engine;
    const cv::Mat y = randomPlane(40, 50, CV_16UC1, 1), s = randomPlane(40, 50, CV_16UC1, 2);
    cv::Mat expected = s.clone(), actual = s.clone();
    referenceMixSMH(y, s, s, expected);
    engine.mixSMH(y, actual, actual, actual);
    EXPECT_TRUE(samePixels(expected, actual));
}

TEST(TVellineMixSMHTest, RefusesPlanesThatDoNotFit) {
    TVelline engine;
    const cv::Mat fit = plane(2, 2, 5), bytes(2, 2, CV_8UC1), small = plane(2, 1, 5);
    cv::Mat h = plane(2, 2, 7), hBytes(2, 2, CV_8UC1);
    EXPECT_FAILURE(engine.mixSMH(bytes, fit, fit, h), "ERROR - TVelline::mixSMH - type()!=CV_16UC1");
    EXPECT_FAILURE(engine.mixSMH(fit, fit, fit, hBytes), "ERROR - TVelline::mixSMH - type()!=CV_16UC1");
    EXPECT_FAILURE(engine.mixSMH(fit, small, fit, h), "ERROR - TVelline::mixSMH - a plane is smaller than h");
    EXPECT_FAILURE(engine.mixSMH(fit, fit, small, h), "ERROR - TVelline::mixSMH - a plane is smaller than h");
    EXPECT_TRUE(samePixels(plane(2, 2, 7), h));
}

TEST(TVellineAddEdgesTest, EqualsTheReference) {
    TVelline engine;
    for (const cv::Size& size : testSizes()) {
        const cv::Mat d0 = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 1));
        const cv::Mat d1 = randomPlane(size.height, size.width, CV_16UC1, 30000, 35000, 2);
        const cv::Mat d2 = asSubPlane(randomPlane(size.height, size.width, CV_16UC1, 30000, 35000, 3));
        const cv::Mat y = randomPlane(size.height, size.width, CV_16UC1, 4);
        cv::Mat expected = y.clone();
        referenceAddEdges(d0, d1, d2, expected);
        withThreadCounts([&](int) {
            cv::Mat actual = asSubPlane(y);
            engine.addEdges(d0, d1, d2, actual);
            EXPECT_TRUE(samePixels(expected, actual));
        });
    }
}

TEST(TVellineAddEdgesTest, CountsTwiceAndClampsAtBothEnds) {
    TVelline engine;
    const auto added = [&](int d0, int d1, int d2, int y) {
        cv::Mat out = plane(1, 1, y);
        engine.addEdges(plane(1, 1, d0), plane(1, 1, d1), plane(1, 1, d2), out);
        return static_cast<int>(out.at<ushort>(0, 0));
    };
    EXPECT_EQ(added(32768, 32768, 32768, 1234), 1234);
    EXPECT_EQ(added(32769, 32769, 32769, 1234), 1240);
    EXPECT_EQ(added(32769, 32769, 32769, 65530), 65535);
    EXPECT_EQ(added(32767, 32768, 32768, 2), 0);
    EXPECT_EQ(added(32767, 32768, 32768, 1), 0);
    EXPECT_EQ(added(0, 0, 0, 65535), 0);
    EXPECT_EQ(added(65535, 65535, 65535, 0), 65535);
    EXPECT_EQ(added(0, 65535, 32769, 10), 10);
}

TEST(TVellineAddEdgesTest, RunsOverTheSizeOfY) {
    TVelline engine;
    cv::Mat y = plane(2, 2, 100);
    engine.addEdges(plane(3, 4, 32769), plane(2, 5, 32768), plane(4, 2, 32768), y);
    EXPECT_TRUE(samePixels(plane(2, 2, 102), y));
}

TEST(TVellineAddEdgesTest, RefusesPlanesThatDoNotFit) {
    TVelline engine;
    const cv::Mat fit = plane(2, 2, 5), bytes(2, 2, CV_8UC1), small = plane(1, 2, 5);
    cv::Mat y = plane(2, 2, 7), yBytes(2, 2, CV_8UC1);
    EXPECT_FAILURE(engine.addEdges(fit, bytes, fit, y), "ERROR - TVelline::addEdges - type()!=CV_16UC1");
    EXPECT_FAILURE(engine.addEdges(fit, fit, fit, yBytes), "ERROR - TVelline::addEdges - type()!=CV_16UC1");
    EXPECT_FAILURE(engine.addEdges(fit, fit, small, y), "ERROR - TVelline::addEdges - a plane is smaller than y");
    EXPECT_TRUE(samePixels(plane(2, 2, 7), y));
}

TEST(TVellineModYWithCTest, EqualsTheReferenceForBothTypes) {
    TVelline engine;
    const float weights[][3] = {{0.3f, -0.2f, 0.7f}, {0.01f, 0, 0}, {-1, 1, -1}, {1.5f, 0.013f, 2.71f}, {100, 0, -50}};
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (const cv::Size& size : testSizes()) {
            const cv::Mat dr = asSubPlane(randomPlane(size.height, size.width, type, 1));
            const cv::Mat db = randomPlane(size.height, size.width, type, 2);
            const cv::Mat y = randomPlane(size.height, size.width, CV_16UC1, 3);
            for (const auto& w : weights) {
                cv::Mat expected = y.clone();
                referenceModYWithC(dr, db, w[0], w[1], w[2], expected);
                withThreadCounts([&](int) {
                    cv::Mat actual = asSubPlane(y);
                    engine.modYWithC(dr, db, w[0], w[1], w[2], actual);
                    EXPECT_TRUE(samePixels(expected, actual)) << type << ' ' << w[0];
                });
            }
        }
    }
}

TEST(TVellineModYWithCTest, NeutralChromaLeavesLuminanceUpToRounding) {
    TVelline engine;
    const cv::Mat y = randomPlane(20, 30, CV_16UC1);
    for (int type : {CV_8UC1, CV_16UC1}) {
        const cv::Mat neutral(20, 30, type, cv::Scalar(type == CV_8UC1 ? 128 : 32768));
        for (float a : {0.5f, -0.3f, 1.0f}) {
            cv::Mat mixed = y.clone();
            engine.modYWithC(neutral, neutral, a, 0.25f, -0.7f, mixed);
            EXPECT_TRUE(closePixels(y, mixed, 1));  // products of 32768 and a weight in float, rounded once more
        }
    }
}

TEST(TVellineModYWithCTest, EqualWeightsAreTheIdentity) {
    TVelline engine;
    const cv::Mat y = randomPlane(20, 30, CV_16UC1, 1);
    for (int type : {CV_8UC1, CV_16UC1}) {
        for (float w : {0.3f, -0.7f, 1.0f, 12.3f}) {
            cv::Mat mixed = y.clone();
            engine.modYWithC(randomPlane(20, 30, type, 2), randomPlane(20, 30, type, 3), w, w, w, mixed);
            EXPECT_TRUE(samePixels(y, mixed));
        }
    }
}

TEST(TVellineModYWithCTest, RoundsToNearestEvenAndClamps) {
    TVelline engine;
    // kr = 0.25: half steps of luminance stand at every second difference of 2.
    const auto mixed = [&](int dr, int y) {
        cv::Mat out = plane(1, 1, y);
        engine.modYWithC(plane(1, 1, dr), plane(1, 1, 32768), 0.1f, 0.0f, 0.0f, out);
        return static_cast<int>(out.at<ushort>(0, 0));
    };
    EXPECT_EQ(mixed(32768 + 2, 10), 10);
    EXPECT_EQ(mixed(32768 + 2, 11), 12);
    EXPECT_EQ(mixed(32768 + 6, 10), 12);
    EXPECT_EQ(mixed(32768 + 4, 65535), 65535);
    EXPECT_EQ(mixed(32768 - 4, 0), 0);
}

TEST(TVellineModYWithCTest, OtherTypesAreATracedFailure) {
    TVelline engine;
    const cv::Mat words = plane(2, 2, 5), bytes(2, 2, CV_8UC1), floats(2, 2, CV_32FC1), colour(2, 2, CV_16UC2);
    cv::Mat y = plane(2, 2, 7);
    const char* const tail = " - 374 - TVelline::modYWithC : bad dr type - ";
    EXPECT_TRACED_FAILURE(engine.modYWithC(words, bytes, 1, 0, 0, y), tail);
    EXPECT_TRACED_FAILURE(engine.modYWithC(bytes, words, 1, 0, 0, y), tail);
    EXPECT_TRACED_FAILURE(engine.modYWithC(floats, floats, 1, 0, 0, y), tail);
    EXPECT_TRACED_FAILURE(engine.modYWithC(colour, colour, 1, 0, 0, y), tail);
    EXPECT_TRUE(samePixels(plane(2, 2, 7), y));
}

TEST(TVellineModYWithCTest, RefusesPlanesThatDoNotFit) {
    TVelline engine;
    const cv::Mat words = plane(2, 2, 5), small = plane(1, 2, 5);
    cv::Mat y = plane(2, 2, 7), bytes(2, 2, CV_8UC1);
    EXPECT_FAILURE(engine.modYWithC(words, small, 1, 0, 0, y),
                   "ERROR - TVelline::modYWithC - chroma is smaller than y");
    EXPECT_FAILURE(engine.modYWithC(small, words, 1, 0, 0, y),
                   "ERROR - TVelline::modYWithC - chroma is smaller than y");
    EXPECT_FAILURE(engine.modYWithC(words, words, 1, 0, 0, bytes), "ERROR - TVelline::modYWithC - y.type()!=CV_16UC1");
    EXPECT_TRUE(samePixels(plane(2, 2, 7), y));
}

}  // namespace
