#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/detail/tvelline_rendering.h"
#include "tests/support/regions.h"
#include "tests/support/threads.h"

namespace {

const cv::Rect kView(2, 3, 20, 10), kOtherView(5, 1, 20, 10);

TEST(TVellineTablesTest, AMoveOfTheRectangleBuildsNone) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, kView, 1);
    const auto kept = engine.m_tables;
    expectReference(engine, kOtherView, 1);
    expectReference(engine, {0, 0, 10, 9}, 2);
    engine.m_bChangedS = engine.m_bChangedM = engine.m_bChangedL = engine.m_bChangedY = true;
    expectReference(engine, kView, 1);
    EXPECT_EQ(engine.m_tables, kept);
}

// Renders with both and compares; the reference has the caches that the engine has.
void expectWarmReference(TVelline& engine, cv::Rect roi) {
    ReferenceEngine reference;
    reference.takeFields(engine);
    reference.rY = engine.m_rY.clone();
    reference.rDS = engine.m_rDS.clone();
    reference.rDM = engine.m_rDM.clone();
    reference.rDL = engine.m_rDL.clone();
    reference.proc(roi, 1, cv::Mat());
    render(engine, roi, 1);
    expectSame(reference, engine);
}

std::vector<float*> parametersOfTables(TVelline& engine) {
    std::vector<float*> all;
    for (float& k : engine.m_k) all.push_back(&k);
    for (float& t : engine.m_t) all.push_back(&t);
    for (float& light : engine.m_light) all.push_back(&light);
    return all;
}

bool* flagOf(TVelline& engine, std::size_t parameter) {
    bool* const ofScale[] = {&engine.m_bChangedS, &engine.m_bChangedM, &engine.m_bChangedL};
    return parameter < 18 ? ofScale[parameter % 9 / 3] : &engine.m_bChangedY;
}

TEST(TVellineTablesTest, AChangeOfAnyParameterIsSeen) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, kView, 1);
    const std::size_t count = parametersOfTables(engine).size();
    for (std::size_t i = 0; i < count; ++i) {
        SCOPED_TRACE("parameter " + std::to_string(i));
        float& parameter = *parametersOfTables(engine)[i];
        const float before = parameter;
        const auto kept = engine.m_tables;
        parameter += 0.25f;
        *flagOf(engine, i) = true;
        expectWarmReference(engine, kView);
        EXPECT_NE(engine.m_tables, kept);
        parameter = before;
        *flagOf(engine, i) = true;
        expectWarmReference(engine, kView);
    }
}

TEST(TVellineTablesTest, AChangeWithoutItsFlagIsSeenInTheNextRectangle) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, kView, 1);
    const std::size_t count = parametersOfTables(engine).size();
    for (std::size_t i = 0; i < count; ++i) {
        SCOPED_TRACE("parameter " + std::to_string(i));
        *parametersOfTables(engine)[i] += 0.25f;
        expectReference(engine, i % 2 ? kView : kOtherView, 1);
    }
}

TEST(TVellineTablesTest, AScaleThatWasSwitchedOffComesBackWithItsNewCurves) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, kView, 1);
    const std::vector<float> k(engine.m_k, engine.m_k + 9), t(engine.m_t, engine.m_t + 9);
    for (const float factor : {0.0f, 1.0f, 0.0f, 0.5f}) {
        for (int i = 0; i < 9; ++i) engine.m_k[i] = factor * k[i], engine.m_t[i] = factor * t[i];
        engine.m_bChangedS = engine.m_bChangedM = engine.m_bChangedL = true;
        expectWarmReference(engine, kView);
    }
}

TEST(TVellineTablesTest, ParametersThatAreNaNAreAsGoodAsOthers) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    engine.m_t[3] = engine.m_light[2] = std::numeric_limits<float>::quiet_NaN();
    expectReference(engine, kView, 1);
    const auto kept = engine.m_tables;
    expectReference(engine, kOtherView, 1);
    EXPECT_EQ(engine.m_tables, kept);
}

TEST(TVellineTablesTest, CopiesShareThemUntilOneChanges) {
    TVelline engine = engineOf(20, 30);
    setParameters(engine);
    render(engine, kView, 1);
    TVelline copy = engine, assigned;
    assigned = engine;
    EXPECT_EQ(copy.m_tables, engine.m_tables);
    EXPECT_EQ(assigned.m_tables, engine.m_tables);
    copy.m_k[4] += 0.25f;
    copy.m_light[1] -= 0.5f;
    copy.m_bChangedM = copy.m_bChangedY = true;
    expectReference(copy, kView, 1);
    expectReference(engine, kOtherView, 1);
    expectReference(assigned, kOtherView, 1);
    EXPECT_NE(copy.m_tables, engine.m_tables);
}

TEST(TVellineTablesTest, ARenderingIsTwoRegionsAndAMoveOrOneScalesSliderOne) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    const KeepThreadSettings keep;
    omp_set_num_threads(4);
    const int rows = 600, cols = 800;
    TVelline engine = engineOf(rows, cols);
    setParameters(engine);
    const cv::Rect view(0, 0, cols - 10, rows - 10);
    const auto regionsOfRendering = [&](const cv::Rect& roi) {
        const Regions regions = regionsOf([&] { render(engine, roi, 1); });
        EXPECT_TRUE(regions.allOfTheWholeTeam);
        return regions.count;
    };
    EXPECT_EQ(regionsOfRendering(view), 2);
    EXPECT_EQ(regionsOfRendering(view + cv::Point(10, 10)), 1);
    const auto regionsOfSlider = [&](std::size_t parameter) {
        *parametersOfTables(engine)[parameter] += 0.25f;
        *flagOf(engine, parameter) = true;
        return regionsOfRendering(view);
    };
    EXPECT_EQ(regionsOfSlider(4), 1) << "its curves are smoothed side by side";
    EXPECT_EQ(regionsOfSlider(20), 2) << "light";
    EXPECT_EQ(regionsOfRendering(view), 0);
}

}  // namespace
