#include "kestrova/detail/tcoloradjvl.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "kestrova/detail/tvelline.h"
#include "kestrova/image/tpimage.h"
#include "tests/detail/tcoloradjvl_objects.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/printed.h"
#include "tests/support/threads.h"

namespace {

const char kTimeText[] = "time to compute LUT for color adj: ";

TEST(TColorAdjVLTest, StartsWithTheDocumentedValues) {
    const TColorAdjVL adjust;
    EXPECT_FALSE(adjust.m_bChanged);
    EXPECT_EQ(adjust.m_shift, 11);
    EXPECT_EQ(adjust.m_gridStep, 2047.96875f);
    EXPECT_EQ(adjust.m_vibSlope, 4.0f);
    EXPECT_EQ(adjust.m_warmScale, 0.25f);
    EXPECT_EQ(adjust.m_coolScale, 0.6f);
    EXPECT_EQ(adjust.m_tintPosScale, 0.2f);
    EXPECT_EQ(adjust.m_tintNegScale, 0.9f);
    EXPECT_EQ(adjust.m_maxSatGain, 4.0f);
    EXPECT_EQ(adjust.m_vibScale, 0.9f);
}

TEST(TColorAdjVLTest, KeepsTheArgumentsOfTheConstructor) {
    const TColorAdjVL adjust(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(adjust.m_warmScale, 1);
    EXPECT_EQ(adjust.m_coolScale, 2);
    EXPECT_EQ(adjust.m_tintPosScale, 3);
    EXPECT_EQ(adjust.m_tintNegScale, 4);
    EXPECT_EQ(adjust.m_maxSatGain, 5);
    EXPECT_EQ(adjust.m_vibScale, 6);
}

TEST(TColorAdjVLTest, StartsAsTheIdentity) {
    withThreadCounts([](int) {
        TColorAdjVL adjust;
        for (int i = 0; i < 33; ++i) {
            for (int j = 0; j < 33; ++j) {
                for (int k = 0; k < 33; ++k) {
                    const int node = (i * 33 + j) * 33 + k;
                    ASSERT_EQ(adjust.get3DLUTIdx(i, j, k), node);
                    ASSERT_EQ(adjust.m_lutDr[node], j * 65535 / 32);
                    ASSERT_EQ(adjust.m_lutDb[node], k * 65535 / 32);
                }
            }
        }
        EXPECT_EQ(adjust.get3DLUTIdx(32, 32, 32), 35936);
        EXPECT_EQ(adjust.m_lutDr[35936], 65535);
    });
}

TEST(TColorAdjVLTest, MixesInTheStatedOrder) {
    TColorAdjVL adjust;
    const cv::Mat v = randomPlane(200, 11, CV_32FC1);
    for (int row = 0; row < v.rows; ++row) {
        const float* p = v.ptr<float>(row);
        const float fz = p[8], fy = p[9], fx = p[10];
        float out = 0;
        adjust.mix(out, p[0], p[1], fx);
        EXPECT_EQ(out, (1 - fx) * p[0] + p[1] * fx);
        adjust.mix(out, p[0], p[1], p[2], p[3], fy, fx);
        EXPECT_EQ(out, (p[0] * (1 - fx) + p[1] * fx) * (1 - fy) + (p[2] * (1 - fx) + p[3] * fx) * fy);
        adjust.mix(out, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], fz, fy, fx);
        EXPECT_EQ(out, ((p[0] * (1 - fx) + p[1] * fx) * (1 - fy) + (p[2] * (1 - fx) + p[3] * fx) * fy) * (1 - fz) +
                           ((p[4] * (1 - fx) + p[5] * fx) * (1 - fy) + (p[6] * (1 - fx) + p[7] * fx) * fy) * fz);
    }
}

TEST(TColorAdjVLTest, CopiesShareNothing) {
    TColorAdjVL original(0.3f, 0.5f, 0.1f, 0.8f, 3.0f, 0.7f);
    setParameters(original, 0.5f, -0.25f, 0.75f, 0.6f);
    rebuildQuietly(original);
    original.m_bChanged = true;
    original.m_shift = 11;
    original.m_gridStep = 2047.0f;
    original.m_vibSlope = 5.0f;

    TColorAdjVL assigned;
    EXPECT_EQ(&(assigned = original), &assigned);
    const TColorAdjVL constructed(original);
    for (const TColorAdjVL* copy : {const_cast<const TColorAdjVL*>(&assigned), &constructed}) {
        EXPECT_EQ(copy->m_temperature, 0.5f);
        EXPECT_EQ(copy->m_tint, -0.25f);
        EXPECT_EQ(copy->m_saturation, 0.75f);
        EXPECT_EQ(copy->m_vibrance, 0.6f);
        EXPECT_TRUE(copy->m_bChanged);
        EXPECT_EQ(copy->m_shift, 11);
        EXPECT_EQ(copy->m_gridStep, 2047.0f);
        EXPECT_EQ(copy->m_vibSlope, 5.0f);
        EXPECT_EQ(copy->m_warmScale, 0.3f);
        EXPECT_EQ(copy->m_coolScale, 0.5f);
        EXPECT_EQ(copy->m_tintPosScale, 0.1f);
        EXPECT_EQ(copy->m_tintNegScale, 0.8f);
        EXPECT_EQ(copy->m_maxSatGain, 3.0f);
        EXPECT_EQ(copy->m_vibScale, 0.7f);
        EXPECT_TRUE(sameTables(*copy, original));
        EXPECT_NE(copy->m_satLUT_p, original.m_satLUT_p);
        EXPECT_TRUE(std::equal(copy->m_satLUT_p[0], copy->m_satLUT_p[0] + 33 * 256, original.m_satLUT_p[0]));
    }
}

TEST(TColorAdjVLTest, AssignmentToItselfChangesNothing) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.5f, 0.5f, 0.5f, 0.5f);
    rebuildQuietly(adjust);
    const TColorAdjVL before(adjust);
    TColorAdjVL& self = adjust;
    adjust = self;
    EXPECT_TRUE(sameTables(adjust, before));
    EXPECT_TRUE(std::equal(adjust.m_satLUT_p[0], adjust.m_satLUT_p[0] + 33 * 256, before.m_satLUT_p[0]));
}

