#include <gtest/gtest.h>

#include <string>

#include "tests/detail/tvelline_rendering.h"
#include "tests/support/failures.h"

namespace {

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

TEST(TVellineProcTest, AnExtraPlaneThatIsTakenAwayStaysUntilTheSmallScaleIsComputedAgain) {
    TVelline engine = engineOf(20, 30);
    const cv::Rect roi(2, 3, 20, 10);
    render(engine, roi, 1);
    const cv::Mat without = engine.getRoiY().clone();
    render(engine, roi, 1, detailPlane(10, 20, 9));
    const cv::Mat with = engine.getRoiY().clone();
    EXPECT_FALSE(samePixels(without, with));
    render(engine, roi, 1);
    EXPECT_TRUE(samePixels(with, engine.getRoiY()));
    engine.m_bChangedS = true;
    render(engine, roi, 1);
    EXPECT_TRUE(samePixels(without, engine.getRoiY()));
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

TEST(TVellineProcTest, AnExtraPlaneOfSeveralChannelsOrOfHalfFloatsIsRefused) {
    TVelline engine = engineOf(20, 30);
    testing::internal::CaptureStdout();
    EXPECT_FAILURE(engine.proc({1, 2, 10, 8}, 1, cv::Mat(8, 10, CV_16UC2)),
                   "ERROR - TVelline::proc - rYE16U.channels()!=1");
    EXPECT_FAILURE(engine.proc({1, 2, 10, 8}, 1, cv::Mat(8, 10, CV_16FC1)),
                   "ERROR - TVelline::proc - rYE16U.depth()==CV_16F");
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

TEST(TVellineProcTest, ARectangleOfAnotherSizeIsRenderedInTheMemoryOfTheOneBefore) {
    TVelline engine = engineOf(40, 60);
    setParameters(engine);
    render(engine, {0, 0, 50, 30}, 1);
    cv::Mat* const planes[] = {&engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.getRoiY()};
    const auto memory = [&] {
        std::vector<const uchar*> all;
        for (const cv::Mat* plane : planes) all.push_back(plane->datastart);
        return all;
    };
    const std::vector<const uchar*> before = memory();
    for (const cv::Size& size : {cv::Size(47, 31), cv::Size(30, 40), cv::Size(21, 20), cv::Size(49, 30)}) {
        expectReference(engine, {{3, 0}, size}, 1);
        EXPECT_EQ(memory(), before) << size;
    }
    // Larger, and so small that most of the memory would be wasted.
    for (const cv::Size& size : {cv::Size(60, 40), cv::Size(9, 10), cv::Size(1, 1), cv::Size(60, 40)}) {
        expectReference(engine, {{0, 0}, size}, 1);
        for (const cv::Mat* plane : planes) EXPECT_LE(plane->u->size, 4 * 2 * plane->total()) << size;
    }
}

TEST(TVellineProcTest, ARectangleOfAnotherSizeLeavesPlanesAloneThatOthersSee) {
    TVelline engine = engineOf(40, 60);
    setParameters(engine);
    render(engine, {0, 0, 50, 30}, 1);
    const TVelline copy = engine;
    const cv::Mat held[] = {engine.m_rY, engine.m_rDS, engine.m_rDM, engine.m_rDL, engine.getRoiY()};
    std::vector<cv::Mat> before;
    for (const cv::Mat& plane : held) before.push_back(plane.clone());
    ushort buffer[50 * 30];
    TVelline other = engineOf(40, 60);
    other.getRoiY() = cv::Mat(30, 50, CV_16UC1, buffer);
    for (const cv::Size& size : {cv::Size(47, 31), cv::Size(30, 40)}) {
        expectReference(engine, {{3, 0}, size}, 1);
        expectReference(other, {{3, 0}, size}, 1);
        EXPECT_NE(static_cast<const void*>(other.getRoiY().data), static_cast<const void*>(buffer));
    }
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_TRUE(samePixels(before[i], held[i])) << i;
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

TEST(TVellineProcTest, TheResultIsWrittenIntoAPlaneOfTheHostFromTheFirstCallOn) {
    ushort buffer[20 * 30];
    const cv::Rect all(0, 0, 30, 20);
    for (const cv::Mat& plane : {cv::Mat(20, 30, CV_16UC1, cv::Scalar(1)), cv::Mat(20, 30, CV_16UC1, buffer)}) {
        TVelline engine = engineOf(20, 30);
        engine.getRoiY() = plane;
        for (int call = 0; call < 2; ++call) {
            engine.m_light[0] = 0.1f * static_cast<float>(call);
            engine.m_bChangedY = true;
            expectReference(engine, all, 1);
            EXPECT_EQ(engine.getRoiY().data, plane.data) << "call " << call;
        }
    }
}

TEST(TVellineProcTest, AResultPlaneThatShowsACacheIsReplaced) {
    const cv::Rect all(0, 0, 30, 20);
    for (cv::Mat TVelline::*cache : {&TVelline::m_rY, &TVelline::m_rDM, &TVelline::m_rDL}) {
        TVelline engine = engineOf(20, 30);
        render(engine, all, 1);
        engine.getRoiY() = engine.*cache;
        const cv::Mat before = (engine.*cache).clone();
        engine.m_bChangedS = true;
        render(engine, all, 1);
        EXPECT_TRUE(samePixels(before, engine.*cache));
        EXPECT_NE(engine.getRoiY().data, (engine.*cache).data);
    }
}

TEST(TVellineProcTest, AnExtraPlaneThatLiesAcrossTheRowsOfTheResultIsReadBeforeItIsWritten) {
    const cv::Rect roi(0, 0, 30, 19);
    cv::Mat large = detailPlane(20, 30, 9);
    TVelline engine = engineOf(20, 30);
    engine.getRoiY() = large.rowRange(1, 20);
    const cv::Mat extra = large.rowRange(0, 19);
    ReferenceEngine reference;
    reference.takeFields(engine);
    reference.proc(roi, 1, extra.clone());
    render(engine, roi, 1, extra);
    expectSame(reference, engine);
}

}  // namespace
