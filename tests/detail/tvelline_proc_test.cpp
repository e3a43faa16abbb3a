#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "tests/detail/tvelline_rendering.h"
#include "tests/support/threads.h"

namespace {

TEST(TVellineProcTest, EqualsTheReferenceAtEveryStepAndSize) {
    for (const cv::Size& size : testSizes()) {
        for (int level : {1, 2, 3, 4, 5}) {
            TVelline engine = engineOf(size.height, size.width);
            setParameters(engine);
            engine.m_maxPlainLevel = 3;
            const cv::Rect all(0, 0, (size.width + level - 1) / level, (size.height + level - 1) / level);
            SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " step " +
                         std::to_string(level));
            expectReference(engine, all, level);
        }
    }
}

// Rows are rendered in pieces of 256 pixels.
TEST(TVellineProcTest, EqualsTheReferenceAroundTheEndsOfPieces) {
    for (const int cols : {255, 256, 257, 511, 512, 513, 700}) {
        for (const int chromaType : {CV_8UC1, CV_16UC1}) {
            SCOPED_TRACE(testing::Message() << cols << " columns, chroma of type " << chromaType);
            TVelline engine = engineOf(5, cols);
            setParameters(engine);
            engine.m_Dr = asSubPlane(randomPlane(5, cols, chromaType, 7));
            engine.m_Db = asSubPlane(randomPlane(5, cols, chromaType, 8));
            expectReference(engine, {0, 0, cols, 5}, 1);
            engine.m_bRoiChanged = true;
            expectReference(engine, {0, 0, cols, 5}, 1, asSubPlane(detailPlane(5, cols, 9)));
        }
    }
}

TEST(TVellineProcTest, EqualsTheReferenceWithAnyNumberOfThreads) {
    for (int level : {1, 2}) {
        TVelline engine = engineOf(601, 523);
        setParameters(engine);
        ReferenceEngine reference;
        reference.takeFields(engine);
        const cv::Rect roi(13, 7, 240, 290);
        reference.proc(roi, level, cv::Mat());
        withThreadCounts([&](int threads) {
            SCOPED_TRACE(threads);
            engine.m_bRoiChanged = true;
            render(engine, roi, level);
            expectSame(reference, engine);
        });
    }
}

// Hundreds of steps of a host: parameters with and without their flags, rectangles, steps, extra planes, pictures,
// copies; every cache is compared after every step.
TEST(TVellineProcTest, AnySequenceOfCallsEqualsTheReference) {
    std::minstd_rand random(7);
    const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const auto value = [&] { return static_cast<float>(pick(31) - 15) / 10.0f; };
    constexpr int kRows = 46, kCols = 62;
    TVelline engine = engineOf(kRows, kCols);
    ReferenceEngine reference;
    reference.takeFields(engine);
    cv::Rect roi(0, 0, 31, 23);
    int level = 1;
    for (int step = 0; step < 400; ++step) {
        SCOPED_TRACE(step);
        if (pick(4) == 0) roi = {pick(kCols), pick(kRows), 1 + pick(40), 1 + pick(30)};
        if (pick(6) == 0) level = 1 + pick(6);
        if (pick(9) == 0) engine.m_maxPlainLevel = pick(5);
        const bool bFlagged = pick(5) > 0;
        const int which = pick(8);
        if (which < 3) {
            engine.m_k[3 * which + pick(3)] = pick(3) == 0 ? 0.0f : value();
            if (pick(4) == 0) std::fill_n(engine.m_t, 9, 0.0f);  // smoothed tables are what costs time here
            if (pick(12) == 0) engine.m_t[3 * which + pick(3)] = value();
            bool* const flags[] = {&engine.m_bChangedS, &engine.m_bChangedM, &engine.m_bChangedL};
            *flags[which] = bFlagged;
        } else if (which == 3) {
            engine.m_light[pick(6)] = value();
            engine.m_bChangedY = bFlagged;
        } else if (which == 4) {
            engine.m_mix[pick(3)] = pick(2) == 0 ? 0.0f : value();
            engine.m_bChangedY = bFlagged;
        }
        if (pick(40) == 0) {
            engine.m_Y = randomPlane(kRows, kCols, CV_16UC1, step);
            engine.m_DS = detailPlane(kRows, kCols, step);
            engine.m_bRoiChanged = bFlagged;
        }
        cv::Mat extra;
        const int kind = pick(10);
        if (kind == 0) extra = detailPlane(23, 31, step);
        if (kind == 1 && !engine.m_rDS.empty()) extra = detailPlane(engine.m_rDS.rows, engine.m_rDS.cols, step);
        if (kind == 2 && !engine.m_rDS.empty())
            extra = asSubPlane(randomPlane(engine.m_rDS.rows, engine.m_rDS.cols, CV_8UC1, step));
        if (pick(15) == 0) {
            TVelline copy = engine;
            copy.m_k[4] = 0.9f;
            copy.m_bChangedM = copy.m_bChangedY = true;
            render(copy, roi, level, extra);
        }
        const TVelline kept = engine;
        const cv::Mat keptRoiY = engine.m_roiY.clone(), keptDS = engine.m_rDS.clone();

        const cv::Rect oldRoi = reference.roi;
        const int oldLevel = reference.level;
        reference.takeFields(engine);
        reference.roi = oldRoi;
        reference.level = oldLevel;
        reference.proc(roi, level, extra);
        ASSERT_EQ(printedBy(engine, roi, level, extra), reference.printed);
        expectSame(reference, engine);
        EXPECT_TRUE(samePixels(keptRoiY, kept.m_roiY));
        EXPECT_TRUE(samePixels(keptDS, kept.m_rDS));
        if (testing::Test::HasFailure()) break;
    }
}

