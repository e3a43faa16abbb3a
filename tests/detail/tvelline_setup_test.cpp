#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <vector>

#include "kestrova/detail/block_processor.h"
#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/resample/chroma_upsize.h"
#include "tests/support/failures.h"
#include "tests/support/planes.h"
#include "tests/support/regions.h"
#include "tests/support/threads.h"

namespace {

// `setup` settles the process's threads and prints the core count: the one is restored, the other swallowed.
class TVellineSetupTest : public testing::Test {
protected:
    void SetUp() override { testing::internal::CaptureStdout(); }
    void TearDown() override { testing::internal::GetCapturedStdout(); }

private:
    KeepThreadSettings m_keep;
};

struct Picture {
    cv::Mat Y, DS, DM, DL, halfDr, halfDb;
};

// Chroma with edges where luminance has edges, and noise.
Picture picture(int rows, int cols) {
    const int halfRows = (rows + 1) / 2, halfCols = (cols + 1) / 2;
    Picture p = {randomPlane(rows, cols, CV_16UC1, 0, 3000, 1),
                 randomPlane(rows, cols, CV_16UC1, 2),
                 randomPlane(rows, cols, CV_16UC1, 3),
                 randomPlane(rows, cols, CV_16UC1, 4),
                 randomPlane(halfRows, halfCols, CV_16UC1, 30000, 35000, 5),
                 randomPlane(halfRows, halfCols, CV_16UC1, 30000, 35000, 6)};
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x)
            if ((x / 40 + y / 30) % 2) p.Y.at<ushort>(y, x) += 40000;
    for (int y = 0; y < halfRows; ++y)
        for (int x = 0; x < halfCols; ++x)
            if ((x / 20 + y / 15) % 2) p.halfDr.at<ushort>(y, x) += 20000, p.halfDb.at<ushort>(y, x) -= 20000;
    return p;
}

bool setUp(TVelline& engine, const Picture& p, TProgress* progress = nullptr) {
    return engine.setup(p.Y, p.DS, p.DM, p.DL, p.halfDr, p.halfDb, progress);
}

// Plane by plane, as the preparation is defined.
void referenceChroma(const Picture& p, float sigmaS, cv::Mat& dr, cv::Mat& db) {
    upSize2XGuidedByYSimple(p.Y, p.halfDr, dr);
    upSize2XGuidedByYSimple(p.Y, p.halfDb, db);
    const std::vector<cv::Mat> planes = {dr, db};
    BlockProcessor processor;
    processor.initialize(planes, planes, 1024, 1024, true, 32, 0, 0);
    DomainTransformFilter filter(sigmaS, 4259.7099609375f);
    TVelline interleaver;
    cv::Rect roi;
    std::vector<cv::Mat> block;
    while (processor.nextBlock(&roi, &block)) {
        cv::Mat pairs, smoothed;
        interleaver.merge2(block, pairs);
        pairs.convertTo(smoothed, CV_32FC2, 1, 0);
        filter.filter(smoothed, smoothed, 0);
        smoothed.convertTo(pairs, CV_16UC2, 1, 0);
        interleaver.split2(pairs, block);
        processor.copyOneBlock();
    }
}

void expectReferenceChroma(int rows, int cols, float sigmaS) {
    SCOPED_TRACE(std::to_string(cols) + "x" + std::to_string(rows));
    const Picture p = picture(rows, cols);
    cv::Mat dr, db;
    referenceChroma(p, sigmaS, dr, db);
    TVelline engine;
    EXPECT_TRUE(setUp(engine, p));
    EXPECT_TRUE(samePixels(dr, engine.m_Dr));
    EXPECT_TRUE(samePixels(db, engine.m_Db));
}

TEST_F(TVellineSetupTest, StoresThePlanesWithoutACopy) {
    const Picture p = picture(5, 7);
    TVelline engine;
    EXPECT_TRUE(setUp(engine, p));
    EXPECT_EQ(engine.m_Y.data, p.Y.data);
    EXPECT_EQ(engine.m_DS.data, p.DS.data);
    EXPECT_EQ(engine.m_DM.data, p.DM.data);
    EXPECT_EQ(engine.m_DL.data, p.DL.data);
}

TEST_F(TVellineSetupTest, EnlargesAndSmoothsChromaBlockByBlock) {
    for (const cv::Size& size : testSizes()) expectReferenceChroma(size.height, size.width, 4.0f);
    expectReferenceChroma(40, 1100, 4.453125f);  // two blocks side by side
    expectReferenceChroma(1030, 33, 4.15234375f);
    expectReferenceChroma(1025, 1025, 8.0078125f);
}

