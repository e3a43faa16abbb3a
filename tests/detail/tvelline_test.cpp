#include "kestrova/detail/tvelline.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/threads.h"

namespace {

bool shared(const cv::Mat& a, const cv::Mat& b) { return a.data == b.data && a.size() == b.size(); }

TEST(TVellineTest, StartsEmptyAndNeutral) {
    const TVelline engine;
    for (float v : engine.m_k) EXPECT_EQ(v, 0.0f);
    for (float v : engine.m_t) EXPECT_EQ(v, 0.0f);
    for (float v : engine.m_light) EXPECT_EQ(v, 0.0f);
    for (float v : engine.m_mix) EXPECT_EQ(v, 0.0f);
    EXPECT_FALSE(engine.m_bChangedS || engine.m_bChangedM || engine.m_bChangedL || engine.m_bChangedY);
    EXPECT_FALSE(engine.m_bRoiChanged);
    for (const cv::Mat* plane : {&engine.m_Y, &engine.m_DS, &engine.m_DM, &engine.m_DL, &engine.m_Dr, &engine.m_Db,
                                 &engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY})
        EXPECT_TRUE(plane->empty());
    EXPECT_EQ(engine.m_roi, cv::Rect(0, 0, 0, 0));
    EXPECT_EQ(engine.m_level, 1);
    EXPECT_EQ(engine.m_maxPlainLevel, 1);
}

TEST(TVellineTest, NamesStandForTheDocumentedIndices) {
    EXPECT_EQ(TVelline::index(TVelline::ScaleSmall, TVelline::ZoneBase), 0);
    EXPECT_EQ(TVelline::index(TVelline::ScaleSmall, TVelline::ZoneShadows), 1);
    EXPECT_EQ(TVelline::index(TVelline::ScaleMedium, TVelline::ZoneBase), 3);
    EXPECT_EQ(TVelline::index(TVelline::ScaleLarge, TVelline::ZoneMidtones), 8);
    const int light[] = {TVelline::LightBrightness, TVelline::LightContrast, TVelline::LightHighlights,
                         TVelline::LightShadows,    TVelline::LightWhites,   TVelline::LightBlacks};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(light[i], i);
    const int mix[] = {TVelline::MixRed, TVelline::MixGreen, TVelline::MixBlue};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(mix[i], i);
}

TEST(TVellineTest, MembersStandInTheirDocumentedOrder) {
    const TVelline e;
    const void* const members[] = {
        &e.m_reserved0,    &e.m_reserved1, e.m_k,          e.m_t,          e.m_light, e.m_mix,
        &e.m_bChangedS,    &e.m_bChangedM, &e.m_bChangedL, &e.m_bChangedY, &e.m_Y,    &e.m_DS,
        &e.m_DM,           &e.m_DL,        &e.m_Dr,        &e.m_Db,        &e.m_roi,  &e.m_level,
        &e.m_bRoiChanged,  &e.m_rY,        &e.m_rDS,       &e.m_rDM,       &e.m_rDL,  &e.m_roiY,
        &e.m_maxPlainLevel};
    for (std::size_t i = 1; i < std::size(members); ++i) EXPECT_LT(members[i - 1], members[i]) << i;
    EXPECT_EQ(static_cast<const void*>(&e), members[0]);
}

TVelline filledEngine() {
    TVelline engine;
    engine.m_reserved0 = 11;
    engine.m_reserved1 = 12;
    for (int i = 0; i < 9; ++i)
        engine.m_k[i] = 0.1f * static_cast<float>(i), engine.m_t[i] = -0.1f * static_cast<float>(i);
    for (int i = 0; i < 6; ++i) engine.m_light[i] = static_cast<float>(i);
    for (int i = 0; i < 3; ++i) engine.m_mix[i] = static_cast<float>(-i);
    engine.m_bChangedS = engine.m_bChangedL = engine.m_bRoiChanged = true;
    int seed = 1;
    for (cv::Mat* plane : {&engine.m_Y, &engine.m_DS, &engine.m_DM, &engine.m_DL, &engine.m_Dr, &engine.m_Db,
                           &engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY})
        *plane = randomPlane(5, 7, CV_16UC1, seed++);
    engine.m_roi = {1, 2, 3, 4};
    engine.m_level = 3;
    engine.m_maxPlainLevel = 4;
    return engine;
}

void expectCopy(const TVelline& copy, const TVelline& from) {
    EXPECT_EQ(copy.m_reserved0, from.m_reserved0);
    EXPECT_EQ(copy.m_reserved1, from.m_reserved1);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(copy.m_k[i], from.m_k[i]);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(copy.m_t[i], from.m_t[i]);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(copy.m_light[i], from.m_light[i]);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(copy.m_mix[i], from.m_mix[i]);
    EXPECT_EQ(copy.m_bChangedS, from.m_bChangedS);
    EXPECT_EQ(copy.m_bChangedM, from.m_bChangedM);
    EXPECT_EQ(copy.m_bChangedL, from.m_bChangedL);
    EXPECT_EQ(copy.m_bChangedY, from.m_bChangedY);
    EXPECT_TRUE(shared(copy.m_Y, from.m_Y));
    EXPECT_TRUE(shared(copy.m_DS, from.m_DS));
    EXPECT_TRUE(shared(copy.m_DM, from.m_DM));
    EXPECT_TRUE(shared(copy.m_DL, from.m_DL));
    EXPECT_TRUE(shared(copy.m_Dr, from.m_Dr));
    EXPECT_TRUE(shared(copy.m_Db, from.m_Db));
    EXPECT_EQ(copy.m_roi, from.m_roi);
    EXPECT_EQ(copy.m_level, from.m_level);
    EXPECT_EQ(copy.m_bRoiChanged, from.m_bRoiChanged);
    EXPECT_TRUE(shared(copy.m_rY, from.m_rY));
    EXPECT_TRUE(shared(copy.m_rDS, from.m_rDS));
    EXPECT_TRUE(shared(copy.m_rDM, from.m_rDM));
    EXPECT_TRUE(shared(copy.m_rDL, from.m_rDL));
    EXPECT_TRUE(shared(copy.m_roiY, from.m_roiY));
    EXPECT_EQ(copy.m_maxPlainLevel, from.m_maxPlainLevel);
}

TEST(TVellineTest, CopyTakesAllMembersAndSharesThePlanes) {
    const TVelline from = filledEngine();
    const TVelline copy(from);
    expectCopy(copy, from);
}

TEST(TVellineTest, AssignmentTakesAllMembersAndSharesThePlanes) {
    const TVelline from = filledEngine();
    TVelline copy;
    EXPECT_EQ(&(copy = from), &copy);
    expectCopy(copy, from);
}

TEST(TVellineTest, ParametersOfACopyAreItsOwn) {
    TVelline from = filledEngine();
    TVelline copy(from);
    copy.m_k[3] = 9;
    copy.m_bChangedM = true;
    EXPECT_EQ(from.m_k[3], 0.3f);
    EXPECT_FALSE(from.m_bChangedM);
    EXPECT_TRUE(shared(copy.m_Y, from.m_Y));
}

TEST(TVellineTest, ShortSetupRefusesThreeDimensionsWithNothingChanged) {
    TVelline engine = filledEngine();
    const cv::Mat before = engine.m_Y;
    const int sizes[] = {2, 3, 4};
    EXPECT_FAILURE(engine.setup(cv::Mat(3, sizes, CV_16UC1), nullptr), "ERROR - plane - dims>2");
    EXPECT_TRUE(shared(engine.m_Y, before));
}

TEST(TVellineTest, ShortSetupProvidesThePlanes) {
    for (int type : {CV_16UC1, CV_8UC1, CV_32FC1}) {
        TVelline engine;
        EXPECT_TRUE(engine.setup(cv::Mat(5, 7, type), nullptr));
        for (const cv::Mat* plane : {&engine.m_Y, &engine.m_DS, &engine.m_DM, &engine.m_DL}) {
            EXPECT_EQ(plane->size(), cv::Size(7, 5));
            EXPECT_EQ(plane->type(), type);
        }
        EXPECT_NE(engine.m_Y.data, engine.m_DS.data);
        EXPECT_TRUE(engine.m_Dr.empty() && engine.m_Db.empty());
        EXPECT_TRUE(engine.m_bRoiChanged);
        EXPECT_FALSE(engine.m_bChangedS || engine.m_bChangedM || engine.m_bChangedL || engine.m_bChangedY);
        EXPECT_EQ(engine.m_maxPlainLevel, 1);
    }
}

TEST(TVellineTest, ShortSetupLeavesPlanesThatFit) {
    TVelline engine = filledEngine();
    engine.m_bRoiChanged = false;
    engine.m_DM = cv::Mat(5, 6, CV_16UC1);
    const TVelline before = engine;
    cv::Mat pixels[] = {engine.m_Y.clone(), engine.m_DS.clone(), engine.m_DL.clone()};
    EXPECT_TRUE(engine.setup(cv::Mat(5, 7, CV_16UC1), nullptr));
    EXPECT_TRUE(shared(engine.m_Y, before.m_Y));
    EXPECT_TRUE(shared(engine.m_DS, before.m_DS));
    EXPECT_TRUE(shared(engine.m_DL, before.m_DL));
    EXPECT_TRUE(samePixels(pixels[0], engine.m_Y));
    EXPECT_TRUE(samePixels(pixels[1], engine.m_DS));
    EXPECT_TRUE(samePixels(pixels[2], engine.m_DL));
    EXPECT_EQ(engine.m_DM.size(), cv::Size(7, 5));
    EXPECT_TRUE(shared(engine.m_Dr, before.m_Dr));
    EXPECT_TRUE(shared(engine.m_Db, before.m_Db));
    EXPECT_TRUE(engine.m_bRoiChanged);
    EXPECT_TRUE(engine.m_bChangedS && engine.m_bChangedL);
    EXPECT_FALSE(engine.m_bChangedM || engine.m_bChangedY);
    EXPECT_EQ(engine.m_maxPlainLevel, 4);
}

TEST(TVellineTest, ShortSetupReplacesAPlaneOfMoreDimensions) {
    TVelline engine;
    const int sizes[] = {5, 7, 1};
    engine.m_DS = cv::Mat(3, sizes, CV_16UC1);
    EXPECT_TRUE(engine.setup(cv::Mat(5, 7, CV_16UC1), nullptr));
    EXPECT_EQ(engine.m_DS.dims, 2);
    EXPECT_EQ(engine.m_DS.size(), cv::Size(7, 5));
}

TEST(TVellineTest, ShortSetupDoesNotUseItsProgress) {
    TProgress progress([](int, void*) -> bool { throw 1; }, &progress);
    TVelline engine;
    EXPECT_TRUE(engine.setup(cv::Mat(2, 2, CV_16UC1), &progress));
}

TEST(TVellineTest, Merge2InterleavesTheFirstTwoPlanes) {
    TVelline engine;
    for (const cv::Size& size : testSizes()) {
        for (bool bSub : {false, true}) {
            std::vector<cv::Mat> planes = {randomPlane(size.height, size.width, CV_16UC1, 1),
                                           randomPlane(size.height, size.width, CV_16UC1, 2),
                                           randomPlane(3, 3, CV_16UC1, 3)};
            if (bSub) planes[0] = asSubPlane(planes[0]), planes[1] = asSubPlane(planes[1]);
            cv::Mat expected(size, CV_16UC2);
            for (int y = 0; y < size.height; ++y)
                for (int x = 0; x < size.width; ++x)
                    expected.at<cv::Vec2w>(y, x) = {planes[0].at<ushort>(y, x), planes[1].at<ushort>(y, x)};
            withThreadCounts([&](int) {
                cv::Mat out;
                engine.merge2(planes, out);
                EXPECT_TRUE(samePixels(expected, out));
            });
        }
    }
}

TEST(TVellineTest, Merge2ReplacesOutEvenWhereItFits) {
    TVelline engine;
    std::vector<cv::Mat> planes = {randomPlane(2, 3, CV_16UC1, 1), randomPlane(2, 3, CV_16UC1, 2)};
    cv::Mat out(2, 3, CV_16UC2, cv::Scalar(7, 7));
    const cv::Mat before = out;
    engine.merge2(planes, out);
    EXPECT_NE(out.data, before.data);
    EXPECT_EQ(before.at<cv::Vec2w>(0, 0), cv::Vec2w(7, 7));
}

TEST(TVellineTest, Merge2OfNothingLeavesOutAlone) {
    TVelline engine;
    std::vector<cv::Mat> none;
    cv::Mat out = randomPlane(2, 3, CV_32FC1);
    const cv::Mat before = out;
    engine.merge2(none, out);
    EXPECT_TRUE(shared(out, before));
    EXPECT_EQ(out.type(), CV_32FC1);
}

TEST(TVellineTest, Merge2OfAPlaneWithoutPixelsGivesOneWithout) {
    TVelline engine;
    std::vector<cv::Mat> planes(2);
    cv::Mat out = randomPlane(2, 3, CV_32FC1);
    engine.merge2(planes, out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(out.type(), CV_16UC2);
}

TEST(TVellineTest, Merge2RefusesPlanesThatDoNotFit) {
    TVelline engine;
    cv::Mat out;
    std::vector<cv::Mat> one = {randomPlane(2, 3, CV_16UC1)};
    EXPECT_FAILURE(engine.merge2(one, out), "ERROR - TVelline::merge2 - planes[1] is smaller than planes[0]");
    std::vector<cv::Mat> smaller = {randomPlane(2, 3, CV_16UC1), randomPlane(2, 2, CV_16UC1)};
    EXPECT_FAILURE(engine.merge2(smaller, out), "ERROR - TVelline::merge2 - planes[1] is smaller than planes[0]");
    std::vector<cv::Mat> bytes = {randomPlane(2, 3, CV_16UC1), randomPlane(2, 3, CV_8UC1)};
    EXPECT_FAILURE(engine.merge2(bytes, out), "ERROR - TVelline::merge2 - planes.type()!=CV_16UC1");
    EXPECT_TRUE(out.empty());
}

TEST(TVellineTest, Split2TakesTheChannelsApart) {
    TVelline engine;
    for (const cv::Size& size : testSizes()) {
        cv::Mat in = asSubPlane(randomPlane(size.height, size.width, CV_16UC2));
        withThreadCounts([&](int) {
            std::vector<cv::Mat> planes = {cv::Mat(size, CV_16UC1), cv::Mat(size, CV_16UC1)};
            const std::vector<cv::Mat> before = planes;
            engine.split2(in, planes);
            for (int c : {0, 1}) {
                EXPECT_TRUE(shared(planes[c], before[c]));
                cv::Mat expected(size, CV_16UC1);
                for (int y = 0; y < size.height; ++y)
                    for (int x = 0; x < size.width; ++x) expected.at<ushort>(y, x) = in.at<cv::Vec2w>(y, x)[c];
                EXPECT_TRUE(samePixels(expected, planes[c]));
            }
        });
    }
}

TEST(TVellineTest, Split2WritesIntoTheCornerOfLargerPlanes) {
    TVelline engine;
    cv::Mat in = randomPlane(2, 3, CV_16UC2);
    std::vector<cv::Mat> planes = {cv::Mat(4, 5, CV_16UC1, cv::Scalar(9)), cv::Mat(3, 3, CV_16UC1, cv::Scalar(9))};
    engine.split2(in, planes);
    EXPECT_EQ(planes[0].size(), cv::Size(5, 4));
    EXPECT_EQ(planes[0].at<ushort>(1, 2), in.at<cv::Vec2w>(1, 2)[0]);
    EXPECT_EQ(planes[1].at<ushort>(0, 1), in.at<cv::Vec2w>(0, 1)[1]);
    EXPECT_EQ(planes[0].at<ushort>(0, 3), 9);
    EXPECT_EQ(planes[1].at<ushort>(2, 0), 9);
}

TEST(TVellineTest, Split2DoesNothingWithoutPixelsOrWithOtherThanTwoPlanes) {
    TVelline engine;
    cv::Mat in = randomPlane(2, 3, CV_16UC2), none, noRows(0, 3, CV_16UC2);
    for (std::size_t count : {0, 1, 3}) {
        std::vector<cv::Mat> planes(count);
        for (cv::Mat& plane : planes) plane = cv::Mat(2, 3, CV_16UC1, cv::Scalar(9));
        engine.split2(in, planes);
        for (const cv::Mat& plane : planes) EXPECT_EQ(cv::countNonZero(plane != 9), 0);
    }
    std::vector<cv::Mat> planes = {cv::Mat(2, 3, CV_16UC1, cv::Scalar(9)), cv::Mat(2, 3, CV_16UC1, cv::Scalar(9))};
    engine.split2(none, planes);
    engine.split2(noRows, planes);
    for (const cv::Mat& plane : planes) EXPECT_EQ(cv::countNonZero(plane != 9), 0);
}

TEST(TVellineTest, Split2RefusesPlanesThatDoNotFit) {
    TVelline engine;
    cv::Mat in = randomPlane(2, 3, CV_16UC2), three = randomPlane(2, 3, CV_16UC3);
    std::vector<cv::Mat> planes = {cv::Mat(2, 3, CV_16UC1), cv::Mat(2, 3, CV_16UC1)};
    EXPECT_FAILURE(engine.split2(three, planes), "ERROR - TVelline::split2 - in.type()!=CV_16UC2");
    planes[1] = cv::Mat(1, 3, CV_16UC1);
    EXPECT_FAILURE(engine.split2(in, planes), "ERROR - TVelline::split2 - planes are smaller than in");
    planes[1] = cv::Mat(2, 3, CV_8UC1);
    EXPECT_FAILURE(engine.split2(in, planes), "ERROR - TVelline::split2 - planes.type()!=CV_16UC1");
}

TEST(TVellineTest, ANewRectangleOrStepMarksTheCachesStale) {
    const cv::Rect roi(1, 2, 3, 4);
    const std::pair<cv::Rect, int> others[] = {
        {{0, 2, 3, 4}, 2}, {{1, 0, 3, 4}, 2}, {{1, 2, 0, 4}, 2}, {{1, 2, 3, 0}, 2}, {roi, 1}};
    for (const auto& [otherRoi, otherLevel] : others) {
        TVelline engine;
        engine.m_roi = roi;
        engine.m_level = 2;
        engine.setRoi(roi, 2);
        EXPECT_FALSE(engine.m_bRoiChanged);
        engine.setRoi(otherRoi, otherLevel);
        EXPECT_TRUE(engine.m_bRoiChanged);
        EXPECT_EQ(engine.m_roi, otherRoi);
        EXPECT_EQ(engine.m_level, otherLevel);
        engine.setRoi(otherRoi, otherLevel);
        EXPECT_TRUE(engine.m_bRoiChanged);
    }
}

TEST(TVellineTest, WithinAHundredthOfZeroIsZero) {
    TVelline engine;
    const float below = std::nextafter(0.01f, 0.0f);
    EXPECT_TRUE(engine.bNZ(0.01f));
    EXPECT_TRUE(engine.bNZ(-0.01f));
    EXPECT_FALSE(engine.bNZ(below));
    EXPECT_FALSE(engine.bNZ(-below));
    EXPECT_FALSE(engine.bNZ(0.0f));
    EXPECT_TRUE(engine.bNZ(INFINITY));
    EXPECT_TRUE(engine.bNZ(-INFINITY));
    EXPECT_TRUE(engine.bNZ(NAN));
}

TEST(TVellineTest, LessThanAHundredthIsNoChange) {
    TVelline engine;
    const float below = std::nextafter(0.01f, 0.0f);
    EXPECT_TRUE(engine.neq(0.01f, 0.0f));
    EXPECT_TRUE(engine.neq(0.0f, 0.01f));
    EXPECT_FALSE(engine.neq(below, 0.0f));
    EXPECT_FALSE(engine.neq(0.0f, below));
    EXPECT_FALSE(engine.neq(0.5f, 0.5f));
    EXPECT_TRUE(engine.neq(0.5f, 0.52f));
    EXPECT_FALSE(engine.neq(NAN, 0.0f));
    EXPECT_FALSE(engine.neq(INFINITY, INFINITY));
}

TEST(TVellineTest, AScaleHasWorkIfAnyOfItsSixParametersIsNotZero) {
    TVelline engine;
    for (int s = 0; s < 3; ++s) EXPECT_FALSE(engine.bNeedSHMix(s));
    for (float* row : {engine.m_k, engine.m_t}) {
        for (int i = 0; i < 9; ++i) {
            for (float v : {0.01f, -0.01f, 1.0f, NAN}) {
                row[i] = v;
                for (int s = 0; s < 3; ++s) EXPECT_EQ(engine.bNeedSHMix(s), i / 3 == s) << i << ' ' << v;
            }
            row[i] = 0.0099f;
            for (int s = 0; s < 3; ++s) EXPECT_FALSE(engine.bNeedSHMix(s));
        }
    }
}

TEST(TVellineTest, TheLuminanceCurveHasThreePointsAndEndsAt65536) {
    TVelline engine;
    int x[3], y[3], n = 0;
    engine.computeYCurve(x, y, &n);
    EXPECT_EQ(n, 3);
    EXPECT_EQ(std::vector<int>(x, x + 3), (std::vector<int>{0, 32768, 65535}));
    EXPECT_EQ(std::vector<int>(y, y + 3), (std::vector<int>{0, 32768, 65536}));
}

}  // namespace