TEST(TColorAdjVLTest, ParametersHaveNoEffectWithoutTheFlag) {
    TColorAdjVL plain, adjust;
    setParameters(adjust, 1, 1, 1, 1);
    adjust.m_bChanged = false;
    const ColourPlanes in({33, 17});
    cv::Mat wantedDr, wantedDb, dr, db;
    procQuietly(plain, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db);
    EXPECT_TRUE(samePixels(wantedDr, dr));
    EXPECT_TRUE(samePixels(wantedDb, db));

    adjust.m_bChanged = true;
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db);
    EXPECT_FALSE(adjust.m_bChanged);
    EXPECT_FALSE(samePixels(wantedDr, dr));
}

TEST(TColorAdjVLTest, SecondCallKeepsTheTablesAndStillPrintsTheTime) {
    TColorAdjVL adjust;
    setParameters(adjust, 0.4f, 0.3f, 0.2f, 0.1f);
    const ColourPlanes in({7, 5});
    cv::Mat dr, db;
    for (int call = 0; call < 3; ++call) {
        const std::string text = printed([&] { adjust.proc(in.y0, in.y1, in.dr, in.db, dr, db); });
        ASSERT_EQ(text.substr(0, sizeof kTimeText - 1), kTimeText);
        char* end = nullptr;
        const double seconds = std::strtod(text.c_str() + sizeof kTimeText - 1, &end);
        EXPECT_STREQ(end, "\n") << "one number, one line";
        EXPECT_GE(seconds, 0.0);
        EXPECT_LT(seconds, 60.0);
        if (call == 0) adjust.m_lutDr[0] = 4711;  // a rebuild would write over this
        EXPECT_EQ(adjust.m_lutDr[0], 4711);
    }
}

