#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "kestrova/detail/tvelline.h"
#include "tests/detail/tvelline_reference.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

cv::Mat detailPlane(int rows, int cols, int seed) { return randomPlane(rows, cols, CV_16UC1, 24000, 41000, seed); }

// A prepared engine, as a host leaves it after the picture preparation.
TVelline engineOf(int rows, int cols) {
    TVelline engine;
    engine.m_Y = asSubPlane(randomPlane(rows, cols, CV_16UC1, 1));
    engine.m_DS = detailPlane(rows, cols, 2);
    engine.m_DM = asSubPlane(detailPlane(rows, cols, 3));
    engine.m_DL = detailPlane(rows, cols, 4);
    engine.m_Dr = asSubPlane(randomPlane(rows, cols, CV_16UC1, 5));
    engine.m_Db = randomPlane(rows, cols, CV_16UC1, 6);
    engine.m_bChangedS = engine.m_bChangedM = engine.m_bChangedL = engine.m_bChangedY = engine.m_bRoiChanged = true;
    return engine;
}

std::string printedBy(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
    testing::internal::CaptureStdout();
    bool bDone = false;
    try {
        bDone = engine.proc(roi, level, extra);
    } catch (...) {
        testing::internal::GetCapturedStdout();
        throw;
    }
    EXPECT_TRUE(bDone);
    return testing::internal::GetCapturedStdout();
}

void render(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
    printedBy(engine, roi, level, extra);
}

void expectSame(const ReferenceEngine& expected, const TVelline& actual) {
    EXPECT_TRUE(samePixels(expected.rY, actual.m_rY));
    EXPECT_TRUE(samePixels(expected.rDS, actual.m_rDS));
    EXPECT_TRUE(samePixels(expected.rDM, actual.m_rDM));
    EXPECT_TRUE(samePixels(expected.rDL, actual.m_rDL));
    EXPECT_TRUE(samePixels(expected.roiY, actual.m_roiY));
    EXPECT_EQ(expected.roi, actual.m_roi);
    EXPECT_EQ(expected.level, actual.m_level);
    EXPECT_FALSE(actual.m_bRoiChanged || actual.m_bChangedS || actual.m_bChangedM || actual.m_bChangedL ||
                 actual.m_bChangedY);
}

// Renders with both and compares; the reference starts cold.
void expectReference(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
    ReferenceEngine reference;
    reference.takeFields(engine);
    reference.rDS = engine.m_rDS;
    reference.proc(roi, level, extra);
    EXPECT_EQ(printedBy(engine, roi, level, extra), reference.printed);
    expectSame(reference, engine);
}

void setParameters(TVelline& engine) {
    const float k[] = {0.2f, 0.5f, -0.3f, 0, 0.6f, 0, -0.4f, 0.8f, 0.3f};
    const float t[] = {0, 0, -0.2f, 0, 0, 0, 0, 0.05f, 0};
    std::copy_n(k, 9, engine.m_k);
    std::copy_n(t, 9, engine.m_t);
    const float light[] = {0.3f, 0.2f, -0.4f, -0.5f, 0.25f, -0.35f};
    std::copy_n(light, 6, engine.m_light);
    engine.m_mix[0] = 0.4f;
    engine.m_mix[2] = -0.2f;
}

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

TEST(TVellineProcTest, PrintsOneLineOnEveryCallWithTheCacheOfTheCallBefore) {
    TVelline engine = engineOf(20, 30);
    const std::string head = "tvelline -- proc ------- rYE16U size: ";
    EXPECT_EQ(printedBy(engine, {0, 0, 30, 20}, 1), head + "0X0  m_rDS size: 0X0\n");
    EXPECT_EQ(printedBy(engine, {0, 0, 12, 8}, 1, detailPlane(8, 12, 9)), head + "8X12  m_rDS size: 20X30\n");
    EXPECT_EQ(printedBy(engine, {0, 0, 12, 8}, 1), head + "0X0  m_rDS size: 8X12\n");
    EXPECT_EQ(printedBy(engine, {0, 0, 12, 8}, 1, cv::Mat(3, 4, CV_8UC1)), head + "3X4  m_rDS size: 8X12\n");
}