TEST_F(TVellineSetupTest, SpatialSigmaIsTheMeanSideOver128WithinItsLimits) {
    expectReferenceChroma(200, 200, 4.0f);
    expectReferenceChroma(24, 2024, 8.0f);
    expectReferenceChroma(1, 8191, 32.0f);
    expectReferenceChroma(1, 9000, 32.0f);
    expectReferenceChroma(1, 4096, 16.00390625f);
}

TEST_F(TVellineSetupTest, HalfPlanesMayBePartsOfLargerOnes) {
    Picture p = picture(45, 71);
    cv::Mat dr, db;
    referenceChroma(p, 4.0f, dr, db);
    p.Y = asSubPlane(p.Y);
    p.halfDr = asSubPlane(p.halfDr);
    p.halfDb = asSubPlane(p.halfDb);
    TVelline engine;
    EXPECT_TRUE(setUp(engine, p));
    EXPECT_TRUE(samePixels(dr, engine.m_Dr));
    EXPECT_TRUE(samePixels(db, engine.m_Db));
}

TEST_F(TVellineSetupTest, ARegionIsAPassOverThePictureOrOverAStripeOfIt) {
    if (!kRegionsAreCounted) GTEST_SKIP() << "not libgomp";
    cv::Mat plane(4000, 6000, CV_16UC1, cv::Scalar(20000)), half(2000, 3000, CV_16UC1, cv::Scalar(30000));
    TVelline engine;
    // The constructor of the filter sets the number of threads while the first planes are enlarged already.
    omp_set_num_threads(4);
    const Regions regions = regionsOf([&] { engine.setup(plane, plane, plane, plane, half, half.clone(), nullptr); });
    // Two planes enlarged; four stripes smoothed and taken into the picture.
    EXPECT_LE(regions.count, 2 + 4 * 2);
    EXPECT_GE(regions.count, 2);
    EXPECT_TRUE(regions.allOfTheWholeTeam);
}

TEST_F(TVellineSetupTest, TheLongerSideAloneSetsTheLargestPlainLevel) {
    const std::pair<int, int> levels[] = {{1, 1}, {3100, 1}, {3101, 2}, {4800, 2}, {4801, 3}, {6600, 3}, {6601, 4}};
    for (const auto& [side, level] : levels) {
        TVelline wide;
        EXPECT_TRUE(setUp(wide, picture(1, side)));
        EXPECT_EQ(wide.m_maxPlainLevel, level) << side;
    }
    TVelline high;
    EXPECT_TRUE(setUp(high, picture(6601, 2)));
    EXPECT_EQ(high.m_maxPlainLevel, 4);
    TVelline both;
    EXPECT_TRUE(setUp(both, picture(20, 3100)));
    EXPECT_EQ(both.m_maxPlainLevel, 1);
}

TEST_F(TVellineSetupTest, MarksAllCachesStaleAndLeavesTheRestAlone) {
    TVelline engine;
    int seed = 20;
    std::vector<cv::Mat*> caches = {&engine.m_rY, &engine.m_rDS, &engine.m_rDM, &engine.m_rDL, &engine.m_roiY};
    for (cv::Mat* cache : caches) *cache = randomPlane(3, 4, CV_16UC1, seed++);
    const std::vector<cv::Mat> before = {engine.m_rY, engine.m_rDS, engine.m_rDM, engine.m_rDL, engine.m_roiY};
    engine.m_roi = {1, 2, 3, 4};
    engine.m_level = 5;
    engine.m_k[4] = 0.5f;
    engine.m_t[5] = 0.25f;
    engine.m_light[2] = 0.75f;
    engine.m_mix[1] = 1.0f;
    EXPECT_TRUE(setUp(engine, picture(5, 7)));
    EXPECT_TRUE(engine.m_bChangedS && engine.m_bChangedM && engine.m_bChangedL && engine.m_bChangedY);
    EXPECT_TRUE(engine.m_bRoiChanged);
    for (std::size_t i = 0; i < caches.size(); ++i) EXPECT_EQ(caches[i]->data, before[i].data);
    EXPECT_EQ(engine.m_roi, cv::Rect(1, 2, 3, 4));
    EXPECT_EQ(engine.m_level, 5);
    EXPECT_EQ(engine.m_k[4], 0.5f);
    EXPECT_EQ(engine.m_t[5], 0.25f);
    EXPECT_EQ(engine.m_light[2], 0.75f);
    EXPECT_EQ(engine.m_mix[1], 1.0f);
}

