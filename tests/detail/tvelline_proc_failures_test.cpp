#include <gtest/gtest.h>

#include <string>

#include "tests/detail/tvelline_rendering.h"
#include "tests/support/failures.h"

namespace {

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

// What is left of a plane that has got no memory.
TEST(TVellineProcTest, RefusesPlanesThatHaveASizeAndNoPixels) {
    const char* const chroma = "ERROR - TVelline::proc - m_Dr.size!=m_Y.size || m_Db.size!=m_Y.size";
    const char* const detail = "ERROR - TVelline::proc - a detail plane's size!=m_Y.size";
    const std::pair<cv::Mat TVelline::*, const char*> refused[] = {
        {&TVelline::m_Y, "ERROR - TVelline::proc - m_Y.empty()"},
        {&TVelline::m_DS, detail},
        {&TVelline::m_DM, detail},
        {&TVelline::m_DL, detail},
        {&TVelline::m_Dr, chroma},
        {&TVelline::m_Db, chroma}};
    for (const auto& [plane, text] : refused) {
        TVelline engine = engineOf(20, 30);
        engine.m_mix[0] = 1;
        (engine.*plane).data = nullptr;
        expectRefused(engine, text);
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

}  // namespace