// Marks the pixels of all caches, so that what is computed again shows.
void mark(TVelline& engine) {
    for (cv::Mat* cache : {&engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY})
        *cache = cv::Mat(cache->size(), CV_16UC1, cv::Scalar(32768));
}

bool isMarked(const cv::Mat& cache) { return cv::countNonZero(cache != 32768) == 0; }

TEST(TVellineProcTest, ACallWithoutChangeComputesNothing) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    const cv::Rect roi(2, 3, 20, 10);
    render(engine, roi, 1);
    mark(engine);
    const cv::Mat before = engine.getRoiY();
    EXPECT_EQ(printedBy(engine, roi, 1), "tvelline -- proc ------- rYE16U size: 0X0  m_rDS size: 10X20\n");
    for (const cv::Mat* cache : {&engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY})
        EXPECT_TRUE(isMarked(*cache));
    EXPECT_EQ(engine.getRoiY().data, before.data);
}

TEST(TVellineProcTest, OneScaleComputesItselfAndTheSum) {
    for (int s : {0, 1, 2}) {
        TVelline engine = engineOf(20, 30);
        setParameters(engine);
        const cv::Rect roi(2, 3, 20, 10);
        render(engine, roi, 1);
        mark(engine);
        bool* const flags[] = {&engine.m_bChangedS, &engine.m_bChangedM, &engine.m_bChangedL};
        *flags[s] = true;
        render(engine, roi, 1);
        EXPECT_TRUE(isMarked(engine.m_rY));
        const cv::Mat* const caches[] = {&engine.m_rDS, &engine.m_rDM, &engine.m_rDL};
        for (int other : {0, 1, 2}) EXPECT_EQ(isMarked(*caches[other]), other != s);
        cv::Mat sum = engine.m_rY.clone();
        referenceAddEdges(engine.m_rDS, engine.m_rDM, engine.m_rDL, sum);
        EXPECT_TRUE(samePixels(sum, engine.m_roiY));
        EXPECT_FALSE(*flags[s]);
    }
}

TEST(TVellineProcTest, LuminanceComputesEverythingAgain) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    const cv::Rect roi(2, 3, 20, 10);
    render(engine, roi, 1);
    mark(engine);
    engine.m_bChangedY = true;
    render(engine, roi, 1);
    for (const cv::Mat* cache : {&engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY})
        EXPECT_FALSE(isMarked(*cache));
}

TEST(TVellineProcTest, AnExtraPlaneOfTheCurrentSizeComputesTheSmallScaleAlone) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    const cv::Rect roi(2, 3, 20, 10);
    render(engine, roi, 1);
    for (int call = 0; call < 2; ++call) {
        mark(engine);
        render(engine, roi, 1, detailPlane(10, 20, 9));
        EXPECT_TRUE(isMarked(engine.m_rY) && isMarked(engine.m_rDM) && isMarked(engine.m_rDL));
        EXPECT_FALSE(isMarked(engine.m_rDS) || isMarked(engine.m_roiY));
        EXPECT_FALSE(engine.m_bChangedS);
    }
    mark(engine);
    render(engine, roi, 1, detailPlane(20, 10, 9));
    EXPECT_TRUE(isMarked(engine.m_rDS) && isMarked(engine.m_roiY));
}

TEST(TVellineProcTest, AnExtraPlaneCountsOnTheFirstCall) {
    for (int level : {1, 2}) {
        TVelline engine = engineOf(20, 30);
        const cv::Mat extra = detailPlane(5, 7, 9);
        expectReference(engine, {1, 2, 7, 5}, level, extra);
        TVelline without = engineOf(20, 30);
        render(without, {1, 2, 7, 5}, level);
        cv::Mat sum;
        cv::addWeighted(without.m_rDS, 1.0, extra, 1.0, -32768.0, sum);
        EXPECT_TRUE(samePixels(sum, engine.m_rDS));
    }
}

TEST(TVellineProcTest, AnExtraPlaneSaturatesAndPassesThroughTheCurves) {
    TVelline engine = engineOf(20, 30);
    expectReference(engine, {0, 0, 30, 20}, 1, randomPlane(20, 30, CV_16UC1, 9));
    TVelline other = engineOf(20, 30);
    setParameters(other);
    expectReference(other, {0, 0, 30, 20}, 1, asSubPlane(randomPlane(20, 30, CV_16UC1, 9)));
}