TEST(TVellineProcTest, NeutralParametersAndDetailLeaveTheLuminance) {
    TVelline engine = engineOf(20, 30);
    for (cv::Mat* detail : {&engine.m_DS, &engine.m_DM, &engine.m_DL}) detail->setTo(32768);
    render(engine, {0, 0, 30, 20}, 1);
    EXPECT_TRUE(samePixels(engine.m_rY, engine.getRoiY()));
    EXPECT_NE(engine.m_rY.data, engine.getRoiY().data);
}

TEST(TVellineProcTest, ADetailOfOneInEachScaleAddsSix) {
    TVelline engine = engineOf(20, 30);
    for (cv::Mat* detail : {&engine.m_DS, &engine.m_DM, &engine.m_DL}) detail->setTo(32769);
    render(engine, {0, 0, 30, 20}, 1);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            ASSERT_EQ(engine.getRoiY().at<ushort>(y, x), std::min(engine.m_rY.at<ushort>(y, x) + 6, 65535));
}

TEST(TVellineProcTest, AScaleWithoutWorkStaysAsSampled) {
    TVelline engine = engineOf(20, 30);
    engine.m_k[0] = 0.0099f;
    engine.m_k[5] = 0.5f;
    render(engine, {3, 4, 15, 10}, 1);
    const cv::Rect roi(3, 4, 15, 10);
    EXPECT_TRUE(samePixels(engine.m_DS(roi).clone(), engine.m_rDS));
    EXPECT_FALSE(samePixels(engine.m_DM(roi).clone(), engine.m_rDM));
    EXPECT_TRUE(samePixels(engine.m_DL(roi).clone(), engine.m_rDL));
}

// Every detail value once, so that the width of a step or a dead zone shows to the level.
TEST(TVellineProcTest, EachScaleHasItsOwnRangeOfSlopesAndThresholds) {
    cv::Mat allValues(256, 256, CV_16UC1);
    for (int i = 0; i < 65536; ++i) allValues.at<ushort>(i / 256, i % 256) = static_cast<ushort>(i);
    const std::pair<float, float> strengthsAndThresholds[] = {{1.0f, 0.0f}, {-1.0f, 0.0f}, {0.0f, 1.0f}};
    for (const auto& [k, t] : strengthsAndThresholds) {
        TVelline engine = engineOf(256, 256);
        engine.m_DS = engine.m_DM = engine.m_DL = allValues;
        for (int s : {0, 1, 2}) {
            engine.m_k[3 * s] = k;
            engine.m_t[3 * s] = t;
        }
        expectReference(engine, {0, 0, 256, 256}, 1);
    }
}