TEST(TColorAdjVLTest, PlanesThatDoNotFitAreRefusedBeforeAnythingIsWritten) {
    TColorAdjVL adjust;
    setParameters(adjust, 1, 1, 1, 1);
    const cv::Mat good(5, 7, CV_16UC1, cv::Scalar(1)), bytes(5, 7, CV_8UC1, cv::Scalar(1));
    const cv::Mat small(4, 7, CV_16UC1, cv::Scalar(1)), empty;
    cv::Mat refused = good.clone();  // what is left of a plane that has got no memory
    refused.data = nullptr;
    cv::Mat dr(2, 2, CV_16UC1, cv::Scalar(7)), db(2, 2, CV_16UC1, cv::Scalar(7));
    const cv::Mat sevens = dr.clone();
    cv::Mat both(5, 7, CV_16UC1, cv::Scalar(3)), alias = both;
    const cv::Mat threes = both.clone();
    const std::string text = printed([&] {
        for (int which = 0; which < 4; ++which) {
            const auto plane = [&](int n, const cv::Mat& bad) { return n == which ? bad : good; };
            const auto call = [&](const cv::Mat& bad) {
                adjust.proc(plane(0, bad), plane(1, bad), plane(2, bad), plane(3, bad), dr, db);
            };
            EXPECT_FAILURE(call(bytes), "ERROR - TColorAdjVL::proc - type() != CV_16UC1");
            EXPECT_FAILURE(call(small), "ERROR - TColorAdjVL::proc - size() != y0.size()");
            EXPECT_FAILURE(call(empty), "ERROR - TColorAdjVL::proc - type() != CV_16UC1");
            EXPECT_FAILURE(call(refused), "ERROR - TColorAdjVL::proc - a plane has no pixels");
        }
        for (const auto& [drOut, dbOut] : {std::pair(&dr, &dr), std::pair(&both, &both), std::pair(&both, &alias)}) {
            EXPECT_FAILURE(adjust.proc(good, good, good, good, *drOut, *dbOut),
                           "ERROR - TColorAdjVL::proc - drOut and dbOut are one plane");
        }
    });
    EXPECT_EQ(text, "");
    EXPECT_TRUE(adjust.m_bChanged) << "the tables are still to be rebuilt";
    EXPECT_TRUE(samePixels(sevens, dr));
    EXPECT_TRUE(samePixels(sevens, db));
    EXPECT_TRUE(samePixels(threes, both));
}

TEST(TColorAdjVLTest, PlanesWithoutPixelsGiveOutputsWithoutPixels) {
    const cv::Mat none, row(0, 5, CV_16UC1), column(5, 0, CV_16UC1);
    for (const cv::Mat& plane : {none, row, column}) {
        TColorAdjVL adjust;
        setParameters(adjust, 1, 1, 1, 1);
        cv::Mat dr(2, 2, CV_16UC1), db(2, 2, CV_8UC1);
        const std::string text = printed([&] { EXPECT_TRUE(adjust.proc(plane, plane, plane, plane, dr, db)); });
        EXPECT_EQ(text.substr(0, sizeof kTimeText - 1), kTimeText);
        EXPECT_FALSE(adjust.m_bChanged);
        EXPECT_TRUE(dr.empty() && db.empty());
        EXPECT_EQ(dr.size(), plane.size());
        EXPECT_EQ(db.type(), CV_16UC1);
    }
}

TEST(TColorAdjVLTest, TakesWhatTheEngineHandsOutForAnEmptyRectangle) {
    TVelline engine;
    for (cv::Mat* plane : {&engine.m_Y, &engine.m_DS, &engine.m_DM, &engine.m_DL, &engine.m_Dr, &engine.m_Db})
        *plane = cv::Mat(20, 30, CV_16UC1, cv::Scalar(32768));
    engine.m_bRoiChanged = true;
    TColorAdjVL adjust;
    for (const cv::Size& size : {cv::Size(0, 5), cv::Size(6, 0), cv::Size(0, 0)}) {
        cv::Mat dr, db;
        const auto sampled = [&](const cv::Mat& plane) {
            return TPImage::MatRoi(plane, 2, 3, size.width, size.height, 1, false, false);
        };
        printed([&] {
            engine.proc({{2, 3}, size}, 1, cv::Mat());
            adjust.proc(sampled(engine.m_Y), engine.getRoiY(), sampled(engine.m_Dr), sampled(engine.m_Db), dr, db);
        });
        EXPECT_TRUE(dr.empty() && db.empty());
    }
}

TEST(TColorAdjVLTest, OutputsOverOneBufferThatDoNotFitGetPlanesOfTheirOwn) {
    TColorAdjVL adjust;
    const ColourPlanes in({7, 5});
    cv::Mat wantedDr, wantedDb, dr(2, 2, CV_16UC1), db = dr;
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, wantedDr, wantedDb);
    procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db);
    EXPECT_TRUE(samePixels(wantedDr, dr));
    EXPECT_TRUE(samePixels(wantedDb, db));
}

TEST(TColorAdjVLTest, AbsurdParametersAreHarmless) {
    const float infinity = std::numeric_limits<float>::infinity();
    const ColourPlanes in({67, 9});
    for (float p : {std::nanf(""), infinity, -infinity, 3e38f, -3e38f}) {
        for (int which = 0; which < 4; ++which) {
            TColorAdjVL adjust;
            setParameters(adjust, which == 0 ? p : 0.5f, which == 1 ? p : 0.5f, which == 2 ? p : 0.5f,
                          which == 3 ? p : 0.5f);
            cv::Mat dr, db;
            EXPECT_TRUE(procQuietly(adjust, in.y0, in.y1, in.dr, in.db, dr, db));
            EXPECT_FALSE(adjust.m_bChanged);
        }
    }
}

}  // namespace