TEST(TVellineProcTest, AnExtraPlaneOfAnotherTypeIsAddedAsItsNumbers) {
    for (int type : {CV_8UC1, CV_32FC1}) {
        for (int level : {1, 2}) {
            TVelline engine = engineOf(20, 30);
            expectReference(engine, {1, 2, 10, 8}, level, randomPlane(8, 10, type, 9));
        }
    }
}

TEST(TVellineProcTest, AnExtraPlaneOfSeveralChannelsIsRefused) {
    TVelline engine = engineOf(20, 30);
    testing::internal::CaptureStdout();
    EXPECT_FAILURE(engine.proc({1, 2, 10, 8}, 1, cv::Mat(8, 10, CV_16UC2)),
                   "ERROR - TVelline::proc - rYE16U.channels()!=1");
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(engine.m_rDS.empty() && engine.m_bRoiChanged && engine.m_bChangedS);
    render(engine, {1, 2, 10, 8}, 1, cv::Mat(10, 8, CV_16UC2));
}

TEST(TVellineProcTest, AnExtraPlaneOfTheOldSizeIsIgnoredInANewRectangle) {
    TVelline engine = engineOf(20, 30);
    render(engine, {0, 0, 10, 8}, 1);
    expectReference(engine, {0, 0, 12, 9}, 1, detailPlane(8, 10, 9));
}

TEST(TVellineProcTest, AnExtraPlaneMustHaveTheSizeThatTheCutRectangleHas) {
    for (const cv::Size& size : {cv::Size(10, 8), cv::Size(4, 6)}) {
        TVelline engine = engineOf(20, 30);
        expectReference(engine, {26, 14, 10, 8}, 1, detailPlane(size.height, size.width, 9));
        TVelline without = engineOf(20, 30);
        render(without, {26, 14, 10, 8}, 1);
        EXPECT_EQ(without.m_rDS.size(), cv::Size(4, 6));
        EXPECT_EQ(bool(samePixels(without.m_rDS, engine.m_rDS)), size == cv::Size(10, 8));
    }
}

TEST(TVellineProcTest, ARectangleBeyondThePictureIsSmallerAtStepOneAlone) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    expectReference(engine, {20, 15, 30, 20}, 1);
    EXPECT_EQ(engine.getRoiY().size(), cv::Size(10, 5));
    expectReference(engine, {20, 15, 30, 20}, 2);
    EXPECT_EQ(engine.getRoiY().size(), cv::Size(30, 20));
}

TEST(TVellineProcTest, AnEmptyRectangleIsRenderedAtStepOneAlone) {
    for (const cv::Size& size : {cv::Size(0, 5), cv::Size(6, 0), cv::Size(0, 0)}) {
        TVelline engine = engineOf(20, 30);
        setParameters(engine);
        render(engine, {2, 3, 6, 5}, 1);
        render(engine, {{2, 3}, size}, 1);
        EXPECT_TRUE(engine.m_rY.empty() && engine.m_rDS.empty() && engine.getRoiY().empty());
        EXPECT_FALSE(engine.m_bRoiChanged || engine.m_bChangedS);
        EXPECT_FAILURE(engine.proc({{2, 3}, size}, 2, cv::Mat()), "downSizeNX - out is not allocated");
        expectReference(engine, {2, 3, 6, 5}, 2);
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

TEST(TVellineProcTest, TheFullPlanesAreOnlyRead) {
    for (int level : {1, 2}) {
        TVelline engine = engineOf(20, 30);
        setParameters(engine);
        const cv::Mat* const planes[] = {&engine.m_Y,  &engine.m_DS, &engine.m_DM,
                                         &engine.m_DL, &engine.m_Dr, &engine.m_Db};
        std::vector<cv::Mat> before;
        for (const cv::Mat* plane : planes) before.push_back(plane->clone());
        const cv::Mat extra = detailPlane(10, 15, 9), extraBefore = extra.clone();
        render(engine, {0, 0, 15, 10}, level, extra);
        render(engine, {0, 0, 15, 10}, level, extra);
        for (std::size_t i = 0; i < before.size(); ++i) EXPECT_TRUE(samePixels(before[i], *planes[i]));
        EXPECT_TRUE(samePixels(extraBefore, extra));
    }
}

TEST(TVellineProcTest, TheResultIsWrittenIntoThePixelsOfTheOneBefore) {
    TVelline engine = engineOf(20, 30);
    render(engine, {0, 0, 15, 10}, 1);
    const cv::Mat held = engine.getRoiY();
    const cv::Mat before = held.clone();
    engine.m_light[0] = 0.5f;
    engine.m_bChangedY = true;
    render(engine, {0, 0, 15, 10}, 1);
    EXPECT_EQ(held.data, engine.getRoiY().data);
    EXPECT_FALSE(samePixels(before, held));
    const cv::Mat last = held.clone();
    render(engine, {0, 0, 14, 10}, 1);
    EXPECT_TRUE(samePixels(last, held));
}

TEST(TVellineProcTest, RectanglePlanesThatOthersSeeAreReplaced) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, {0, 0, 15, 10}, 1);
    const cv::Mat held[] = {engine.m_rY, engine.m_rDS, engine.m_rDM, engine.m_rDL};
    const cv::Mat before[] = {held[0].clone(), held[1].clone(), held[2].clone(), held[3].clone()};
    engine.m_light[0] = 0.5f;
    engine.m_k[0] = engine.m_k[3] = engine.m_k[6] = 0.9f;
    engine.m_bChangedY = true;
    render(engine, {0, 0, 15, 10}, 1);
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(samePixels(before[i], held[i])) << i;
}