TEST_F(TVellineSetupTest, TakesAnotherPictureOnTheSameObject) {
    TVelline engine;
    EXPECT_TRUE(setUp(engine, picture(45, 71)));
    const Picture second = picture(60, 33);
    cv::Mat dr, db;
    referenceChroma(second, 4.0f, dr, db);
    EXPECT_TRUE(setUp(engine, second));
    EXPECT_TRUE(setUp(engine, second));  // the same size again
    EXPECT_TRUE(samePixels(dr, engine.m_Dr));
    EXPECT_TRUE(samePixels(db, engine.m_Db));
}

TEST_F(TVellineSetupTest, TakesItsOwnPlanes) {
    for (const cv::Size& size : {cv::Size(1, 1), cv::Size(71, 45), cv::Size(523, 601)}) {
        const Picture p = picture(size.height, size.width);
        TVelline engine;
        EXPECT_TRUE(setUp(engine, p));
        Picture own = p;
        own.halfDr = engine.m_Dr.clone();  // larger than half: the corner counts
        own.halfDb = engine.m_Db.clone();
        TVelline expected;
        EXPECT_TRUE(setUp(expected, own));
        EXPECT_TRUE(engine.setup(engine.m_Y, engine.m_DS, engine.m_DM, engine.m_DL, engine.m_Dr, engine.m_Db, nullptr));
        EXPECT_EQ(engine.m_Y.data, p.Y.data);
        EXPECT_EQ(engine.m_DL.data, p.DL.data);
        EXPECT_TRUE(samePixels(expected.m_Dr, engine.m_Dr));
        EXPECT_TRUE(samePixels(expected.m_Db, engine.m_Db));
    }
}

TEST_F(TVellineSetupTest, ACopyKeepsItsChromaWhenTheOtherTakesAnotherPicture) {
    TVelline engine;
    EXPECT_TRUE(setUp(engine, picture(9, 12)));
    const TVelline copy = engine;
    EXPECT_EQ(copy.m_Dr.data, engine.m_Dr.data);
    const cv::Mat dr = copy.m_Dr.clone(), db = copy.m_Db.clone();
    Picture other = picture(9, 12);
    other.halfDr.setTo(1);
    other.halfDb.setTo(2);
    EXPECT_TRUE(setUp(engine, other));
    EXPECT_EQ(engine.m_Dr.at<ushort>(4, 4), 1);
    EXPECT_TRUE(samePixels(dr, copy.m_Dr));
    EXPECT_TRUE(samePixels(db, copy.m_Db));
}

struct Host {
    std::vector<int> reports;
    int cancelAt = -1;
    static bool answer(int progress, void* user) {
        Host& host = *static_cast<Host*>(user);
        host.reports.push_back(progress);
        return progress != host.cancelAt;
    }
};

TEST_F(TVellineSetupTest, ReportsThreeStages) {
    Host host;
    TProgress progress(Host::answer, &host);
    TVelline engine;
    EXPECT_TRUE(setUp(engine, picture(5, 7), &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{200, 400, 1000}));
}

TEST_F(TVellineSetupTest, ReportsItsShareOfALongerTask) {
    Host host;
    TProgress progress(Host::answer, &host);
    progress.start(0.5f);
    TVelline engine;
    EXPECT_TRUE(setUp(engine, picture(5, 7), &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{100, 200, 500}));
}

TEST_F(TVellineSetupTest, CancelAt20LeavesDbAndTheFlags) {
    Host host;
    host.cancelAt = 200;
    TProgress progress(Host::answer, &host);
    const Picture p = picture(45, 71);
    TVelline engine;
    engine.m_Db = randomPlane(2, 2, CV_16UC1);
    const cv::Mat db = engine.m_Db;
    EXPECT_FALSE(setUp(engine, p, &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{200}));
    cv::Mat enlarged;
    upSize2XGuidedByYSimple(p.Y, p.halfDr, enlarged);
    EXPECT_TRUE(samePixels(enlarged, engine.m_Dr));
    EXPECT_EQ(engine.m_Db.data, db.data);
    EXPECT_EQ(engine.m_Y.data, p.Y.data);
    EXPECT_EQ(engine.m_DL.data, p.DL.data);
    EXPECT_FALSE(engine.m_bChangedS || engine.m_bChangedM || engine.m_bChangedL || engine.m_bChangedY);
    EXPECT_FALSE(engine.m_bRoiChanged);
}