TEST(TVellineProcTest, AbsurdParametersRunThroughTheCurves) {
    for (float v : {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 40.0f, -40.0f}) {
        for (int i : {0, 4, 8}) {
            TVelline engine = engineOf(20, 30);
            engine.m_k[i] = v;
            expectReference(engine, {0, 0, 30, 20}, 1);
            engine.m_k[i] = 0.5f;
            engine.m_t[i] = v;
            engine.m_bChangedY = true;
            expectReference(engine, {0, 0, 30, 20}, 1);
        }
        TVelline engine = engineOf(20, 30);
        std::fill_n(engine.m_light, 6, v);
        expectReference(engine, {0, 0, 30, 20}, 1);
        std::fill_n(engine.m_mix, 3, v);
        render(engine, {0, 0, 15, 20}, 1);
    }
}

TEST(TVellineProcTest, AMixCountsFromAHundredthOn) {
    const auto luminance = [](float a, float b, float c) {
        TVelline engine = engineOf(20, 30);
        engine.m_mix[0] = a;
        engine.m_mix[1] = b;
        engine.m_mix[2] = c;
        expectReference(engine, {0, 0, 30, 20}, 1);
        return engine.m_rY.clone();
    };
    const cv::Mat plain = luminance(0, 0, 0);
    const float below = std::nextafter(0.01f, 0.0f);
    EXPECT_TRUE(samePixels(plain, luminance(0.005f, 0, 0)));
    EXPECT_TRUE(samePixels(plain, luminance(below, -below, below)));
    EXPECT_TRUE(samePixels(plain, luminance(NAN, 0, 0)));
    EXPECT_FALSE(samePixels(plain, luminance(0.01f, 0, 0)));
    EXPECT_FALSE(samePixels(plain, luminance(0, -0.01f, 0)));
    EXPECT_FALSE(samePixels(plain, luminance(0, 0, 0.01f)));
}

TEST(TVellineProcTest, ChromaMayBeOfEightBits) {
    for (int level : {1, 2}) {
        TVelline engine = engineOf(20, 30);
        engine.m_Dr = randomPlane(20, 30, CV_8UC1, 5);
        engine.m_Db = randomPlane(20, 30, CV_8UC1, 6);
        engine.m_mix[0] = 0.5f;
        expectReference(engine, {2, 3, 12, 8}, level);
    }
}

TEST(TVellineProcTest, OnlyDetailIsLowPassedAndOnlyAboveTheLargestPlainLevel) {
    for (int maxPlainLevel : {0, 1, 2, 3, 4}) {
        for (int level : {1, 2, 3, 4}) {
            TVelline engine = engineOf(40, 60);
            engine.m_maxPlainLevel = maxPlainLevel;
            engine.m_mix[1] = 0.5f;
            const cv::Rect roi(0, 0, 14, 9);
            expectReference(engine, roi, level);
            const cv::Mat plain = TPImage::MatRoi(engine.m_DM, 0, 0, 14, 9, level, false, false);
            EXPECT_EQ(bool(samePixels(plain, engine.m_rDM)), level <= maxPlainLevel) << maxPlainLevel << ' ' << level;
        }
    }
}

TEST(TVellineProcTest, RendersWhatTheLongSetupPrepared) {
    const cv::Mat halfDr = randomPlane(20, 30, CV_16UC1, 5), halfDb = randomPlane(20, 30, CV_16UC1, 6);
    TVelline engine = engineOf(40, 60);
    const KeepThreadSettings keep;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(engine.setup(engine.m_Y, engine.m_DS, engine.m_DM, engine.m_DL, halfDr, halfDb, nullptr));
    testing::internal::GetCapturedStdout();
    setParameters(engine);
    expectReference(engine, {0, 0, 60, 40}, 1);
    expectReference(engine, {4, 4, 20, 10}, 2);
}

TEST(TVellineProcTest, RendersWhatTheShortSetupProvided) {
    TVelline engine;
    ASSERT_TRUE(engine.setup(cv::Mat(20, 30, CV_16UC1), nullptr));
    randomPlane(20, 30, CV_16UC1, 1).copyTo(engine.m_Y);
    for (cv::Mat* detail : {&engine.m_DS, &engine.m_DM, &engine.m_DL}) detailPlane(20, 30, 2).copyTo(*detail);
    expectReference(engine, {0, 0, 30, 20}, 1);
}

}  // namespace