TEST(TVellineProcTest, WhatACopyRendersLeavesTheOtherAlone) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    const cv::Rect roi(0, 0, 15, 10);
    render(engine, roi, 1);
    const cv::Mat before = engine.getRoiY().clone();
    TVelline copy = engine, assigned;
    assigned = copy;
    EXPECT_EQ(copy.getRoiY().data, engine.getRoiY().data);
    for (TVelline* other : {&copy, &assigned}) {
        other->m_k[0] = -0.8f;
        other->m_bChangedS = true;
        render(*other, roi, 1);
        EXPECT_FALSE(samePixels(before, other->getRoiY()));
        EXPECT_TRUE(samePixels(before, engine.getRoiY()));
    }
    const cv::Mat of = copy.getRoiY().clone();
    engine.m_k[0] = 0.8f;
    engine.m_bChangedS = true;
    render(engine, roi, 1);
    EXPECT_TRUE(samePixels(of, copy.getRoiY()));
}

TEST(TVellineProcTest, AResultHandedBackInAsAPlaneOfThePictureIsNotOverwritten) {
    const cv::Rect all(0, 0, 30, 20);
    for (cv::Mat TVelline::*plane :
         {&TVelline::m_Y, &TVelline::m_DS, &TVelline::m_DM, &TVelline::m_DL, &TVelline::m_Dr, &TVelline::m_Db}) {
        TVelline engine = engineOf(20, 30);
        setParameters(engine);
        render(engine, all, 1);
        engine.*plane = engine.getRoiY();
        const cv::Mat before = (engine.*plane).clone();
        engine.m_bChangedY = true;
        expectReference(engine, all, 1);
        EXPECT_TRUE(samePixels(before, engine.*plane));
    }
}

TEST(TVellineProcTest, AResultHandedBackInAsTheExtraPlaneIsReadBeforeItIsWritten) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    const cv::Rect all(0, 0, 30, 20);
    render(engine, all, 1);
    ReferenceEngine reference;
    reference.takeFields(engine);
    reference.rY = engine.m_rY, reference.rDS = engine.m_rDS, reference.rDM = engine.m_rDM,
    reference.rDL = engine.m_rDL;
    reference.proc(all, 1, engine.getRoiY().clone());
    render(engine, all, 1, engine.getRoiY());
    expectSame(reference, engine);
}