TEST_F(TVellineSetupTest, CancelAt40LeavesTheFlagsAndChromaUnsmoothed) {
    Host host;
    host.cancelAt = 400;
    TProgress progress(Host::answer, &host);
    const Picture p = picture(45, 71);
    TVelline engine;
    engine.m_bChangedM = true;
    EXPECT_FALSE(setUp(engine, p, &progress));
    EXPECT_EQ(host.reports, (std::vector<int>{200, 400}));
    cv::Mat dr, db;
    upSize2XGuidedByYSimple(p.Y, p.halfDr, dr);
    upSize2XGuidedByYSimple(p.Y, p.halfDb, db);
    EXPECT_TRUE(samePixels(dr, engine.m_Dr));
    EXPECT_TRUE(samePixels(db, engine.m_Db));
    EXPECT_TRUE(engine.m_bChangedM);
    EXPECT_FALSE(engine.m_bChangedS || engine.m_bChangedL || engine.m_bChangedY || engine.m_bRoiChanged);
}

TEST_F(TVellineSetupTest, CancelAt100LeavesAllWorkDone) {
    Host host;
    host.cancelAt = 1000;
    TProgress progress(Host::answer, &host);
    const Picture p = picture(45, 71);
    cv::Mat dr, db;
    referenceChroma(p, 4.0f, dr, db);
    TVelline engine;
    EXPECT_FALSE(setUp(engine, p, &progress));
    EXPECT_TRUE(samePixels(dr, engine.m_Dr));
    EXPECT_TRUE(samePixels(db, engine.m_Db));
    EXPECT_TRUE(engine.m_bChangedS && engine.m_bChangedM && engine.m_bChangedL && engine.m_bChangedY);
    EXPECT_TRUE(engine.m_bRoiChanged);
}

TEST_F(TVellineSetupTest, AnEmptyPictureFailsAtTheFirstBlock) {
    TVelline engine;
    const cv::Mat none;
    EXPECT_FAILURE(engine.setup(none, none, none, none, none, none, nullptr),
                   "BlockProcessor::convertBlockDuplicatedBorder roiSize<1");
    EXPECT_FALSE(engine.m_bChangedS || engine.m_bChangedM || engine.m_bChangedL || engine.m_bChangedY);
    EXPECT_FALSE(engine.m_bRoiChanged);
}

TEST_F(TVellineSetupTest, FailuresOfTheEnlargerPassThrough) {
    const Picture p = picture(8, 8);
    const cv::Mat tooSmall = randomPlane(3, 4, CV_16UC1), bytes = randomPlane(8, 8, CV_8UC1);
    TVelline engine;
    EXPECT_THROW(engine.setup(p.Y, p.DS, p.DM, p.DL, tooSmall, p.halfDb, nullptr), char*);
    EXPECT_EQ(engine.m_Y.data, p.Y.data);
    EXPECT_EQ(engine.m_DL.data, p.DL.data);
    EXPECT_FALSE(engine.m_bRoiChanged);
    EXPECT_THROW(engine.setup(p.Y, p.DS, p.DM, p.DL, p.halfDr, tooSmall, nullptr), char*);
    EXPECT_THROW(engine.setup(bytes, p.DS, p.DM, p.DL, p.halfDr, p.halfDb, nullptr), char*);
    EXPECT_TRUE(setUp(engine, p));
}

TEST_F(TVellineSetupTest, RefusesThreeDimensionsOfAnyPlaneWithNothingStored) {
    const Picture p = picture(4, 6);
    const int sizes[] = {2, 3, 4};
    const cv::Mat three(3, sizes, CV_16UC1);
    for (int i = 0; i < 6; ++i) {
        cv::Mat planes[] = {p.Y, p.DS, p.DM, p.DL, p.halfDr, p.halfDb};
        planes[i] = three;
        TVelline engine;
        EXPECT_FAILURE(engine.setup(planes[0], planes[1], planes[2], planes[3], planes[4], planes[5], nullptr),
                       "ERROR - plane - dims>2");
        EXPECT_TRUE(engine.m_Y.empty() && engine.m_DS.empty() && engine.m_DM.empty() && engine.m_DL.empty());
    }
}

TEST_F(TVellineSetupTest, PrintsTheCoreCount) {
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    TVelline engine;
    EXPECT_TRUE(setUp(engine, picture(5, 7)));
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_EQ(printed, "system has " + std::to_string(omp_get_num_procs()) + " cores\n");
    testing::internal::CaptureStdout();
}

}  // namespace
