#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "kestrova/detail/tvelline.h"
#include "tests/detail/tvelline_reference.h"
#include "tests/support/planes.h"

/// Prepared engines, rendered and compared with the reference.

inline cv::Mat detailPlane(int rows, int cols, int seed) {
    return randomPlane(rows, cols, CV_16UC1, 24000, 41000, seed);
}

// A prepared engine, as a host leaves it after the picture preparation.
inline TVelline engineOf(int rows, int cols) {
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

inline std::string printedBy(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
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

inline void render(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
    printedBy(engine, roi, level, extra);
}

inline void expectSame(const ReferenceEngine& expected, const TVelline& actual) {
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
inline void expectReference(TVelline& engine, cv::Rect roi, int level, const cv::Mat& extra = cv::Mat()) {
    ReferenceEngine reference;
    reference.takeFields(engine);
    reference.rDS = engine.m_rDS;
    reference.proc(roi, level, extra);
    EXPECT_EQ(printedBy(engine, roi, level, extra), reference.printed);
    expectSame(reference, engine);
}

inline void setParameters(TVelline& engine) {
    const float k[] = {0.2f, 0.5f, -0.3f, 0, 0.6f, 0, -0.4f, 0.8f, 0.3f};
    const float t[] = {0, 0, -0.2f, 0, 0, 0, 0, 0.05f, 0};
    std::copy_n(k, 9, engine.m_k);
    std::copy_n(t, 9, engine.m_t);
    const float light[] = {0.3f, 0.2f, -0.4f, -0.5f, 0.25f, -0.35f};
    std::copy_n(light, 6, engine.m_light);
    engine.m_mix[0] = 0.4f;
    engine.m_mix[2] = -0.2f;
}