void expectRefused(TVelline& engine, const char* text) {
    const TVelline before = engine;
    testing::internal::CaptureStdout();
    EXPECT_FAILURE(engine.proc({0, 0, 6, 5}, 1, cv::Mat()), text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(engine.m_roi, before.m_roi);
    EXPECT_EQ(engine.m_level, before.m_level);
    EXPECT_EQ(engine.m_rY.data, before.m_rY.data);
    EXPECT_EQ(engine.m_roiY.data, before.m_roiY.data);
    EXPECT_EQ(engine.m_bChangedS, before.m_bChangedS);
    EXPECT_EQ(engine.m_bRoiChanged, before.m_bRoiChanged);
}

TEST(TVellineProcTest, RefusesEmptyPlanesBeforeAnythingIsWritten) {
    TVelline empty;
    expectRefused(empty, "ERROR - TVelline::proc - m_Y.empty()");
    TVelline engine = engineOf(20, 30);
    engine.m_Y.release();
    expectRefused(engine, "ERROR - TVelline::proc - m_Y.empty()");
    for (cv::Mat TVelline::*detail : {&TVelline::m_DS, &TVelline::m_DM, &TVelline::m_DL}) {
        engine = engineOf(20, 30);
        (engine.*detail).release();
        expectRefused(engine, "ERROR - TVelline::proc - a detail plane's size!=m_Y.size");
    }
    for (cv::Mat TVelline::*chroma : {&TVelline::m_Dr, &TVelline::m_Db}) {
        engine = engineOf(20, 30);
        (engine.*chroma).release();
        render(engine, {0, 0, 5, 5}, 1);
        engine.m_mix[1] = 0.01f;
        expectRefused(engine, "ERROR - TVelline::proc - m_Dr.size!=m_Y.size || m_Db.size!=m_Y.size");
    }
}

TEST(TVellineProcTest, RefusesPlanesOfAnotherSizeOnlyWhereItNeedsThem) {
    TVelline engine = engineOf(20, 30);
    render(engine, {0, 0, 6, 5}, 1);
    engine.m_DM = detailPlane(20, 29, 3);
    engine.m_Dr = detailPlane(10, 15, 3);
    engine.m_bChangedS = true;
    render(engine, {0, 0, 6, 5}, 1);
    engine.m_bChangedM = true;
    expectRefused(engine, "ERROR - TVelline::proc - a detail plane's size!=m_Y.size");
    EXPECT_TRUE(engine.m_bChangedM);
    engine.m_DM = detailPlane(20, 30, 3);
    engine.m_mix[0] = 1;
    render(engine, {0, 0, 6, 5}, 1);
    engine.m_bChangedY = true;
    expectRefused(engine, "ERROR - TVelline::proc - m_Dr.size!=m_Y.size || m_Db.size!=m_Y.size");
}

TEST(TVellineProcTest, RefusesCachesOfAnotherPicture) {
    TVelline engine = engineOf(20, 30);
    render(engine, {0, 0, 40, 40}, 1);
    engine.m_Y = randomPlane(10, 12, CV_16UC1);
    engine.m_DS = detailPlane(10, 12, 1);
    engine.m_bChangedS = true;
    const cv::Mat before = engine.getRoiY().clone();
    testing::internal::CaptureStdout();
    EXPECT_FAILURE(engine.proc({0, 0, 40, 40}, 1, cv::Mat()),
                   "ERROR - TVelline::proc - rectangle planes differ in size");
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(samePixels(before, engine.getRoiY()));
    EXPECT_TRUE(engine.m_bChangedS);
}

TEST(TVellineProcTest, LuminanceOfAnotherTypeIsALutFailureThatLeavesTheFlags) {
    for (int level : {1, 2}) {
        for (float mix : {0.0f, 1.0f}) {
            TVelline engine = engineOf(20, 30);
            engine.m_mix[0] = mix;
            engine.m_Y = randomPlane(20, 30, CV_8UC1);
            testing::internal::CaptureStdout();
            EXPECT_FAILURE(engine.proc({0, 0, 6, 5}, level, cv::Mat()),
                           "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1");
            EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
            EXPECT_TRUE(engine.m_bRoiChanged && engine.m_bChangedS && engine.m_bChangedM && engine.m_bChangedL &&
                        engine.m_bChangedY);
            EXPECT_EQ(engine.m_roi, cv::Rect(0, 0, 6, 5));
            engine.m_Y = randomPlane(20, 30, CV_16UC1);
            expectReference(engine, {0, 0, 6, 5}, level);
        }
    }
}

TEST(TVellineProcTest, ChromaOfAnotherTypeIsATracedFailure) {
    for (int level : {1, 2}) {
        TVelline engine = engineOf(20, 30);
        engine.m_mix[0] = 1;
        engine.m_Db = randomPlane(20, 30, CV_8UC1);
        testing::internal::CaptureStdout();
        EXPECT_TRACED_FAILURE(engine.proc({0, 0, 6, 5}, level, cv::Mat()),
                              " - 374 - TVelline::modYWithC : bad dr type - ");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_TRUE(engine.m_bChangedY);
    }
}

TEST(TVellineProcTest, TheLineStandsBetweenLuminanceAndDetail) {
    TVelline engine = engineOf(20, 30);
    render(engine, {0, 0, 6, 5}, 1);
    const cv::Mat extra = detailPlane(5, 6, 9);
    const auto printedByFailure = [&] {
        testing::internal::CaptureStdout();
        EXPECT_THROW(engine.proc({0, 0, 6, 5}, 1, extra), char*);
        return testing::internal::GetCapturedStdout();
    };
    engine.m_DL = cv::Mat(20, 30, CV_8UC1, cv::Scalar(1));
    engine.m_bChangedL = true;
    EXPECT_EQ(printedByFailure(), "tvelline -- proc ------- rYE16U size: 5X6  m_rDS size: 5X6\n");
    EXPECT_TRUE(engine.m_bChangedS && engine.m_bChangedL);
    engine.m_bChangedS = false;
    engine.m_Y = cv::Mat(20, 30, CV_8UC1, cv::Scalar(1));
    engine.m_bChangedY = true;
    EXPECT_EQ(printedByFailure(), "");
    EXPECT_FALSE(engine.m_bChangedS);
}

TEST(TVellineProcTest, FailuresOfTheSamplingPassThroughAndLeaveTheFlags) {
    const auto expectText = [](cv::Mat TVelline::*plane, int type, cv::Rect roi, int level, const char* text) {
        TVelline engine = engineOf(20, 30);
        engine.m_mix[0] = 1;
        engine.*plane = cv::Mat(20, 30, type, cv::Scalar(1));
        testing::internal::CaptureStdout();
        EXPECT_FAILURE(engine.proc(roi, level, cv::Mat()), text);
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(engine.m_bRoiChanged && engine.m_bChangedS && engine.m_bChangedM && engine.m_bChangedL &&
                    engine.m_bChangedY);
    };
    const cv::Rect roi(0, 0, 6, 5);
    for (cv::Mat TVelline::*plane : {&TVelline::m_Y, &TVelline::m_Dr, &TVelline::m_Db})
        expectText(plane, CV_32SC1, roi, 2, "ERROR - downSizeNX - type");
    for (cv::Mat TVelline::*plane : {&TVelline::m_DS, &TVelline::m_DM, &TVelline::m_DL})
        expectText(plane, CV_32SC1, roi, 2, "ERROR TPImage::MatRoi - input type");
    expectText(&TVelline::m_DS, CV_8UC1, roi, 1, "ERROR - TVelline::proc - detail.type()!=CV_16UC1");
    expectText(&TVelline::m_DL, CV_32FC1, roi, 2, "ERROR - TVelline::proc - detail.type()!=CV_16UC1");
}

TEST(TVellineProcTest, RefusesRectanglesAndStepsThatTheSamplingRefuses) {
    const std::pair<cv::Rect, int> refused[] = {{{-1, 0, 5, 5}, 1}, {{0, -1, 5, 5}, 2}, {{30, 0, 5, 5}, 1},
                                                {{0, 20, 5, 5}, 2}, {{0, 0, -1, 5}, 1}, {{0, 0, 5, 5}, 0},
                                                {{0, 0, 5, 5}, -3}};
    for (const auto& [roi, level] : refused) {
        TVelline engine = engineOf(20, 30);
        std::string text;
        try {
            TPImage::MatRoi(engine.m_Y, roi.x, roi.y, roi.width, roi.height, level, false, false);
        } catch (char* thrown) {
            text = thrown;
        }
        ASSERT_NE(text, "");
        EXPECT_FAILURE(engine.proc(roi, level, cv::Mat()), text);
        EXPECT_TRUE(engine.m_bRoiChanged && engine.m_bChangedY);
        expectReference(engine, {0, 0, 5, 5}, 1);
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
